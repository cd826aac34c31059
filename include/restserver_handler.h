/*
 * Handler interface: what a handler shared object provides, and the request
 * and response operations it answers with. A configured handler receives the
 * request and the response of one call; both cease to exist when it returns,
 * and its result is ignored.
 */
#ifndef RESTSERVER_HANDLER_H
#define RESTSERVER_HANDLER_H

#include "restserver_export.h"

RS_BEGIN_DECLS

typedef struct RS_SESSION RS_SESSION;

/* Request and response of one call: the engine's handle and the owning session. */
typedef struct RS_REQUEST {
    void *pHandle;
    RS_SESSION *pstSession;
} RS_REQUEST;

typedef struct RS_RESPONSE {
    void *pHandle;
    RS_SESSION *pstSession;
} RS_RESPONSE;

typedef enum {
    RS_HTTP_GET = 0,
    RS_HTTP_POST = 1,
    RS_HTTP_PUT = 2,
    RS_HTTP_DELETE = 3,
    RS_HTTP_PATCH = 4,
    RS_HTTP_OTHER = 5
} RS_HTTP_METHOD;

/* One request header as the engine holds it; texts are owned by the request. */
typedef struct {
    const char *pcName;
    const char *pcValue;
} RS_HEAD_ITEM;

typedef uint32_t (*RS_HANDLER_FUNC)(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse);

/* The group id of a handler configured without one. */
#define RS_GROUP_NONE 0xFFFFFFFFu

/* Reading the request. Texts and bodies are the engine's, valid while the call lasts. */
RS_API uint32_t RESTSERVER_HttpMethodGet(RS_REQUEST *pstRequest); /* an RS_HTTP_METHOD */
RS_API const char *RESTSERVER_HttpUriGet(RS_REQUEST *pstRequest);
RS_API const char *RESTSERVER_HttpReqHeadValGet(RS_REQUEST *pstRequest, const char *pcName);
RS_API uint32_t RESTSERVER_HttpReqHeadItemsGet(RS_REQUEST *pstRequest, const RS_HEAD_ITEM **ppstItems,
                                               uint32_t *puiCount);
/* The number of query parameters. */
RS_API uint32_t RESTSERVER_HttpReqHeadItemCountGet(RS_REQUEST *pstRequest);
RS_API const char *RESTSERVER_HttpQueryValGet(RS_REQUEST *pstRequest, const char *pcName);
RS_API const char *RESTSERVER_HttpRequestBraceVarGet(RS_REQUEST *pstRequest, const char *pcName);
RS_API const char *RESTSERVER_HttpReqBodyGet(RS_REQUEST *pstRequest);
/* A NUL-terminated heap copy of the body, or null; release it with free. */
RS_API char *RESTSERVER_HttpReqBodyGetEx(RS_REQUEST *pstRequest);
RS_API const char *RESTSERVER_HttpReqBinBodyGet(RS_REQUEST *pstRequest, uint32_t *puiLen);

/* Answering: one whole answer, or a stream (open, writes, close). 0 or 0xFFFFFFFF. */
RS_API uint32_t RESTSERVER_HttpRspHeadItemAdd(RS_RESPONSE *pstResponse, const char *pcName, const char *pcValue);
RS_API uint32_t RESTSERVER_HttpRspDataWrite(RS_RESPONSE *pstResponse, const char *pcData, uint32_t uiStatus);
RS_API uint32_t RESTSERVER_HttpRspStreamOpen(RS_RESPONSE *pstResponse, uint32_t uiStatus);
RS_API uint32_t RESTSERVER_HttpRspStreamWrite(RS_RESPONSE *pstResponse, const char *pcText);
RS_API uint32_t RESTSERVER_HttpRspStreamClose(RS_RESPONSE *pstResponse);

/* The session id of a request or response object; 0xFFFFFFFF when it has none. */
RS_API uint32_t RESTSERVER_SessionIdGet(const void *pObject);

RS_END_DECLS

#endif
