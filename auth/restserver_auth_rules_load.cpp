// Loading the URL authorisation rules: each right.json element, joined with
// its action's expression from policy.json, becomes one rule text
// "<method><uri-pattern>/<expression>" inserted into the trie.
#include <stdlib.h>
#include <string.h>

#include "auth/restserver_auth_lock.h"
#include "auth/restserver_auth_rules.h"
#include "core/restserver_log.h"
#include "plat_text.h"

namespace {

constexpr u32 kLoadFailed = 0xFFFFFFFFu;

struct RuleParts {
    const char *pcMethod;
    const char *pcUrlPattern;
    const char *pcAction;
    const char *pcExpression;
};

const char *StringMember(const CFJSON *pstObject, const char *pcName) {
    if (pcName == nullptr) return nullptr;
    return CFJSON_StringValueGet(CFJSON_ObjectItemGet(pstObject, pcName));
}

RuleParts ReadRuleParts(const CFJSON *pstRight) {
    RuleParts stParts = {};
    stParts.pcMethod = StringMember(pstRight, "method");
    stParts.pcUrlPattern = StringMember(pstRight, "uri-pattern");
    stParts.pcAction = StringMember(pstRight, "action");
    stParts.pcExpression = StringMember(g_pPolicyJsonObject, stParts.pcAction);
    return stParts;
}

// An oversized rule is skipped whole rather than cut, which would change what it grants.
bool RuleFits(const RuleParts &stParts) {
    size_t ulLen = strlen(stParts.pcMethod) + strlen(stParts.pcUrlPattern) + 1 + strlen(stParts.pcExpression);
    if (ulLen >= RS_AUTH_RULE_BUF_SIZE) {
        RS_LOG(RS_LOG_ERROR, "Rule of action %s is longer than %u characters, skipped.", stParts.pcAction,
               RS_AUTH_RULE_BUF_SIZE - 1);
        return false;
    }
    switch (RsExprLimitsCheck(stParts.pcExpression)) {
        case RS_EXPR_WORD_TOO_LONG:
            RS_LOG(RS_LOG_ERROR, "Expression of action %s has a bracketed word over %u characters, skipped.",
                   stParts.pcAction, RS_EXPR_WORD_BUF_SIZE - 1);
            return false;
        case RS_EXPR_TOO_MANY_WORDS:
            RS_LOG(RS_LOG_ERROR, "Expression of action %s has more than %u words, skipped.", stParts.pcAction,
                   RS_EXPR_MAX_WORDS);
            return false;
        default:
            return true;
    }
}

u32 InsertRule(const RuleParts &stParts) {
    char *pcAuthUrlStr = static_cast<char *>(malloc(RS_AUTH_RULE_BUF_SIZE));
    if (pcAuthUrlStr == nullptr) {
        RS_LOG(RS_LOG_ERROR, "Malloc pAuthUrlStr failed.");
        return kLoadFailed;
    }
    (void)memset_s(pcAuthUrlStr, RS_AUTH_RULE_BUF_SIZE, 0, RS_AUTH_RULE_BUF_SIZE);
    (void)strcat_s(pcAuthUrlStr, RS_AUTH_RULE_BUF_SIZE, stParts.pcMethod);
    (void)strcat_s(pcAuthUrlStr, RS_AUTH_RULE_BUF_SIZE, stParts.pcUrlPattern);
    (void)strcat_s(pcAuthUrlStr, RS_AUTH_RULE_BUF_SIZE, "/");
    (void)strcat_s(pcAuthUrlStr, RS_AUTH_RULE_BUF_SIZE, stParts.pcExpression);
    AddItemToAuthConfigTrie(pcAuthUrlStr);
    free(pcAuthUrlStr);
    return 0;
}

// A rule without its parts stops the load; the rules inserted before it stay.
u32 LoadRule(const CFJSON *pstRight) {
    RuleParts stParts = ReadRuleParts(pstRight);
    if (stParts.pcMethod == nullptr || stParts.pcUrlPattern == nullptr || stParts.pcExpression == nullptr) {
        RS_LOG(RS_LOG_ERROR, "pMethod or pUrlPattern or pPolicy is NULL.");
        return kLoadFailed;
    }
    if (!RuleFits(stParts)) return 0;
    return InsertRule(stParts);
}

u32 LoadRules(void) {
    u32 uiRet = RsAuthRightConfigLoad();
    if (uiRet != 0) {
        RS_LOG(RS_LOG_ERROR, "RsAuthRightConfigLoad failed.");
        return uiRet;
    }
    uiRet = RsAuthPolicyConfigLoad();
    if (uiRet != 0) {
        RS_LOG(RS_LOG_ERROR, "RsAuthPolicyConfigLoad failed.");
        return uiRet;
    }
    u32 uiUrlNum = CFJSON_ArraySizeGet(g_pRightJsonObject);
    if (uiUrlNum == 0) {
        RS_LOG(RS_LOG_ERROR, "urlNum is zero.");
        return kLoadFailed;
    }
    for (u32 uiIdx = 0; uiIdx < uiUrlNum; ++uiIdx) {
        uiRet = LoadRule(CFJSON_ArrayItemGet(g_pRightJsonObject, uiIdx));
        if (uiRet != 0) return uiRet;
    }
    return 0;
}

}  // namespace

extern "C" RS_API u32 RsAuthConfigLoad(void) {
    RsAuthRulesWriteLock();
    u32 uiRet = LoadRules();
    RsAuthRulesUnlock();
    return uiRet;
}
