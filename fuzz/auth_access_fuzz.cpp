// Feeds arbitrary expression texts to the tokenizer, parser and evaluator,
// arbitrary rule texts to the trie, and arbitrary request keys to the access
// check. Input: the expression (also inserted as a rule) up to the first
// newline, the request key after it.
#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "auth/restserver_auth_lock.h"
#include "auth/restserver_auth_rules.h"
#include "plat_log.h"

namespace {

// The same trie shapes the rule files produce: literals, placeholders, "***",
// a method level of its own, and a leaf without a tree.
const char *const kBaseRules[] = {
    "GETrest/a/special/role:lit",
    "GETrest/a/{id}/role:a | role:b & !role:c",
    "GETrest/{p}/info/(role:x | domain:d) & not role:y",
    "GETrest/users/list/permission:p & role:a@@@",
    "GETrest/files/***/true",
    "GET/rest/servicemanager/v1/services/{id}/role:op_regular",
    "POSTrest/b/AND TRUE",
};
constexpr unsigned kInsertsBeforeReset = 512;

char s_acRoleA[] = "role:a";
char s_acRoleX[] = "role:x_admin";
char *s_apcRoles[] = {s_acRoleA, s_acRoleX};
const RsTokenItem kCaller = {"2099-01-01T00:00:00Z", "id", "uid", "user", s_apcRoles, 2, "domain:d", "pid"};

void InsertRule(const std::string &rule) {
    if (rule.size() >= RS_AUTH_RULE_BUF_SIZE || RsExprLimitsCheck(rule.c_str()) != RS_EXPR_OK) return;
    std::vector<char> text(rule.begin(), rule.end());
    text.push_back('\0');
    AddItemToAuthConfigTrie(text.data());
}

// The trie only grows; start again now and then so memory stays bounded.
void ResetTrieNowAndThen() {
    static unsigned s_uiInserts = 0;
    if (s_uiInserts++ % kInsertsBeforeReset != 0) return;
    RsAuthConfigTrieClear();
    for (const char *pcRule : kBaseRules)
        InsertRule(pcRule);
}

void CompileAndDecide(const std::string &expression) {
    std::vector<char> text(expression.begin(), expression.end());
    text.push_back('\0');
    RsExprToken *pstList = nullptr;
    RsExprNode *pstTree = nullptr;
    (void)RsExprCompile(text.data(), &pstList, &pstTree);
    (void)ExpressionParse(pstTree, &kCaller);
    RsExprTreeFree(pstTree);
    RsExprTokenListFree(pstList);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    g_stLogCfgs.uiEnable = 0;
    (void)RsAuthTokenInfosInit();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    // Texts are NUL-terminated in the system; an embedded NUL just ends them early.
    const std::string input(reinterpret_cast<const char *>(data), size);
    const size_t split = input.find('\n');
    const std::string expression = input.substr(0, split);
    const std::string key = split == std::string::npos ? std::string() : input.substr(split + 1);

    CompileAndDecide(expression);
    ResetTrieNowAndThen();
    InsertRule(expression);
    (void)RsAuthAccessCheck(key.c_str(), &kCaller);
    return 0;
}
