// One connection, read top to bottom in the order a request travels:
// handshake, wait, read header, read body, route, entry, write, close.
#include "kernel/connection.h"

#include <algorithm>
#include <boost/asio/bind_allocator.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "kernel/bounded_socket.h"
#include "kernel/deadline.h"
#include "kernel/loop_pool.h"
#include "kernel/op_memory.h"
#include "kernel/request.h"
#include "kernel/request_front.h"
#include "kernel/request_parser.h"
#include "kernel/server.h"
#include "log/log_macro.h"
#include "metrics/metrics.h"

namespace kernel {

namespace net = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using tcp = net::ip::tcp;
using PlainStream = BoundedSocket;
using TlsStream = net::ssl::stream<BoundedSocket>;

namespace {

constexpr size_t kReadChunk = 4096;
constexpr uint32_t kLingerMs = 2000;
// Answers up to this size are written at once from the loop thread; larger
// ones go out asynchronously rather than wait in a backlog copy.
constexpr size_t kAtOnceLimit = 64 * 1024;
// Pipelined requests answered at once, one inside the other, before the
// next goes through the loop: bounds the stack.
constexpr int kAnswersInline = 8;
const char kContinue[] = "HTTP/1.1 100 Continue\r\n\r\n";

bool ExpectsContinue(const HttpRequest &message) {
    auto expect = message.find(http::field::expect);
    return message.version() >= 11 && expect != message.end() && beast::iequals(expect->value(), "100-continue");
}

// One Host field with a valid authority is what an HTTP/1.1 request needs;
// an HTTP/1.0 one may go without.
bool HostAccepted(const HttpRequest &message) {
    auto [first, last] = message.equal_range(http::field::host);
    if (first == last) return message.version() < 11;
    return std::next(first) == last && AuthorityValid(first->value());
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
    if (ec == http::error::header_limit) return 431;
    if (ec == http::error::body_limit) return 413;
    if (ec == http::error::end_of_stream || ec == http::error::partial_message) return 0;
    if (ec.category() == http::make_error_code(http::error::bad_target).category()) return 400;  // any parse error
    return 0;
}

// The read buffer filled while the parser waited for the end of a line in a
// chunked body: the trailer's fields (431) or one chunk header line (400)
// run past what a request may send.
unsigned OverflowStatus(const beast::flat_buffer &buffer) {
    std::string_view pending(static_cast<const char *>(buffer.data().data()), buffer.size());
    if (pending.substr(0, 2) == "\r\n") pending.remove_prefix(2);
    size_t line_end = pending.find("\r\n");
    if (line_end == std::string_view::npos) return 400;
    std::string_view size = pending.substr(0, std::min(line_end, pending.find(';')));
    return !size.empty() && size.find_first_not_of('0') == std::string_view::npos ? 431 : 400;
}

}  // namespace

template <class Stream>
class Connection final : public std::enable_shared_from_this<Connection<Stream>>, public AnswerSink {
public:
    static constexpr bool kTls = std::is_same_v<Stream, TlsStream>;

    template <class... StreamArgs>
    Connection(Server &server, StreamArgs &&...args)
        : server_(server),
          limits_(server.limits()),
          stream_(std::forward<StreamArgs>(args)...),
          deadline_(Raw().get_executor(), Raw().native_handle()),
          buffer_(limits_.header_limit + 2 * kReadChunk) {
        Socket().stall_limit(std::chrono::milliseconds(limits_.write_timeout_ms));
        request_.sink = this;
    }

    ~Connection() {
        if (answering_) server_.AnswerDone();
        server_.ConnectionClosed();
    }

    void Start() {
        deadline_.Set(limits_.header_timeout_ms, SHUT_RD);  // the handshake and the first request's header
        if constexpr (kTls) {
            stream_.async_handshake(
                net::ssl::stream_base::server,
                Bind([self = this->shared_from_this()](beast::error_code ec) { self->OnHandshake(ec); }));
        } else {
            WaitRequest();
        }
    }

