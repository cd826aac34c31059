#include "config/ip_address.h"

#include <arpa/inet.h>

#include <cstring>

namespace plat {

bool IpAddressParse(const std::string &text, LOC_IP_ADDR_S &out) {
    memset(&out, 0, sizeof(out));
    if (inet_pton(AF_INET, text.c_str(), out.aucAddr) == 1) {
        out.uiFamily = PLAT_AF_INET;
        return true;
    }
    if (inet_pton(AF_INET6, text.c_str(), out.aucAddr) == 1) {
        out.uiFamily = PLAT_AF_INET6;
        return true;
    }
    memset(&out, 0, sizeof(out));
    return false;
}

}  // namespace plat
