// File output through stdio; the handle is the FILE pointer itself.
#include <cstdio>

#include "plat_os.h"

extern "C" PLAT_API void *VOS_VFS_FOpen(const char *pcPath, const char *pcMode) {
    if (pcPath == nullptr || pcMode == nullptr) return nullptr;
    return fopen(pcPath, pcMode);
}

extern "C" PLAT_API size_t VOS_VFS_FWrite(const void *pData, size_t ulItemSize, size_t ulCount, void *pFile) {
    if (pData == nullptr || pFile == nullptr) return 0;
    return fwrite(pData, ulItemSize, ulCount, static_cast<FILE *>(pFile));
}

extern "C" PLAT_API s32 VOS_VFS_FClose(void *pFile) {
    if (pFile == nullptr) return -1;
    return fclose(static_cast<FILE *>(pFile));
}
