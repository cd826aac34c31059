// Tick counter: monotonic nanoseconds, so differences survive wall-clock
// changes. Callers pass ticks around as two 32-bit words.
#include <atomic>
#include <ctime>

#include "plat_os.h"

namespace {

constexpr u64 kNanosPerSecond = 1000000000ull;
constexpr u64 kNanosPerMilli = 1000000ull;

// Tests drive time-based rules by replacing the clock.
std::atomic<PLAT_TICK_SOURCE> g_tickSource{nullptr};

void Split(u64 value, u32 *high, u32 *low) {
    *high = static_cast<u32>(value >> 32);
    *low = static_cast<u32>(value);
}

}  // namespace

extern "C" PLAT_API u32 VOS_GetCpuTick(u32 *puiLow, u32 *puiHigh) {
    if (puiLow == nullptr || puiHigh == nullptr) return PLAT_ERR;
    if (PLAT_TICK_SOURCE source = g_tickSource.load(std::memory_order_acquire); source != nullptr) {
        Split(source(), puiHigh, puiLow);
        return PLAT_OK;
    }
    timespec now{};
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) return PLAT_ERR;
    u64 nanos = static_cast<u64>(now.tv_sec) * kNanosPerSecond + static_cast<u64>(now.tv_nsec);
    Split(nanos, puiHigh, puiLow);
    return PLAT_OK;
}

extern "C" PLAT_API u32 VOS_CpuTick2Ms(const VOS_CPU_TICK_S *pstTick, u32 *puiMsHigh, u32 *puiMsLow) {
    if (pstTick == nullptr || puiMsHigh == nullptr || puiMsLow == nullptr) return PLAT_ERR;
    u64 nanos = (static_cast<u64>(pstTick->uiHigh) << 32) | pstTick->uiLow;
    Split(nanos / kNanosPerMilli, puiMsHigh, puiMsLow);
    return PLAT_OK;
}

extern "C" PLAT_API void PLAT_TickSourceSet(PLAT_TICK_SOURCE pfnSource) {
    g_tickSource.store(pfnSource, std::memory_order_release);
}
