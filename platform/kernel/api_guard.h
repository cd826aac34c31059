// The engine's C face: nothing escapes it as an exception (a failure becomes
// a result and a log line), and texts go out cut to the caller's buffer.
#pragma once

#include <algorithm>
#include <exception>
#include <string>

#include "log/log_macro.h"
#include "plat_types.h"

namespace kernel {

template <class Call, class Result = u32>
Result Guarded(const char *what, Call call, Result failed = PLAT_ERR) {
    try {
        return call();
    } catch (const std::exception &error) {
        PLAT_LOG(PLAT_LOG_ERROR, "%s failed: %s", what, error.what());
    } catch (...) {
        PLAT_LOG(PLAT_LOG_ERROR, "%s failed", what);
    }
    return failed;
}

// Into a buffer of size bytes (at least one), cut to fit and terminated.
inline void TextCopyOut(const std::string &text, char *out, u32 size) {
    size_t length = std::min<size_t>(text.size(), size - 1);
    text.copy(out, length);
    out[length] = '\0';
}

}  // namespace kernel
