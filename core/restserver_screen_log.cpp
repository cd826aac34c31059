// The screen log: a plain text file under the platform's common root that
// receives assertion reports and stack traces. Every message is one
// open-append-close, with no lock and no added newline.
#include <stdarg.h>

#include "core/restserver_diag.h"
#include "plat_os.h"
#include "plat_sync.h"
#include "plat_text.h"

#define RS_PATH_BUF_SIZE 256u
#define RS_SCREEN_MSG_SIZE 1024u
#define RS_STACK_FRAMES 26u
#define RS_STACK_SLOTS 29u
#define RS_STACK_SKIP 2u
#define RS_RULE "-----------------------------------------------------"

extern "C" RS_API void _lwGetScreenFileName(char *pcBuf, u32 uiBufSize) {
    char acRoot[RS_PATH_BUF_SIZE] = {0};
    if (ZEP_GetCommonRootPath(acRoot, sizeof(acRoot)) != 0) return;
    (void)snprintf_s(pcBuf, uiBufSize, uiBufSize - 1, "%s/var/log/pubScreenLog.txt", acRoot);
}

extern "C" RS_API void RsLwScreenPrinf(const char *pcFormat, ...) {
    char acMsg[RS_SCREEN_MSG_SIZE];
    va_list args;
    va_start(args, pcFormat);
    int iLen = vsnprintf_s(acMsg, sizeof(acMsg), sizeof(acMsg) - 1, pcFormat, args);
    va_end(args);

    char acPath[RS_PATH_BUF_SIZE] = {0};
    _lwGetScreenFileName(acPath, sizeof(acPath));
    void *pFile = VOS_VFS_FOpen(acPath, "a+");
    if (pFile == nullptr) return;
    if (iLen > 0) (void)VOS_VFS_FWrite(acMsg, static_cast<size_t>(iLen), 1, pFile);
    (void)VOS_VFS_FClose(pFile);
}

extern "C" RS_API void RsTraceStack(void) {
    void *apAddrs[RS_STACK_SLOTS] = {nullptr};
    u32 uiCount = 0;
    if (VOS_CallStackSelfGet(RS_STACK_FRAMES, RS_STACK_SKIP, apAddrs, &uiCount) != 0) {
        RsLwScreenPrinf("\nTraceStack Failed.\n");
        return;
    }
    RsLwScreenPrinf("TraceStack.\n");
    RsLwScreenPrinf("%s\n", RS_RULE);
    for (u32 i = 0; i < uiCount && i < RS_STACK_SLOTS; ++i) {
        RsLwScreenPrinf("0x%x --> %s\n", static_cast<u32>(reinterpret_cast<uintptr_t>(apAddrs[i])),
                        VOS_SymNameGet(apAddrs[i]));
    }
    RsLwScreenPrinf("%s\r\n", RS_RULE);
}
