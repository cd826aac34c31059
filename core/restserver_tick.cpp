// CPU tick arithmetic: a tick count is a 64-bit number held as (high, low) words.
#include "core/restserver_tick.h"

extern "C" RS_API void RsGetDeltaCpuTick(const VOS_CPU_TICK_S *pstStart, const VOS_CPU_TICK_S *pstEnd,
                                         VOS_CPU_TICK_S *pstDelta) {
    u64 ulStart = (static_cast<u64>(pstStart->uiHigh) << 32) | pstStart->uiLow;
    u64 ulEnd = (static_cast<u64>(pstEnd->uiHigh) << 32) | pstEnd->uiLow;
    u64 ulDelta = ulEnd - ulStart;
    pstDelta->uiLow = static_cast<u32>(ulDelta);
    pstDelta->uiHigh = static_cast<u32>(ulDelta >> 32);
}
