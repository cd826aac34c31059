// Line reader of the handler configuration files: one piece of at most
// size-1 characters per call, comments and blank lines as empty texts, tabs
// turned into spaces, trailing whitespace kept.
#include <string.h>

#include "core/restserver_ctype.h"
#include "core/restserver_string.h"

extern "C" RS_API char *RsReadLine(FILE *pstFile, char *pcBuf, s32 iSize) {
    if (fgets(pcBuf, iSize, pstFile) == nullptr) return nullptr;
    char *pcFeed = strchr(pcBuf, '\n');
    if (pcFeed != nullptr) *pcFeed = '\0';
    char *pcStart = pcBuf;
    while (RsIsSpace(*pcStart))
        ++pcStart;
    if (*pcStart == '#' || *pcStart == '\0') {
        *pcStart = '\0';
        return pcStart;
    }
    for (char *pcCur = pcStart; *pcCur != '\0'; ++pcCur) {
        if (*pcCur == '\t') *pcCur = ' ';
    }
    return pcStart;
}
