// The address the instances listen on, as a client would type it.
#pragma once

#include <string>

namespace host {

// "https://host:port" when the platform configuration names a certificate,
// "http://host:port" otherwise; empty when there is no listening configuration.
std::string ListenAddressGet();

}  // namespace host
