// Request handle: reset, lazily built header and query views, method codes.
#include "kernel/request.h"

#include <iterator>

#include "kernel/percent.h"

namespace kernel {

namespace http = boost::beast::http;

void Request::Reset(const HttpRequest &next) {
    message = &next;
    method = MethodCode(next.method());
    chunk_framing = next.version() >= 11;
    std::string_view target = next.target();
    uri.assign(target.substr(0, target.find('?')));
    route = nullptr;
    braces_ready = false;
    heads_ready = false;
    query_ready = false;
    named_values.clear();
    value_texts_used = 0;
    reply.state = Reply::State::kNone;
    reply.status = 0;
    reply.has_content_type = false;
    reply.streamed = false;
    reply.broken = false;
    reply.fields.clear();
    reply.body.clear();
}

void Request::Detach() {
    message = nullptr;
    method = REST_METHOD_GET;
    chunk_framing = true;
    route = nullptr;
    reply = Reply();
}

// Fields of one name become one item, their values joined in order. The
// message indexes its fields by name, so each name is joined once, at its
// first field, and building stays O(n log n) in the number of fields.
void Request::HeadsBuild() {
    heads_ready = true;
    head_texts.clear();
    heads.clear();
    // Count first: texts must not move once pointers to them are handed out.
    size_t fields = std::distance(message->begin(), message->end());
    head_texts.reserve(fields * 2);
    for (const auto &field : *message) {
        auto [first, last] = message->equal_range(field.name_string());
        if (&*first != &field) continue;
        head_texts.emplace_back(field.name_string());
        std::string &value = head_texts.emplace_back(field.value());
        for (auto next = std::next(first); next != last; ++next)
            value.append(", ").append(next->value());
    }
    heads.reserve(head_texts.size() / 2);
    for (size_t i = 0; i < head_texts.size(); i += 2) {
        heads.push_back(REST_HEAD_ITEM{head_texts[i].c_str(), head_texts[i + 1].c_str()});
    }
}

const char *Request::HeadValue(std::string_view name) {
    if (message == nullptr) return nullptr;
    auto [first, last] = message->equal_range(name);
    if (first == last) return nullptr;
    for (const NamedValue &named : named_values) {
        if (named.first_field == &*first) return named.value;
    }
    if (value_texts_used == value_texts.size()) value_texts.push_back(std::make_unique<std::string>());
    std::string &value = *value_texts[value_texts_used];
    value.assign(first->value());
    for (auto next = std::next(first); next != last; ++next)
        value.append(", ").append(next->value());
    ++value_texts_used;
    named_values.push_back(NamedValue{&*first, value.c_str()});
    return value.c_str();
}

// Pairs are decoded into the strings of earlier requests, keeping their capacity.
void Request::QueryBuild() {
    query_ready = true;
    query_used = 0;
    auto next_text = [this]() -> std::string & {
        if (query_used == query.size()) query.emplace_back();
        std::string &text = query[query_used++];
        text.clear();
        return text;
    };
    std::string_view target = message->target();
    size_t mark = target.find('?');
    if (mark == std::string_view::npos) return;
    std::string_view rest = target.substr(mark + 1);
    while (!rest.empty()) {
        size_t end = rest.find('&');
        std::string_view pair = rest.substr(0, end);
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
        if (pair.empty()) continue;
        size_t equals = pair.find('=');
        PercentDecode(pair.substr(0, equals), true, next_text());
        std::string &value = next_text();
        if (equals != std::string_view::npos) PercentDecode(pair.substr(equals + 1), true, value);
    }
}

// Brace variables are handed out decoded: "a%20b" binds "a b". Decoding
// only shortens a segment, so it goes back into the segment's own string.
void Request::BracesDecode() {
    braces_ready = true;
    for (const auto &[index, name] : route->braces) {
        if (index >= segments.size()) continue;
        decoded.clear();
        PercentDecode(segments[index], false, decoded);
        segments[index].assign(decoded);
    }
}

unsigned MethodCode(http::verb verb) {
    switch (verb) {
        case http::verb::get:
            return REST_METHOD_GET;
        case http::verb::post:
            return REST_METHOD_POST;
        case http::verb::head:
            return REST_METHOD_HEAD;
        case http::verb::put:
            return REST_METHOD_PUT;
        case http::verb::delete_:
            return REST_METHOD_DELETE;
        case http::verb::options:
            return REST_METHOD_OPTIONS;
        case http::verb::trace:
            return REST_METHOD_TRACE;
        case http::verb::connect:
            return REST_METHOD_CONNECT;
        case http::verb::patch:
            return REST_METHOD_PATCH;
        default:
            return REST_METHOD_OTHER;
    }
}

}  // namespace kernel