    // From the entry's thread, while no operation of the connection is
    // pending: the head once, then every part as it comes, each write waiting
    // at most the stall time for the peer.
    bool StreamFlush(Request &request) override {
        Reply &reply = request.reply;
        if (reply.broken) return false;
        out_.clear();
        if (!reply.streamed) {
            reply.streamed = true;
            if (!request.chunk_framing) keep_alive_ = false;  // an unframed stream ends with the close
            ReplyHeadRender(request, keep_alive_, out_);
            CountStatus(reply.status);
        }
        if (request.method != REST_METHOD_HEAD && StatusHasBody(reply.status)) out_.append(reply.body);
        reply.body.clear();
        beast::error_code ec;
        size_t bytes = net::write(stream_, net::buffer(out_), ec);
        server_.stats().bytes_out.fetch_add(bytes, std::memory_order_relaxed);
        if (!ec) return true;
        PLAT_LOG(PLAT_LOG_WARN, "streamed answer abandoned for %s: %s", request.uri.c_str(), ec.message().c_str());
        reply.broken = true;
        return false;
    }

private:
    BoundedSocket &Socket() {
        if constexpr (kTls) {
            return stream_.next_layer();
        } else {
            return stream_;
        }
    }
    TcpSocket &Raw() { return Socket().socket(); }

    // Every handler of the connection carries its operation memory.
    template <class Handler>
    auto Bind(Handler &&handler) {
        return net::bind_allocator(OpAllocator<void>(op_memory_), std::forward<Handler>(handler));
    }

    // Ends the connection: no operation follows, so the last handler's
    // reference frees it, and the socket closes once the timer has let go of it.
    void Abandon() {
        beast::error_code ignored;
        Raw().shutdown(tcp::socket::shutdown_both, ignored);
    }

    void OnHandshake(beast::error_code ec) {
        answers_inline_ = 0;
        if (!ec) return WaitRequest();
        PLAT_LOG(PLAT_LOG_FINE, "TLS handshake failed: %s", ec.message().c_str());
        Abandon();
    }

    // A new connection's first request must be complete within the header
    // limit from the accept (or the handshake); later ones wait under the idle
    // limit for their first byte, then get the header limit.
    void WaitRequest() {
        if (buffer_.size() > 0) return BeginRequest();
        if (!first_request_) deadline_.Set(limits_.idle_timeout_ms, SHUT_RD);
        stream_.async_read_some(buffer_.prepare(kReadChunk),
                                Bind([self = this->shared_from_this()](beast::error_code ec, size_t bytes) {
                                    self->OnFirstBytes(ec, bytes);
                                }));
    }

    void OnFirstBytes(beast::error_code ec, size_t bytes) {
        answers_inline_ = 0;
        if (ec && deadline_.passed()) return Close();
        if (ec) return Abandon();
        buffer_.commit(bytes);
        server_.stats().bytes_in.fetch_add(bytes, std::memory_order_relaxed);
        BeginRequest();
    }

    // The header limit runs from the first byte, but a request that arrives
    // whole never needs it: it is set once the request has to wait for more.
    void BeginRequest() {
        parser_.emplace(limits_.header_limit, limits_.body_limit, limits_.max_fields);
        header_checked_ = false;
        header_deadline_ = first_request_;  // the first one's runs from the accept
        first_request_ = false;
        Parse();
    }

    // Feeds the parser from the buffer until it needs more bytes, refuses the
    // request, or has the header to check or the whole request to dispatch.
    void Parse() {
        for (;;) {
            if (!parser_->is_header_done() && !HeadAccepted()) return;
            beast::error_code ec;
            size_t used = parser_->Feed(buffer_.data(), ec);
            buffer_.consume(used);
            // In a body the parser does not report the need for more: taking nothing is that need.
            if (ec == http::error::need_more || (!ec && used == 0 && !parser_->is_done())) return ReadMore();
            if (ec) return Fail(ec);
            if (!header_checked_) {
                header_checked_ = true;
                if (!HeaderAccepted()) return;
                if (!parser_->is_done() && ExpectsContinue(parser_->get())) return SendContinue();
            }
            if (parser_->is_done()) return Dispatch();
        }
    }

