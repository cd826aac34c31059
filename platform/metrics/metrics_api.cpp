// Counters for the system: a thin C face over metrics::Counter.
#include "metrics/metrics.h"
#include "plat_metrics.h"

extern "C" {

PLAT_API PLAT_COUNTER PLAT_CounterGet(const char *pcName, const char *pcHelp) {
    if (pcName == nullptr) return nullptr;
    try {
        return metrics::CounterGet(pcName, pcHelp != nullptr ? pcHelp : "");
    } catch (...) {
        return nullptr;
    }
}

PLAT_API void PLAT_CounterAdd(PLAT_COUNTER hCounter, u64 ulCount) {
    if (hCounter == nullptr || !metrics::Enabled()) return;
    static_cast<metrics::Counter *>(hCounter)->Add(ulCount);
}

}  // extern "C"
