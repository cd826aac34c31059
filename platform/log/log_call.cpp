// QOR_CFrameLogToFile: formats one line, hands it to the hook and writes it
// with its time, level, thread, file:line and function to the log file.
// Without a configured file the line reaches only the hook: tests and tools
// that never configure logging stay quiet.
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "log/log_write.h"
#include "plat_log.h"

// Zero at load: logging stays off until the platform configuration is read.
PLAT_API LOG_CFG_S g_stLogCfgs = {};

namespace {

constexpr size_t kStackMessage = 1024;

// Text of at most len bytes, stopping at a NUL: callers pass a length that
// may or may not count a terminator.
std::string Bounded(const char *text, u32 len) {
    if (text == nullptr) return std::string();
    return std::string(text, strnlen(text, len));
}

spdlog::level::level_enum SpdLevel(u32 level) {
    if (level >= PLAT_LOG_ERROR) return spdlog::level::err;
    if (level >= PLAT_LOG_WARN) return spdlog::level::warn;
    if (level >= PLAT_LOG_INFO) return spdlog::level::info;
    return spdlog::level::debug;
}

// Formats into the stack buffer, or into heap when the text is longer, so a
// long message is never cut.
const char *Format(char (&stack)[kStackMessage], std::vector<char> &heap, const char *fmt, va_list args) {
    va_list again;
    va_copy(again, args);
    int len = vsnprintf(stack, sizeof(stack), fmt, args);
    if (len < 0) {
        va_end(again);
        return "(log format error)";
    }
    if (static_cast<size_t>(len) < sizeof(stack)) {
        va_end(again);
        return stack;
    }
    heap.resize(static_cast<size_t>(len) + 1);
    vsnprintf(heap.data(), heap.size(), fmt, again);
    va_end(again);
    return heap.data();
}

void Write(const char *file, u32 fileLen, const char *func, u32 funcLen, u32 line, u32 level, const char *message) {
    std::shared_ptr<spdlog::logger> logger = plat::LogSinkCurrent();
    if (!logger) return;
    std::string fileText = Bounded(file, fileLen);
    std::string funcText = Bounded(func, funcLen);
    spdlog::source_loc where{fileText.c_str(), static_cast<int>(line), funcText.c_str()};
    logger->log(where, SpdLevel(level), "{}", message);
}

}  // namespace

extern "C" PLAT_API void QOR_CFrameLogToFile(void *pHandle, const char *pcFile, u32 uiFileLen, const char *pcFunc,
                                             u32 uiFuncLen, u32 uiLine, u32 uiLevel, const char *pcFmt, ...) {
    (void)pHandle;  // one sink per process; the handle only identifies the caller's configuration
    if (uiLevel < g_stLogCfgs.uiLevel || pcFmt == nullptr) return;
    try {
        char stack[kStackMessage];
        std::vector<char> heap;
        va_list args;
        va_start(args, pcFmt);
        const char *message = Format(stack, heap, pcFmt, args);
        va_end(args);
        plat::LogHookCall(uiLevel, message);
        Write(pcFile, uiFileLen, pcFunc, uiFuncLen, uiLine, uiLevel, message);
    } catch (...) {
        // A failed log line must never take the caller down.
    }
}