    // Refuses at once what no further byte can make valid.
    bool HeadAccepted() {
        size_t skip = 0;
        unsigned status = HeadScan(static_cast<char *>(buffer_.data().data()), buffer_.size(), skip);
        buffer_.consume(skip);
        if (status == 0) return true;
        Refuse(status, status == 505 ? "HTTP Version Not Supported" : "Bad Request");
        return false;
    }

    void ReadMore() {
        if (parser_->is_header_done() && parser_->chunked()) {
            std::string_view pending(static_cast<const char *>(buffer_.data().data()), buffer_.size());
            if (!ChunkLinePendingValid(pending, RequestParser::kExtensionLimit, RequestParser::kChunkSizeDigitsMax))
                return Refuse(400, "Bad Request");
        }
        if (buffer_.size() >= buffer_.max_size()) return Fail(http::error::buffer_overflow);
        if (!header_deadline_) {
            header_deadline_ = true;
            deadline_.Set(limits_.header_timeout_ms, SHUT_RD);
        }
        stream_.async_read_some(
            buffer_.prepare(buffer_.max_size() - buffer_.size()),
            Bind([self = this->shared_from_this()](beast::error_code ec, size_t bytes) { self->OnRead(ec, bytes); }));
    }

    void OnRead(beast::error_code ec, size_t bytes) {
        answers_inline_ = 0;
        if (ec && deadline_.passed()) return Refuse(408, "Request Timeout");
        if (ec) return Abandon();  // the peer left mid-request: nobody to answer
        buffer_.commit(bytes);
        server_.stats().bytes_in.fetch_add(bytes, std::memory_order_relaxed);
        Parse();
    }

    // The header's rules beyond the parser's: target size and form, method,
    // Host, body framing. The body, if any, must then come within the idle limit.
    bool HeaderAccepted() {
        HttpRequest &message = parser_->get();
        std::string_view origin;
        TargetForm form = TargetFormOf(message.target(), origin);
        auto refused = [this](unsigned status, const char *text) {
            Refuse(status, text);
            return false;
        };
        if (message.target().size() > limits_.target_limit) return refused(414, "Request-URI Too Long");
        if (message.method() == http::verb::unknown || message.method() == http::verb::connect)
            return refused(501, "Not Implemented");
        if (!HostAccepted(message)) return refused(400, "Bad Request");
        if (form == TargetForm::kInvalid || (form == TargetForm::kAsterisk && message.method() != http::verb::options))
            return refused(400, "Bad Request");
        if (!TransferCodingAccepted(message)) return refused(400, "Bad Request");
        if (form == TargetForm::kAbsolute) message.target(std::string(origin));
        // HTTP/1.0 has no chunked framing: a body so framed is read, answered, and the connection ended.
        if (message.version() < 11 && message.count(http::field::transfer_encoding) != 0) force_close_ = true;
        parser_->eager(true);
        if (!parser_->is_done()) {
            header_deadline_ = true;
            deadline_.Set(limits_.idle_timeout_ms, SHUT_RD);
        }
        return true;
    }

    void SendContinue() {
        deadline_.Set(limits_.write_timeout_ms, SHUT_RDWR);
        net::async_write(stream_, net::buffer(kContinue, sizeof(kContinue) - 1),
                         Bind([self = this->shared_from_this()](beast::error_code ec, size_t) {
                             self->answers_inline_ = 0;
                             if (ec) return self->Abandon();
                             self->deadline_.Set(self->limits_.idle_timeout_ms, SHUT_RD);
                             self->Parse();
                         }));
    }

