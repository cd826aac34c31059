// Bounded string copy and append: a text that does not fit is dropped whole,
// so a fixed-size field never holds a silently shortened value.
#include <cerrno>
#include <cstring>

#include "plat_text.h"
#include "text_dest.h"

namespace {

bool Overlaps(const char *dest, size_t destLen, const char *src, size_t srcLen) {
    return dest < src + srcLen && src < dest + destLen;
}

// Shared tail of the copy forms: `len` characters of `src` go to `dest` when
// they fit with their terminator, otherwise `dest` is left empty.
errno_t CopyBounded(char *dest, size_t destMax, const char *src, size_t len) {
    if (len >= destMax) {
        dest[0] = '\0';
        return ERANGE;
    }
    if (Overlaps(dest, destMax, src, len + 1)) {
        dest[0] = '\0';
        return EINVAL;
    }
    memcpy(dest, src, len);
    dest[len] = '\0';
    return EOK;
}

}  // namespace

extern "C" PLAT_API errno_t strcpy_s(char *pcDest, size_t ulDestMax, const char *pcSrc) {
    if (!IsUsableDest(pcDest, ulDestMax)) return EINVAL;
    if (pcSrc == nullptr) {
        pcDest[0] = '\0';
        return EINVAL;
    }
    return CopyBounded(pcDest, ulDestMax, pcSrc, strnlen(pcSrc, ulDestMax));
}

extern "C" PLAT_API errno_t strncpy_s(char *pcDest, size_t ulDestMax, const char *pcSrc, size_t ulCount) {
    if (!IsUsableDest(pcDest, ulDestMax)) return EINVAL;
    if (pcSrc == nullptr) {
        pcDest[0] = '\0';
        return EINVAL;
    }
    // Measuring stops at the count or at destMax, whichever comes first, so
    // an unterminated source is never read past what could be copied.
    size_t limit = ulCount < ulDestMax ? ulCount : ulDestMax;
    return CopyBounded(pcDest, ulDestMax, pcSrc, strnlen(pcSrc, limit));
}

extern "C" PLAT_API errno_t strcat_s(char *pcDest, size_t ulDestMax, const char *pcSrc) {
    if (!IsUsableDest(pcDest, ulDestMax)) return EINVAL;
    size_t used = strnlen(pcDest, ulDestMax);
    if (pcSrc == nullptr || used == ulDestMax) {
        pcDest[0] = '\0';
        return EINVAL;
    }
    size_t room = ulDestMax - used;
    errno_t result = CopyBounded(pcDest + used, room, pcSrc, strnlen(pcSrc, room));
    if (result != EOK) pcDest[0] = '\0';
    return result;
}
