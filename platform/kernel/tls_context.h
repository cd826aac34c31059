// Server TLS context from the engine's TLS settings block.
#pragma once

#include <boost/asio/ssl/context.hpp>
#include <memory>
#include <string>

#include "plat_kernel.h"

namespace kernel {

// Null on failure, with reason naming the file or setting at fault (also logged).
std::shared_ptr<boost::asio::ssl::context> TlsContextMake(const REST_SSL_PARAM &param, std::string &reason);

}  // namespace kernel
