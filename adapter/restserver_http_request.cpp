// Request side of the handler interface: the request and response objects
// of a session and the reads, each a single call into the engine except
// the method mapping and the body copy.
#include <stdlib.h>
#include <string.h>

#include "adapter/restserver_http.h"
#include "adapter/restserver_web_adp_socf.h"
#include "plat_kernel.h"

static_assert(sizeof(RS_HEAD_ITEM) == sizeof(REST_HEAD_ITEM));

// Requests and responses share one layout, so one builder serves both.
template <typename Object>
static Object *RsObjectBuild(RS_SESSION *pstSession, void *pHandle) {
    auto *pstObject = static_cast<Object *>(calloc(1, sizeof(Object)));
    if (pstObject == nullptr) return nullptr;
    pstObject->pHandle = pHandle;
    pstObject->pstSession = pstSession;
    return pstObject;
}

extern "C" RS_API RS_REQUEST *RsRequestBuild(RS_SESSION *pstSession, void *pHandle) {
    return RsObjectBuild<RS_REQUEST>(pstSession, pHandle);
}

extern "C" RS_API RS_RESPONSE *RsResponseBuild(RS_SESSION *pstSession, void *pHandle) {
    return RsObjectBuild<RS_RESPONSE>(pstSession, pHandle);
}

extern "C" RS_API void RsRequestFree(RS_REQUEST **ppstRequest) {
    free(*ppstRequest);
    *ppstRequest = nullptr;
}

extern "C" RS_API void RsResponseFree(RS_RESPONSE **ppstResponse) {
    free(*ppstResponse);
    *ppstResponse = nullptr;
}

// Engine method codes (GET POST HEAD PUT DELETE OPTIONS TRACE CONNECT PATCH)
// to the system's; anything the handlers have no code for is "other".
extern "C" RS_API u32 RsHttpMethodGet(RS_REQUEST *pstRequest) {
    static const u32 auiMethods[] = {RS_HTTP_GET,   RS_HTTP_POST,  RS_HTTP_OTHER, RS_HTTP_PUT,  RS_HTTP_DELETE,
                                     RS_HTTP_OTHER, RS_HTTP_OTHER, RS_HTTP_OTHER, RS_HTTP_PATCH};
    u32 uiCode = REST_RequestMethodGet(pstRequest->pHandle);
    return uiCode < sizeof(auiMethods) / sizeof(auiMethods[0]) ? auiMethods[uiCode] : static_cast<u32>(RS_HTTP_OTHER);
}

extern "C" RS_API const char *RsHttpFullPathGet(RS_REQUEST *pstRequest) {
    return REST_RequestUriGet(pstRequest->pHandle);
}

extern "C" RS_API const char *RsHttpReqHeadValGet(RS_REQUEST *pstRequest, const char *pcName) {
    return REST_RequestHeadValueGet(pstRequest->pHandle, pcName);
}

extern "C" RS_API u32 RsHttpReqHeadItemsGet(RS_REQUEST *pstRequest, const RS_HEAD_ITEM **ppstItems, u32 *puiCount) {
    return REST_RequestHeadGet(pstRequest->pHandle, reinterpret_cast<const REST_HEAD_ITEM **>(ppstItems), puiCount);
}

extern "C" RS_API u32 RsHttpReqHeadItemCountGet(RS_REQUEST *pstRequest) {
    return REST_RequestQueryCountGet(pstRequest->pHandle);
}

extern "C" RS_API const char *RsHttpQueryGet(RS_REQUEST *pstRequest, const char *pcName) {
    return REST_RequestQueryValueGet(pstRequest->pHandle, pcName);
}

extern "C" RS_API const char *RsHttpRequestBraceVarGet(RS_REQUEST *pstRequest, const char *pcName) {
    return REST_RequestBraceVarGet(pstRequest->pHandle, pcName);
}

extern "C" RS_API const char *RsRequestDataRead(RS_REQUEST *pstRequest) {
    u32 uiLen = 0;
    return REST_RequestBodyGet(pstRequest->pHandle, &uiLen);
}

// The copy is text: it stops at the body's first NUL, and the buffer keeps
// the body's full length plus the terminator.
extern "C" RS_API char *RsRequestDataReadEx(RS_REQUEST *pstRequest) {
    u32 uiLen = 0;
    const char *pcBody = REST_RequestBodyGet(pstRequest->pHandle, &uiLen);
    if (pcBody == nullptr || uiLen == 0) return nullptr;
    auto *pcCopy = static_cast<char *>(calloc(static_cast<size_t>(uiLen) + 1, 1));
    if (pcCopy == nullptr) return nullptr;
    strncpy(pcCopy, pcBody, uiLen);
    pcCopy[uiLen] = '\0';
    return pcCopy;
}

extern "C" RS_API const char *RsRequestBinDataRead(RS_REQUEST *pstRequest, u32 *puiLen) {
    return REST_RequestBodyGet(pstRequest->pHandle, puiLen);
}

extern "C" RS_API uint32_t RESTSERVER_HttpMethodGet(RS_REQUEST *pstRequest) {
    return RsHttpMethodGet(pstRequest);
}

extern "C" RS_API const char *RESTSERVER_HttpUriGet(RS_REQUEST *pstRequest) {
    return RsHttpFullPathGet(pstRequest);
}

extern "C" RS_API const char *RESTSERVER_HttpReqHeadValGet(RS_REQUEST *pstRequest, const char *pcName) {
    return RsHttpReqHeadValGet(pstRequest, pcName);
}

extern "C" RS_API uint32_t RESTSERVER_HttpReqHeadItemsGet(RS_REQUEST *pstRequest, const RS_HEAD_ITEM **ppstItems,
                                                          uint32_t *puiCount) {
    return RsHttpReqHeadItemsGet(pstRequest, ppstItems, puiCount);
}

extern "C" RS_API uint32_t RESTSERVER_HttpReqHeadItemCountGet(RS_REQUEST *pstRequest) {
    return RsHttpReqHeadItemCountGet(pstRequest);
}

extern "C" RS_API const char *RESTSERVER_HttpQueryValGet(RS_REQUEST *pstRequest, const char *pcName) {
    return RsHttpQueryGet(pstRequest, pcName);
}

extern "C" RS_API const char *RESTSERVER_HttpRequestBraceVarGet(RS_REQUEST *pstRequest, const char *pcName) {
    return RsHttpRequestBraceVarGet(pstRequest, pcName);
}

extern "C" RS_API const char *RESTSERVER_HttpReqBodyGet(RS_REQUEST *pstRequest) {
    return RsRequestDataRead(pstRequest);
}

extern "C" RS_API char *RESTSERVER_HttpReqBodyGetEx(RS_REQUEST *pstRequest) {
    return RsRequestDataReadEx(pstRequest);
}

extern "C" RS_API const char *RESTSERVER_HttpReqBinBodyGet(RS_REQUEST *pstRequest, uint32_t *puiLen) {
    return RsRequestBinDataRead(pstRequest, puiLen);
}
