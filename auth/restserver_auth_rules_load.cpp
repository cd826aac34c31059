// Loading the URL authorisation rules: each right.json element, joined with
// its action's expression from policy.json, becomes one rule text
// "<method><uri-pattern>/<expression>" inserted into the trie.
#include <stdlib.h>
#include <string.h>

#include "auth/restserver_auth_lock.h"
#include "auth/restserver_auth_rules.h"
#include "core/restserver_json_file.h"
#include "core/restserver_log.h"
#include "core/restserver_problem.h"
#include "plat_text.h"
#include "restserver_host.h"

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

// Rules are numbered from 1 in the operator's messages, as they stand in right.json.
void RuleProblem(u32 uiIdx, const char *pcText) {
    RsProblemReport(RS_INST_ID_NONE, "%s rule %u: %s", g_pcRightJsonPath, uiIdx + 1, pcText);
}

// An oversized rule is skipped whole rather than cut, which would change what it grants.
bool RuleFits(const RuleParts &stParts, u32 uiIdx) {
    size_t ulLen = strlen(stParts.pcMethod) + strlen(stParts.pcUrlPattern) + 1 + strlen(stParts.pcExpression);
    if (ulLen >= RS_AUTH_RULE_BUF_SIZE) {
        RS_LOG(RS_LOG_ERROR, "Rule of action %s is longer than %u characters, skipped.", stParts.pcAction,
               RS_AUTH_RULE_BUF_SIZE - 1);
        RuleProblem(uiIdx, "longer than the rule buffer, skipped");
        return false;
    }
    switch (RsExprLimitsCheck(stParts.pcExpression)) {
        case RS_EXPR_WORD_TOO_LONG:
            RS_LOG(RS_LOG_ERROR, "Expression of action %s has a bracketed word over %u characters, skipped.",
                   stParts.pcAction, RS_EXPR_WORD_BUF_SIZE - 1);
            RuleProblem(uiIdx, "its expression has a bracketed word too long, skipped");
            return false;
        case RS_EXPR_TOO_MANY_WORDS:
            RS_LOG(RS_LOG_ERROR, "Expression of action %s has more than %u words, skipped.", stParts.pcAction,
                   RS_EXPR_MAX_WORDS);
            RuleProblem(uiIdx, "its expression has too many words, skipped");
            return false;
        default:
            return true;
    }
}

// The server uses such an expression as the parser builds it, which is seldom
// what was meant; each member is said once, used by a rule or not.
void ExpressionsCheck(void) {
    for (const CFJSON *pstMember = CFJSON_NextItemGet(g_pPolicyJsonObject, nullptr); pstMember != nullptr;
         pstMember = CFJSON_NextItemGet(g_pPolicyJsonObject, pstMember)) {
        const char *pcExpression = CFJSON_StringValueGet(pstMember);
        char acWhy[160];
        if (pcExpression == nullptr || RsExprLimitsCheck(pcExpression) != RS_EXPR_OK ||
            RsExprWellFormed(pcExpression, acWhy, sizeof(acWhy)) == RS_EXPR_OK)
            continue;
        RsProblemReport(RS_INST_ID_NONE, "%s member \"%s\": expression \"%s\" is not well formed: %s",
                        g_pcPolicyJsonPath, CFJSON_StringKeyGet(pstMember), pcExpression, acWhy);
    }
}

// Says which part of a rule is missing; false when one is.
bool RulePartsGiven(const RuleParts &stParts, u32 uiIdx) {
    const char *pcMissing = stParts.pcMethod == nullptr       ? "method"
                            : stParts.pcUrlPattern == nullptr ? "uri-pattern"
                            : stParts.pcAction == nullptr     ? "action"
                                                              : nullptr;
    if (pcMissing != nullptr) {
        char acText[64];
        (void)snprintf_s(acText, sizeof(acText), sizeof(acText) - 1, "no string \"%s\"", pcMissing);
        RuleProblem(uiIdx, acText);
        return false;
    }
    if (stParts.pcExpression != nullptr) return true;
    RsProblemReport(RS_INST_ID_NONE, "%s: no string member \"%s\" (the action of %s rule %u)", g_pcPolicyJsonPath,
                    stParts.pcAction, g_pcRightJsonPath, uiIdx + 1);
    return false;
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
u32 LoadRule(const CFJSON *pstRight, u32 uiIdx) {
    RuleParts stParts = ReadRuleParts(pstRight);
    if (!RulePartsGiven(stParts, uiIdx)) {
        RS_LOG(RS_LOG_ERROR, "pMethod or pUrlPattern or pPolicy is NULL.");
        return kLoadFailed;
    }
    if (!RuleFits(stParts, uiIdx)) return 0;
    return InsertRule(stParts);
}

u32 LoadRules(void) {
    u32 uiRet = RsAuthRightConfigLoad();
    if (uiRet != 0) {
        RS_LOG(RS_LOG_ERROR, "RsAuthRightConfigLoad failed.");
        RsProblemReport(RS_INST_ID_NONE, "%s: %s", g_pcRightJsonPath, RsJsonFileWhy());
        return uiRet;
    }
    uiRet = RsAuthPolicyConfigLoad();
    if (uiRet != 0) {
        RS_LOG(RS_LOG_ERROR, "RsAuthPolicyConfigLoad failed.");
        RsProblemReport(RS_INST_ID_NONE, "%s: %s", g_pcPolicyJsonPath, RsJsonFileWhy());
        return uiRet;
    }
    ExpressionsCheck();
    u32 uiUrlNum = CFJSON_ArraySizeGet(g_pRightJsonObject);
    if (uiUrlNum == 0) {
        RS_LOG(RS_LOG_ERROR, "urlNum is zero.");
        RsProblemReport(RS_INST_ID_NONE, "%s: no rules (an array of {\"method\", \"uri-pattern\", \"action\"})",
                        g_pcRightJsonPath);
        return kLoadFailed;
    }
    for (u32 uiIdx = 0; uiIdx < uiUrlNum; ++uiIdx) {
        uiRet = LoadRule(CFJSON_ArrayItemGet(g_pRightJsonObject, uiIdx), uiIdx);
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
