// The auth filter in front of every handler, and the refusal it leads to.
// With the platform's authentication switch on, a request passes only with a
// token in "x-access-token" that verifies against the certificates, has not
// expired, and that the URL rules grant for this method and path.
#include <stdlib.h>
#include <string.h>

#include "auth/restserver_auth_cert.h"
#include "auth/restserver_auth_filter.h"
#include "auth/restserver_auth_rules.h"
#include "auth/restserver_auth_token.h"
#include "core/restserver_log.h"
#include "plat_config.h"
#include "plat_text.h"

#define RS_AUTH_REFUSAL_SIZE 128u
#define RS_AUTH_KEY_INLINE_SIZE 256u
#define RS_HTTP_FORBIDDEN 403u

namespace {

constexpr u32 kFailed = 0xFFFFFFFFu;
constexpr const char *kMethodNames[] = {"GET", "POST", "PUT", "DELETE", "PATCH"};
constexpr u32 kMethodCount = sizeof(kMethodNames) / sizeof(kMethodNames[0]);

}  // namespace

// The rules' key: the method name, then the URI without its leading "/" (a
// URI without one is appended whole). Null when out of memory.
extern "C" RS_API char *RsAuthKeyMake(const char *pcMethod, const char *pcUri) {
    size_t ulSize = strlen(pcUri) + strlen(pcMethod) + 1;
    auto *pcKey = static_cast<char *>(malloc(ulSize));
    if (pcKey == nullptr) return nullptr;
    (void)strcpy_s(pcKey, ulSize, pcMethod);
    (void)strcat_s(pcKey, ulSize, pcUri[0] == '/' ? pcUri + 1 : pcUri);
    return pcKey;
}

namespace {

// The key in pcBuffer when it fits, which is nearly always, else on the heap
// (the caller frees a key that is not pcBuffer). Null when out of memory.
char *RsAuthKeyBuild(const char *pcMethod, const char *pcUri, char *pcBuffer, size_t ulBufferSize) {
    size_t ulMethodLen = strlen(pcMethod);
    const char *pcPath = pcUri[0] == '/' ? pcUri + 1 : pcUri;
    size_t ulPathSize = strlen(pcPath) + 1;
    if (ulMethodLen + ulPathSize > ulBufferSize) return RsAuthKeyMake(pcMethod, pcUri);
    (void)memcpy_s(pcBuffer, ulBufferSize, pcMethod, ulMethodLen);
    (void)memcpy_s(pcBuffer + ulMethodLen, ulBufferSize - ulMethodLen, pcPath, ulPathSize);
    return pcBuffer;
}

// Expiry, then access: an expired token is refused whatever the rules say.
u32 RsAuthTokenJudge(const RsTokenItem *pstItem, const char *pcKey) {
    if (RsAuthTokenCheck(pstItem) != 0) {
        RS_LOG(RS_LOG_ERROR, "Auth filter token check failed.");
        return 1;
    }
    if (RsAuthAccessCheck(pcKey, pstItem) != 0) {
        RS_LOG(RS_LOG_ERROR, "Auth filter access check failed.");
        return 2;
    }
    return 0;
}

}  // namespace

extern "C" RS_API u32 RsAuthFilter(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse, u32 uiMethod) {
    (void)pstResponse;
    RS_LOG(RS_LOG_FINE, "Req(%s) VOG Auth start.", RESTSERVER_HttpUriGet(pstRequest));
    // Read on every request, so a switch changed at run time applies at once.
    if (__atomic_load_n(&g_stSspBaseAppConfig.uiAuthEnable, __ATOMIC_RELAXED) == 0) {
        RS_LOG(RS_LOG_FINE, "Req(%s) no need VOG Auth.", RESTSERVER_HttpUriGet(pstRequest));
        return 0;
    }
    if (uiMethod >= kMethodCount) return kFailed;
    // Before the token is read: a request without one still brings missing certificates.
    u32 uiRet = RsAuthCertLoad(0);
    if (uiRet != 0) {
        RS_LOG(RS_LOG_ERROR, "Auth filter load cert failed:0x%x.", uiRet);
        return 3;
    }
    const char *pcToken = RESTSERVER_HttpReqHeadValGet(pstRequest, "x-access-token");
    if (pcToken == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Auth filter get token failed.");
        return kFailed;
    }
    // The record stays valid for this thread until RsTokenItemRelease, even if evicted meanwhile.
    const RsTokenItem *pstItem = RsLoadDecryptedToken(pcToken);
    if (pstItem == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Auth filter load token failed.");
        return kFailed;
    }
    const char *pcUri = RESTSERVER_HttpUriGet(pstRequest);
    if (pcUri == nullptr) {
        RsTokenItemRelease();
        RS_LOG(RS_LOG_ERROR, "Auth filter get url failed.");
        return kFailed;
    }
    char acKey[RS_AUTH_KEY_INLINE_SIZE];
    char *pcKey = RsAuthKeyBuild(kMethodNames[uiMethod], pcUri, acKey, sizeof(acKey));
    if (pcKey == nullptr) {
        RsTokenItemRelease();
        RS_LOG(RS_LOG_ERROR, "Search url alloc failed.");
        return kFailed;
    }
    uiRet = RsAuthTokenJudge(pstItem, pcKey);
    RsTokenItemRelease();
    if (pcKey != acKey) free(pcKey);
    if (uiRet == 0) RS_LOG(RS_LOG_INFO, "Req(%s) VOG Auth end.", pcUri);
    return uiRet;
}

extern "C" RS_API void RsSetAuthResponseCode(RS_RESPONSE *pstResponse) {
    char acText[RS_AUTH_REFUSAL_SIZE] = {0};
    (void)snprintf_s(acText, sizeof(acText), sizeof(acText) - 1, "The request is Forbidden.");
    (void)RESTSERVER_HttpRspDataWrite(pstResponse, acText, RS_HTTP_FORBIDDEN);
}
