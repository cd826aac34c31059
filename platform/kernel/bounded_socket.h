// A TCP socket whose blocking reads and writes give up after a stall: each
// call waits at most the stall time for the peer to make progress. An entry
// streams its answer through it from its own thread while the connection's
// asynchronous operations, delegated unchanged, are idle.
#pragma once

#include <poll.h>

#include <boost/asio/ip/tcp.hpp>
#include <chrono>

namespace kernel {

class BoundedSocket {
public:
    using executor_type = boost::asio::ip::tcp::socket::executor_type;
    using lowest_layer_type = boost::asio::ip::tcp::socket::lowest_layer_type;

    // The socket is switched to non-blocking, so blocking calls here can wait
    // with a limit; asynchronous operations are not affected.
    explicit BoundedSocket(boost::asio::ip::tcp::socket socket) : socket_(std::move(socket)) {
        boost::system::error_code ignored;
        socket_.non_blocking(true, ignored);
    }

    executor_type get_executor() { return socket_.get_executor(); }
    lowest_layer_type &lowest_layer() { return socket_.lowest_layer(); }
    const lowest_layer_type &lowest_layer() const { return socket_.lowest_layer(); }
    boost::asio::ip::tcp::socket &socket() { return socket_; }
    void stall_limit(std::chrono::milliseconds limit) { stall_ = limit; }

    template <class Buffers, class Token>
    auto async_read_some(const Buffers &buffers, Token &&token) {
        return socket_.async_read_some(buffers, std::forward<Token>(token));
    }
    template <class Buffers, class Token>
    auto async_write_some(const Buffers &buffers, Token &&token) {
        return socket_.async_write_some(buffers, std::forward<Token>(token));
    }

    template <class Buffers>
    size_t read_some(const Buffers &buffers, boost::system::error_code &ec) {
        return Bounded(POLLIN, ec, [&] { return socket_.read_some(buffers, ec); });
    }
    template <class Buffers>
    size_t write_some(const Buffers &buffers, boost::system::error_code &ec) {
        return Bounded(POLLOUT, ec, [&] { return socket_.write_some(buffers, ec); });
    }
    template <class Buffers>
    size_t read_some(const Buffers &buffers) {
        boost::system::error_code ec;
        size_t bytes = read_some(buffers, ec);
        if (ec) throw boost::system::system_error(ec);
        return bytes;
    }
    template <class Buffers>
    size_t write_some(const Buffers &buffers) {
        boost::system::error_code ec;
        size_t bytes = write_some(buffers, ec);
        if (ec) throw boost::system::system_error(ec);
        return bytes;
    }

private:
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

    boost::asio::ip::tcp::socket socket_;
    std::chrono::milliseconds stall_{30000};
};

}  // namespace kernel
