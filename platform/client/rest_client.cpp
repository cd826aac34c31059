// REST client on libcurl: one reusable handle per thread keeps connections
// (and TLS sessions) to the service alive between calls.
#include <curl/curl.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include "log/log_macro.h"
#include "plat_client.h"
#include "plat_config.h"

namespace {

constexpr long kConnectTimeoutMs = 3000;
constexpr long kTotalTimeoutMs = 30000;

struct Request {
    u32 kind;
    const REST_END_POINT *endpoint;
    const char *path;
    const char *body;
    u32 body_len;
    char **head_names;
    char **head_values;
    u32 head_count;
};

struct Result {
    char *body = nullptr;
    u32 len = 0;
    u32 status = 0;
};

// The thread's handle, reset before each use and released at thread exit.
struct ThreadHandle {
    CURL *curl = nullptr;
    ThreadHandle() {
        static std::once_flag global;
        std::call_once(global, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
        curl = curl_easy_init();
    }
    ~ThreadHandle() {
        if (curl != nullptr) curl_easy_cleanup(curl);
    }
};

CURL *HandleGet() {
    thread_local ThreadHandle handle;
    if (handle.curl != nullptr) curl_easy_reset(handle.curl);
    return handle.curl;
}

u16 PortMap(const PLAT_SECURITY_SERVICE_CFG_S &cfg, u16 port) {
    for (u32 i = 0; i < cfg.uiPortMapCount && i < PLAT_PORT_MAP_MAX; ++i) {
        if (cfg.ausPortFrom[i] == port) return cfg.ausPortTo[i];
    }
    return port;
}

std::string UrlBuild(const REST_END_POINT &endpoint, const char *path) {
    PLAT_SECURITY_SERVICE_CFG_S none{};
    const PLAT_SECURITY_SERVICE_CFG_S *found = PLAT_SecurityServiceCfgGet();
    const PLAT_SECURITY_SERVICE_CFG_S &cfg = found != nullptr ? *found : none;
    std::string host = endpoint.pcAddress != nullptr && endpoint.pcAddress[0] != '\0' ? endpoint.pcAddress : cfg.acHost;
    if (host.empty()) host = "127.0.0.1";
    if (host.find(':') != std::string::npos) host = "[" + host + "]";
    std::string scheme = cfg.acScheme[0] != '\0' ? cfg.acScheme : "http";
    std::string url = scheme + "://" + host + ":" + std::to_string(PortMap(cfg, endpoint.usPort));
    if (path[0] != '/') url.push_back('/');
    return url.append(path);
}

size_t Collect(char *data, size_t size, size_t count, void *user) {
    static_cast<std::string *>(user)->append(data, size * count);
    return size * count;
}

curl_slist *FieldsBuild(const Request &request) {
    curl_slist *fields = nullptr;
    for (u32 i = 0; i < request.head_count; ++i) {
        if (request.head_names[i] == nullptr || request.head_values[i] == nullptr) continue;
        std::string line = std::string(request.head_names[i]) + ": " + request.head_values[i];
        curl_slist *grown = curl_slist_append(fields, line.c_str());
        if (grown == nullptr) break;
        fields = grown;
    }
    return fields;
}

u32 Perform(const Request &request, Result &result) {
    CURL *curl = HandleGet();
    if (curl == nullptr) {
        PLAT_LOG(PLAT_LOG_ERROR, "REST client: no transfer handle");
        return PLAT_ERR;
    }
    std::string url = UrlBuild(*request.endpoint, request.path);
    std::string answer;
    curl_slist *fields = FieldsBuild(request);
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, kConnectTimeoutMs);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, kTotalTimeoutMs);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, Collect);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &answer);
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, fields);
    if (request.kind == SSP_REST_POST) {
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE,
                         request.body != nullptr ? static_cast<long>(request.body_len) : 0L);
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, request.body != nullptr ? request.body : "");
    } else {
        curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L);
    }
    CURLcode code = curl_easy_perform(curl);
    curl_slist_free_all(fields);
    if (code != CURLE_OK) {
        PLAT_LOG(PLAT_LOG_ERROR, "REST client: %s failed: %s", url.c_str(), curl_easy_strerror(code));
        return PLAT_ERR;
    }
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    result.body = static_cast<char *>(malloc(answer.size() + 1));
    if (result.body == nullptr) {
        PLAT_LOG(PLAT_LOG_ERROR, "REST client: no memory for an answer of %zu bytes", answer.size());
        return PLAT_ERR;
    }
    memcpy(result.body, answer.data(), answer.size());
    result.body[answer.size()] = '\0';
    result.len = static_cast<u32>(answer.size());
    result.status = static_cast<u32>(status);
    return PLAT_OK;
}

u32 Send(const Request &request, char **body_out, u32 *len_out, u32 *status_out) {
    *body_out = nullptr;
    *len_out = 0;
    if (status_out != nullptr) *status_out = 0;
    if (request.endpoint == nullptr || request.path == nullptr || request.kind > SSP_REST_POST ||
        (request.head_count != 0 && (request.head_names == nullptr || request.head_values == nullptr))) {
        PLAT_LOG(PLAT_LOG_ERROR, "REST client: bad request arguments");
        return PLAT_ERR;
    }
    Result result;
    u32 rc;
    REST_EntryBlocking();  // a request from an entry waits on the network: its loop gets a spare now
    try {
        rc = Perform(request, result);
    } catch (...) {
        rc = PLAT_ERR;
    }
    if (rc != PLAT_OK) return rc;
    *body_out = result.body;
    *len_out = result.len;
    if (status_out != nullptr) *status_out = result.status;
    return PLAT_OK;
}

}  // namespace

extern "C" {

PLAT_API u32 SSP_RestRequestSendEx(u32 uiKind, const REST_END_POINT *pstEndPoint, const char *pcPath, char **ppcBody,
                                   u32 *puiLen, u32 *puiHttpStatus) {
    if (ppcBody == nullptr || puiLen == nullptr) return PLAT_ERR;
    Request request{uiKind, pstEndPoint, pcPath, nullptr, 0, nullptr, nullptr, 0};
    return Send(request, ppcBody, puiLen, puiHttpStatus);
}

PLAT_API u32 SSP_RestRequestSendWithHead(u32 uiKind, const REST_END_POINT *pstEndPoint, const char *pcPath,
                                         char **ppcIoBody, u32 *puiIoLen, u32 *puiHttpStatus, char **ppcHeadNames,
                                         char **ppcHeadValues, u32 uiHeadCount) {
    if (ppcIoBody == nullptr || puiIoLen == nullptr) return PLAT_ERR;
    Request request{uiKind, pstEndPoint, pcPath, *ppcIoBody, *puiIoLen, ppcHeadNames, ppcHeadValues, uiHeadCount};
    return Send(request, ppcIoBody, puiIoLen, puiHttpStatus);
}

PLAT_API void SSP_ResponseBodyFree(char *pcBody) {
    free(pcBody);
}

}  // extern "C"
