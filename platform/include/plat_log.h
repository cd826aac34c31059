/* Platform log: one line per call, on disk when the call returns. */
#ifndef PLAT_LOG_H
#define PLAT_LOG_H

#include "plat_types.h"

PLAT_BEGIN_DECLS

/* Log configuration. Second word non-zero: logging on. */
typedef struct {
    u32 uiLevel; /* lines below this level are dropped */
    u32 uiEnable;
    void *pHandle; /* the handle callers pass to QOR_CFrameLogToFile */
    char acFile[256];
} LOG_CFG_S;

PLAT_API extern LOG_CFG_S g_stLogCfgs;

#define PLAT_LOG_FINE 1u
#define PLAT_LOG_INFO 2u
#define PLAT_LOG_WARN 4u
#define PLAT_LOG_ERROR 5u

PLAT_API void QOR_CFrameLogToFile(void *pHandle, const char *pcFile, u32 uiFileLen, const char *pcFunc, u32 uiFuncLen,
                                  u32 uiLine, u32 uiLevel, const char *pcFmt, ...)
    __attribute__((format(printf, 8, 9)));

/*
 * Test hook: when set, every line that passes the level filter is also handed
 * to the hook with its level and formatted message (no prefix). Null clears it.
 */
typedef void (*PLAT_LOG_HOOK)(u32 uiLevel, const char *pcMessage, void *pUser);
PLAT_API void PLAT_LogHookSet(PLAT_LOG_HOOK pfnHook, void *pUser);

PLAT_END_DECLS

#endif
