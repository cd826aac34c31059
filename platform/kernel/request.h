// The request handle an entry function receives (REST_REQ) and the answer it
// builds. One per connection, reused from request to request so that a
// keep-alive connection reuses its buffers.
#pragma once

#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kernel/router.h"
#include "plat_kernel.h"

namespace kernel {

using HttpRequest = boost::beast::http::request<boost::beast::http::string_body>;

struct Reply {
    enum class State { kNone, kWhole, kChunked, kChunksEnded };
    State state = State::kNone;
    unsigned status = 0;
    bool has_content_type = false;
    bool streamed = false;  // a chunked answer's head is on the wire; body holds what is not
    bool broken = false;    // the peer stopped taking a streamed answer: it is abandoned
    std::string fields;     // "Name: value\r\n" lines added by the entry
    std::string body;       // the whole body, or the chunk-framed parts not yet written
};

struct Request;

// Where a chunked answer goes while its entry still runs: the connection
// writes the head and every part from the entry's thread as they come.
class AnswerSink {
public:
    // False once the peer stopped taking the answer within the stall time.
    virtual bool StreamFlush(Request &request) = 0;

protected:
    ~AnswerSink() = default;
};

struct Request {
    const HttpRequest *message = nullptr;
    unsigned method = REST_METHOD_OTHER;
    bool chunk_framing = true;          // false for HTTP/1.0 peers: parts are sent unframed
    std::string uri;                    // path without the query, in its normal form (PathNormalize)
    std::vector<std::string> segments;  // as routing compares them; brace ones decoded once asked for
    bool braces_ready = false;
    const Route *route = nullptr;
    AnswerSink *sink = nullptr;  // null: the answer is written when the entry returns

    // Built on first use, so requests that never ask pay nothing.
    bool heads_ready = false;
    std::vector<std::string> head_texts;  // name, joined value, name, joined value...
    std::vector<REST_HEAD_ITEM> heads;
    bool query_ready = false;
    std::vector<std::string> query;  // decoded name, decoded value, ...; the first query_used are this request's
    size_t query_used = 0;

    // Values asked for by name: a name's fields joined into a text of its
    // own, once per request. Texts keep their capacity from request to
    // request and sit behind pointers, so a keep-alive connection reads
    // headers without heap work and no text handed out moves.
    struct NamedValue {
        const void *first_field;  // identifies the name within the message
        const char *value;
    };
    std::vector<NamedValue> named_values;
    std::vector<std::unique_ptr<std::string>> value_texts;  // the first value_texts_used are this request's
    size_t value_texts_used = 0;
    std::string decoded;  // a brace variable being decoded; its capacity is kept

    Reply reply;

    // Resets for the next request on the connection; keeps capacities.
    void Reset(const HttpRequest &next);
    // Forgets the message, for answers given before a request was read whole.
    void Detach();
    void HeadsBuild();
    // The joined value of the fields of that name (any case), or null.
    const char *HeadValue(std::string_view name);
    void QueryBuild();
    void BracesDecode();
};

// Maps a parsed method to the engine's method code.
unsigned MethodCode(boost::beast::http::verb verb);

// 1xx, 204 and 304 answers carry no body: neither the body nor a length or a
// chunked coding goes out with them.
bool StatusHasBody(unsigned status);

// Appends the status line and fields of the answer. A whole body gets its
// length, a chunked one "Transfer-Encoding: chunked"; a streamed answer to an
// HTTP/1.0 peer gets neither, as the close ends it. keep_alive false adds
// "Connection: close".
void ReplyHeadRender(const Request &request, bool keep_alive, std::string &out);

// Renders the whole answer: the head, then the body unless head_only.
void ReplyRender(const Request &request, bool keep_alive, bool head_only, std::string &out);

// Fills a reply that the engine itself gives (errors, refusals).
void ReplySetPlain(Reply &reply, unsigned status, const char *text);

}  // namespace kernel
