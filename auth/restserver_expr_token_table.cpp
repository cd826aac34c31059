// The word classification table of the access expression language: ten
// patterns tried in order, the first match deciding a word's token kind.
#include <stdlib.h>
#include <string.h>

#include "auth/restserver_auth_expr.h"
#include "auth/restserver_auth_lock.h"
#include "plat_text.h"

extern "C" {
RS_API RsAuthTokenInfo g_authTokenInfos[RS_AUTH_TOKEN_INFO_NUM];
}

namespace {

struct TokenPattern {
    u32 kind;
    const char *pattern;
};

// "\w" is the GNU word-character class; the "." in the role and permission
// patterns is an unescaped any-character, and "@@@" is deliberately unanchored.
constexpr TokenPattern kTokenPatterns[RS_AUTH_TOKEN_INFO_NUM] = {
    {RS_TOKEN_AND, "^(\\&|and)$"},
    {RS_TOKEN_OR, "^(\\||or)$"},
    {RS_TOKEN_NOT, "^(\\!|not)$"},
    {RS_TOKEN_TRUE, "^(true|@)$"},
    {RS_TOKEN_ANY, "@@@"},
    {RS_TOKEN_ROLE, "^role:(\\w|.|-)+$"},
    {RS_TOKEN_DOMAIN, "^domain:\\w+$"},
    {RS_TOKEN_PERMISSION, "^permission:(\\w|.)+$"},
    {RS_TOKEN_SERVICEROLE, "^servicerole:\\w+$"},
    {RS_TOKEN_SERVICE, "^service:\\w+$"},
};

// A row whose pattern did not compile never matches, rather than running an unset regex.
bool s_abCompiled[RS_AUTH_TOKEN_INFO_NUM] = {};

int CompileRow(u32 uiRow) {
    RsAuthTokenInfo *pstInfo = &g_authTokenInfos[uiRow];
    if (s_abCompiled[uiRow]) regfree(&pstInfo->regex);
    pstInfo->kind = kTokenPatterns[uiRow].kind;
    pstInfo->pattern = kTokenPatterns[uiRow].pattern;
    int iRet = regcomp(&pstInfo->regex, pstInfo->pattern, REG_EXTENDED);
    s_abCompiled[uiRow] = (iRet == 0);
    return iRet;
}

RsExprToken *MakeWordToken(u32 uiKind, const char *pcStart, size_t ulLen) {
    RsExprToken *pstToken = static_cast<RsExprToken *>(calloc(1, sizeof(RsExprToken)));
    if (pstToken == nullptr) return nullptr;
    pstToken->text = static_cast<char *>(malloc(ulLen + 1));
    if (pstToken->text == nullptr) {
        free(pstToken);
        return nullptr;
    }
    (void)memcpy_s(pstToken->text, ulLen + 1, pcStart, ulLen);
    pstToken->text[ulLen] = '\0';
    pstToken->kind = uiKind;
    return pstToken;
}

}  // namespace

// Recompiled on every kernel bring-up; the writer lock keeps a concurrent load from matching meanwhile.
extern "C" RS_API int RsAuthTokenInfosInit(void) {
    int iRet = 0;
    RsAuthRulesWriteLock();
    for (u32 uiRow = 0; uiRow < RS_AUTH_TOKEN_INFO_NUM; ++uiRow)
        iRet = CompileRow(uiRow);
    RsAuthRulesUnlock();
    return iRet;
}

// The token text is the matched span: the whole word for anchored rows, "@@@" for the any-row.
extern "C" RS_API u32 TokenizeSimpleExpression(const char *pcWord, RsExprToken **ppstHead) {
    if (pcWord == nullptr || ppstHead == nullptr) return RS_EXPR_ERR;
    for (u32 uiRow = 0; uiRow < RS_AUTH_TOKEN_INFO_NUM; ++uiRow) {
        regmatch_t stMatch[1];
        if (!s_abCompiled[uiRow] || regexec(&g_authTokenInfos[uiRow].regex, pcWord, 1, stMatch, 0) != 0) continue;
        RsExprToken *pstToken = MakeWordToken(g_authTokenInfos[uiRow].kind, pcWord + stMatch[0].rm_so,
                                              static_cast<size_t>(stMatch[0].rm_eo - stMatch[0].rm_so));
        if (pstToken == nullptr) return RS_EXPR_ERR;
        AddLastToTokenList(pstToken, ppstHead);
        return RS_EXPR_OK;
    }
    return RS_EXPR_ERR;
}
