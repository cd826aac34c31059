// Reads each section of the platform configuration with its types, ranges and
// field sizes. Unknown members are ignored so newer files work with older code.
#include "config/platform_cfg_parse.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include "config/cfg_reader.h"
#include "config/ip_address.h"
#include "plat_log.h"

namespace plat {
namespace {

using JsonPtr = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

constexpr size_t kPathMax = 4095;

struct KernelMember {
    const char *name;
    u32 PLAT_KERNEL_CFG_S::*field;
};

const KernelMember kKernelMembers[] = {
    {"io_threads", &PLAT_KERNEL_CFG_S::uiIoThreads},
    {"workers", &PLAT_KERNEL_CFG_S::uiWorkers},
    {"group_workers", &PLAT_KERNEL_CFG_S::uiGroupWorkers},
    {"queue_depth", &PLAT_KERNEL_CFG_S::uiQueueDepth},
    {"stop_grace_ms", &PLAT_KERNEL_CFG_S::uiStopGraceMs},
    {"header_limit", &PLAT_KERNEL_CFG_S::uiHeaderLimit},
    {"target_limit", &PLAT_KERNEL_CFG_S::uiTargetLimit},
    {"body_limit", &PLAT_KERNEL_CFG_S::uiBodyLimit},
    {"header_timeout_ms", &PLAT_KERNEL_CFG_S::uiHeaderTimeoutMs},
    {"idle_timeout_ms", &PLAT_KERNEL_CFG_S::uiIdleTimeoutMs},
    {"write_timeout_ms", &PLAT_KERNEL_CFG_S::uiWriteTimeoutMs},
    {"max_connections", &PLAT_KERNEL_CFG_S::uiMaxConnections},
    {"max_fields", &PLAT_KERNEL_CFG_S::uiMaxFields},
};

bool ParseApp(CfgReader &reader, const cJSON *root, ParsedCfg &out) {
    const cJSON *app = nullptr;
    return reader.Section(root, "app", app) &&
           reader.Text(app, "app.service_name", out.serviceName, sizeof(g_stSspBaseAppConfig.acServiceName) - 1) &&
           reader.Flag(app, "app.auth", out.auth) && reader.Number(app, "app.serving_word", out.servingWord);
}

bool ParseNode(CfgReader &reader, const cJSON *root, ParsedCfg &out) {
    const cJSON *node = nullptr;
    NodeCfg &cfg = out.platform.node;
    if (!reader.Section(root, "node", node) || !reader.Text(node, "node.local_ip", cfg.localIp, kPathMax) ||
        !reader.Number(node, "node.instance_id", cfg.instanceId) || !reader.Number(node, "node.slot_id", out.slotId) ||
        !reader.Text(node, "node.node_slot", out.nodeSlot, sizeof(g_acProcessNodeSlot) - 1) ||
        !reader.Text(node, "node.common_root", cfg.commonRoot, kPathMax)) {
        return false;
    }
    LOC_IP_ADDR_S address;
    if (!IpAddressParse(cfg.localIp, address)) return reader.Fail("node.local_ip", "not an IPv4 or IPv6 address");
    return true;
}

bool ParseLog(CfgReader &reader, const cJSON *root, ParsedCfg &out) {
    const cJSON *log = nullptr;
    if (!reader.Section(root, "log", log) || !reader.Flag(log, "log.enabled", out.log.enabled) ||
        !reader.Text(log, "log.file", out.log.file, sizeof(g_stLogCfgs.acFile) - 1) ||
        !reader.Number(log, "log.level", out.log.level)) {
        return false;
    }
    if (out.log.enabled && out.log.file.empty()) return reader.Fail("log.file", "empty while logging is enabled");
    return true;
}

bool ParseRest(CfgReader &reader, const cJSON *root, ParsedCfg &out) {
    const cJSON *rest = nullptr;
    const cJSON *tls = nullptr;
    RestCfg &cfg = out.platform.rest;
    u32 port = 0;
    if (!reader.Section(root, "rest", rest)) return false;
    cfg.present = rest != nullptr;
    if (!reader.Text(rest, "rest.host", cfg.host, kPathMax) || !reader.Number(rest, "rest.port", port, UINT16_MAX) ||
        !reader.Section(rest, "rest.tls", tls) || !reader.Text(tls, "rest.tls.version", cfg.tls.version, kPathMax) ||
        !reader.TextList(tls, "rest.tls.ca_files", cfg.tls.caFiles, UINT8_MAX) ||
        !reader.Text(tls, "rest.tls.cert_file", cfg.tls.certFile, kPathMax) ||
        !reader.Text(tls, "rest.tls.key_file", cfg.tls.keyFile, kPathMax) ||
        !reader.Text(tls, "rest.tls.key_password", cfg.tls.keyPassword, kPathMax) ||
        !reader.TextList(tls, "rest.tls.ciphers", cfg.tls.ciphers, UINT8_MAX)) {
        return false;
    }
    cfg.port = static_cast<u16>(port);
    return true;
}

bool ParseDecrypt(CfgReader &reader, const cJSON *root, ParsedCfg &out) {
    const cJSON *decrypt = nullptr;
    return reader.Section(root, "decrypt", decrypt) &&
           reader.Text(decrypt, "decrypt.key_password", out.keyPassword, sizeof(g_decrypt_info_s.acKeyPassword) - 1);
}

// A port as text: digits only, 1..65535.
bool PortFromText(const char *text, u16 &port) {
    if (text == nullptr || *text == '\0') return false;
    char *end = nullptr;
    unsigned long value = strtoul(text, &end, 10);
    if (*end != '\0' || text[0] < '0' || text[0] > '9' || value == 0 || value > UINT16_MAX) return false;
    port = static_cast<u16>(value);
    return true;
}

bool ParsePortMap(CfgReader &reader, const cJSON *security, PLAT_SECURITY_SERVICE_CFG_S &cfg) {
    const cJSON *map = nullptr;
    if (!reader.Section(security, "security_service.port_map", map)) return false;
    if (map == nullptr) return true;
    if (cJSON_GetArraySize(map) > PLAT_PORT_MAP_MAX) {
        return reader.Fail("security_service.port_map", "more than " + std::to_string(PLAT_PORT_MAP_MAX) + " entries");
    }
    const cJSON *entry = nullptr;
    cJSON_ArrayForEach(entry, map) {
        std::string path = std::string("security_service.port_map.") + entry->string;
        u16 from = 0;
        u32 to = 0;
        if (!PortFromText(entry->string, from)) return reader.Fail(path, "key is not a port number");
        if (!reader.Number(map, path, to, UINT16_MAX)) return false;
        cfg.ausPortFrom[cfg.uiPortMapCount] = from;
        cfg.ausPortTo[cfg.uiPortMapCount] = static_cast<u16>(to);
        ++cfg.uiPortMapCount;
    }
    return true;
}

bool ParseSecurity(CfgReader &reader, const cJSON *root, ParsedCfg &out) {
    const cJSON *security = nullptr;
    std::string host = "127.0.0.1";
    std::string scheme = "http";
    PLAT_SECURITY_SERVICE_CFG_S &cfg = out.platform.security;
    if (!reader.Section(root, "security_service", security) ||
        !reader.Text(security, "security_service.host", host, sizeof(cfg.acHost) - 1) ||
        !reader.Text(security, "security_service.scheme", scheme, sizeof(cfg.acScheme) - 1)) {
        return false;
    }
    if (scheme != "http" && scheme != "https") return reader.Fail("security_service.scheme", "expected http or https");
    memcpy(cfg.acHost, host.c_str(), host.size() + 1);
    memcpy(cfg.acScheme, scheme.c_str(), scheme.size() + 1);
    return ParsePortMap(reader, security, cfg);
}

bool ParseKernel(CfgReader &reader, const cJSON *root, ParsedCfg &out) {
    const cJSON *kernel = nullptr;
    if (!reader.Section(root, "kernel", kernel)) return false;
    for (const KernelMember &member : kKernelMembers) {
        if (!reader.Number(kernel, std::string("kernel.") + member.name, out.platform.kernel.*member.field)) {
            return false;
        }
    }
    return true;
}

// The listener must stay apart from the service: the same address and port
// would make its routes collide with the configured ones.
bool ParseOps(CfgReader &reader, const cJSON *root, ParsedCfg &out) {
    const cJSON *ops = nullptr;
    PLAT_OPS_CFG_S &cfg = out.platform.ops;
    std::string host = cfg.acHost;
    bool enabled = false;
    u32 port = 0;
    if (!reader.Section(root, "ops", ops) || !reader.Flag(ops, "ops.enabled", enabled) ||
        !reader.Text(ops, "ops.host", host, sizeof(cfg.acHost) - 1) ||
        !reader.Number(ops, "ops.port", port, UINT16_MAX))
        return false;
    LOC_IP_ADDR_S address;
    if (!IpAddressParse(host, address)) return reader.Fail("ops.host", "not an IPv4 or IPv6 address");
    if (enabled && port == 0) return reader.Fail("ops.port", "required when ops.enabled is true");
    const RestCfg &rest = out.platform.rest;
    if (enabled && rest.present && rest.port == port &&
        (rest.host == host || rest.host.empty() || rest.host == "0.0.0.0" || rest.host == "::"))
        return reader.Fail("ops.port", "the same address and port as rest");
    cfg.uiEnabled = enabled ? 1 : 0;
    cfg.usPort = static_cast<u16>(port);
    memcpy(cfg.acHost, host.c_str(), host.size() + 1);
    return true;
}

}  // namespace

bool PlatformCfgParse(const char *text, ParsedCfg &out, std::string &error) {
    JsonPtr root(cJSON_Parse(text), &cJSON_Delete);
    if (!root) {
        error = "not valid JSON";
        return false;
    }
    if (!cJSON_IsObject(root.get())) {
        error = "top level: expected an object";
        return false;
    }
    CfgReader reader;
    bool ok = ParseApp(reader, root.get(), out) && ParseNode(reader, root.get(), out) &&
              ParseLog(reader, root.get(), out) && ParseRest(reader, root.get(), out) &&
              ParseDecrypt(reader, root.get(), out) && ParseSecurity(reader, root.get(), out) &&
              ParseKernel(reader, root.get(), out) && ParseOps(reader, root.get(), out);
    if (!ok) error = reader.Error();
    return ok;
}

}  // namespace plat
