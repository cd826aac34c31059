// The deployment's manifest names the installed application package; the
// package's application-version file sits next to it. The load-balancer
// label of this process follows from its service name.
#include <string.h>

#include "core/restserver_json_file.h"
#include "core/restserver_log.h"
#include "plat_config.h"
#include "plat_json.h"
#include "plat_text.h"
#include "restserver_helpers.h"

extern "C" {
RS_API const char *g_pcManifestPath = "../../../../etc/sysconf/manifest.json";
RS_API char g_acAppVerJsonPath[RS_APP_VER_PATH_SIZE] = {0};
RS_API char g_acLvsSBILabel[RS_LVS_LABEL_SIZE] = {0};
}

namespace {

constexpr u32 kReadFailed = 0xFFFFFFFFu;

constexpr RS_JSON_FILE_MSGS kManifestFileMsgs = {
    "Real path alloc fail.",
    "g_pcManifestPath invalid.",
    "manifest.json file open fail.",
    "manifest.json str alloc fail.",
    "strcat_s fail.",
    "manifest.json object parse fail.",
};

// Service names (exact, case-sensitive) and the label each gets.
const struct {
    const char *pcServiceName;
    const char *pcLabel;
} kLvsLabels[] = {
    {"BgpService", "LVS_SBI_BGP"},
    {"PCEPService", "LVS_SBI_PCEP"},
    {"korvadex", "LVS_SBI_QORCommon"},
};

void AppVerJsonPathSet(const CFJSON *pstManifest) {
    const CFJSON *pstPackageId = CFJSON_ObjectItemGet(pstManifest, "packageId");
    if (pstPackageId == nullptr) {
        RS_LOG(RS_LOG_ERROR, "get packageId failed.");
        return;
    }
    const char *pcPackageId = CFJSON_StringValueGet(pstPackageId);
    if (pcPackageId == nullptr) {
        RS_LOG(RS_LOG_ERROR, "get packageIdstr failed.");
        return;
    }
    RS_LOG(RS_LOG_FINE, " packageId :%s.", pcPackageId);
    if (snprintf_s(g_acAppVerJsonPath, sizeof(g_acAppVerJsonPath), sizeof(g_acAppVerJsonPath) - 1,
                   "../../../../etc/sysconf/%s.json", pcPackageId) < 0)
        RS_LOG(RS_LOG_INFO, " snprintf_s error");
    RS_LOG(RS_LOG_INFO, " g_acAppVerJsonPath :%s.", g_acAppVerJsonPath);
}

}  // namespace

extern "C" RS_API u32 GetManifestFile(void) {
    CFJSON *pstManifest = nullptr;
    if (RsJsonFileRead(g_pcManifestPath, &kManifestFileMsgs, &pstManifest) != 0) return kReadFailed;
    AppVerJsonPathSet(pstManifest);
    CFJSON_Delete(pstManifest);
    return 0;
}

// Another service name keeps the label an earlier call set.
extern "C" RS_API u32 GetAppVerFileName(void) {
    if (g_acAppVerJsonPath[0] == '\0') (void)GetManifestFile();
    for (const auto &stRow : kLvsLabels) {
        if (strcmp(g_stSspBaseAppConfig.acServiceName, stRow.pcServiceName) == 0) {
            (void)strncpy_s(g_acLvsSBILabel, sizeof(g_acLvsSBILabel), stRow.pcLabel, sizeof(g_acLvsSBILabel) - 1);
            break;
        }
    }
    RS_LOG(RS_LOG_INFO, " g_acLvsSBILabel :%s.", g_acLvsSBILabel);
    return 0;
}
