// Rendering an answer onto the wire.
#include <boost/beast/http/status.hpp>
#include <charconv>

#include "kernel/request.h"

namespace kernel {

namespace http = boost::beast::http;

namespace {

void AppendNumber(std::string &out, size_t value) {
    char digits[24];
    auto result = std::to_chars(digits, digits + sizeof(digits), value);
    out.append(digits, result.ptr);
}

const char *ContentTypeFor(const Reply &reply) {
    if (reply.state != Reply::State::kWhole || reply.body.empty()) return "text/plain; charset=utf-8";
    char first = reply.body.front();
    return first == '{' || first == '[' ? "application/json" : "text/plain; charset=utf-8";
}

}  // namespace

void ReplySetPlain(Reply &reply, unsigned status, const char *text) {
    reply.state = Reply::State::kWhole;
    reply.status = status;
    reply.body.assign(text);
}

bool StatusHasBody(unsigned status) {
    return status >= 200 && status != 204 && status != 304;
}

void ReplyHeadRender(const Request &request, bool keep_alive, std::string &out) {
    const Reply &reply = request.reply;
    bool bodiless = !StatusHasBody(reply.status);
    bool chunked = !bodiless && reply.state != Reply::State::kWhole && request.chunk_framing;
    out.append("HTTP/1.1 ");
    AppendNumber(out, reply.status);
    out.push_back(' ');
    out.append(http::obsolete_reason(static_cast<http::status>(reply.status)));
    out.append("\r\n");
    if (!reply.has_content_type) out.append("Content-Type: ").append(ContentTypeFor(reply)).append("\r\n");
    if (chunked) {
        out.append("Transfer-Encoding: chunked\r\n");
    } else if (!reply.streamed && !bodiless) {
        out.append("Content-Length: ");
        AppendNumber(out, reply.body.size());
        out.append("\r\n");
    }
    bool http10 = request.message != nullptr && request.message->version() == 10;
    if (!keep_alive) out.append("Connection: close\r\n");
    if (keep_alive && http10) out.append("Connection: keep-alive\r\n");
    out.append(reply.fields);
    out.append("\r\n");
}

void ReplyRender(const Request &request, bool keep_alive, bool head_only, std::string &out) {
    out.clear();
    ReplyHeadRender(request, keep_alive, out);
    if (head_only || !StatusHasBody(request.reply.status)) return;
    out.append(request.reply.body);
    if (request.reply.state != Reply::State::kWhole && request.chunk_framing) out.append("0\r\n\r\n");
}

}  // namespace kernel
