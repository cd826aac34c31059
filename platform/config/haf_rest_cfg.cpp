// The microservice REST record built from "rest". The record owns deep
// copies of every text (malloc'd, so a C caller could release pieces) and is
// released only by Haf_FreeMicroserviceRestCfg.
#include <cstdlib>
#include <cstring>

#include "config/ip_address.h"
#include "config/platform_cfg.h"

namespace {

void FreeList(char **list, u32 count) {
    if (list == nullptr) return;
    for (u32 i = 0; i < count; ++i)
        free(list[i]);
    free(list);
}

void FreeRecord(MicroserviceRestCfg *cfg) {
    free(cfg->pcSslVersion);
    FreeList(cfg->ppcCaFiles, cfg->ucCaFileNum);
    free(cfg->pcCertFile);
    free(cfg->pcKeyFile);
    free(cfg->pcKeyPassword);
    FreeList(cfg->ppcCiphers, cfg->ucCipherNum);
    free(cfg);
}

// An empty list still gets an array, so callers may index it by its count.
bool CopyList(const std::vector<std::string> &from, char **&to) {
    to = static_cast<char **>(calloc(from.size() + 1, sizeof(char *)));
    if (to == nullptr) return false;
    for (size_t i = 0; i < from.size(); ++i) {
        to[i] = strdup(from[i].c_str());
        if (to[i] == nullptr) return false;
    }
    return true;
}

// The counts are set before the arrays are filled so a partial record frees cleanly.
bool FillTls(const plat::RestTlsCfg &tls, MicroserviceRestCfg &cfg) {
    cfg.ucCaFileNum = static_cast<u8>(tls.caFiles.size());
    cfg.ucCipherNum = static_cast<u8>(tls.ciphers.size());
    cfg.pcSslVersion = strdup(tls.version.c_str());
    cfg.pcCertFile = strdup(tls.certFile.c_str());
    cfg.pcKeyFile = strdup(tls.keyFile.c_str());
    cfg.pcKeyPassword = strdup(tls.keyPassword.c_str());
    bool lists = CopyList(tls.caFiles, cfg.ppcCaFiles) && CopyList(tls.ciphers, cfg.ppcCiphers);
    return lists && cfg.pcSslVersion && cfg.pcCertFile && cfg.pcKeyFile && cfg.pcKeyPassword;
}

}  // namespace

extern "C" PLAT_API MicroserviceRestCfg *Haf_GenMicroserviceRestCfg(void) {
    try {
        plat::RestCfg rest = plat::RestCfgGet();
        LOC_IP_ADDR_S address;
        if (!rest.present || rest.host.empty() || !plat::IpAddressParse(rest.host, address)) return nullptr;
        auto *cfg = static_cast<MicroserviceRestCfg *>(calloc(1, sizeof(MicroserviceRestCfg)));
        if (cfg == nullptr) return nullptr;
        cfg->usPort = rest.port;
        cfg->stHostIp = address;
        if (!FillTls(rest.tls, *cfg)) {
            FreeRecord(cfg);
            return nullptr;
        }
        return cfg;
    } catch (...) {
        return nullptr;
    }
}

extern "C" PLAT_API void Haf_FreeMicroserviceRestCfg(MicroserviceRestCfg **ppstCfg) {
    if (ppstCfg == nullptr || *ppstCfg == nullptr) return;
    FreeRecord(*ppstCfg);
    *ppstCfg = nullptr;
}
