// Response side of the handler interface: a whole answer or a stream, each
// failure reported as all ones with the engine's code in the log.
#include <string.h>

#include "adapter/restserver_http.h"
#include "core/restserver_core.h"
#include "core/restserver_log.h"
#include "plat_kernel.h"

// An answer needs a body: empty data is refused before the engine sees it.
static u32 RsResponseTextLen(const char *pcText) {
    if (pcText == nullptr) return 0;
    return static_cast<u32>(strlen(pcText));
}

// 1xx, 204 and 304 answers carry no body, so for them empty data is the answer.
static bool RsStatusIsBodiless(u32 uiStatus) {
    return uiStatus < 200 || uiStatus == 204 || uiStatus == 304;
}

extern "C" RS_API u32 RsHttpRspHeadItemAdd(RS_RESPONSE *pstResponse, const char *pcName, const char *pcValue) {
    return REST_ResponseHeadAdd(pstResponse->pHandle, pcName, pcValue);
}

extern "C" RS_API u32 RsResponseDataWrite(RS_RESPONSE *pstResponse, const char *pcData, u32 uiStatus) {
    u32 uiLen = RsResponseTextLen(pcData);
    if (uiLen == 0 && !RsStatusIsBodiless(uiStatus)) {
        RS_LOG(RS_LOG_ERROR, "Response data is empty, return ERROR.");
        return RS_ERR;
    }
    u32 uiRet = REST_ResponseSend(pstResponse->pHandle, uiStatus, pcData, uiLen);
    if (uiRet != 0) {
        RS_LOG(RS_LOG_ERROR, "REST_ResponseSend proc return error, ret-code:%d.", uiRet);
        return RS_ERR;
    }
    return RS_OK;
}

extern "C" RS_API u32 RsResponseStreamOpen(RS_RESPONSE *pstResponse, u32 uiStatus) {
    u32 uiRet = REST_ResponseChunkSendStart(pstResponse->pHandle, uiStatus);
    if (uiRet != 0) {
        RS_LOG(RS_LOG_ERROR, "REST_ResponseChunkSendStart proc return error, ret-code:%d.", uiRet);
        return RS_ERR;
    }
    return RS_OK;
}

extern "C" RS_API u32 RsResponseStreamWrite(RS_RESPONSE *pstResponse, const char *pcText) {
    u32 uiLen = RsResponseTextLen(pcText);
    if (uiLen == 0) {
        RS_LOG(RS_LOG_ERROR, "Response data is empty, return ERROR.");
        return RS_ERR;
    }
    u32 uiRet = REST_ResponseChunkSend(pstResponse->pHandle, pcText, uiLen);
    if (uiRet != 0) {
        RS_LOG(RS_LOG_ERROR, "REST_ResponseChunkSend proc return error, ret-code:%d.", uiRet);
        return RS_ERR;
    }
    return RS_OK;
}

extern "C" RS_API u32 RsResponseStreamClose(RS_RESPONSE *pstResponse) {
    u32 uiRet = REST_ResponseChunkSendEnd(pstResponse->pHandle);
    if (uiRet != 0) {
        RS_LOG(RS_LOG_ERROR, "REST_ResponseChunkSendEnd proc return error, ret-code:%d.", uiRet);
        return RS_ERR;
    }
    return RS_OK;
}

extern "C" RS_API uint32_t RESTSERVER_HttpRspHeadItemAdd(RS_RESPONSE *pstResponse, const char *pcName,
                                                         const char *pcValue) {
    return RsHttpRspHeadItemAdd(pstResponse, pcName, pcValue);
}

extern "C" RS_API uint32_t RESTSERVER_HttpRspDataWrite(RS_RESPONSE *pstResponse, const char *pcData,
                                                       uint32_t uiStatus) {
    return RsResponseDataWrite(pstResponse, pcData, uiStatus);
}

extern "C" RS_API uint32_t RESTSERVER_HttpRspStreamOpen(RS_RESPONSE *pstResponse, uint32_t uiStatus) {
    return RsResponseStreamOpen(pstResponse, uiStatus);
}

extern "C" RS_API uint32_t RESTSERVER_HttpRspStreamWrite(RS_RESPONSE *pstResponse, const char *pcText) {
    return RsResponseStreamWrite(pstResponse, pcText);
}

extern "C" RS_API uint32_t RESTSERVER_HttpRspStreamClose(RS_RESPONSE *pstResponse) {
    return RsResponseStreamClose(pstResponse);
}
