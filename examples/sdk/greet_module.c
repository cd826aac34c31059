/*
 * A handler module built outside the source tree, against the installed
 * restserver package: GET greet/{name} answers {"greeting": "hello, <name>"}.
 * The deployment template routes it (lib/resthandler.cfg).
 */
#include <stdio.h>

#include "plat_json.h"
#include "restserver_handler.h"

#define GREET_EXPORT __attribute__((visibility("default")))

static uint32_t GreetAnswer(RS_RESPONSE *pstResponse, uint32_t uiStatus, const char *pcName, const char *pcValue) {
    CFJSON *pstObject = CFJSON_ObjectCreate();
    if (pstObject == NULL) return RESTSERVER_HttpRspDataWrite(pstResponse, "", 500);
    (void)CFJSON_AddString2Object(pstObject, pcName, pcValue);
    char *pcText = CFJSON_Print(pstObject);
    CFJSON_Delete(pstObject);
    if (pcText == NULL) return RESTSERVER_HttpRspDataWrite(pstResponse, "", 500);
    uint32_t uiRet = RESTSERVER_HttpRspDataWrite(pstResponse, pcText, uiStatus);
    CFJSON_Free(pcText);
    return uiRet;
}

GREET_EXPORT uint32_t GreetHandler(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse) {
    const char *pcName = RESTSERVER_HttpRequestBraceVarGet(pstRequest, "name");
    char acGreeting[128];
    int iLen = snprintf(acGreeting, sizeof(acGreeting), "hello, %s", pcName != NULL ? pcName : "");
    if (iLen < 0 || (size_t)iLen >= sizeof(acGreeting)) return GreetAnswer(pstResponse, 400, "error", "name too long");
    return GreetAnswer(pstResponse, 200, "greeting", acGreeting);
}
