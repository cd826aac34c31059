// Turns an expression text into a token list: blank-separated words, brackets
// split off a word's ends, leading negations split off what remains, and
// each piece classified against the token table.
#include <stdlib.h>
#include <string.h>

#include "auth/restserver_auth_expr.h"
#include "plat_text.h"

namespace {

// Splitter tokens share these texts; the list release recognises them by address.
char s_acOpenBracket[] = "(";
char s_acCloseBracket[] = ")";
char s_acNegation[] = "!";

bool IsSplitterText(const char *pcText) {
    return pcText == s_acOpenBracket || pcText == s_acCloseBracket || pcText == s_acNegation;
}

void AppendSplitterToken(u32 uiKind, char *pcText, RsExprToken **ppstHead) {
    RsExprToken *pstToken = static_cast<RsExprToken *>(calloc(1, sizeof(RsExprToken)));
    if (pstToken == nullptr) return;  // dropped, like any token that cannot be allocated
    pstToken->kind = uiKind;
    pstToken->text = pcText;
    AddLastToTokenList(pstToken, ppstHead);
}

bool HasBracket(const char *pcWord) {
    return strpbrk(pcWord, "()") != nullptr;
}

}  // namespace

extern "C" RS_API void AddLastToTokenList(RsExprToken *pstToken, RsExprToken **ppstHead) {
    if (pstToken == nullptr || ppstHead == nullptr) return;
    pstToken->next = nullptr;
    RsExprToken **ppstTail = ppstHead;
    while (*ppstTail != nullptr)
        ppstTail = &(*ppstTail)->next;
    *ppstTail = pstToken;
}

extern "C" RS_API void RsExprTokenListFree(RsExprToken *pstHead) {
    while (pstHead != nullptr) {
        RsExprToken *pstNext = pstHead->next;
        if (!IsSplitterText(pstHead->text)) free(pstHead->text);
        free(pstHead);
        pstHead = pstNext;
    }
}

// Words are counted and measured the way RsTokenize splits them, so a rule can
// be refused before any of it is built.
extern "C" RS_API u32 RsExprLimitsCheck(const char *pcExpr) {
    if (pcExpr == nullptr) return RS_EXPR_OK;
    u32 uiWords = 0;
    const char *pcCur = pcExpr;
    while (*pcCur != '\0') {
        while (*pcCur == ' ')
            ++pcCur;
        if (*pcCur == '\0') break;
        const char *pcStart = pcCur;
        bool bBracket = false;
        for (; *pcCur != '\0' && *pcCur != ' '; ++pcCur)
            bBracket = bBracket || *pcCur == '(' || *pcCur == ')';
        if (++uiWords > RS_EXPR_MAX_WORDS) return RS_EXPR_TOO_MANY_WORDS;
        if (bBracket && static_cast<size_t>(pcCur - pcStart) >= RS_EXPR_WORD_BUF_SIZE) return RS_EXPR_WORD_TOO_LONG;
    }
    return RS_EXPR_OK;
}

// Only words with a bracket are split further; any other word is classified
// whole, so a bracket-free "!role:a" matches nothing and is dropped.
extern "C" RS_API u32 RsTokenize(char *pcExpr, RsExprToken **ppstHead) {
    if (pcExpr == nullptr || ppstHead == nullptr) return RS_EXPR_ERR;
    u32 uiLimits = RsExprLimitsCheck(pcExpr);
    if (uiLimits != RS_EXPR_OK) return uiLimits;
    char *pcContext = nullptr;
    for (char *pcWord = strtok_s(pcExpr, " ", &pcContext); pcWord != nullptr;
         pcWord = strtok_s(nullptr, " ", &pcContext)) {
        if (HasBracket(pcWord)) {
            TokenizeBrackets(pcWord, ppstHead);
        } else {
            (void)TokenizeSimpleExpression(pcWord, ppstHead);
        }
    }
    return RS_EXPR_OK;
}

// Brackets are split off the ends only; a word wrapped in a pair yields no
// bracket tokens, and a bracket inside a word stays in it.
extern "C" RS_API void TokenizeBrackets(const char *pcWord, RsExprToken **ppstHead) {
    if (pcWord == nullptr || pcWord[0] == '\0') return;
    char acWord[RS_EXPR_WORD_BUF_SIZE] = {0};
    if (strcpy_s(acWord, sizeof(acWord), pcWord) != EOK) return;
    size_t ulLen = strlen(acWord);
    bool bOpens = acWord[0] == '(';
    bool bCloses = acWord[ulLen - 1] == ')';
    if (bOpens && !bCloses) {
        AppendSplitterToken(RS_TOKEN_LBRACKET, s_acOpenBracket, ppstHead);
        TokenizeBrackets(acWord + 1, ppstHead);
    } else if (bOpens) {
        acWord[ulLen - 1] = '\0';
        TokenizeBrackets(acWord + 1, ppstHead);
    } else if (bCloses) {
        acWord[ulLen - 1] = '\0';
        TokenizeBrackets(acWord, ppstHead);
        AppendSplitterToken(RS_TOKEN_RBRACKET, s_acCloseBracket, ppstHead);
    } else {
        TokenizeRawExpression(acWord, ppstHead);
    }
}

// A rest too long for the working buffer is dropped, leaving only the negation.
extern "C" RS_API void TokenizeRawExpression(const char *pcWord, RsExprToken **ppstHead) {
    if (pcWord == nullptr || pcWord[0] == '\0') return;
    if (pcWord[0] != '!') {
        (void)TokenizeSimpleExpression(pcWord, ppstHead);
        return;
    }
    AppendSplitterToken(RS_TOKEN_NOT, s_acNegation, ppstHead);
    char acRest[RS_EXPR_WORD_BUF_SIZE] = {0};
    (void)strcpy_s(acRest, sizeof(acRest), pcWord + 1);
    TokenizeRawExpression(acRest, ppstHead);
}
