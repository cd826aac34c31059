// The per-request access check: find the rule for the request key and
// decide its expression against the caller's token record.
#include "auth/restserver_auth_lock.h"
#include "auth/restserver_auth_rules.h"
#include "core/restserver_log.h"

namespace {

constexpr u32 kRefused = 0xFFFFFFFFu;
constexpr u32 kSelfTestRefused = 2;

}  // namespace

// Search and evaluation run under the reader lock: a concurrent load may
// rebuild a leaf's tree. Messages are logged after the lock is released.
extern "C" RS_API u32 RsAuthAccessCheck(const char *pcKey, const RsTokenItem *pstItem) {
    RsAuthRulesReadLock();
    const RsExprNode *pstTree = SearchAuthExpression(pcKey);
    u32 uiGranted = pstTree == nullptr ? 0 : ExpressionParse(pstTree, pstItem);
    RsAuthRulesUnlock();
    if (pstTree == nullptr) {
        RS_LOG(RS_LOG_ERROR, "SearchAuthExpression fail.");
        return kRefused;
    }
    if (uiGranted == 0) {
        RS_LOG(RS_LOG_ERROR, "ExpressionParse return false.");
        return kRefused;
    }
    return 0;
}

// The key keeps the "/" after the method, so it matches only rules whose
// uri-pattern begins with "/".
extern "C" RS_API u32 RsAuthAccessCheckTest(void) {
    char acRole[] = "role:op_regular";
    char *apcRoles[] = {acRole};
    RsTokenItem stItem = {"2099-12-31T23:59:59.000000Z",
                          "sample-domain-id",
                          "sample-user-id",
                          "sample-user",
                          apcRoles,
                          1,
                          "sample-domain",
                          "sample-project-id"};
    if (RsAuthAccessCheck("GET/rest/servicemanager/v1/services/qq", &stItem) != 0) {
        RS_LOG(RS_LOG_ERROR, "Auth filter access check fail.");
        return kSelfTestRefused;
    }
    RS_LOG(RS_LOG_INFO, "Auth filter access check succ.");
    return 0;
}
