// Call-stack capture and symbol lookup for crash and diagnostic logs.
#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "plat_os.h"

namespace {

// Deep enough for any stack worth logging; keeps the capture off the heap.
constexpr u64 kMaxCapturedFrames = 256;
constexpr size_t kSymbolNameSize = 512;

thread_local char t_symbolName[kSymbolNameSize];

// Index of the first frame that belongs to our caller. Normally 1 (frame 0 is
// this function), but an intercepting backtrace (sanitizers) adds frames of
// its own, so the caller's return address is looked for instead.
u64 FirstCallerFrame(void *const *frames, u64 depth, const void *returnAddress) {
    for (u64 i = 0; i < depth; ++i) {
        if (frames[i] == returnAddress) return i;
    }
    return 1;
}

}  // namespace

extern "C" PLAT_API __attribute__((noinline)) u32 VOS_CallStackSelfGet(u32 uiMaxFrames, u32 uiSkip, void **ppAddrs,
                                                                       u32 *puiCount) {
    if (ppAddrs == nullptr || puiCount == nullptr || uiMaxFrames == 0) return PLAT_ERR;
    *puiCount = 0;

    void *frames[kMaxCapturedFrames];
    u64 depth = static_cast<u64>(backtrace(frames, static_cast<int>(kMaxCapturedFrames)));
    u64 first = FirstCallerFrame(frames, depth, __builtin_return_address(0)) + uiSkip;
    if (depth <= first) return PLAT_OK;
    u64 count = std::min<u64>(depth - first, uiMaxFrames);
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
