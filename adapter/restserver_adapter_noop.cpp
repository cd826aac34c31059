// Adapter operations that exist for their callers and do nothing: there is
// no TLS library state to prepare before an SSL set-up, and answers go to
// the engine at once, so nothing is buffered to print into or flush.
#include "adapter/restserver_http.h"
#include "adapter/restserver_kernel.h"
#include "core/restserver_core.h"

extern "C" RS_API u32 RsSslInit(void) {
    return RS_OK;
}

extern "C" RS_API u32 RsResponseDataPrintf(RS_RESPONSE *pstResponse, const char *pcFormat, ...) {
    (void)pstResponse;
    (void)pcFormat;
    return RS_OK;
}

extern "C" RS_API void RsResponseCheckAndAsyncFlush(RS_RESPONSE *pstResponse) {
    (void)pstResponse;
}
