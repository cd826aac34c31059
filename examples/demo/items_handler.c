/*
 * items/{id}: GET reads an item, PUT stores the request body as its value
 * (201 when new, 200 when replaced), DELETE removes it. An unknown id is 404.
 */
#include <stdlib.h>
#include <string.h>

#include "demo_answer.h"
#include "demo_handlers.h"
#include "item_store.h"

/* {"id": id, "value": value} with the status. */
static uint32_t DemoItemAnswer(RS_RESPONSE *pstResponse, uint32_t uiStatus, const char *pcId, const char *pcValue) {
    CFJSON *pstObject = CFJSON_ObjectCreate();
    DemoJsonAdd(pstObject, "id", pcId);
    DemoJsonAdd(pstObject, "value", pcValue);
    return DemoAnswerJson(pstResponse, uiStatus, pstObject);
}

static uint32_t DemoItemRead(RS_RESPONSE *pstResponse, const char *pcId) {
    char *pcValue = DemoItemGet(pcId);
    if (pcValue == NULL) return DemoAnswerError(pstResponse, 404, "no such item");
    uint32_t uiRet = DemoItemAnswer(pstResponse, 200, pcId, pcValue);
    free(pcValue);
    return uiRet;
}

static uint32_t DemoItemWrite(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse, const char *pcId) {
    uint32_t uiLength = 0;
    (void)RESTSERVER_HttpReqBinBodyGet(pstRequest, &uiLength);
    if (uiLength == 0) return DemoAnswerError(pstResponse, 400, "the body is the item's value");
    if (uiLength > DEMO_ITEM_MAX_VALUE) return DemoAnswerError(pstResponse, 413, "values are at most 65536 bytes");
    char *pcValue = RESTSERVER_HttpReqBodyGetEx(pstRequest);
    if (pcValue == NULL) return DemoAnswerError(pstResponse, 500, "out of memory");
    uint32_t uiRet;
    switch (DemoItemPut(pcId, pcValue)) {
        case DEMO_ITEM_CREATED:
            uiRet = DemoItemAnswer(pstResponse, 201, pcId, pcValue);
            break;
        case DEMO_ITEM_REPLACED:
            uiRet = DemoItemAnswer(pstResponse, 200, pcId, pcValue);
            break;
        case DEMO_ITEM_FULL:
            uiRet = DemoAnswerError(pstResponse, 507, "the store is full");
            break;
        default:
            uiRet = DemoAnswerError(pstResponse, 500, "out of memory");
            break;
    }
    free(pcValue);
    return uiRet;
}

/* A whole answer needs a body, so a deletion says what it removed. */
static uint32_t DemoItemRemove(RS_RESPONSE *pstResponse, const char *pcId) {
    if (DemoItemDelete(pcId) == 0) return DemoAnswerError(pstResponse, 404, "no such item");
    CFJSON *pstObject = CFJSON_ObjectCreate();
    DemoJsonAdd(pstObject, "deleted", pcId);
    return DemoAnswerJson(pstResponse, 200, pstObject);
}

uint32_t DemoItems(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse) {
    const char *pcId = RESTSERVER_HttpRequestBraceVarGet(pstRequest, "id");
    if (pcId == NULL || pcId[0] == '\0') return DemoAnswerError(pstResponse, 400, "no item id");
    switch (RESTSERVER_HttpMethodGet(pstRequest)) {
        case RS_HTTP_GET:
            return DemoItemRead(pstResponse, pcId);
        case RS_HTTP_PUT:
            return DemoItemWrite(pstRequest, pstResponse, pcId);
        case RS_HTTP_DELETE:
            return DemoItemRemove(pstResponse, pcId);
        default:
            (void)RESTSERVER_HttpRspHeadItemAdd(pstResponse, "Allow", "GET, PUT, DELETE");
            return DemoAnswerError(pstResponse, 405, "items take GET, PUT and DELETE");
    }
}
