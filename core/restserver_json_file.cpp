// Whole-file JSON reading shared by the rule, service and deployment loaders:
// resolve the path, measure the file line by line, read it again into one
// buffer of that size and parse it.
#include "core/restserver_json_file.h"

#include <errno.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "core/restserver_log.h"
#include "plat_text.h"

namespace {

constexpr u32 kReadFailed = 0xFFFFFFFFu;

thread_local char t_acWhy[128] = "";

void WhySet(const char *pcWhy) {
    (void)snprintf_s(t_acWhy, sizeof(t_acWhy), sizeof(t_acWhy) - 1, "%s", pcWhy);
}

// cJSON stops at the first byte it cannot take; lines count from 1.
void WhyParseSet(const char *pcText, u32 uiOffset) {
    u32 uiLine = 1;
    for (u32 i = 0; i < uiOffset && pcText[i] != '\0'; ++i)
        uiLine += pcText[i] == '\n' ? 1 : 0;
    (void)snprintf_s(t_acWhy, sizeof(t_acWhy), sizeof(t_acWhy) - 1, "not JSON from line %u", uiLine);
}

void LogFailure(const char *pcMessage) {
    if (pcMessage != nullptr) RS_LOG(RS_LOG_ERROR, "%s", pcMessage);
}

// A line longer than the line buffer arrives in several pieces; the sum is the same.
size_t MeasureText(FILE *pstFile) {
    char acLine[RS_JSON_LINE_SIZE] = {0};
    size_t ulTotal = 0;
    while (fgets(acLine, sizeof(acLine), pstFile) != nullptr)
        ulTotal += strlen(acLine);
    return ulTotal;
}

// Appends at the running end so the read stays linear in the file size.
void ReadText(FILE *pstFile, char *pcText, size_t ulSize, const RS_JSON_FILE_MSGS *pstMsgs) {
    char acLine[RS_JSON_LINE_SIZE] = {0};
    size_t ulUsed = 0;
    while (fgets(acLine, sizeof(acLine), pstFile) != nullptr) {
        if (strcat_s(pcText + ulUsed, ulSize - ulUsed, acLine) != EOK) {
            LogFailure(pstMsgs->pcAppendFail);
            continue;
        }
        ulUsed += strlen(pcText + ulUsed);
    }
}

// The path must resolve to an existing file and fit the resolved-path buffer.
bool ResolvePath(const char *pcPath, char *pcResolved) {
    if (pcPath == nullptr || strnlen(pcPath, RS_JSON_PATH_SIZE) >= RS_JSON_PATH_SIZE) return false;
    static_assert(RS_JSON_PATH_SIZE >= PATH_MAX, "realpath writes up to PATH_MAX bytes");
    return realpath(pcPath, pcResolved) != nullptr;
}

u32 ParseOpenFile(FILE *pstFile, const RS_JSON_FILE_MSGS *pstMsgs, CFJSON **ppstDoc) {
    size_t ulSize = MeasureText(pstFile) + 1;
    rewind(pstFile);
    char *pcText = static_cast<char *>(malloc(ulSize));
    if (pcText == nullptr) {
        WhySet("out of memory");
        LogFailure(pstMsgs->pcTextAllocFail);
        return kReadFailed;
    }
    (void)memset_s(pcText, ulSize, 0, ulSize);
    ReadText(pstFile, pcText, ulSize, pstMsgs);
    u32 uiErrorOffset = 0;
    CFJSON *pstDoc = CFJSON_ParseAt(pcText, &uiErrorOffset);
    if (pstDoc == nullptr) WhyParseSet(pcText, uiErrorOffset);
    free(pcText);
    if (pstDoc == nullptr) {
        LogFailure(pstMsgs->pcParseFail);
        return kReadFailed;
    }
    *ppstDoc = pstDoc;
    return 0;
}

u32 ReadResolvedFile(const char *pcPath, char *pcResolved, const RS_JSON_FILE_MSGS *pstMsgs, CFJSON **ppstDoc) {
    if (!ResolvePath(pcPath, pcResolved)) {
        WhySet(strerror(errno));
        LogFailure(pstMsgs->pcPathInvalid);
        return kReadFailed;
    }
    FILE *pstFile = fopen(pcResolved, "r");
    if (pstFile == nullptr) {
        WhySet(strerror(errno));
        LogFailure(pstMsgs->pcOpenFail);
        return kReadFailed;
    }
    u32 uiRet = ParseOpenFile(pstFile, pstMsgs, ppstDoc);
    (void)fclose(pstFile);
    return uiRet;
}

}  // namespace

extern "C" RS_API u32 RsJsonFileRead(const char *pcPath, const RS_JSON_FILE_MSGS *pstMsgs, CFJSON **ppstDoc) {
    if (pstMsgs == nullptr || ppstDoc == nullptr) return kReadFailed;
    WhySet("");
    char *pcResolved = static_cast<char *>(malloc(RS_JSON_PATH_SIZE));
    if (pcResolved == nullptr) {
        WhySet("out of memory");
        LogFailure(pstMsgs->pcPathAllocFail);
        return kReadFailed;
    }
    u32 uiRet = ReadResolvedFile(pcPath, pcResolved, pstMsgs, ppstDoc);
    free(pcResolved);
    return uiRet;
}

extern "C" RS_API const char *RsJsonFileWhy(void) {
    return t_acWhy;
}
