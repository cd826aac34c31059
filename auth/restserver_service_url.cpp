// The service URL entries: each member of service_url_config.json names a URL
// pattern and the service ("domain") that serves it. The list is built
// before it is published and never changed afterwards, so lookups from any
// thread need no lock.
#include <stdlib.h>
#include <string.h>

#include <string_view>

#include "auth/restserver_service_token.h"
#include "core/restserver_json_file.h"
#include "core/restserver_log.h"
#include "plat_json.h"
#include "plat_text.h"

extern "C" {
RS_API RsUrlConfigInfo *g_serviceUrlConfigList = nullptr;
}

namespace {

constexpr u32 kLoadFailed = 0xFFFFFFFFu;
const char *const kSelfTestUrl = "/rest/plat/domain/v1/aa";

constexpr RS_JSON_FILE_MSGS kServiceUrlFileMsgs = {
    "Real path alloc fail.",
    "Service url config json path invalid.",
    "Service url config json file open fail.",
    "Service url config str alloc fail.",
    "ServiceUrlConfigLoad strcat_s fail.",
    "Service url config json parse fail.",
};

bool g_bServiceUrlLoaded = false;

void EntryFree(RsUrlConfigInfo *pstEntry) {
    free(pstEntry->url);
    free(pstEntry);
}

// A member becomes an entry when it has a name and string "type" and
// "domain"; a value too long for its field leaves the field empty.
RsUrlConfigInfo *EntryMake(const CFJSON *pstMember) {
    const char *pcName = CFJSON_StringKeyGet(pstMember);
    const char *pcType = CFJSON_StringValueGet(CFJSON_ObjectItemGet(pstMember, "type"));
    const char *pcDomain = CFJSON_StringValueGet(CFJSON_ObjectItemGet(pstMember, "domain"));
    if (pcName == nullptr || pcType == nullptr || pcDomain == nullptr) return nullptr;
    auto *pstEntry = static_cast<RsUrlConfigInfo *>(calloc(1, sizeof(RsUrlConfigInfo)));
    if (pstEntry == nullptr) return nullptr;
    size_t ulUrlSize = strlen(pcName) + 1;
    pstEntry->url = static_cast<char *>(malloc(ulUrlSize));
    if (pstEntry->url == nullptr) {
        EntryFree(pstEntry);
        return nullptr;
    }
    (void)strcpy_s(pstEntry->url, ulUrlSize, pcName);
    (void)strcpy_s(pstEntry->type, sizeof(pstEntry->type), pcType);
    (void)strcpy_s(pstEntry->domain, sizeof(pstEntry->domain), pcDomain);
    return pstEntry;
}

// A pattern ending in "*" matches a URL that holds the text before the "*"
// anywhere; the pattern is only read, so lookups may run at once.
bool UrlMatches(const char *pcPattern, std::string_view svUrl) {
    std::string_view svPattern(pcPattern);
    if (svPattern == svUrl) return true;
    if (svPattern.empty() || svPattern.back() != '*') return false;
    return svUrl.find(svPattern.substr(0, svPattern.size() - 1)) != std::string_view::npos;
}

}  // namespace

extern "C" RS_API u32 ServiceUrlConfigLoad(void) {
    if (g_bServiceUrlLoaded) return 0;
    CFJSON *pstDoc = nullptr;
    if (RsJsonFileRead(RS_SERVICE_URL_JSON_PATH, &kServiceUrlFileMsgs, &pstDoc) != 0) return kLoadFailed;
    RsUrlConfigInfo *pstHead = nullptr;
    for (CFJSON *pstMember = CFJSON_NextItemGet(pstDoc, nullptr); pstMember != nullptr;
         pstMember = CFJSON_NextItemGet(pstDoc, pstMember)) {
        RsUrlConfigInfo *pstEntry = EntryMake(pstMember);
        if (pstEntry == nullptr) continue;
        pstEntry->next = pstHead;
        pstHead = pstEntry;
    }
    CFJSON_Delete(pstDoc);
    __atomic_store_n(&g_serviceUrlConfigList, pstHead, __ATOMIC_RELEASE);
    g_bServiceUrlLoaded = true;
    return 0;
}

extern "C" RS_API RsUrlConfigInfo *RsUrlConfigInfoGet(const char *pcUrl) {
    if (pcUrl == nullptr) return nullptr;
    std::string_view svUrl(pcUrl);
    for (RsUrlConfigInfo *pstEntry = __atomic_load_n(&g_serviceUrlConfigList, __ATOMIC_ACQUIRE); pstEntry != nullptr;
         pstEntry = pstEntry->next) {
        if (UrlMatches(pstEntry->url, svUrl)) return pstEntry;
    }
    return nullptr;
}

extern "C" RS_API u32 RsUrlServiceNameGetTest(void) {
    const RsUrlConfigInfo *pstEntry = RsUrlConfigInfoGet(kSelfTestUrl);
    if (pstEntry == nullptr) return kLoadFailed;
    RS_LOG(RS_LOG_INFO, "Service name of %s is: %s", kSelfTestUrl, pstEntry->domain);
    return 0;
}

extern "C" RS_API void RsServiceConfigClear(void) {
    RsUrlConfigInfo *pstEntry = __atomic_exchange_n(&g_serviceUrlConfigList, nullptr, __ATOMIC_ACQ_REL);
    while (pstEntry != nullptr) {
        RsUrlConfigInfo *pstNext = pstEntry->next;
        EntryFree(pstEntry);
        pstEntry = pstNext;
    }
    g_bServiceUrlLoaded = false;
    free(__atomic_exchange_n(&g_serviceJwt, nullptr, __ATOMIC_ACQ_REL));
}
