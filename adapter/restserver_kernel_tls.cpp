// TLS of a domain: the microservice record's settings copied into the
// engine's settings block, with the decrypted key password when the
// platform has one.
#include <stddef.h>
#include <string.h>

#include "adapter/restserver_kernel.h"
#include "config/restserver_cfg.h"
#include "core/restserver_log.h"
#include "core/restserver_problem.h"
#include "plat_config.h"
#include "plat_kernel.h"

static_assert(sizeof(RS_SSL_PARAM) == 128 && sizeof(RS_SSL_PARAM) == sizeof(REST_SSL_PARAM));
static_assert(offsetof(RS_SSL_PARAM, pcSslVersion) == 0);
static_assert(offsetof(RS_SSL_PARAM, ulOpaque1) == 8);
static_assert(offsetof(RS_SSL_PARAM, ppcCaFiles) == 16);
static_assert(offsetof(RS_SSL_PARAM, uiCaFileNum) == 24);
static_assert(offsetof(RS_SSL_PARAM, ulOpaque2) == 32);
static_assert(offsetof(RS_SSL_PARAM, pcCertFile) == 40);
static_assert(offsetof(RS_SSL_PARAM, ulOpaque3) == 48);
static_assert(offsetof(RS_SSL_PARAM, pcKeyFile) == 56);
static_assert(offsetof(RS_SSL_PARAM, pcKeyPassword) == 64);
static_assert(offsetof(RS_SSL_PARAM, ulZero1) == 72);
static_assert(offsetof(RS_SSL_PARAM, ulZero2) == 80);
static_assert(offsetof(RS_SSL_PARAM, uiZero3) == 88);
static_assert(offsetof(RS_SSL_PARAM, ppcCiphers) == 96);
static_assert(offsetof(RS_SSL_PARAM, uiCipherNum) == 104);
static_assert(offsetof(RS_SSL_PARAM, aucReserved) == 108);

// Continuation lines sit under the text after "RsKernelAuthEnable, Cfg is: ".
#define RS_CFG_INDENT "                            "

static void RsSslCfgLog(const MicroserviceRestCfg *pstCfg) {
    RS_LOG(RS_LOG_INFO, "RsKernelAuthEnable, Cfg is: SslVersion:%s", pstCfg->pcSslVersion);
    for (u32 i = 0; i < pstCfg->ucCaFileNum; ++i)
        RS_LOG(RS_LOG_INFO, RS_CFG_INDENT "CaFile%d :%s", i, pstCfg->ppcCaFiles[i]);
    RS_LOG(RS_LOG_INFO, RS_CFG_INDENT "CertFile:%s", pstCfg->pcCertFile);
    RS_LOG(RS_LOG_INFO, RS_CFG_INDENT "KeyFile :%s", pstCfg->pcKeyFile);
    for (u32 i = 0; i < pstCfg->ucCipherNum; ++i)
        RS_LOG(RS_LOG_INFO, RS_CFG_INDENT "Cipher%d :%s", i, pstCfg->ppcCiphers[i]);
}

// The password is only pointed at, never read or copied.
static const char *RsSslKeyPassword(const MicroserviceRestCfg *pstCfg) {
    if (g_decrypt_info_s.acKeyPassword[0] != '\0') {
        RS_LOG(RS_LOG_INFO, RS_CFG_INDENT "get decrypt password ok.");
        return g_decrypt_info_s.acKeyPassword;
    }
    RS_LOG(RS_LOG_ERROR, RS_CFG_INDENT "get decrypt password fail.");
    return pstCfg->pcKeyPassword;
}

static void RsSslParamFill(const MicroserviceRestCfg *pstCfg, RS_SSL_PARAM *pstParam) {
    memset(pstParam, 0, sizeof(*pstParam));
    pstParam->pcSslVersion = pstCfg->pcSslVersion;
    pstParam->ulOpaque1 = pstCfg->ulSslOpaque1;
    pstParam->ppcCaFiles = pstCfg->ppcCaFiles;
    pstParam->uiCaFileNum = pstCfg->ucCaFileNum;
    pstParam->ulOpaque2 = pstCfg->ulSslOpaque2;
    pstParam->pcCertFile = pstCfg->pcCertFile;
    pstParam->ulOpaque3 = pstCfg->ulSslOpaque3;
    pstParam->pcKeyFile = pstCfg->pcKeyFile;
    pstParam->pcKeyPassword = RsSslKeyPassword(pstCfg);
    pstParam->ppcCiphers = pstCfg->ppcCiphers;
    pstParam->uiCipherNum = pstCfg->ucCipherNum;
}

// The microservice record is released here, also when there is no server
// to take it; a TLS failure only logs and the start-up goes on.
extern "C" RS_API void RsKernelAuthEnable(RS_KERNEL_SERVER *pstServer, RS_META_AUTH *pstAuth) {
    MicroserviceRestCfg *pstCfg = pstAuth == nullptr ? nullptr : pstAuth->pstMsRestCfg;
    if (pstCfg == nullptr) {
        RS_LOG(RS_LOG_ERROR, "RsKernelAuthEnable pstMsRestCfg is null.");
        return;
    }
    if (pstServer == nullptr) {
        Haf_FreeMicroserviceRestCfg(&pstAuth->pstMsRestCfg);
        return;
    }
    u32 uiRet = RsSslInit();
    if (uiRet != 0) {
        RS_LOG(RS_LOG_ERROR, "RsSslInit occur error, ret:%d", uiRet);
        Haf_FreeMicroserviceRestCfg(&pstAuth->pstMsRestCfg);
        return;
    }
    RsSslCfgLog(pstCfg);
    RS_SSL_PARAM stParam;
    RsSslParamFill(pstCfg, &stParam);
    uiRet = REST_ServerSSLEnable(pstServer->hServer, reinterpret_cast<const REST_SSL_PARAM *>(&stParam));
    if (uiRet != 0) {
        RS_LOG(RS_LOG_ERROR, "RsKernelAuthEnable occur error, ret-code:0x%08x", uiRet);
    } else {
        RS_LOG(RS_LOG_INFO, "RsKernelAuthEnable ok.");
    }
    RS_LOG(RS_LOG_INFO, "free Microservice RestCfg ok.");
    Haf_FreeMicroserviceRestCfg(&pstAuth->pstMsRestCfg);
}

// The engine keeps the reason and refuses to start with it; the settings are
// named as platform.json writes them, since the reason names only the file.
extern "C" RS_API u32 RsKernelTlsCheck(RS_KERNEL_SERVER *pstServer, u8 ucInstId) {
    if (pstServer == nullptr) return RS_ERR;
    char acWhy[256] = {0};
    if (REST_ServerTlsProblemGet(pstServer->hServer, acWhy, sizeof(acWhy)) == 0) return RS_OK;
    RsProblemReport(ucInstId, "../conf/platform.json rest.tls: %s", acWhy);
    return RS_ERR;
}
