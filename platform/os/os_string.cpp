// Null-safe text helpers: a missing text behaves as "less than anything".
#include <cstring>

#include "plat_os.h"

extern "C" PLAT_API s32 VOS_StrCmp(const char *pcLeft, const char *pcRight) {
    if (pcLeft == nullptr || pcRight == nullptr) {
        return (pcLeft != nullptr) - (pcRight != nullptr);
    }
    auto *left = reinterpret_cast<const unsigned char *>(pcLeft);
    auto *right = reinterpret_cast<const unsigned char *>(pcRight);
    while (*left != '\0' && *left == *right) {
        ++left;
        ++right;
    }
    return static_cast<s32>(*left) - static_cast<s32>(*right);
}

extern "C" PLAT_API u32 VOS_StrLen(const char *pcText) {
    return pcText == nullptr ? 0 : static_cast<u32>(strlen(pcText));
}

extern "C" PLAT_API char *VOS_StrStr(const char *pcHaystack, const char *pcNeedle) {
    if (pcHaystack == nullptr || pcNeedle == nullptr) return nullptr;
    return const_cast<char *>(strstr(pcHaystack, pcNeedle));
}
