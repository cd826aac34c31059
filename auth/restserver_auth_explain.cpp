// Why the auth filter passes or refuses a request, for an operator: the same
// rule load, key, trie search, token verification, expiry check and
// evaluator the filter uses, with the path through the trie written down and
// the rule and action it reached found again in right.json.
#include <string.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "auth/restserver_auth_cert.h"
#include "auth/restserver_auth_filter.h"
#include "auth/restserver_auth_lock.h"
#include "auth/restserver_auth_rules.h"
#include "auth/restserver_auth_token.h"
#include "plat_config.h"
#include "plat_text.h"
#include "restserver_host.h"

namespace {

constexpr u32 kFailed = 0xFFFFFFFFu;
constexpr u32 kMaxDepth = 64;
constexpr const char *kMethodNames[] = {"GET", "POST", "PUT", "DELETE", "PATCH"};

void Put(char *pcField, const std::string &text) {
    (void)snprintf_s(pcField, RS_EXPLAIN_TEXT_SIZE, RS_EXPLAIN_TEXT_SIZE - 1, "%s", text.c_str());
}

std::vector<std::string> Split(const std::string &text, char cSep) {
    std::vector<std::string> parts;
    for (size_t at = 0; at <= text.size();) {
        size_t end = std::min(text.find(cSep, at), text.size());
        if (end > at) parts.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return parts;
}

// A rule's trie path as AddItemToAuthConfigTrie builds it: method and pattern
// joined, "/"-separated, placeholders folded into "*".
std::vector<std::string> RulePath(const char *pcMethod, const char *pcPattern) {
    std::vector<std::string> path = Split(std::string(pcMethod).append(pcPattern), '/');
    for (std::string &segment : path)
        if (UrlParamHolderCheck(segment.c_str()) != 0) segment.assign(1, '*');
    return path;
}

// The last right.json rule whose path and expression made the leaf reached.
std::string RuleFind(const std::vector<std::string> &path, const char *pcLeaf) {
    std::string found;
    u32 uiCount = CFJSON_ArraySizeGet(g_pRightJsonObject);
    for (u32 i = 0; i < uiCount; ++i) {
        const CFJSON *pstRule = CFJSON_ArrayItemGet(g_pRightJsonObject, i);
        const char *pcMethod = CFJSON_StringValueGet(CFJSON_ObjectItemGet(pstRule, "method"));
        const char *pcPattern = CFJSON_StringValueGet(CFJSON_ObjectItemGet(pstRule, "uri-pattern"));
        const char *pcAction = CFJSON_StringValueGet(CFJSON_ObjectItemGet(pstRule, "action"));
        const char *pcExpr = CFJSON_StringValueGet(CFJSON_ObjectItemGet(g_pPolicyJsonObject, pcAction));
        if (pcMethod == nullptr || pcPattern == nullptr || pcExpr == nullptr || strcmp(pcExpr, pcLeaf) != 0) continue;
        if (RulePath(pcMethod, pcPattern) != path) continue;
        found = std::string(g_pcRightJsonPath).append(" rule ").append(std::to_string(i + 1)).append(": ");
        found.append(pcMethod).append(" ").append(pcPattern).append(", action \"").append(pcAction).append("\"");
    }
    return found;
}

// Each role and domain term with what the evaluator makes of it alone.
void TermsList(const RsExprNode *pstNode, const RsTokenItem &stItem, std::string &text) {
    if (pstNode == nullptr) return;
    if (pstNode->kind == RS_TOKEN_ROLE || pstNode->kind == RS_TOKEN_DOMAIN) {
        if (!text.empty()) text += ", ";
        text += std::string(pstNode->text) + (ExpressionParse(pstNode, &stItem) != 0 ? " yes" : " no");
    }
    TermsList(pstNode->left, stItem, text);
    TermsList(pstNode->right, stItem, text);
}

// The caller given by roles and a domain, as a verified token would yield it.
struct RolesCaller {
    std::vector<std::string> roles;
    std::vector<char *> pointers;
    RsTokenItem stItem = {};

    RolesCaller(const char *pcRoles, const char *pcDomain) {
        for (std::string role : Split(pcRoles != nullptr ? pcRoles : "", ','))
            roles.push_back(role.rfind("role:", 0) == 0 ? role : "role:" + role);
        for (std::string &role : roles)
            pointers.push_back(role.data());
        stItem.roles = pointers.data();
        stItem.roleCount = static_cast<u32>(pointers.size());
        (void)snprintf_s(stItem.userDomainName, sizeof(stItem.userDomainName), sizeof(stItem.userDomainName) - 1, "%s",
                         pcDomain != nullptr ? pcDomain : "");
    }
};

std::string CallerText(const RsTokenItem &stItem) {
    std::string text = "roles";
    for (u32 i = 0; i < stItem.roleCount; ++i)
        text += std::string(i == 0 ? " " : ", ") + stItem.roles[i];
    if (stItem.roleCount == 0) text += " none";
    return text + "; domain \"" + stItem.userDomainName + "\"";
}

struct Verdict {
    RS_ACCESS_EXPLAIN *pstOut;
    bool Refuse(const std::string &why) {
        pstOut->uiGranted = 0;
        Put(pstOut->acReason, "refused (403): " + why);
        return false;
    }
};

// The rule side: key, trie path, rule, expression. Under the rules lock, as the filter's search.
const RsExprNode *RuleExplain(const std::string &key, RS_ACCESS_EXPLAIN *pstOut) {
    const char *apcNames[kMaxDepth] = {};
    u32 uiDepth = 0;
    RsAuthConfigTrieNode *pstLeaf = RsAuthTrieSearchTraced(key.c_str(), apcNames, kMaxDepth, &uiDepth);
    if (pstLeaf == nullptr) return nullptr;
    std::vector<std::string> path(apcNames, apcNames + uiDepth);
    std::string shown;
    for (const std::string &name : path)
        shown += (shown.empty() ? "" : " > ") + name;
    pstOut->uiRuleFound = 1;
    Put(pstOut->acPath, shown);
    Put(pstOut->acRule, RuleFind(path, pstLeaf->name));
    Put(pstOut->acExpression, pstLeaf->expression != nullptr ? pstLeaf->expression : "");
    return pstLeaf->expressionTree;
}

// The token side, in the filter's order: certificates, verification, expiry.
// The record stays held for this thread until RsTokenItemRelease.
const RsTokenItem *TokenCaller(const char *pcToken, Verdict &stVerdict) {
    std::string token(pcToken);
    token.erase(std::remove_if(token.begin(), token.end(), [](unsigned char c) { return std::isspace(c) != 0; }),
                token.end());
    if (RsAuthCertLoad(0) != 0) {
        stVerdict.Refuse("the certificates in ../data/vog_cert cannot be had");
        return nullptr;
    }
    const RsTokenItem *pstItem = RsLoadDecryptedToken(token.c_str());
    if (pstItem == nullptr) {
        Put(stVerdict.pstOut->acCaller, "a token that does not verify against ../data/vog_cert");
        stVerdict.Refuse("the token does not verify");
        return nullptr;
    }
    Put(stVerdict.pstOut->acCaller, CallerText(*pstItem) + "; expires " + pstItem->expiresAt);
    if (RsAuthTokenCheck(pstItem) != 0) {
        stVerdict.Refuse("the token has expired");
        return nullptr;
    }
    return pstItem;
}

u32 Explain(const char *pcMethod, const char *pcUri, const char *pcRoles, const char *pcDomain, const char *pcToken,
            RS_ACCESS_EXPLAIN *pstOut) {
    memset(pstOut, 0, sizeof(*pstOut));
    (void)RsAuthTokenInfosInit();
    RsAuthMutexInit();
    if (RsAuthConfigLoad() != 0) return kFailed;
    std::string method(pcMethod);
    std::transform(method.begin(), method.end(), method.begin(), [](unsigned char c) { return std::toupper(c); });
    std::string uri(pcUri);
    uri = uri.substr(0, uri.find('?'));
    char *pcKey = RsAuthKeyMake(method.c_str(), uri.c_str());
    if (pcKey == nullptr) return kFailed;
    std::string key(pcKey);
    free(pcKey);
    Put(pstOut->acKey, key);
    pstOut->uiAuthOn = g_stSspBaseAppConfig.uiAuthEnable != 0 ? 1 : 0;
    RsAuthRulesReadLock();
    const RsExprNode *pstTree = RuleExplain(key, pstOut);
    RsAuthRulesUnlock();

    Verdict stVerdict{pstOut};
    pstOut->uiGranted = 1;
    RolesCaller stRoles(pcRoles, pcDomain);
    const RsTokenItem *pstItem = &stRoles.stItem;
    if (pcToken == nullptr) Put(pstOut->acCaller, CallerText(*pstItem));
    bool bNamed = std::find(std::begin(kMethodNames), std::end(kMethodNames), method) != std::end(kMethodNames);
    if (pstOut->uiAuthOn == 0) {
        Put(pstOut->acReason, "passes: authentication is off in ../conf/platform.json");
    } else if (!bNamed) {
        stVerdict.Refuse("the rules judge only GET, POST, PUT, DELETE and PATCH");
    } else if (pcToken != nullptr && (pstItem = TokenCaller(pcToken, stVerdict)) == nullptr) {
        // refused with the token's reason
    } else if (pcToken == nullptr && pcRoles == nullptr && pcDomain == nullptr) {
        stVerdict.Refuse("no token");
    } else if (pstTree == nullptr) {
        stVerdict.Refuse(pstOut->uiRuleFound != 0 ? "the rule has no expression" : "no rule matches the key");
    } else if (ExpressionParse(pstTree, pstItem) == 0) {
        stVerdict.Refuse("the expression is false for this caller");
    } else {
        Put(pstOut->acReason, "passes: the expression is true for this caller");
    }
    std::string terms;
    if (pstItem != nullptr) TermsList(pstTree, *pstItem, terms);
    Put(pstOut->acTerms, terms);
    if (pcToken != nullptr) RsTokenItemRelease();
    return 0;
}

}  // namespace

extern "C" RS_API uint32_t RESTSERVER_AccessExplain(const char *pcMethod, const char *pcUri, const char *pcRoles,
                                                    const char *pcDomain, const char *pcToken,
                                                    RS_ACCESS_EXPLAIN *pstOut) {
    if (pcMethod == nullptr || pcUri == nullptr || pstOut == nullptr) return kFailed;
    try {
        return Explain(pcMethod, pcUri, pcRoles, pcDomain, pcToken, pstOut);
    } catch (...) {
        return kFailed;
    }
}
