// Bounded formatting. With a character limit below the destination size the
// output is cut at the limit (reported as -1); otherwise it fits whole or the
// destination is left empty.
#include <cstdio>

#include "plat_text.h"
#include "text_dest.h"

extern "C" PLAT_API int vsnprintf_s(char *pcDest, size_t ulDestMax, size_t ulCount, const char *pcFmt, va_list args) {
    if (!IsUsableDest(pcDest, ulDestMax)) return -1;
    if (pcFmt == nullptr) {
        pcDest[0] = '\0';
        return -1;
    }
    bool cutAllowed = ulCount < ulDestMax;
    size_t limit = cutAllowed ? ulCount : ulDestMax - 1;
    int written = vsnprintf(pcDest, limit + 1, pcFmt, args);
    if (written < 0) {
        pcDest[0] = '\0';
        return -1;
    }
    if (static_cast<size_t>(written) <= limit) return written;
    // vsnprintf already terminated the output at the limit.
    if (!cutAllowed) pcDest[0] = '\0';
    return -1;
}

extern "C" PLAT_API int snprintf_s(char *pcDest, size_t ulDestMax, size_t ulCount, const char *pcFmt, ...) {
    va_list args;
    va_start(args, pcFmt);
    int written = vsnprintf_s(pcDest, ulDestMax, ulCount, pcFmt, args);
    va_end(args);
    return written;
}

extern "C" PLAT_API int sprintf_s(char *pcDest, size_t ulDestMax, const char *pcFmt, ...) {
    va_list args;
    va_start(args, pcFmt);
    int written = vsnprintf_s(pcDest, ulDestMax, ulDestMax, pcFmt, args);
    va_end(args);
    return written;
}
