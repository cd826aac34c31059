// The assertion report behind RS_ASSERT: where and what failed, the stack,
// then the thread parks until an operator resumes it; the caller goes on.
#include "core/restserver_diag.h"

extern "C" RS_API void RsAssertReport(const char *pcFile, const char *pcFunc, u32 uiLine, const char *pcCond) {
    RsLwScreenPrinf("\n%s:\n", pcFile);
    RsLwScreenPrinf("%s : %d\n", pcFunc, static_cast<int>(uiLine));
    RsLwScreenPrinf("assert (%s)\n", pcCond);
    RsTraceStack();
    RsSuspendSelf();
}
