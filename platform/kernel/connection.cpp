// One connection, read top to bottom in the order a request travels:
// handshake, wait, read header, read body, route, entry, write, close.
#include "kernel/connection.h"

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>
#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "kernel/loop_pool.h"
#include "kernel/request.h"
#include "kernel/server.h"
#include "log/log_macro.h"
#include "monitor/entry_marks.h"

namespace kernel {

namespace net = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using tcp = net::ip::tcp;
using PlainStream = beast::tcp_stream;
using TlsStream = beast::ssl_stream<beast::tcp_stream>;

namespace {

constexpr size_t kReadChunk = 4096;
constexpr auto kLingerTime = std::chrono::seconds(2);
const char kContinue[] = "HTTP/1.1 100 Continue\r\n\r\n";

std::chrono::milliseconds Ms(uint32_t ms) {
    return std::chrono::milliseconds(ms);
}

bool ExpectsContinue(const HttpRequest &message) {
    auto expect = message.find(http::field::expect);
    return message.version() >= 11 && expect != message.end() && beast::iequals(expect->value(), "100-continue");
}

// Only a lone "chunked" coding is taken: any other coding of a request body
// leaves its end to interpretation, which is how requests get smuggled.
bool TransferCodingAccepted(const HttpRequest &message) {
    auto [first, last] = message.equal_range(http::field::transfer_encoding);
    if (first == last) return true;
    return std::next(first) == last && beast::iequals(first->value(), "chunked");
}

// The status for a failed read, or 0 when the connection just ends.
unsigned FailureStatus(const beast::error_code &ec) {
    if (ec == beast::error::timeout) return 408;
    if (ec == http::error::header_limit) return 431;
    if (ec == http::error::body_limit) return 413;
    if (ec == http::error::end_of_stream || ec == http::error::partial_message) return 0;
    if (ec.category() == http::make_error_code(http::error::bad_target).category()) return 400;  // any parse error
    return 0;
}

}  // namespace

template <class Stream>
class Connection : public std::enable_shared_from_this<Connection<Stream>> {
public:
    static constexpr bool kTls = std::is_same_v<Stream, TlsStream>;

    template <class... StreamArgs>
    Connection(Server &server, StreamArgs &&...args)
        : server_(server), limits_(server.limits()), stream_(std::forward<StreamArgs>(args)...) {}

    ~Connection() {
        if (answering_) server_.AnswerDone();
        server_.ConnectionClosed();
    }

    void Start() {
        if constexpr (kTls) {
            Lowest().expires_after(Ms(limits_.header_timeout_ms));
            stream_.async_handshake(net::ssl::stream_base::server,
                                    [self = this->shared_from_this()](beast::error_code ec) { self->OnHandshake(ec); });
        } else {
            WaitRequest();
        }
    }

private:
    beast::tcp_stream &Lowest() { return beast::get_lowest_layer(stream_); }

    void OnHandshake(beast::error_code ec) {
        if (ec) {
            PLAT_LOG(PLAT_LOG_FINE, "TLS handshake failed: %s", ec.message().c_str());
            return;
        }
        WaitRequest();
    }

    // An idle keep-alive connection waits under the idle limit; the header
    // limit starts once the first bytes of a request are in.
    void WaitRequest() {
        if (buffer_.size() > 0) return ReadHeader();
        Lowest().expires_after(Ms(limits_.idle_timeout_ms));
        stream_.async_read_some(
            buffer_.prepare(kReadChunk),
            [self = this->shared_from_this()](beast::error_code ec, size_t bytes) { self->OnFirstBytes(ec, bytes); });
    }

    void OnFirstBytes(beast::error_code ec, size_t bytes) {
        if (ec) return;  // idle limit or peer gone: close quietly
        buffer_.commit(bytes);
        ReadHeader();
    }

    void ReadHeader() {
        parser_.emplace();
        parser_->header_limit(limits_.header_limit);
        parser_->body_limit(limits_.body_limit);
        // Its own timer rather than the stream's expiry, which would close the
        // socket before the 408 could be written.
        Lowest().expires_never();
        header_late_ = false;
        header_timer_.expires_after(Ms(limits_.header_timeout_ms));
        header_timer_.async_wait([self = this->shared_from_this()](beast::error_code ec) {
            if (ec) return;
            self->header_late_ = true;
            beast::error_code ignored;
            self->Lowest().socket().cancel(ignored);
        });
        http::async_read_header(
            stream_, buffer_, *parser_,
            [self = this->shared_from_this()](beast::error_code ec, size_t bytes) { self->OnHeader(ec, bytes); });
    }

    void OnHeader(beast::error_code ec, size_t bytes) {
        header_timer_.cancel();
        if (ec && header_late_) return Refuse(408, "Request Timeout");
        if (ec) return Fail(ec);
        server_.stats().bytes_in.fetch_add(bytes, std::memory_order_relaxed);
        const HttpRequest &message = parser_->get();
        if (message.target().size() > limits_.target_limit) return Refuse(414, "Request-URI Too Long");
        if (!TransferCodingAccepted(message)) return Refuse(400, "Bad Request");
        if (parser_->is_done()) return Dispatch();
        if (!ExpectsContinue(message)) return ReadBody();
        Lowest().expires_after(Ms(limits_.write_timeout_ms));
        net::async_write(stream_, net::buffer(kContinue, sizeof(kContinue) - 1),
                         [self = this->shared_from_this()](beast::error_code ec, size_t) {
                             if (!ec) self->ReadBody();
                         });
    }

