// The start-up state machine: one row per state 0..4, column 0 after a
// phase succeeded, column 1 after it failed. Every phase sets its own state
// on entry, so the next row is the state the previous phase left.
#include "adapter/restserver_ops.h"
#include "adapter/restserver_web_adp_socf.h"
#include "config/restserver_cfg.h"
#include "config/restserver_cfg_loader.h"
#include "config/restserver_cfg_parser.h"
#include "config/restserver_cfg_register.h"
#include "core/restserver_core.h"
#include "core/restserver_diag.h"
#include "core/restserver_log.h"
#include "web/restserver_web.h"

extern "C" RS_API const RS_FSM_ENTRY g_astRsFsm[RS_FSM_ROWS][RS_FSM_COLS] = {
    {{0, RsConfParser}, {1, RsStartupErr}},    // RS_STATE_IDLE
    {{0, RsConfLoad}, {1, RsStartupErr}},      // RS_STATE_PARSING
    {{0, RsConfRegister}, {1, RsStartupErr}},  // RS_STATE_LOADING
    {{0, RsStartListen}, {1, RsStartupErr}},   // RS_STATE_REGISTERING
    {{0, RsOnListening}, {1, RsStartupErr}},   // RS_STATE_STARTING
};

// Request threads read the state without a lock.
extern "C" RS_API u32 RsStateGet(RS_INSTANCE *pstInst) {
    return __atomic_load_n(&pstInst->uiState, __ATOMIC_RELAXED);
}

extern "C" RS_API void RsStateSet(RS_INSTANCE *pstInst, u32 uiState) {
    __atomic_store_n(&pstInst->uiState, uiState, __ATOMIC_RELAXED);
}

extern "C" RS_API u32 RsOnListening(RS_INSTANCE *pstInst) {
    RsStateSet(pstInst, RS_STATE_LISTENING);
    return RS_OK;
}

extern "C" RS_API u32 RsStartupErr(RS_INSTANCE *pstInst) {
    RsStateSet(pstInst, RS_STATE_FAILED);
    return RS_OK;
}

// Runs the table while the state is below uiUntil: a start runs it to
// listening, a check until the register phase has set its state (and run).
static u32 RsFsmRun(RS_INSTANCE *pstInst, u32 uiUntil) {
    u32 uiRet = RS_OK;
    for (u32 uiState = RsStateGet(pstInst); uiState < uiUntil; uiState = RsStateGet(pstInst)) {
        const RS_FSM_ENTRY &stCell = g_astRsFsm[uiState][uiRet == RS_OK ? 0 : 1];
        uiRet = stCell.pfnProc(pstInst);
    }
    return uiRet;
}

extern "C" RS_API u32 RsFsmTrigger(RS_INSTANCE *pstInst) {
    return RsFsmRun(pstInst, RS_STATE_LISTENING);
}

static bool RsInstStartable(RS_INSTANCE *pstInst) {
    if (pstInst == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Inst is null, abort.");
        return false;
    }
    if (pstInst->uiMagic != RS_INST_MAGIC) RS_ASSERT(0);
    if (RsStateGet(pstInst) != RS_STATE_IDLE) {
        RS_LOG(RS_LOG_ERROR, "RestServer(inst:%d) is running, abort.", pstInst->ucInstId);
        return false;
    }
    return true;
}

// Returns 0 whatever the machine ends in; the host reads the state.
extern "C" RS_API u32 RESTSERVER_InstStart(RS_INSTANCE *pstInst) {
    if (!RsInstStartable(pstInst)) return RS_ERR;
    // At the first start, so /ready answers while instances start; a check starts nothing and binds nothing.
    RsOpsStart();
    (void)RsFsmTrigger(pstInst);
    return RS_OK;
}

// The start's own phases, so a check meets exactly what a start would; the
// TLS settings the register phase handed to the engine are judged here,
// since the engine only refuses them when it starts.
extern "C" RS_API u32 RESTSERVER_InstCheck(RS_INSTANCE *pstInst) {
    try {
        if (!RsInstStartable(pstInst)) return RS_ERR;
        // The register phase leaves its own state behind; a failure of it goes where the table sends it.
        if (RsFsmRun(pstInst, RS_STATE_REGISTERING) != RS_OK)
            (void)g_astRsFsm[RS_STATE_REGISTERING - 1][1].pfnProc(pstInst);
        RS_KERNEL_SERVER *pstKernel = pstInst->pstWebEnv != nullptr ? pstInst->pstWebEnv->pstKernel : nullptr;
        if (pstKernel == nullptr) return RS_ERR;
        u32 uiRet = RsKernelTlsCheck(pstKernel, pstInst->ucInstId);
        return RsStateGet(pstInst) == RS_STATE_FAILED ? RS_ERR : uiRet;
    } catch (...) {
        return RS_ERR;
    }
}
