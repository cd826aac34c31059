// The problem sink: one process-wide callback, read atomically because
// problems may be reported from request threads while the host sets it.
#include "core/restserver_problem.h"

#include <stdarg.h>

#include <atomic>

#include "plat_text.h"
#include "restserver_host.h"

namespace {

struct Sink {
    RS_PROBLEM_SINK pfnSink;
    void *pUser;
};

constexpr size_t kProblemTextSize = 512;

std::atomic<const Sink *> g_pstSink{nullptr};

}  // namespace

// A sink once set stays readable: a replaced one is kept rather than freed
// under a reader.
extern "C" RS_API void RESTSERVER_ProblemSinkSet(RS_PROBLEM_SINK pfnSink, void *pUser) {
    const Sink *pstSink = pfnSink == nullptr ? nullptr : new (std::nothrow) Sink{pfnSink, pUser};
    g_pstSink.store(pstSink, std::memory_order_release);
}

extern "C" RS_API void RsProblemReport(u8 ucInstId, const char *pcFormat, ...) {
    const Sink *pstSink = g_pstSink.load(std::memory_order_acquire);
    if (pstSink == nullptr) return;
    char acText[kProblemTextSize];
    va_list args;
    va_start(args, pcFormat);
    int iLen = vsnprintf_s(acText, sizeof(acText), sizeof(acText) - 1, pcFormat, args);
    va_end(args);
    if (iLen == 0) return;
    pstSink->pfnSink(ucInstId, acText, pstSink->pUser);
}
