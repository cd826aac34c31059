// The local node: its address and instance id from node.*, and binary
// addresses rendered as text.
#include <arpa/inet.h>

#include <cstring>

#include "config/ip_address.h"
#include "config/platform_cfg.h"

extern "C" PLAT_API u32 Loc_GetLocalIpAddress(LOC_IP_ADDR_S *pstAddr) {
    if (pstAddr == nullptr) return PLAT_ERR;
    try {
        return plat::IpAddressParse(plat::NodeCfgGet().localIp, *pstAddr) ? PLAT_OK : PLAT_ERR;
    } catch (...) {
        return PLAT_ERR;
    }
}

// On failure the buffer is left empty so a caller printing it shows nothing.
extern "C" PLAT_API u32 Loc_IpAddressBinToStr(const LOC_IP_ADDR_S *pstAddr, char *pcBuf, u32 uiBufSize) {
    if (pcBuf == nullptr || uiBufSize == 0) return PLAT_ERR;
    pcBuf[0] = '\0';
    if (pstAddr == nullptr) return PLAT_ERR;
    int family = 0;
    if (pstAddr->uiFamily == PLAT_AF_INET) family = AF_INET;
    if (pstAddr->uiFamily == PLAT_AF_INET6) family = AF_INET6;
    if (family == 0) return PLAT_ERR;
    if (inet_ntop(family, pstAddr->aucAddr, pcBuf, uiBufSize) == nullptr) {
        pcBuf[0] = '\0';
        return PLAT_ERR;
    }
    return PLAT_OK;
}

extern "C" PLAT_API u32 Loc_GetLocalInstanceID(void) {
    try {
        return plat::NodeCfgGet().instanceId;
    } catch (...) {
        return 0;
    }
}
