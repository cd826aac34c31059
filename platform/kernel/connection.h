// Serving one accepted connection.
#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>

namespace kernel {

class Server;

// Serves the socket (over TLS when tls is set) until it closes; the
// connection keeps itself alive through its pending operations.
void ConnectionStart(Server &server, boost::asio::ip::tcp::socket socket, boost::asio::ssl::context *tls);

}  // namespace kernel
