// Reentrant tokenizer: the position between calls lives in the caller's
// context pointer, so several texts can be split at once on any thread.
#include <cstring>

#include "plat_text.h"

extern "C" PLAT_API char *strtok_s(char *pcText, const char *pcDelim, char **ppcContext) {
    if (pcDelim == nullptr || ppcContext == nullptr) return nullptr;
    char *cursor = pcText != nullptr ? pcText : *ppcContext;
    if (cursor == nullptr) return nullptr;

    cursor += strspn(cursor, pcDelim);
    if (*cursor == '\0') {
        *ppcContext = cursor;
        return nullptr;
    }
    char *token = cursor;
    cursor += strcspn(cursor, pcDelim);
    if (*cursor != '\0') *cursor++ = '\0';
    *ppcContext = cursor;
    return token;
}
