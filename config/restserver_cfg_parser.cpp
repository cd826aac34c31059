// The parse phase: the platform's microservice configuration gives the one
// domain and its TLS entry; the handler configuration files give modules
// ("load") and URL handlers ("url"). A bad line is logged and skipped.
#include <errno.h>
#include <stdlib.h>
#include <string.h>

#include "config/restserver_cfg_parser.h"
#include "config/restserver_cfg_source.h"
#include "core/restserver_diag.h"
#include "core/restserver_log.h"
#include "core/restserver_problem.h"
#include "core/restserver_string.h"
#include "plat_text.h"

#define RS_COMMON_CFG_PATH "../lib/common_resthandler.cfg"
#define RS_BUSINESS_CFG_PATH "../lib/resthandler.cfg"
#define RS_REAL_PATH_SIZE 4096u
#define RS_HOST_BUF_SIZE 64u
#define RS_PORT_BUF_SIZE 6u
#define RS_LOAD_SLOTS 3u
#define RS_URL_SLOTS 4u

// Where the line being parsed comes from, for the problems reported to the host.
static thread_local const char *t_pcParsePath = "";
static thread_local u32 t_uiParseLine = 0;

static u8 RsConfContextInstId(const RS_CONF_CONTEXT *pstContext) {
    return pstContext->pstInst != nullptr ? pstContext->pstInst->ucInstId : static_cast<u8>(RS_INST_ID_NONE);
}

extern "C" RS_API const RS_CONF_TAG_ENTRY g_astContifureEntries[RS_CONF_TAG_NUM] = {
    {"load", RsConfConfigLoadParser},
    {"url", RsConfConfigUrlParser},
};

// The common file's module is not visible in the business file: each file
// has its own context, sharing only the domain and its auth entry.
extern "C" RS_API u32 RsConfParser(RS_INSTANCE *pstInst) {
    RsStateSet(pstInst, RS_STATE_PARSING);
    RS_CONF_CONTEXT stCommon = {};
    RS_CONF_CONTEXT stBusiness = {};
    stCommon.pstInst = pstInst;
    stBusiness.pstInst = pstInst;
    if (RsConfMicroServiceCfgRead(&stCommon) != RS_OK) {
        RS_LOG(RS_LOG_ERROR, "Read Micro Service config failed.");
        RsProblemReport(pstInst->ucInstId,
                        "no listening address: the platform configuration's rest section names "
                        "no host address");
        return RS_ERR;
    }
    stBusiness.pstCurDomain = stCommon.pstCurDomain;
    stBusiness.pstCurAuth = stCommon.pstCurAuth;
    if (RsConfRestBussinessCfgRead(&stCommon, RS_COMMON_CFG_PATH) != RS_OK) {
        RS_LOG(RS_LOG_ERROR, "Read Rest Common Business config failed.");
    }
    if (RsConfRestBussinessCfgRead(&stBusiness, RS_BUSINESS_CFG_PATH) != RS_OK) {
        RS_LOG(RS_LOG_ERROR, "Read Rest Business config failed.");
    }
    return RS_OK;
}

// On success the platform record belongs to the auth entry.
extern "C" RS_API u32 RsConfMicroServiceCfgRead(RS_CONF_CONTEXT *pstContext) {
    MicroserviceRestCfg *pstMsRestCfg = Haf_GenMicroserviceRestCfg();
    if (pstMsRestCfg == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Error occure generate microservier rest configuration.");
        return RS_ERR;
    }
    char acHost[RS_HOST_BUF_SIZE] = {0};
    (void)Loc_IpAddressBinToStr(&pstMsRestCfg->stHostIp, acHost, sizeof(acHost));
    if (acHost[0] == '\0') {
        Haf_FreeMicroserviceRestCfg(&pstMsRestCfg);
        RS_LOG(RS_LOG_ERROR, "Host is null.");
        return RS_ERR;
    }
    RS_LOG(RS_LOG_INFO, "Host is %s.", acHost);
    char acPort[RS_PORT_BUF_SIZE] = {0};
    (void)snprintf_s(acPort, sizeof(acPort), sizeof(acPort) - 1, "%d", pstMsRestCfg->usPort);

    pstContext->pstCurDomain = RsConfDomainCreate(pstContext->pstInst, acHost, acPort);
    if (pstContext->pstCurDomain == nullptr) {
        Haf_FreeMicroserviceRestCfg(&pstMsRestCfg);
        RS_LOG(RS_LOG_ERROR, "pstContext->pstCurDomain is null.");
        return RS_ERR;
    }
    pstContext->pstCurAuth = RsConfAuthCreate(pstContext->pstInst, pstMsRestCfg);
    RsConfDomainSetAuth(pstContext->pstCurDomain, pstContext->pstCurAuth);
    return RS_OK;
}

