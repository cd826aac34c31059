// Service tokens: the deployment's JWT from jwt.json, exchanged together with
// the service of the URL a handler is about to call for a token at the
// security service.
#include <stdlib.h>
#include <string.h>

#include "auth/restserver_service_token.h"
#include "core/restserver_end_point.h"
#include "core/restserver_json_file.h"
#include "core/restserver_log.h"
#include "plat_client.h"
#include "plat_json.h"
#include "plat_text.h"

extern "C" {
RS_API char *g_serviceJwt = nullptr;
}

namespace {

constexpr u32 kLoadFailed = 0xFFFFFFFFu;
constexpr u16 kTokenServicePort = 8073;
constexpr u32 kHttpOk = 200;
constexpr u32 kAddressSize = 64;
const char *const kTokenPath = "/rest/vog/v1/tokens/jwt/vog";

constexpr RS_JSON_FILE_MSGS kJwtFileMsgs = {
    "Real path alloc fail.",    "Jwt json path invalid.",       "Jwt json file open fail.",
    "Jwt json str alloc fail.", "JwtConfigLoad strcat_s fail.", "Jwt json parse fail.",
};

// The heap copy of the document's "jwt"; null with the reason logged.
char *JwtCopy(const CFJSON *pstDoc) {
    const char *pcJwt = CFJSON_StringValueGet(CFJSON_ObjectItemGet(pstDoc, "jwt"));
    if (pcJwt == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Jwt json parse fail.");
        return nullptr;
    }
    size_t ulSize = strlen(pcJwt) + 1;
    char *pcCopy = static_cast<char *>(malloc(ulSize));
    if (pcCopy == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Jwt str alloc fail.");
        return nullptr;
    }
    (void)strcpy_s(pcCopy, ulSize, pcJwt);
    return pcCopy;
}

// The answer's body of a 200 as a NUL-terminated copy; null for anything else.
char *AnswerCopy(u32 uiRet, u32 uiHttpCode, const char *pcAnswer, u32 uiAnswerLen) {
    if (uiRet != 0 || uiHttpCode != kHttpOk || pcAnswer == nullptr || uiAnswerLen == 0) return nullptr;
    char *pcCopy = static_cast<char *>(malloc(static_cast<size_t>(uiAnswerLen) + 1));
    if (pcCopy == nullptr) return nullptr;
    (void)memcpy_s(pcCopy, static_cast<size_t>(uiAnswerLen) + 1, pcAnswer, uiAnswerLen);
    pcCopy[uiAnswerLen] = '\0';
    return pcCopy;
}

}  // namespace

extern "C" RS_API u32 JwtConfigLoad(void) {
    if (__atomic_load_n(&g_serviceJwt, __ATOMIC_ACQUIRE) != nullptr) return 0;
    CFJSON *pstDoc = nullptr;
    if (RsJsonFileRead(RS_JWT_JSON_PATH, &kJwtFileMsgs, &pstDoc) != 0) return kLoadFailed;
    char *pcJwt = JwtCopy(pstDoc);
    CFJSON_Delete(pstDoc);
    if (pcJwt == nullptr) return kLoadFailed;
    __atomic_store_n(&g_serviceJwt, pcJwt, __ATOMIC_RELEASE);
    return 0;
}

extern "C" RS_API char *RsJwtParamBuild(const char *pcDomain) {
    const char *pcJwt = __atomic_load_n(&g_serviceJwt, __ATOMIC_ACQUIRE);
    CFJSON *pstParam = CFJSON_ObjectCreate();
    if (pstParam == nullptr) return nullptr;
    char *pcText = nullptr;
    if (CFJSON_AddString2Object(pstParam, "jwt", pcJwt) == 0 &&
        CFJSON_AddString2Object(pstParam, "domain", pcDomain) == 0)
        pcText = CFJSON_Print(pstParam);
    CFJSON_Delete(pstParam);
    return pcText;
}

// Logs nothing: a caller learns only that no token came.
extern "C" RS_API char *RsVogTokenGet(const char *pcUrl) {
    const RsUrlConfigInfo *pstEntry = RsUrlConfigInfoGet(pcUrl);
    if (pstEntry == nullptr) return nullptr;
    char *pcRequest = RsJwtParamBuild(pstEntry->domain);
    if (pcRequest == nullptr) return nullptr;

    char acAddress[kAddressSize] = {0};  // empty: the platform's security service host
    RS_END_POINT stEndPoint = {0, kTokenServicePort, {0, 0}, acAddress};
    char acHeadName[] = "Content-Type";
    char acHeadValue[] = "application/json";
    char *apcHeadNames[] = {acHeadName};
    char *apcHeadValues[] = {acHeadValue};
    char *pcIoBody = pcRequest;
    u32 uiIoLen = static_cast<u32>(strlen(pcRequest));
    u32 uiHttpCode = 0;
    // The endpoint record is laid out as the platform's.
    u32 uiRet =
        SSP_RestRequestSendWithHead(SSP_REST_POST, reinterpret_cast<const REST_END_POINT *>(&stEndPoint), kTokenPath,
                                    &pcIoBody, &uiIoLen, &uiHttpCode, apcHeadNames, apcHeadValues, 1);
    // The call hands back the answer's body in place of the request text, or null.
    const char *pcAnswer = pcIoBody != pcRequest ? pcIoBody : nullptr;
    char *pcToken = AnswerCopy(uiRet, uiHttpCode, pcAnswer, uiIoLen);
    if (pcAnswer != nullptr) SSP_ResponseBodyFree(pcIoBody);
    CFJSON_Free(pcRequest);
    return pcToken;
}
