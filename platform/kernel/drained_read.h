// A socket read that tracks readiness the way an edge-triggered loop does:
// a read that returns less than it asked for has emptied the socket, so the
// reactor is told not to try the next read before epoll reports new bytes.
// Asio's own read learns that only from the failed read (EAGAIN) it makes
// first, one system call per request on a keep-alive connection.
//
// The operation plugs into the reactor of the socket's io_context through
// Asio's reactor-operation interface (the one its own socket operations use),
// so queuing, completion, handler memory and cancellation on close behave
// exactly as for Asio's read.
#pragma once

#include <boost/asio/async_result.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/detail/handler_alloc_helpers.hpp>
#include <boost/asio/detail/handler_work.hpp>
#include <boost/asio/detail/reactor.hpp>
#include <boost/asio/detail/reactor_op.hpp>
#include <boost/asio/detail/socket_ops.hpp>
#include <boost/asio/io_context.hpp>
#include <memory>

#include "kernel/io_types.h"

namespace kernel {

namespace drained_detail {

namespace detail = boost::asio::detail;

template <class Handler>
class DrainedReadOp : public detail::reactor_op {
public:
    BOOST_ASIO_DEFINE_HANDLER_PTR(DrainedReadOp);

    DrainedReadOp(detail::socket_type socket, boost::asio::mutable_buffer buffer, Handler &handler,
                  const LoopExecutor &executor)
        : reactor_op(boost::system::error_code(), &DrainedReadOp::Perform, &DrainedReadOp::Complete),
          socket_(socket),
          buffer_(buffer),
          handler_(std::move(handler)),
          work_(handler_, executor) {}

    // A short read, an end of stream or an error all mean no more bytes now.
    static status Perform(reactor_op *base) {
        auto *op = static_cast<DrainedReadOp *>(base);
        if (!detail::socket_ops::non_blocking_recv1(op->socket_, op->buffer_.data(), op->buffer_.size(), 0, true,
                                                    op->ec_, op->bytes_transferred_))
            return not_done;
        return op->bytes_transferred_ < op->buffer_.size() ? done_and_exhausted : done;
    }

    // As Asio's read: the memory is freed before the handler runs, so the
    // handler may start the next operation in it.
    static void Complete(void *owner, detail::operation *base, const boost::system::error_code &, std::size_t) {
        auto *op = static_cast<DrainedReadOp *>(base);
        ptr p = {std::addressof(op->handler_), op, op};
        detail::handler_work<Handler, LoopExecutor> work(std::move(op->work_));
        detail::binder2<Handler, boost::system::error_code, std::size_t> handler(op->handler_, op->ec_,
                                                                                 op->bytes_transferred_);
        p.h = std::addressof(handler.handler_);
        p.reset();
        if (owner == nullptr) return;
        detail::fenced_block fence(detail::fenced_block::half);
        work.complete(handler, handler.handler_);
    }

private:
    detail::socket_type socket_;
    boost::asio::mutable_buffer buffer_;
    Handler handler_;
    detail::handler_work<Handler, LoopExecutor> work_;
};

}  // namespace drained_detail

// A TCP socket of a loop, with the drained read beside Asio's operations.
// The socket must be non-blocking (the reactor only tries reads on one that is).
class ReadySocket : public TcpSocket {
public:
    explicit ReadySocket(TcpSocket socket)
        : TcpSocket(std::move(socket)),
          reactor_(&boost::asio::use_service<boost::asio::detail::reactor>(get_executor().context())) {}

    template <class Token>
    auto async_read_drained(boost::asio::mutable_buffer buffer, Token &&token) {
        return boost::asio::async_initiate<Token, void(boost::system::error_code, std::size_t)>(
            [socket = this](auto handler, boost::asio::mutable_buffer into) {
                socket->Start(std::move(handler), into);
            },
            token, buffer);
    }

private:
    // An empty read completes at once with nothing, as Asio's does (the TLS
    // layer asks for one when its input is full); a receive would report the
    // end of the stream.
    template <class Handler>
    void Start(Handler handler, boost::asio::mutable_buffer buffer) {
        if (buffer.size() == 0) return TcpSocket::async_read_some(buffer, std::move(handler));
        using Op = drained_detail::DrainedReadOp<Handler>;
        auto &impl = impl_.get_implementation();
        bool continuation = boost_asio_handler_cont_helpers::is_continuation(handler);
        typename Op::ptr p = {std::addressof(handler), Op::ptr::allocate(handler), nullptr};
        p.p = new (p.v) Op(impl.socket_, buffer, handler, get_executor());
        reactor_->start_op(boost::asio::detail::reactor::read_op, impl.socket_, impl.reactor_data_, p.p, continuation,
                           true);
        p.v = p.p = nullptr;
    }

    boost::asio::detail::reactor *reactor_;
};

}  // namespace kernel