extern "C" RS_API u32 RsConfRestBussinessCfgRead(RS_CONF_CONTEXT *pstContext, const char *pcPath) {
    char acRealPath[RS_REAL_PATH_SIZE] = {0};
    if (realpath(pcPath, acRealPath) == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Get cfg file realpath fail.");
        RsProblemReport(RsConfContextInstId(pstContext), "%s not read: %s", pcPath, strerror(errno));
        return RS_ERR;
    }
    FILE *pstFile = fopen(acRealPath, "r");
    if (pstFile == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Open cfg file fail.");
        RsProblemReport(RsConfContextInstId(pstContext), "%s not read: %s", pcPath, strerror(errno));
        return RS_ERR;
    }
    t_pcParsePath = pcPath;
    t_uiParseLine = 0;
    char *pcLine = nullptr;
    while ((pcLine = RsReadLine(pstFile, pstContext->acLine, sizeof(pstContext->acLine))) != nullptr) {
        ++t_uiParseLine;
        RsConfLineParser(pcLine, pstContext);
    }
    t_pcParsePath = "";
    (void)fclose(pstFile);
    return RS_OK;
}

// The tag ends at the first space; the value is the rest, both trimmed.
extern "C" RS_API void RsConfLineExtract(char **ppcTag, char **ppcValue) {
    char *pcLine = *ppcTag;
    if (pcLine[0] == '\0') return;
    char *pcSpace = strchr(pcLine, ' ');
    if (pcSpace == nullptr) {
        *ppcValue = nullptr;
        return;
    }
    *pcSpace = '\0';
    *ppcTag = RsStrTrim(pcLine, strlen(pcLine));
    *ppcValue = RsStrTrim(pcSpace + 1, strlen(pcSpace + 1));
}

extern "C" RS_API void RsConfLineParser(char *pcLine, RS_CONF_CONTEXT *pstContext) {
    char *pcTag = pcLine;
    char *pcValue = nullptr;
    RsConfLineExtract(&pcTag, &pcValue);
    if (pcTag[0] == '\0' && (pcValue == nullptr || pcValue[0] == '\0')) return;
    (void)RsConfDoParser(pcTag, pcValue, pstContext);
}

// Unknown tags are not an error: the line is ignored, and the host is told.
extern "C" RS_API u32 RsConfDoParser(const char *pcTag, char *pcRawCfg, RS_CONF_CONTEXT *pstContext) {
    if (pcTag == nullptr || pcRawCfg == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Parse conf failed: pcTag is null or pcRawCfg is null.");
        RsProblemReport(RsConfContextInstId(pstContext), "%s line %u: \"%s\" without a value, ignored", t_pcParsePath,
                        t_uiParseLine, pcTag != nullptr ? pcTag : "");
        return RS_ERR;
    }
    if (pcTag[0] == '\0' || pcRawCfg[0] == '\0') {
        RS_LOG(RS_LOG_ERROR, "Parse conf failed: pcTag is empty or pcRawCfg is empty.");
        RsProblemReport(RsConfContextInstId(pstContext), "%s line %u: \"%s\" without a value, ignored", t_pcParsePath,
                        t_uiParseLine, pcTag);
        return RS_ERR;
    }
    for (const RS_CONF_TAG_ENTRY &stEntry : g_astContifureEntries) {
        if (strcmp(stEntry.pcTag, pcTag) != 0) continue;
        if (stEntry.pfnParser(pcRawCfg, pstContext) != RS_OK) {
            RS_LOG(RS_LOG_ERROR, "Parse conf failed, pcTag: %s, pcRawCfg: %s.", pcTag, pcRawCfg);
            RsProblemReport(RsConfContextInstId(pstContext), "%s line %u: \"%s %s\" not understood, ignored",
                            t_pcParsePath, t_uiParseLine, pcTag, pcRawCfg);
            return RS_ERR;
        }
        return RS_OK;
    }
    RsProblemReport(RsConfContextInstId(pstContext), "%s line %u: unknown directive \"%s\", ignored", t_pcParsePath,
                    t_uiParseLine, pcTag);
    return RS_OK;
}

