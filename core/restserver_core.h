/*
 * Core runtime, internal interface: the instance record and the root store,
 * the start-up state machine, diagnostics (screen log, stack trace, thread
 * suspension, the assertion macro) and the string and line utilities. All of
 * these are exported for hosts and tools as well.
 */
#ifndef RESTSERVER_CORE_H
#define RESTSERVER_CORE_H

#include <pthread.h>
#include <stdio.h>

#include "plat_types.h"
#include "restserver_export.h"
#include "restserver_host.h"

RS_BEGIN_DECLS

typedef struct RS_CONF_ENV RS_CONF_ENV;
typedef struct RS_WEB_ENV RS_WEB_ENV;

#define RS_INST_MAGIC 0xADADADA1u
#define RS_OK 0u
#define RS_ERR 0xFFFFFFFFu

struct RS_INSTANCE {
    u32 uiMagic;
    RS_CONF_ENV *pstConfEnv;
    RS_WEB_ENV *pstWebEnv;
    u32 uiState;
    u8 ucInstId;
};

/* Slots are read without the lock by request threads: access them atomically. */
typedef struct {
    u8 bInited;
    pthread_mutex_t stLock;
    RS_INSTANCE *apstInst[RS_MAX_INST_NUM];
} RS_ROOT_ENV_STORE;

typedef u32 (*RS_FSM_PROC)(RS_INSTANCE *pstInst);

typedef struct {
    u32 uiResult;
    RS_FSM_PROC pfnProc;
} RS_FSM_ENTRY;

#define RS_FSM_ROWS 5u
#define RS_FSM_COLS 2u

RS_API extern RS_ROOT_ENV_STORE g_stRootEnvStore;
RS_API extern const RS_FSM_ENTRY g_astRsFsm[RS_FSM_ROWS][RS_FSM_COLS];

/* Instance registry and start-up machine. */
RS_API RS_INSTANCE *RsRootInstanceGet(u8 ucInstId);
RS_API u32 RsFindValidInstId(void);
RS_API void RsStateSet(RS_INSTANCE *pstInst, u32 uiState);
RS_API u32 RsFsmTrigger(RS_INSTANCE *pstInst);
RS_API u32 RsOnListening(RS_INSTANCE *pstInst);
RS_API u32 RsStartupErr(RS_INSTANCE *pstInst);

/* Diagnostics. */
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

/* String and line utilities. */
RS_API u64 RsStrLCopy(char *pcDest, const char *pcSrc, u64 ulSize);
RS_API char *RsStrDup(const char *pcSrc);
RS_API u32 RsStrNCpy(char *pcDest, const char *pcSrc, u64 ulMax);
RS_API u32 RsStrSplit(char *pcText, const char *pcDelim, char **ppcFields, u64 ulCount);
RS_API char *RsStrTrim(char *pcText, u64 ulLen);
RS_API char *RsReadLine(FILE *pstFile, char *pcBuf, s32 iSize);

RS_END_DECLS

#endif
