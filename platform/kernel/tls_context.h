// Server TLS context from the engine's TLS settings block.
#pragma once

#include <boost/asio/ssl/context.hpp>
#include <memory>

#include "plat_kernel.h"

namespace kernel {

// Null on failure, after a log line naming the file or setting at fault.
std::shared_ptr<boost::asio::ssl::context> TlsContextMake(const REST_SSL_PARAM &param);

}  // namespace kernel
