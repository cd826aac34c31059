// The virtual IP address of this process: in the application-version file,
// under "processes", this process's node slot and its load-balancer label,
// the first of the "vips" whose usage mentions "BGPSouthBound".
#include <string.h>

#include "core/restserver_json_file.h"
#include "core/restserver_log.h"
#include "plat_config.h"
#include "plat_json.h"
#include "plat_text.h"
#include "restserver_helpers.h"

namespace {

constexpr u32 kLookupFailed = 0xFFFFFFFFu;

constexpr RS_JSON_FILE_MSGS kAppVerFileMsgs = {
    "Real path alloc fail.",
    "g_acAppVerJsonPath path invalid.",
    "AppVerJson file open failed.",
    "AppVerJson str alloc failed.",
    "strcat_s fail.",
    "AppVerJson object parse failed.",
};

// The label's section of this process; null with the reason logged.
const CFJSON *LabelSectionGet(const CFJSON *pstAppVer) {
    const CFJSON *pstProcesses = CFJSON_ObjectItemGet(pstAppVer, "processes");
    if (pstProcesses == nullptr) {
        RS_LOG(RS_LOG_ERROR, "get pProcessesObj failed.");
        return nullptr;
    }
    const CFJSON *pstProcess = CFJSON_ObjectItemGet(pstProcesses, g_acProcessNodeSlot);
    if (pstProcess == nullptr) {
        RS_LOG(RS_LOG_ERROR, "get pProcessObj failed.");
        return nullptr;
    }
    const CFJSON *pstSection = CFJSON_ObjectItemGet(pstProcess, g_acLvsSBILabel);
    if (pstSection == nullptr) RS_LOG(RS_LOG_ERROR, "get LVS_SBI failed.");
    return pstSection;
}

// The first usage mentioning "BGPSouthBound" decides, with or without a "vip".
void VipCopy(const CFJSON *pstVips, char *pcVipAddr, u32 uiVipAddrSize) {
    u32 uiCount = CFJSON_ArraySizeGet(pstVips);
    for (u32 uiIdx = 0; uiIdx < uiCount; ++uiIdx) {
        const CFJSON *pstVip = CFJSON_ArrayItemGet(pstVips, uiIdx);
        const char *pcUsage = CFJSON_StringValueGet(CFJSON_ObjectItemGet(pstVip, "usage"));
        if (pcUsage == nullptr || pcUsage[0] == '\0') continue;
        RS_LOG(RS_LOG_INFO, "usageStr :%s", pcUsage);
        if (strstr(pcUsage, "BGPSouthBound") == nullptr) continue;
        const char *pcAddr = CFJSON_StringValueGet(CFJSON_ObjectItemGet(pstVip, "vip"));
        if (pcAddr == nullptr) return;
        RS_LOG(RS_LOG_INFO, "vipAddr :%s", pcAddr);
        if (strcpy_s(pcVipAddr, uiVipAddrSize, pcAddr) != EOK)
            RS_LOG(RS_LOG_ERROR, "vipAddr %s does not fit %u bytes.", pcAddr, uiVipAddrSize);
        return;
    }
}

u32 VipFind(const CFJSON *pstAppVer, u32 *puiFound, char *pcVipAddr, u32 uiVipAddrSize) {
    const CFJSON *pstSection = LabelSectionGet(pstAppVer);
    if (pstSection == nullptr) {
        *puiFound = 0;
        return kLookupFailed;
    }
    *puiFound = 1;
    const CFJSON *pstVips = CFJSON_ObjectItemGet(pstSection, "vips");
    if (pstVips == nullptr) {
        RS_LOG(RS_LOG_ERROR, "get vips failed.");
        return kLookupFailed;
    }
    VipCopy(pstVips, pcVipAddr, uiVipAddrSize);
    return 0;
}

}  // namespace

extern "C" RS_API u32 GetVipFromAppVerJsonEx(u32 *puiFound, char *pcVipAddr, u32 uiVipAddrSize) {
    if (puiFound == nullptr || pcVipAddr == nullptr) return kLookupFailed;
    (void)GetAppVerFileName();
    CFJSON *pstAppVer = nullptr;
    if (RsJsonFileRead(g_acAppVerJsonPath, &kAppVerFileMsgs, &pstAppVer) != 0) return kLookupFailed;
    u32 uiRet = VipFind(pstAppVer, puiFound, pcVipAddr, uiVipAddrSize);
    CFJSON_Delete(pstAppVer);
    return uiRet;
}

extern "C" RS_API u32 GetVipFromAppVerJson(u32 *puiFound, char *pcVipAddr) {
    return GetVipFromAppVerJsonEx(puiFound, pcVipAddr, RS_VIP_ADDR_SIZE);
}
