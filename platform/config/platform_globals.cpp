// The exported platform globals and how a parsed configuration fills them.
// Their byte layouts are read by index elsewhere, so every fixed offset is
// pinned here.
#include <cstddef>
#include <cstring>

#include "config/platform_cfg_parse.h"
#include "log/log_sink.h"
#include "plat_log.h"

PLAT_API SSP_BASE_APP_CONFIG_S g_stSspBaseAppConfig = {};
PLAT_API DECRYPT_INFO_S g_decrypt_info_s = {};
PLAT_API u32 g_frame_slot_id = 0;
PLAT_API char g_acProcessNodeSlot[64] = {};

static_assert(offsetof(SSP_BASE_APP_CONFIG_S, uiServingWord) == 0);
static_assert(offsetof(SSP_BASE_APP_CONFIG_S, uiAuthEnable) == 28);
static_assert(offsetof(SSP_BASE_APP_CONFIG_S, acServiceName) == 32);
static_assert(offsetof(DECRYPT_INFO_S, acKeyPassword) == 2944);
static_assert(offsetof(LOG_CFG_S, uiEnable) == 4);
static_assert(sizeof(LOC_IP_ADDR_S) == 24);
static_assert(offsetof(MicroserviceRestCfg, ucCaFileNum) == 4);
static_assert(offsetof(MicroserviceRestCfg, ucCipherNum) == 5);
static_assert(offsetof(MicroserviceRestCfg, usPort) == 6);
static_assert(offsetof(MicroserviceRestCfg, stHostIp) == 8);
static_assert(offsetof(MicroserviceRestCfg, pcSslVersion) == 32);
static_assert(offsetof(MicroserviceRestCfg, ulSslOpaque1) == 40);
static_assert(offsetof(MicroserviceRestCfg, ppcCaFiles) == 48);
static_assert(offsetof(MicroserviceRestCfg, ulSslOpaque2) == 56);
static_assert(offsetof(MicroserviceRestCfg, pcCertFile) == 64);
static_assert(offsetof(MicroserviceRestCfg, ulSslOpaque3) == 72);
static_assert(offsetof(MicroserviceRestCfg, pcKeyFile) == 80);
static_assert(offsetof(MicroserviceRestCfg, pcKeyPassword) == 88);
static_assert(offsetof(MicroserviceRestCfg, ppcCiphers) == 96);

namespace plat {
namespace {

// Lengths were checked by the parser, so every copy fits with its NUL.
void CopyText(char *dest, size_t size, const std::string &text) {
    memset(dest, 0, size);
    memcpy(dest, text.c_str(), text.size() < size ? text.size() : size - 1);
}

u32 ApplyLog(const LogSettings &log, std::string &error) {
    if (log.enabled) {
        if (LogSinkOpen(log.file, error) != PLAT_OK) return PLAT_ERR;
    } else {
        LogSinkClose();
    }
    g_stLogCfgs.uiLevel = log.level;
    g_stLogCfgs.pHandle = log.enabled ? &g_stLogCfgs : nullptr;
    CopyText(g_stLogCfgs.acFile, sizeof(g_stLogCfgs.acFile), log.file);
    g_stLogCfgs.uiEnable = log.enabled ? 1 : 0;
    return PLAT_OK;
}

}  // namespace

// Opens the log first: when that fails nothing else changes.
u32 PlatformCfgApply(const ParsedCfg &cfg, std::string &error) {
    if (ApplyLog(cfg.log, error) != PLAT_OK) {
        error = "log.file: " + error;
        return PLAT_ERR;
    }
    g_stSspBaseAppConfig.uiServingWord = cfg.servingWord;
    g_stSspBaseAppConfig.uiAuthEnable = cfg.auth ? 1 : 0;
    CopyText(g_stSspBaseAppConfig.acServiceName, sizeof(g_stSspBaseAppConfig.acServiceName), cfg.serviceName);
    CopyText(g_decrypt_info_s.acKeyPassword, sizeof(g_decrypt_info_s.acKeyPassword), cfg.keyPassword);
    g_frame_slot_id = cfg.slotId;
    CopyText(g_acProcessNodeSlot, sizeof(g_acProcessNodeSlot), cfg.nodeSlot);
    PlatformCfgReplace(cfg.platform);
    return PLAT_OK;
}

}  // namespace plat
