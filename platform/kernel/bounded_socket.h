// A TCP socket whose asynchronous reads track readiness (drained_read.h),
// with two kinds of synchronous write besides the asynchronous ones:
// - bounded: an entry streaming its answer from its own thread waits at most
//   the stall time each time the peer takes nothing;
// - at once: the loop thread writing a small answer never waits; what the
//   kernel does not take joins a backlog the connection then sends
//   asynchronously. Over TLS the records are made synchronously and only
//   their sending is left to the backlog.
#pragma once

#include <poll.h>
#include <sys/socket.h>

#include <boost/asio/buffer.hpp>
#include <chrono>
#include <string>
#include <type_traits>

#include "kernel/drained_read.h"
#include "kernel/io_types.h"

namespace kernel {

class BoundedSocket {
public:
    using executor_type = TcpSocket::executor_type;
    using lowest_layer_type = TcpSocket::lowest_layer_type;

    // The socket is switched to non-blocking, so that synchronous calls here
    // can wait with a limit or not at all; asynchronous operations are not affected.
    explicit BoundedSocket(TcpSocket socket) : socket_(std::move(socket)) {
        boost::system::error_code ignored;
        socket_.non_blocking(true, ignored);
    }

    executor_type get_executor() { return socket_.get_executor(); }
    lowest_layer_type &lowest_layer() { return socket_.lowest_layer(); }
    const lowest_layer_type &lowest_layer() const { return socket_.lowest_layer(); }
    TcpSocket &socket() { return socket_; }
    void stall_limit(std::chrono::milliseconds limit) { stall_ = limit; }

    // While set, synchronous writes go out at once or to the backlog, and
    // synchronous reads fail rather than wait.
    void at_once(bool on) { at_once_ = on; }
    std::string &backlog() { return backlog_; }

    // The engine and the TLS layer read into one buffer at a time.
    template <class Buffers, class Token>
    auto async_read_some(const Buffers &buffers, Token &&token) {
        if constexpr (std::is_convertible_v<const Buffers &, boost::asio::mutable_buffer>) {
            return socket_.async_read_drained(buffers, std::forward<Token>(token));
        } else {
            return socket_.async_read_some(buffers, std::forward<Token>(token));
        }
    }
    template <class Buffers, class Token>
    auto async_write_some(const Buffers &buffers, Token &&token) {
        return socket_.async_write_some(buffers, std::forward<Token>(token));
    }

    template <class Buffers>
    size_t read_some(const Buffers &buffers, boost::system::error_code &ec) {
        if (at_once_) {
            ec = boost::asio::error::would_block;
            return 0;
        }
        return Bounded(POLLIN, ec, [&] { return socket_.read_some(buffers, ec); });
    }
    template <class Buffers>
    size_t write_some(const Buffers &buffers, boost::system::error_code &ec) {
        if (at_once_) return WriteAtOnce(buffers, ec);
        return Bounded(POLLOUT, ec, [&] { return socket_.write_some(buffers, ec); });
    }
    template <class Buffers>
    size_t read_some(const Buffers &buffers) {
        return OrThrow([&](boost::system::error_code &ec) { return read_some(buffers, ec); });
    }
    template <class Buffers>
    size_t write_some(const Buffers &buffers) {
        return OrThrow([&](boost::system::error_code &ec) { return write_some(buffers, ec); });
    }

private:
    template <class Call>
    static size_t OrThrow(Call call) {
        boost::system::error_code ec;
        size_t bytes = call(ec);
        if (ec) throw boost::system::system_error(ec);
        return bytes;
    }

    // Retries the call while the socket is not ready, waiting for readiness
    // at most the stall time each time.
    template <class Call>
    size_t Bounded(short events, boost::system::error_code &ec, Call call) {
        for (;;) {
            size_t bytes = call();
            if (ec != boost::asio::error::would_block && ec != boost::asio::error::try_again) return bytes;
            pollfd ready{socket_.native_handle(), events, 0};
            int result = ::poll(&ready, 1, static_cast<int>(stall_.count()));
            if (result == 0) {
                ec = boost::asio::error::timed_out;
                return 0;
            }
            if (result < 0 && errno != EINTR) {
                ec = boost::system::error_code(errno, boost::system::system_category());
                return 0;
            }
        }
    }

    // Takes every byte: sent now if nothing waits before them and the kernel
    // has room, else kept in order in the backlog.
    template <class Buffers>
    size_t WriteAtOnce(const Buffers &buffers, boost::system::error_code &ec) {
        ec = {};
        size_t total = boost::asio::buffer_size(buffers);
        size_t sent = 0;
        if (backlog_.empty()) {
            sent = socket_.write_some(buffers, ec);
            if (ec == boost::asio::error::would_block || ec == boost::asio::error::try_again) ec = {};
            if (ec) return 0;
        }
        for (auto it = boost::asio::buffer_sequence_begin(buffers); it != boost::asio::buffer_sequence_end(buffers);
             ++it) {
            boost::asio::const_buffer part(*it);
            size_t skip = std::min(sent, part.size());
            sent -= skip;
            backlog_.append(static_cast<const char *>(part.data()) + skip, part.size() - skip);
        }
        return total;
    }

    ReadySocket socket_;
    std::chrono::milliseconds stall_{30000};
    bool at_once_ = false;
    std::string backlog_;
};

}  // namespace kernel
