// The common root directory (node.common_root) for files such as the screen log.
#include <cstring>

#include "config/platform_cfg.h"
#include "plat_sync.h"

extern "C" PLAT_API u32 ZEP_GetCommonRootPath(char *pcBuf, u32 uiBufSize) {
    if (pcBuf == nullptr) return PLAT_ERR;
    try {
        std::string root = plat::NodeCfgGet().commonRoot;
        if (root.size() >= uiBufSize) return PLAT_ERR;  // never cut a path
        memcpy(pcBuf, root.c_str(), root.size() + 1);
        return PLAT_OK;
    } catch (...) {
        return PLAT_ERR;
    }
}
