// The root store of instances and the host interface that makes, registers
// and destroys them. Slots are read by request threads without the lock, so
// every slot access is atomic.
#include <stdlib.h>
#include <string.h>

#include "adapter/restserver_ops.h"
#include "config/restserver_cfg.h"
#include "core/restserver_core.h"
#include "core/restserver_diag.h"
#include "core/restserver_log.h"
#include "web/restserver_web.h"

RS_API RS_ROOT_ENV_STORE g_stRootEnvStore = {};

static RS_INSTANCE *RsSlotLoad(u32 uiId) {
    return __atomic_load_n(&g_stRootEnvStore.apstInst[uiId], __ATOMIC_RELAXED);
}

static void RsSlotStore(u32 uiId, RS_INSTANCE *pstInst) {
    __atomic_store_n(&g_stRootEnvStore.apstInst[uiId], pstInst, __ATOMIC_RELAXED);
}

static void RsSlotsClear() {
    for (u32 i = 0; i < RS_MAX_INST_NUM; ++i)
        RsSlotStore(i, nullptr);
}

extern "C" RS_API u32 RESTSERVER_GlobalInit(void) {
    if (g_stRootEnvStore.bInited != 0) return RS_ERR;
    pthread_mutex_init(&g_stRootEnvStore.stLock, nullptr);
    g_stRootEnvStore.bInited = 1;
    RsSlotsClear();
    return RS_OK;
}

// Instances still made are the host's to destroy first. The operations
// listener goes first: its readiness answer takes the root store lock.
extern "C" RS_API u32 RESTSERVER_GlobalUnInit(void) {
    if (g_stRootEnvStore.bInited == 0) return RS_ERR;
    RsOpsStop();
    pthread_mutex_destroy(&g_stRootEnvStore.stLock);
    g_stRootEnvStore.bInited = 0;
    RsSlotsClear();
    return RS_OK;
}

extern "C" RS_API u32 RsFindValidInstId(void) {
    for (u32 i = 0; i < RS_MAX_INST_NUM; ++i) {
        if (RsSlotLoad(i) == nullptr) return i;
    }
    return RS_ERR;
}

extern "C" RS_API RS_INSTANCE *RsRootInstanceGet(u8 ucInstId) {
    if (ucInstId >= RS_MAX_INST_NUM) {
        RS_LOG(RS_LOG_WARN, "Instance id(%d) lager than max id(%d).", ucInstId, RS_MAX_INST_NUM - 1);
        return nullptr;
    }
    return RsSlotLoad(ucInstId);
}

static void RsInstFree(RS_INSTANCE *pstInst) {
    RsConfEnvUnInit(pstInst->pstConfEnv);
    RsWebEnvUnInit(pstInst->pstWebEnv);
    free(pstInst);
}

// Later phases assume both environments exist, so a make that cannot create
// one releases what it made and fails. Caller holds the root store lock.
static RS_INSTANCE *RsInstBuild(u32 uiId) {
    auto *pstInst = static_cast<RS_INSTANCE *>(calloc(1, sizeof(RS_INSTANCE)));
    if (pstInst == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Instance alloc fail, id(%d).", uiId);
        return nullptr;
    }
    pstInst->uiMagic = RS_INST_MAGIC;
    pstInst->pstConfEnv = RsConfEnvInit(pstInst, static_cast<u8>(uiId));
    pstInst->pstWebEnv = RsWebEnvInit(pstInst, uiId);
    pstInst->uiState = RS_STATE_IDLE;
    pstInst->ucInstId = static_cast<u8>(uiId);
    if (pstInst->pstConfEnv == nullptr || pstInst->pstWebEnv == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Instance env init fail, id(%d).", uiId);
        RsInstFree(pstInst);
        return nullptr;
    }
    return pstInst;
}

extern "C" RS_API u32 RESTSERVER_InstMake(RS_INSTANCE **ppstInst, u8 *pucInstId) {
    RS_LOG(RS_LOG_INFO, "Restserver inst make start.");
    if (ppstInst == nullptr || pucInstId == nullptr) return RS_ERR;
    *ppstInst = nullptr;
    *pucInstId = RS_INST_ID_NONE;

    u32 uiRet = RS_ERR;
    pthread_mutex_lock(&g_stRootEnvStore.stLock);
    u32 uiId = RsFindValidInstId();
    if (uiId == RS_ERR) {
        RS_LOG(RS_LOG_ERROR, "Instance reached max count.");
    } else if (RS_INSTANCE *pstInst = RsInstBuild(uiId); pstInst != nullptr) {
        RsSlotStore(uiId, pstInst);
        *ppstInst = pstInst;
        *pucInstId = static_cast<u8>(uiId);
        uiRet = RS_OK;
    }
    pthread_mutex_unlock(&g_stRootEnvStore.stLock);

    if (uiRet == RS_OK) RS_LOG(RS_LOG_INFO, "Restserver inst(%d) make OK.", uiId);
    return uiRet;
}

// Clears the slot when it holds this record; RS_ERR when it does not.
static u32 RsInstUnregister(RS_INSTANCE *pstInst) {
    u32 uiRet = RS_ERR;
    pthread_mutex_lock(&g_stRootEnvStore.stLock);
    if (pstInst->ucInstId < RS_MAX_INST_NUM && RsSlotLoad(pstInst->ucInstId) == pstInst) {
        RsSlotStore(pstInst->ucInstId, nullptr);
        uiRet = RS_OK;
    }
    pthread_mutex_unlock(&g_stRootEnvStore.stLock);
    return uiRet;
}

// The record is torn down even when its slot did not hold it.
extern "C" RS_API u32 RESTSERVER_InstDestroy(RS_INSTANCE *pstInst) {
    if (pstInst == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Inst is null, abort.");
        return RS_ERR;
    }
    if (pstInst->uiMagic != RS_INST_MAGIC) RS_ASSERT(0);
    u32 uiRet = RsInstUnregister(pstInst);
    if (uiRet != RS_OK) {
        RS_ASSERT(0);
        RS_LOG(RS_LOG_ERROR, "Instance(%d) not matched.", pstInst->ucInstId);
    }
    RsStateSet(pstInst, RS_STATE_IDLE);
    RsInstFree(pstInst);
    return uiRet;
}
