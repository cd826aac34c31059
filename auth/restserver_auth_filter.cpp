// The auth filter in front of every handler, and the refusal it leads to.
// Token verification is not built in, so every request passes, as it does
// when the platform has authentication switched off.
#include "auth/restserver_auth_filter.h"
#include "core/restserver_log.h"
#include "plat_text.h"

#define RS_AUTH_REFUSAL_SIZE 128u
#define RS_HTTP_FORBIDDEN 403u

extern "C" RS_API u32 RsAuthFilter(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse, u32 uiMethod) {
    (void)pstResponse;
    (void)uiMethod;
    RS_LOG(RS_LOG_FINE, "Req(%s) VOG Auth start.", RESTSERVER_HttpUriGet(pstRequest));
    RS_LOG(RS_LOG_FINE, "Req(%s) no need VOG Auth.", RESTSERVER_HttpUriGet(pstRequest));
    return 0;
}

extern "C" RS_API void RsSetAuthResponseCode(RS_RESPONSE *pstResponse) {
    char acText[RS_AUTH_REFUSAL_SIZE] = {0};
    (void)snprintf_s(acText, sizeof(acText), sizeof(acText) - 1, "The request is Forbidden.");
    (void)RESTSERVER_HttpRspDataWrite(pstResponse, acText, RS_HTTP_FORBIDDEN);
}
