// Bounded copies, duplication, splitting and trimming of NUL-terminated
// byte strings. Whitespace is the POSIX locale's set; bytes 0x80 and above
// never count as whitespace.
#include <stdlib.h>
#include <string.h>

#include "core/restserver_ctype.h"
#include "core/restserver_string.h"
#include "plat_text.h"

extern "C" RS_API u64 RsStrLCopy(char *pcDest, const char *pcSrc, u64 ulSize) {
    u64 ulLen = strlen(pcSrc);
    if (ulSize == 0) return 0;
    u64 ulCopy = ulLen < ulSize - 1 ? ulLen : ulSize - 1;
    (void)memcpy_s(pcDest, ulSize, pcSrc, ulCopy);
    pcDest[ulCopy] = '\0';
    return ulLen;
}

extern "C" RS_API char *RsStrDup(const char *pcSrc) {
    if (pcSrc == nullptr) return nullptr;
    u64 ulSize = strlen(pcSrc) + 1;
    char *pcCopy = static_cast<char *>(malloc(ulSize));
    if (pcCopy == nullptr) return nullptr;
    (void)RsStrLCopy(pcCopy, pcSrc, ulSize);
    return pcCopy;
}

extern "C" RS_API u32 RsStrNCpy(char *pcDest, const char *pcSrc, u64 ulMax) {
    if (pcDest == nullptr || pcSrc == nullptr || pcSrc[0] == '\0' || ulMax == 0) return 0;
    u64 ulLen = strnlen(pcSrc, ulMax);
    (void)memcpy_s(pcDest, ulMax + 1, pcSrc, ulLen);
    pcDest[ulLen] = '\0';
    return 0;
}

// Empty tokens (delimiter runs, leading or trailing delimiters) are skipped;
// at most count-1 tokens are stored so the array always ends with a null.
extern "C" RS_API u32 RsStrSplit(char *pcText, const char *pcDelim, char **ppcFields, u64 ulCount) {
    if (ulCount == 0) return 0;
    u32 uiStored = 0;
    char *pcRest = pcText;
    while (uiStored < ulCount - 1 && pcRest != nullptr) {
        char *pcToken = pcRest;
        pcRest = strpbrk(pcRest, pcDelim);
        if (pcRest != nullptr) *pcRest++ = '\0';
        if (pcToken[0] != '\0') ppcFields[uiStored++] = pcToken;
    }
    ppcFields[uiStored] = nullptr;
    return uiStored;
}

// The last character is never skipped as leading whitespace, so a text of
// only whitespace keeps its last character.
extern "C" RS_API char *RsStrTrim(char *pcText, u64 ulLen) {
    if (ulLen == 0) return pcText;
    char *pcStart = pcText;
    char *pcEnd = pcText + ulLen - 1;
    while (pcStart < pcEnd && RsIsSpace(*pcStart))
        ++pcStart;
    while (pcStart < pcEnd && RsIsSpace(*pcEnd))
        *pcEnd-- = '\0';
    return pcStart;
}
