// Bounded memory copy and fill. A refused copy zero-fills the destination so
// that stale bytes are never mistaken for the data that was meant to arrive.
#include <cerrno>
#include <cstring>

#include "plat_text.h"
#include "text_dest.h"

namespace {

bool Overlaps(const void *dest, const void *src, size_t count) {
    auto d = reinterpret_cast<uintptr_t>(dest);
    auto s = reinterpret_cast<uintptr_t>(src);
    return d < s + count && s < d + count;
}

errno_t Refuse(void *dest, size_t destMax, errno_t reason) {
    memset(dest, 0, destMax);
    return reason;
}

}  // namespace

extern "C" PLAT_API errno_t memcpy_s(void *pDest, size_t ulDestMax, const void *pSrc, size_t ulCount) {
    if (!IsUsableDest(pDest, ulDestMax)) return EINVAL;
    if (pSrc == nullptr) return Refuse(pDest, ulDestMax, EINVAL);
    if (ulCount > ulDestMax) return Refuse(pDest, ulDestMax, ERANGE);
    if (ulCount == 0) return EOK;
    if (Overlaps(pDest, pSrc, ulCount)) return Refuse(pDest, ulDestMax, EINVAL);
    memcpy(pDest, pSrc, ulCount);
    return EOK;
}

extern "C" PLAT_API errno_t memset_s(void *pDest, size_t ulDestMax, int iValue, size_t ulCount) {
    if (!IsUsableDest(pDest, ulDestMax)) return EINVAL;
    if (ulCount > ulDestMax) {
        memset(pDest, iValue, ulDestMax);
        return ERANGE;
    }
    memset(pDest, iValue, ulCount);
    return EOK;
}
