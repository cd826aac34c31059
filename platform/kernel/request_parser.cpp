// Request parsing into one message under the header-block limit.
#include "kernel/request_parser.h"

#include <algorithm>
#include <cctype>

namespace kernel {

namespace http = boost::beast::http;

namespace {

// A field's name or value is stored in 16 bits; longer ones would throw.
constexpr size_t kFieldTextMax = 0xFFFF - 2;

// Separators and line ends a field line adds to its name and value.
constexpr size_t kFieldLineExtra = 4;

// A declared length is reserved only up to this much: the bytes have to arrive first.
constexpr size_t kBodyReserveMax = 64 * 1024;

}  // namespace

RequestParser::RequestParser(uint32_t header_bytes, uint64_t body_bytes, uint32_t max_fields)
    : block_limit_(header_bytes), fields_left_(max_fields) {
    header_limit(header_bytes);
    body_limit(body_bytes);
}

void RequestParser::on_request_impl(http::verb method, string_view method_text, string_view target, int version,
                                    error_code &ec) {
    ec = {};
    block_bytes_ = method_text.size() + target.size() + sizeof(" HTTP/1.1\r\n");
    if (method == http::verb::unknown) {
        message_.method_string(method_text);
    } else {
        message_.method(method);
    }
    message_.target(target);
    message_.version(version);
}

void RequestParser::on_response_impl(int, string_view, int, error_code &ec) {
    ec = http::error::bad_method;
}

void RequestParser::on_field_impl(http::field name, string_view name_text, string_view value, error_code &ec) {
    block_bytes_ += name_text.size() + value.size() + kFieldLineExtra;
    if (fields_left_-- == 0 || block_bytes_ > block_limit_ || name_text.size() > kFieldTextMax ||
        value.size() > kFieldTextMax) {
        ec = http::error::header_limit;
        return;
    }
    ec = {};
    message_.insert(name, name_text, value);
}

void RequestParser::on_header_impl(error_code &ec) {
    ec = {};
}

void RequestParser::on_body_init_impl(const boost::optional<std::uint64_t> &length, error_code &ec) {
    ec = {};
    message_.body().clear();
    if (length) message_.body().reserve(static_cast<size_t>(std::min<std::uint64_t>(*length, kBodyReserveMax)));
}

size_t RequestParser::on_body_impl(string_view body, error_code &ec) {
    ec = {};
    message_.body().append(body.data(), body.size());
    return body.size();
}

// The size's digits end where the extensions begin, within the bytes being parsed.
void RequestParser::on_chunk_header_impl(std::uint64_t, string_view extensions, error_code &ec) {
    size_t digits = 0;
    for (const char *p = extensions.data(); p > floor_ && std::isxdigit(static_cast<unsigned char>(p[-1])); --p)
        ++digits;
    bool refused = extensions.size() > kExtensionLimit || digits > kChunkSizeDigitsMax;
    ec = refused ? error_code(http::error::bad_chunk_extension) : error_code();
}

size_t RequestParser::on_chunk_body_impl(std::uint64_t, string_view body, error_code &ec) {
    return on_body_impl(body, ec);
}

void RequestParser::on_finish_impl(error_code &ec) {
    ec = {};
}

}  // namespace kernel