    void ReadBody() {
        Lowest().expires_after(Ms(limits_.idle_timeout_ms));
        http::async_read(stream_, buffer_, *parser_,
                         [self = this->shared_from_this()](beast::error_code ec, size_t bytes) {
                             if (ec) return self->Fail(ec);
                             self->server_.stats().bytes_in.fetch_add(bytes, std::memory_order_relaxed);
                             self->Dispatch();
                         });
    }

    void Fail(beast::error_code ec) {
        unsigned status = FailureStatus(ec);
        if (status == 0) return;
        PLAT_LOG(PLAT_LOG_FINE, "request refused with %u: %s", status, ec.message().c_str());
        Refuse(status, ec.message().c_str());
    }

    // An answer from the engine that ends the connection: the request framing
    // can no longer be trusted.
    void Refuse(unsigned status, const char *text) {
        request_.Detach();
        ReplySetPlain(request_.reply, status, text);
        keep_alive_ = false;
        Write();
    }

    void Dispatch() {
        request_.Reset(parser_->get());
        keep_alive_ = parser_->get().keep_alive();
        if (!PathSplit(request_.uri, request_.segments)) return Answer(400, "Bad Request");
        request_.route = server_.router().Match(request_.segments);
        if (request_.route == nullptr) return Answer(404, "Not Found");
        if (server_.stopping()) return Unavailable();
        pool_ = server_.gate().PoolOf(request_.route->group);
        if (server_.gate().TryEnter(pool_)) return RunEntry();
        auto resume = [self = this->shared_from_this()] {
            net::post(self->stream_.get_executor(), [self] { self->RunEntry(); });
        };
        if (server_.gate().Enqueue(pool_, std::move(resume)) == EntryGate::Admission::kFull) {
            PLAT_LOG(PLAT_LOG_WARN, "entry queue full, refused: %s", request_.uri.c_str());
            Unavailable();
        }
    }

    void Answer(unsigned status, const char *text) {
        ReplySetPlain(request_.reply, status, text);
        Write();
    }

    void Unavailable() {
        request_.reply.fields.assign("Retry-After: 1\r\n");
        if (server_.stopping()) keep_alive_ = false;
        Answer(503, "Service Unavailable");
    }

    // Holds an entry slot of pool_.
    void RunEntry() {
        if (!server_.EntryStart()) {
            server_.gate().Leave(pool_);
            return Unavailable();
        }
        const Route &route = *request_.route;
        LoopPool::EntryBegin();
        monitor::EntryBegin();
        try {
            route.entry(&request_, route.user, nullptr);
        } catch (...) {
            PLAT_LOG(PLAT_LOG_ERROR, "entry threw for %s", request_.uri.c_str());
        }
        monitor::EntryEnd();
        LoopPool::EntryEnd();
        server_.gate().Leave(pool_);
        answering_ = true;
        EntryFinish();
        Write();
    }

    void EntryFinish() {
        Reply &reply = request_.reply;
        if (reply.state == Reply::State::kNone) {
            PLAT_LOG(PLAT_LOG_ERROR, "entry returned without an answer: %s", request_.uri.c_str());
            reply.fields.clear();
            reply.has_content_type = false;
            ReplySetPlain(reply, 500, "Internal Server Error");
        }
        if (reply.state == Reply::State::kChunked) reply.state = Reply::State::kChunksEnded;
    }

    void Write() {
        const Reply &reply = request_.reply;
        ReplyRender(request_, keep_alive_, request_.method == REST_METHOD_HEAD, out_);
        unsigned status_class = reply.status / 100;
        if (status_class < 6) server_.stats().responses[status_class].fetch_add(1, std::memory_order_relaxed);
        Lowest().expires_after(Ms(limits_.write_timeout_ms));
        net::async_write(
            stream_, net::buffer(out_),
            [self = this->shared_from_this()](beast::error_code ec, size_t bytes) { self->OnWrite(ec, bytes); });
    }

    void OnWrite(beast::error_code ec, size_t bytes) {
        server_.stats().bytes_out.fetch_add(bytes, std::memory_order_relaxed);
        if (answering_) server_.AnswerDone();
        answering_ = false;
        if (ec) return;
        if (!keep_alive_) return Close();
        WaitRequest();
    }

    // Sends FIN and reads until the peer closes, so that unread request bytes
    // do not turn the close into a reset that would discard the answer.
    void Close() {
        beast::error_code ignored;
        Lowest().socket().shutdown(tcp::socket::shutdown_send, ignored);
        Lowest().expires_after(kLingerTime);
        buffer_.clear();
        Drain();
    }

    void Drain() {
        Lowest().async_read_some(buffer_.prepare(kReadChunk),
                                 [self = this->shared_from_this()](beast::error_code ec, size_t) {
                                     if (!ec) self->Drain();
                                 });
    }

    Server &server_;
    const Limits &limits_;
    Stream stream_;
    net::steady_timer header_timer_{stream_.get_executor()};
    bool header_late_ = false;
    beast::flat_buffer buffer_;
    std::optional<http::request_parser<http::string_body>> parser_;
    Request request_;
    std::string out_;
    bool keep_alive_ = false;
    bool answering_ = false;  // an entry ran: the server counts this answer until it is written
    uint32_t pool_ = 0;
};

void ConnectionStart(Server &server, tcp::socket socket, net::ssl::context *tls) {
    beast::error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    if (tls != nullptr) {
        std::make_shared<Connection<TlsStream>>(server, std::move(socket), *tls)->Start();
        return;
    }
    std::make_shared<Connection<PlainStream>>(server, std::move(socket))->Start();
}

}  // namespace kernel
