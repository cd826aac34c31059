// The two rule documents: right.json maps method and URI pattern to an
// action, policy.json maps each action to its access expression. Each is
// read whole and kept parsed for the life of the process.
#include "auth/restserver_auth_rules.h"
#include "core/restserver_json_file.h"

extern "C" {
RS_API const char *g_pcRightJsonPath = "../conf/vog_auth/right.json";
RS_API const char *g_pcPolicyJsonPath = "../conf/vog_auth/policy.json";
RS_API CFJSON *g_pRightJsonObject = nullptr;
RS_API CFJSON *g_pPolicyJsonObject = nullptr;
}

namespace {

constexpr RS_JSON_FILE_MSGS kRightFileMsgs = {
    "Real path alloc failed.",
    "Right json path invalid.",
    "Right json file open failed.",
    "Right json str alloc failed.",
    nullptr,
    "Right json object parse failed.",
};

constexpr RS_JSON_FILE_MSGS kPolicyFileMsgs = {
    "Real path alloc failed.",
    "Policy json path invalid.",
    "Policy json file open failed.",
    "Policy json str alloc failed.",
    nullptr,
    "Policy json object parse failed.",
};

// A reload replaces the document; the old one is no longer referenced by anything.
u32 LoadDocument(const char *pcPath, const RS_JSON_FILE_MSGS *pstMsgs, CFJSON **ppstGlobal) {
    CFJSON *pstDoc = nullptr;
    if (RsJsonFileRead(pcPath, pstMsgs, &pstDoc) != 0) return 0xFFFFFFFFu;
    CFJSON_Delete(*ppstGlobal);
    *ppstGlobal = pstDoc;
    return 0;
}

}  // namespace

extern "C" RS_API u32 RsAuthRightConfigLoad(void) {
    return LoadDocument(g_pcRightJsonPath, &kRightFileMsgs, &g_pRightJsonObject);
}

extern "C" RS_API u32 RsAuthPolicyConfigLoad(void) {
    return LoadDocument(g_pcPolicyJsonPath, &kPolicyFileMsgs, &g_pPolicyJsonObject);
}
