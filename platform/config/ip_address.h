// Text <-> binary IP addresses in the node layer's LOC_IP_ADDR_S form.
#pragma once

#include <string>

#include "plat_config.h"

namespace plat {

// IPv4 or IPv6 text to binary; false (and a zeroed address) when unparsable.
bool IpAddressParse(const std::string &text, LOC_IP_ADDR_S &out);

}  // namespace plat
