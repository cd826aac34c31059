/*
 * Instance registry, internal interface: the instance record and its
 * start-up states, the root store of the ten slots, the start-up machine's
 * table and the status words every operation returns.
 */
#ifndef RESTSERVER_CORE_H
#define RESTSERVER_CORE_H

#include <pthread.h>

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

RS_API RS_INSTANCE *RsRootInstanceGet(u8 ucInstId);
RS_API u32 RsFindValidInstId(void);
RS_API void RsStateSet(RS_INSTANCE *pstInst, u32 uiState);
RS_API u32 RsFsmTrigger(RS_INSTANCE *pstInst);
RS_API u32 RsOnListening(RS_INSTANCE *pstInst);
RS_API u32 RsStartupErr(RS_INSTANCE *pstInst);

RS_END_DECLS

#endif