    void Fail(beast::error_code ec) {
        unsigned status = ec == http::error::buffer_overflow ? OverflowStatus(buffer_) : FailureStatus(ec);
        if (status == 0) return Abandon();
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

    // From here until the answer is written no deadline runs: an entry takes
    // the time it takes, and the write sets its own.
    void Dispatch() {
        deadline_.Clear();
        dispatched_ = true;
        started_ns_ = metrics::Enabled() ? metrics::NowNs() : 0;
        request_.Reset(parser_->get());
        keep_alive_ = parser_->get().keep_alive() && !force_close_;
        if (parser_->get().target() == "*") return AnswerOptions();
        if (!PathNormalize(request_.uri, request_.segments)) return Answer(400, "Bad Request");
        request_.route = server_.router().Match(request_.segments);
        if (request_.route == nullptr) return Answer(404, "Not Found");
        if (server_.stopping()) return Unavailable();
        pool_ = server_.gate().PoolOf(request_.route->group);
        if (server_.gate().TryEnter(pool_)) return RunEntry();
        if (metrics::Enabled()) metrics::EntriesQueued().Add(1);
        auto resume = [self = this->shared_from_this()] {
            net::post(self->Raw().get_executor(), [self] {
                self->answers_inline_ = 0;
                self->RunEntry();
            });
        };
        if (server_.gate().Enqueue(pool_, std::move(resume)) == EntryGate::Admission::kFull) {
            PLAT_LOG(PLAT_LOG_WARN, "entry queue full, refused: %s", request_.uri.c_str());
            if (metrics::Enabled()) metrics::EntriesRefused().Add(1);
            Unavailable();
        }
    }

    // "OPTIONS *" asks about the server itself: the engine answers, no entry runs.
    void AnswerOptions() {
        ReplySetPlain(request_.reply, 200, "");
        request_.reply.fields.assign("Allow: GET, HEAD, POST, PUT, DELETE, OPTIONS, PATCH\r\n");
        Write();
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
        answering_ = true;
        const Route &route = *request_.route;
        LoopPool::EntryBegin();
        try {
            route.entry(&request_, route.user, nullptr);
        } catch (...) {
            PLAT_LOG(PLAT_LOG_ERROR, "entry threw for %s", request_.uri.c_str());
        }
        LoopPool::EntryEnd();
        server_.gate().Leave(pool_);
        if (request_.reply.broken) return Abandon();
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

    void CountStatus(unsigned status) {
        unsigned status_class = status / 100;
        if (status_class < 6) server_.stats().responses[status_class].fetch_add(1, std::memory_order_relaxed);
        bool routed = dispatched_;
        dispatched_ = false;
        if (!server_.metered() || !metrics::Enabled()) return;
        // An answer the engine gives before routing (or for no route) has no route's series.
        metrics::AnswerCount(routed && request_.route != nullptr ? request_.route->series : nullptr, status,
                             routed ? started_ns_ : 0);
    }

    // The answer, or what a streamed answer has left to send: its last parts
    // and the chunked terminator.
    void Write() {
        const Reply &reply = request_.reply;
        bool head_only = request_.method == REST_METHOD_HEAD;
        if (reply.streamed) {
            out_.clear();
            bool body = !head_only && StatusHasBody(reply.status);
            if (body) out_.append(reply.body);
            if (body && request_.chunk_framing) out_.append("0\r\n\r\n");
        } else {
            ReplyRender(request_, keep_alive_, head_only, out_);
            CountStatus(reply.status);
        }
        if (out_.size() <= kAtOnceLimit) return WriteAtOnce();
        written_ = 0;
        WriteSome();
    }

    // Most answers leave in this one call; what the kernel does not take
    // now goes out from the backlog under the write limit.
    void WriteAtOnce() {
        beast::error_code ec;
        Socket().at_once(true);
        net::write(stream_, net::buffer(out_), ec);
        Socket().at_once(false);
        if (ec) return Abandon();
        server_.stats().bytes_out.fetch_add(out_.size(), std::memory_order_relaxed);
        if (!Socket().backlog().empty()) return FlushBacklog();
        Written();
    }

    // The write limit is a stall limit: every write that moves bytes renews it.
    void FlushBacklog() {
        deadline_.Set(limits_.write_timeout_ms, SHUT_RDWR);
        const std::string &backlog = Socket().backlog();
        Raw().async_write_some(
            net::buffer(backlog.data() + written_, backlog.size() - written_),
            Bind([self = this->shared_from_this()](beast::error_code ec, size_t bytes) { self->OnFlush(ec, bytes); }));
    }

    void OnFlush(beast::error_code ec, size_t bytes) {
        answers_inline_ = 0;
        if (ec) return Abandon();
        written_ += bytes;
        if (written_ < Socket().backlog().size()) return FlushBacklog();
        Socket().backlog().clear();
        written_ = 0;
        Written();
    }

    void WriteSome() {
        deadline_.Set(limits_.write_timeout_ms, SHUT_RDWR);
        stream_.async_write_some(
            net::buffer(out_.data() + written_, out_.size() - written_),
            Bind([self = this->shared_from_this()](beast::error_code ec, size_t bytes) { self->OnWrite(ec, bytes); }));
    }

    void OnWrite(beast::error_code ec, size_t bytes) {
        answers_inline_ = 0;
        written_ += bytes;
        server_.stats().bytes_out.fetch_add(bytes, std::memory_order_relaxed);
        if (ec) return Abandon();
        if (written_ < out_.size()) return WriteSome();
        written_ = 0;
        Written();
    }

    // The answer is on its way: the next request, or the close.
    void Written() {
        if (answering_) server_.AnswerDone();
        answering_ = false;
        if (!keep_alive_) return Close();
        if (buffer_.size() == 0 || ++answers_inline_ < kAnswersInline) return WaitRequest();
        net::post(Raw().get_executor(), Bind([self = this->shared_from_this()] {
                      self->answers_inline_ = 0;
                      self->WaitRequest();
                  }));
    }

    // Over TLS the peer is told first (close_notify). Then FIN, reading until
    // the peer closes, so that unread request bytes do not turn the close
    // into a reset that would discard the answer.
    void Close() {
        if constexpr (kTls) {
            deadline_.Set(kLingerMs, SHUT_RDWR);
            stream_.async_shutdown(Bind([self = this->shared_from_this()](beast::error_code) {
                if (self->deadline_.passed()) return self->Abandon();
                self->TcpClose();
            }));
        } else {
            TcpClose();
        }
    }

    void TcpClose() {
        beast::error_code ignored;
        Raw().shutdown(tcp::socket::shutdown_send, ignored);
        deadline_.Set(kLingerMs, SHUT_RDWR);
        buffer_.clear();
        Drain();
    }

    void Drain() {
        Raw().async_read_some(buffer_.prepare(kReadChunk),
                              Bind([self = this->shared_from_this()](beast::error_code ec, size_t) {
                                  if (ec) return self->Abandon();
                                  self->Drain();
                              }));
    }

    Server &server_;
    const Limits &limits_;
    OpMemory op_memory_;
    Stream stream_;
    Deadline deadline_;  // after the stream: it lets go of the socket before the socket closes
    bool first_request_ = true;
    bool header_checked_ = false;
    bool header_deadline_ = false;  // the request being read has its header limit set
    bool force_close_ = false;      // the request's framing allows no next one
    int answers_inline_ = 0;        // pipelined answers written at once since a handler began
    beast::flat_buffer buffer_;
    std::optional<RequestParser> parser_;
    Request request_;
    std::string out_;
    size_t written_ = 0;
    bool keep_alive_ = false;
    bool answering_ = false;   // an entry ran: the server counts this answer until it is written
    bool dispatched_ = false;  // the request being answered was read whole and routing began
    int64_t started_ns_ = 0;   // when it was read whole; 0 while metrics were off
    uint32_t pool_ = 0;
};

void ConnectionStart(Server &server, TcpSocket socket, net::ssl::context *tls) {
    beast::error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    if (tls != nullptr) {
        std::make_shared<Connection<TlsStream>>(server, BoundedSocket(std::move(socket)), *tls)->Start();
        return;
    }
    std::make_shared<Connection<PlainStream>>(server, BoundedSocket(std::move(socket)))->Start();
}

}  // namespace kernel
