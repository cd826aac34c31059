// Listening address from the platform's microservice REST record.
#include "listen_address.h"

#include "plat_config.h"

namespace host {

std::string ListenAddressGet() {
    MicroserviceRestCfg *cfg = Haf_GenMicroserviceRestCfg();
    if (cfg == nullptr) return "";
    char host_text[64] = {};
    std::string address;
    if (Loc_IpAddressBinToStr(&cfg->stHostIp, host_text, sizeof(host_text)) == PLAT_OK) {
        bool tls = cfg->pcCertFile != nullptr && cfg->pcCertFile[0] != '\0';
        bool ipv6 = cfg->stHostIp.uiFamily == PLAT_AF_INET6;
        address = std::string(tls ? "https://" : "http://") + (ipv6 ? "[" : "") + host_text + (ipv6 ? "]" : "") + ":" +
                  std::to_string(cfg->usPort);
    }
    Haf_FreeMicroserviceRestCfg(&cfg);
    return address;
}

}  // namespace host
