// Serving one accepted connection.
#pragma once

#include <boost/asio/ssl/context.hpp>

#include "kernel/io_types.h"

namespace kernel {

class Server;

// Serves the socket (over TLS when tls is set) until it closes; the
// connection keeps itself alive through its pending operations.
void ConnectionStart(Server &server, TcpSocket socket, boost::asio::ssl::context *tls);

}  // namespace kernel
