// The request parser: a whole request into one message, with every field of
// the header block and of the chunked trailer counted against the header
// limit, and chunk extensions capped. Nothing a peer sends makes it throw.
#pragma once

#include <boost/beast/http/basic_parser.hpp>
#include <cstdint>

#include "kernel/request.h"

namespace kernel {

class RequestParser : public boost::beast::http::basic_parser<true> {
public:
    // Bytes of chunk extensions one chunk header may carry.
    static constexpr size_t kExtensionLimit = 4096;
    // Hex digits of one chunk size: 16 hold any 64-bit size; more are padding that hides it.
    static constexpr size_t kChunkSizeDigitsMax = 16;

    RequestParser(uint32_t header_limit, uint64_t body_limit, uint32_t max_fields);
    HttpRequest &get() { return message_; }
    // Parses what it can of the bytes; the bytes it took, as put() gives them.
    size_t Feed(boost::asio::const_buffer bytes, boost::beast::error_code &ec) {
        floor_ = static_cast<const char *>(bytes.data());
        return put(bytes, ec);
    }

private:
    using error_code = boost::beast::error_code;
    using string_view = boost::beast::string_view;

    void on_request_impl(boost::beast::http::verb method, string_view method_text, string_view target, int version,
                         error_code &ec) override;
    void on_response_impl(int, string_view, int, error_code &ec) override;
    void on_field_impl(boost::beast::http::field name, string_view name_text, string_view value,
                       error_code &ec) override;
    void on_header_impl(error_code &ec) override;
    void on_body_init_impl(const boost::optional<std::uint64_t> &length, error_code &ec) override;
    size_t on_body_impl(string_view body, error_code &ec) override;
    void on_chunk_header_impl(std::uint64_t size, string_view extensions, error_code &ec) override;
    size_t on_chunk_body_impl(std::uint64_t remain, string_view body, error_code &ec) override;
    void on_finish_impl(error_code &ec) override;

    HttpRequest message_;
    const char *floor_ = nullptr;  // the start of the bytes being parsed
    uint64_t block_bytes_ = 0;     // start line and fields so far, trailer fields included
    uint32_t block_limit_;
    uint32_t fields_left_;
};

}  // namespace kernel
