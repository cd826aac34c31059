// The log hook. Calls hold a shared lock while the hook runs, so once
// PLAT_LogHookSet returns no call into the previous hook is still in progress
// and its user data may be destroyed. A hook may log (shared locks nest), but
// must not set the hook itself.
#include <mutex>
#include <shared_mutex>

#include "log/log_write.h"
#include "plat_log.h"

namespace plat {
namespace {

struct HookState {
    std::shared_mutex mutex;
    PLAT_LOG_HOOK hook = nullptr;
    void *user = nullptr;
};

HookState &Hook() {
    static HookState *state = new HookState;  // never destroyed: logging may run during exit
    return *state;
}

}  // namespace

void LogHookCall(u32 level, const char *message) {
    HookState &state = Hook();
    std::shared_lock<std::shared_mutex> lock(state.mutex);
    if (state.hook == nullptr) return;
    state.hook(level, message, state.user);
}

}  // namespace plat

extern "C" PLAT_API void PLAT_LogHookSet(PLAT_LOG_HOOK pfnHook, void *pUser) {
    plat::HookState &state = plat::Hook();
    std::unique_lock<std::shared_mutex> lock(state.mutex);
    state.hook = pfnHook;
    state.user = pUser;
}
