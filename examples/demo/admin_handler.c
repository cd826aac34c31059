/*
 * admin: GET greets an administrator, DELETE empties the item store. The
 * demo's access rules let only the admin role GET it and refuse DELETE to
 * every caller: the handler runs only for requests the rules granted.
 */
#include "demo_answer.h"
#include "demo_handlers.h"
#include "item_store.h"

uint32_t DemoAdmin(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse) {
    CFJSON *pstObject = CFJSON_ObjectCreate();
    switch (RESTSERVER_HttpMethodGet(pstRequest)) {
        case RS_HTTP_GET:
            DemoJsonAdd(pstObject, "message", "hello, administrator");
            return DemoAnswerJson(pstResponse, 200, pstObject);
        case RS_HTTP_DELETE:
            DemoItemStoreClear();
            DemoJsonAdd(pstObject, "deleted", "every item");
            return DemoAnswerJson(pstResponse, 200, pstObject);
        default:
            CFJSON_Delete(pstObject);
            return DemoAnswerError(pstResponse, 405, "GET or DELETE only");
    }
}