// "load <path> [init function]": one per file, before its "url" lines.
extern "C" RS_API u32 RsConfConfigLoadParser(char *pcValue, RS_CONF_CONTEXT *pstContext) {
    RS_ASSERT(pstContext->pstCurModule == ((void *)0));
    char *apcFields[RS_LOAD_SLOTS] = {nullptr};
    (void)RsStrSplit(pcValue, " ", apcFields, RS_LOAD_SLOTS);
    if (apcFields[0] == nullptr) return RS_ERR;
    pstContext->pstCurModule = RsConfModuleCreate(pstContext->pstInst, apcFields[0], apcFields[1]);
    if (pstContext->pstCurModule != nullptr) RsConfSourceNote(pstContext->pstCurModule, t_pcParsePath, t_uiParseLine);
    return RS_OK;
}

// Decimal with an optional sign, stopping at the first non-digit, kept as
// its low 32 bits: "-1" is no group, "x" is group 0.
static u32 RsConfGroupIdParse(const char *pcText) {
    if (pcText == nullptr) return RS_GROUP_NONE;
    return static_cast<u32>(strtoll(pcText, nullptr, 10));
}

// Read as above all the same; only a number of 0 or more, or -1, says what was meant.
static void RsConfGroupIdCheck(const RS_CONF_CONTEXT *pstContext, const char *pcText, u32 uiGroupId) {
    if (pcText == nullptr || strcmp(pcText, "-1") == 0) return;
    if (pcText[strspn(pcText, "0123456789")] == '\0' && strlen(pcText) <= 9) return;
    RsProblemReport(RsConfContextInstId(pstContext),
                    "%s line %u: group \"%s\" is not a number from 0 to 999999999 or -1, read as %d", t_pcParsePath,
                    t_uiParseLine, pcText, static_cast<int>(uiGroupId));
}

static void RsConfDomainRaiseMaxGroupId(RS_META_DOMAIN *pstDomain, u32 uiGroupId) {
    if (uiGroupId == RS_GROUP_NONE) return;
    u32 uiMax = RsConfDomainGetMaxGroupId(pstDomain);
    if (uiMax == RS_GROUP_NONE || uiMax < uiGroupId) RsConfDomainSetMaxGroupId(pstDomain, uiGroupId);
}

// "url <url> <handler function> [group id]", bound to this file's module.
extern "C" RS_API u32 RsConfConfigUrlParser(char *pcValue, RS_CONF_CONTEXT *pstContext) {
    RS_ASSERT(pstContext->pstCurModule != ((void *)0));
    RS_ASSERT(pstContext->pstCurDomain != ((void *)0));
    char *apcFields[RS_URL_SLOTS] = {nullptr};
    (void)RsStrSplit(pcValue, " ", apcFields, RS_URL_SLOTS);
    if (apcFields[0] == nullptr || apcFields[1] == nullptr) {
        RS_LOG(RS_LOG_ERROR, "missing parameters for page handler.");
        return RS_ERR;
    }
    u32 uiGroupId = RsConfGroupIdParse(apcFields[2]);
    RsConfGroupIdCheck(pstContext, apcFields[2], uiGroupId);
    RS_META_HANDLER *pstMetaHandler = RsConfHandlerCreate(pstContext->pstInst, uiGroupId, apcFields[0], apcFields[1]);
    if (pstMetaHandler == nullptr) {
        RS_LOG(RS_LOG_ERROR, "pstMetaHandler is null.");
        return RS_ERR;
    }
    RsConfSourceNote(pstMetaHandler, t_pcParsePath, t_uiParseLine);
    // Without a domain the handler has no list to live in.
    if (pstContext->pstCurDomain == nullptr) {
        RsConfSourceForget(pstMetaHandler);
        free(pstMetaHandler);
        return RS_ERR;
    }
    RsConfHandlerSetModule(pstMetaHandler, pstContext->pstCurModule);
    RsConfDomainAddHandler(pstContext->pstCurDomain, pstMetaHandler);
    RsConfDomainRaiseMaxGroupId(pstContext->pstCurDomain, uiGroupId);
    return RS_OK;
}
