// Thread utilities and self-suspension. A suspended thread waits for a
// thread-directed SIGUSR2 (12), sent with _restserver_util_Tgkill; a
// process-directed one may land on any thread that does not block it.
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "core/restserver_diag.h"

#define RS_RESUME_SIGNAL SIGUSR2

extern "C" RS_API s64 _restserver_util_Gettid(void) {
    return static_cast<s64>(syscall(SYS_gettid));
}

extern "C" RS_API s32 _restserver_util_Getpid(void) {
    return static_cast<s32>(getpid());
}

extern "C" RS_API s32 _restserver_util_Tgkill(u32 uiPid, u32 uiTid, u32 uiSignal) {
    return static_cast<s32>(syscall(SYS_tgkill, uiPid, uiTid, uiSignal));
}

// The signal stays blocked afterwards, so a later resume signal cannot kill
// the thread before it waits again.
extern "C" RS_API void RsSuspendSelf(void) {
    sigset_t stSet;
    sigset_t stOld;
    sigemptyset(&stSet);
    sigaddset(&stSet, RS_RESUME_SIGNAL);
    pthread_sigmask(SIG_BLOCK, &stSet, &stOld);

    u32 uiTid = static_cast<u32>(_restserver_util_Gettid());
    RsLwScreenPrinf("Thread %u will suspend!\n", uiTid);
    int iSignal = 0;
    if (sigwait(&stSet, &iSignal) != 0) iSignal = 0;
    if (iSignal == RS_RESUME_SIGNAL) {
        RsLwScreenPrinf("Thread %u will resume.\n", uiTid);
        return;
    }
    RsLwScreenPrinf("Suspended Thread %u receives a signal: %d.\n", uiTid, iSignal);
}
