/* GET hello: the smallest handler there is. */
#include "demo_answer.h"
#include "demo_handlers.h"

uint32_t DemoHello(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse) {
    (void)pstRequest;
    CFJSON *pstObject = CFJSON_ObjectCreate();
    DemoJsonAdd(pstObject, "message", "hello from restserver");
    return DemoAnswerJson(pstResponse, 200, pstObject);
}
