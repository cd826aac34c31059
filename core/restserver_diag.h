/*
 * Diagnostics: thread utilities, the screen log under the platform's common
 * root, stack traces, self-suspension and the one assertion macro.
 */
#ifndef RESTSERVER_DIAG_H
#define RESTSERVER_DIAG_H

#include "plat_types.h"
#include "restserver_export.h"

RS_BEGIN_DECLS

RS_API s64 _restserver_util_Gettid(void);
RS_API s32 _restserver_util_Getpid(void);
RS_API s32 _restserver_util_Tgkill(u32 uiPid, u32 uiTid, u32 uiSignal);
RS_API void _lwGetScreenFileName(char *pcBuf, u32 uiBufSize);
RS_API void RsLwScreenPrinf(const char *pcFormat, ...) __attribute__((format(printf, 1, 2)));
RS_API void RsSuspendSelf(void);
RS_API void RsTraceStack(void);
/* Writes where and what failed, the stack, then parks the thread until resumed. */
RS_API void RsAssertReport(const char *pcFile, const char *pcFunc, u32 uiLine, const char *pcCond);

/*
 * The condition text is written to the screen log as spelled at the call
 * site, so sites spell null as ((void *)0). Execution goes on after the
 * suspended thread is resumed.
 */
#define RS_ASSERT(cond)                                                        \
    do {                                                                       \
        if (!(cond)) RsAssertReport(__FILE__, __func__, (u32)__LINE__, #cond); \
    } while (0)

RS_END_DECLS

#endif
