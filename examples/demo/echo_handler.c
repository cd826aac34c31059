/*
 * echo/{name}: answers with what the request carried, as JSON: method, URI,
 * the "X-Demo" header, the query value "q", the brace variable and the body.
 * The body is copied whole, so large bodies come back unchanged.
 */
#include <stdio.h>
#include <stdlib.h>

#include "demo_answer.h"
#include "demo_handlers.h"

static const char *DemoMethodName(uint32_t uiMethod) {
    static const char *const apcNames[] = {"GET", "POST", "PUT", "DELETE", "PATCH"};
    return uiMethod < sizeof(apcNames) / sizeof(apcNames[0]) ? apcNames[uiMethod] : "OTHER";
}

uint32_t DemoEcho(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse) {
    CFJSON *pstObject = CFJSON_ObjectCreate();
    DemoJsonAdd(pstObject, "method", DemoMethodName(RESTSERVER_HttpMethodGet(pstRequest)));
    DemoJsonAdd(pstObject, "uri", RESTSERVER_HttpUriGet(pstRequest));
    DemoJsonAdd(pstObject, "header", RESTSERVER_HttpReqHeadValGet(pstRequest, "X-Demo"));
    DemoJsonAdd(pstObject, "query", RESTSERVER_HttpQueryValGet(pstRequest, "q"));
    DemoJsonAdd(pstObject, "name", RESTSERVER_HttpRequestBraceVarGet(pstRequest, "name"));
    char *pcBody = RESTSERVER_HttpReqBodyGetEx(pstRequest);
    DemoJsonAdd(pstObject, "body", pcBody);
    free(pcBody);

    /* The session id names this request, e.g. for another thread's answer. */
    char acSession[16];
    (void)snprintf(acSession, sizeof(acSession), "0x%08x", (unsigned)RESTSERVER_SessionIdGet(pstRequest));
    (void)RESTSERVER_HttpRspHeadItemAdd(pstResponse, "X-Demo-Session", acSession);
    return DemoAnswerJson(pstResponse, 200, pstObject);
}
