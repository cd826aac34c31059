// The engine's I/O objects, bound to one event loop's concrete executor: a
// handler of a connection runs on its loop without the copies and queries of
// a type-erased executor, and without a strand, since a connection never
// has more than one operation outstanding.
#pragma once

#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <chrono>

namespace kernel {

using LoopExecutor = boost::asio::io_context::executor_type;
using TcpSocket = boost::asio::basic_stream_socket<boost::asio::ip::tcp, LoopExecutor>;
using LoopTimer = boost::asio::basic_waitable_timer<std::chrono::steady_clock,
                                                    boost::asio::wait_traits<std::chrono::steady_clock>, LoopExecutor>;

}  // namespace kernel
