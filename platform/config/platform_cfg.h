// The parsed platform configuration kept by the platform itself (what does
// not live in an exported global), with thread-safe snapshots for readers.
#pragma once

#include <string>
#include <vector>

#include "plat_config.h"

namespace plat {

struct NodeCfg {
    std::string localIp = "127.0.0.1";
    u32 instanceId = 1;
    std::string commonRoot = "..";
};

struct RestTlsCfg {
    std::string version;
    std::vector<std::string> caFiles;
    std::string certFile;
    std::string keyFile;
    std::string keyPassword;
    std::vector<std::string> ciphers;
};

// The "rest" member, turned into a MicroserviceRestCfg on request.
struct RestCfg {
    bool present = false;
    std::string host;
    u16 port = 0;
    RestTlsCfg tls;
};

struct PlatformCfg {
    NodeCfg node;
    RestCfg rest;
    PLAT_KERNEL_CFG_S kernel{};
    PLAT_SECURITY_SERVICE_CFG_S security{};
    PLAT_OPS_CFG_S ops{0, 0, {0, 0}, "127.0.0.1"};
};

// Copies of the current configuration (defaults before any is read).
NodeCfg NodeCfgGet();
RestCfg RestCfgGet();

// Makes cfg the current configuration (kernel and security records included).
void PlatformCfgReplace(const PlatformCfg &cfg);

}  // namespace plat
