/*
 * The adapter's request and response operations: each takes the engine's
 * handle out of the object and makes one engine call, adding the method
 * mapping, the body copy, the empty-data refusal and the error log lines.
 * Handlers reach them through the RESTSERVER_Http* operations.
 */
#ifndef RESTSERVER_HTTP_H
#define RESTSERVER_HTTP_H

#include "plat_types.h"
#include "restserver_export.h"
#include "restserver_handler.h"

RS_BEGIN_DECLS

/* Request reads. */
RS_API u32 RsHttpMethodGet(RS_REQUEST *pstRequest);
RS_API const char *RsHttpFullPathGet(RS_REQUEST *pstRequest);
RS_API const char *RsHttpReqHeadValGet(RS_REQUEST *pstRequest, const char *pcName);
RS_API u32 RsHttpReqHeadItemsGet(RS_REQUEST *pstRequest, const RS_HEAD_ITEM **ppstItems, u32 *puiCount);
RS_API u32 RsHttpReqHeadItemCountGet(RS_REQUEST *pstRequest);
RS_API const char *RsHttpQueryGet(RS_REQUEST *pstRequest, const char *pcName);
RS_API const char *RsHttpRequestBraceVarGet(RS_REQUEST *pstRequest, const char *pcName);
RS_API const char *RsRequestDataRead(RS_REQUEST *pstRequest);
RS_API char *RsRequestDataReadEx(RS_REQUEST *pstRequest);
RS_API const char *RsRequestBinDataRead(RS_REQUEST *pstRequest, u32 *puiLen);

/* Response writes: 0, or 0xFFFFFFFF with a log line. */
RS_API u32 RsHttpRspHeadItemAdd(RS_RESPONSE *pstResponse, const char *pcName, const char *pcValue);
RS_API u32 RsResponseDataWrite(RS_RESPONSE *pstResponse, const char *pcData, u32 uiStatus);
RS_API u32 RsResponseStreamOpen(RS_RESPONSE *pstResponse, u32 uiStatus);
RS_API u32 RsResponseStreamWrite(RS_RESPONSE *pstResponse, const char *pcText);
RS_API u32 RsResponseStreamClose(RS_RESPONSE *pstResponse);
/* Answers are written at once, so there is nothing to print into or flush: both do nothing. */
RS_API u32 RsResponseDataPrintf(RS_RESPONSE *pstResponse, const char *pcFormat, ...);
RS_API void RsResponseCheckAndAsyncFlush(RS_RESPONSE *pstResponse);

RS_END_DECLS

#endif
