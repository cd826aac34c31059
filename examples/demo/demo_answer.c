/* JSON answers of the demo handlers. */
#include "demo_answer.h"

#include <stddef.h>

#define DEMO_FAILED 0xFFFFFFFFu

uint32_t DemoAnswerJson(RS_RESPONSE *pstResponse, uint32_t uiStatus, CFJSON *pstObject) {
    char *pcText = CFJSON_Print(pstObject);
    CFJSON_Delete(pstObject);
    if (pcText == NULL) return DEMO_FAILED;
    uint32_t uiRet = RESTSERVER_HttpRspDataWrite(pstResponse, pcText, uiStatus);
    CFJSON_Free(pcText);
    return uiRet;
}

uint32_t DemoAnswerError(RS_RESPONSE *pstResponse, uint32_t uiStatus, const char *pcText) {
    CFJSON *pstObject = CFJSON_ObjectCreate();
    DemoJsonAdd(pstObject, "error", pcText);
    return DemoAnswerJson(pstResponse, uiStatus, pstObject);
}

void DemoJsonAdd(CFJSON *pstObject, const char *pcName, const char *pcValue) {
    if (pcValue != NULL) (void)CFJSON_AddString2Object(pstObject, pcName, pcValue);
}
