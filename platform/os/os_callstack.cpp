// Call-stack capture and symbol lookup for crash and diagnostic logs.
#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "plat_os.h"

namespace {

// Deep enough for any stack worth logging; keeps the capture off the heap.
constexpr u64 kMaxCapturedFrames = 256;
constexpr size_t kSymbolNameSize = 512;

thread_local char t_symbolName[kSymbolNameSize];

}  // namespace

extern "C" PLAT_API __attribute__((noinline)) u32 VOS_CallStackSelfGet(u32 uiMaxFrames, u32 uiSkip, void **ppAddrs,
                                                                       u32 *puiCount) {
    if (ppAddrs == nullptr || puiCount == nullptr || uiMaxFrames == 0) return PLAT_ERR;
    *puiCount = 0;

    // One more frame than asked for: this function's own.
    u64 wanted = static_cast<u64>(uiMaxFrames) + uiSkip + 1;
    if (wanted > kMaxCapturedFrames) wanted = kMaxCapturedFrames;
    void *frames[kMaxCapturedFrames];
    u64 depth = static_cast<u64>(backtrace(frames, static_cast<int>(wanted)));

    u64 first = static_cast<u64>(uiSkip) + 1;
    if (depth <= first) return PLAT_OK;
    u64 count = depth - first;
    if (count > uiMaxFrames) count = uiMaxFrames;
    memcpy(ppAddrs, frames + first, count * sizeof(void *));
    *puiCount = static_cast<u32>(count);
    return PLAT_OK;
}

extern "C" PLAT_API const char *VOS_SymNameGet(void *pAddr) {
    Dl_info info{};
    if (pAddr == nullptr || dladdr(pAddr, &info) == 0 || info.dli_sname == nullptr) return "??";

    int status = 0;
    char *demangled = abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, &status);
    const char *name = (status == 0 && demangled != nullptr) ? demangled : info.dli_sname;
    snprintf(t_symbolName, sizeof(t_symbolName), "%s", name);
    free(demangled);
    return t_symbolName;
}
