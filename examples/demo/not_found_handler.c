/* The catch-all "/": every path no other URL matched. */
#include "demo_answer.h"
#include "demo_handlers.h"

uint32_t DemoNotFound(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse) {
    CFJSON *pstObject = CFJSON_ObjectCreate();
    DemoJsonAdd(pstObject, "error", "no such resource");
    DemoJsonAdd(pstObject, "uri", RESTSERVER_HttpUriGet(pstRequest));
    return DemoAnswerJson(pstResponse, 404, pstObject);
}
