// Request operations for entry functions. None allocates per call: texts are
// built once per request, owned by it, and reuse the storage of the
// connection's earlier requests.
#include "kernel/request.h"

using kernel::Request;

namespace {

Request *AsRequest(REST_REQ req) {
    return static_cast<Request *>(req);
}

const char *FindPair(const std::vector<std::string> &pairs, size_t used, const char *name) {
    for (size_t i = 0; i + 1 < used; i += 2) {
        if (pairs[i] == name) return pairs[i + 1].c_str();
    }
    return nullptr;
}

}  // namespace

extern "C" {

PLAT_API u32 REST_RequestMethodGet(REST_REQ req) {
    return req != nullptr ? AsRequest(req)->method : REST_METHOD_OTHER;
}

PLAT_API const char *REST_RequestUriGet(REST_REQ req) {
    return req != nullptr ? AsRequest(req)->uri.c_str() : nullptr;
}

PLAT_API const char *REST_RequestHeadValueGet(REST_REQ req, const char *pcName) {
    if (req == nullptr || pcName == nullptr) return nullptr;
    try {
        return AsRequest(req)->HeadValue(pcName);
    } catch (...) {
        return nullptr;
    }
}

PLAT_API u32 REST_RequestHeadGet(REST_REQ req, const REST_HEAD_ITEM **ppstItems, u32 *puiCount) {
    if (req == nullptr || ppstItems == nullptr || puiCount == nullptr) return PLAT_ERR;
    try {
        Request *request = AsRequest(req);
        if (!request->heads_ready) request->HeadsBuild();
        *ppstItems = request->heads.data();
        *puiCount = static_cast<u32>(request->heads.size());
        return PLAT_OK;
    } catch (...) {
        return PLAT_ERR;
    }
}

PLAT_API u32 REST_RequestQueryCountGet(REST_REQ req) {
    if (req == nullptr) return 0;
    try {
        Request *request = AsRequest(req);
        if (!request->query_ready) request->QueryBuild();
        return static_cast<u32>(request->query_used / 2);
    } catch (...) {
        return 0;
    }
}

PLAT_API const char *REST_RequestQueryValueGet(REST_REQ req, const char *pcName) {
    if (req == nullptr || pcName == nullptr) return nullptr;
    try {
        Request *request = AsRequest(req);
        if (!request->query_ready) request->QueryBuild();
        return FindPair(request->query, request->query_used, pcName);
    } catch (...) {
        return nullptr;
    }
}

PLAT_API const char *REST_RequestBraceVarGet(REST_REQ req, const char *pcName) {
    if (req == nullptr || pcName == nullptr) return nullptr;
    Request *request = AsRequest(req);
    if (request->route == nullptr) return nullptr;
    try {
        if (!request->braces_ready) request->BracesDecode();
    } catch (...) {
        return nullptr;
    }
    for (const auto &[index, name] : request->route->braces) {
        if (name == pcName && index < request->segments.size()) return request->segments[index].c_str();
    }
    return nullptr;
}

PLAT_API const char *REST_RequestBodyGet(REST_REQ req, u32 *puiLen) {
    if (puiLen != nullptr) *puiLen = 0;
    if (req == nullptr || AsRequest(req)->message == nullptr) return nullptr;
    const std::string &body = AsRequest(req)->message->body();
    if (body.empty()) return nullptr;
    if (puiLen != nullptr) *puiLen = static_cast<u32>(body.size());
    return body.c_str();
}

}  // extern "C"
