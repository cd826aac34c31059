// Whether an access expression is well formed. The parser takes any text and
// builds some tree from it, so a slip in a policy (a dangling operator, an
// unknown word, which is dropped) changes what a rule grants without a word;
// this check says so at load time. It reads the same token list the parser
// gets, under the grammar the parser implements for well-formed text.
#include <stdlib.h>
#include <string.h>

#include <string>

#include "auth/restserver_auth_expr.h"
#include "plat_text.h"

namespace {

struct Cursor {
    const RsExprToken *pstCur;
    std::string why;
};

bool IsOperand(u32 uiKind) {
    return uiKind == RS_TOKEN_TRUE || uiKind == RS_TOKEN_ANY || (uiKind >= RS_TOKEN_ROLE && uiKind <= RS_TOKEN_SERVICE);
}

std::string Shown(const RsExprToken *pstToken) {
    return pstToken == nullptr ? "the end" : std::string("\"").append(pstToken->text).append("\"");
}

bool Expression(Cursor &stAt);

// factor = "(" expression ")" | negation factor | operand
bool Factor(Cursor &stAt) {
    const RsExprToken *pstToken = stAt.pstCur;
    if (pstToken == nullptr) {
        stAt.why = "a term is missing at the end";
        return false;
    }
    stAt.pstCur = pstToken->next;
    if (pstToken->kind == RS_TOKEN_NOT) return Factor(stAt);
    if (IsOperand(pstToken->kind)) return true;
    if (pstToken->kind != RS_TOKEN_LBRACKET) {
        stAt.why = "a term is missing before " + Shown(pstToken);
        return false;
    }
    if (!Expression(stAt)) return false;
    if (stAt.pstCur == nullptr || stAt.pstCur->kind != RS_TOKEN_RBRACKET) {
        stAt.why = "\"(\" is not closed";
        return false;
    }
    stAt.pstCur = stAt.pstCur->next;
    return true;
}

// A chain of operands joined by one operator kind.
bool Chain(Cursor &stAt, u32 uiOperator, bool (*pfnOperand)(Cursor &)) {
    if (!pfnOperand(stAt)) return false;
    while (stAt.pstCur != nullptr && stAt.pstCur->kind == uiOperator) {
        stAt.pstCur = stAt.pstCur->next;
        if (!pfnOperand(stAt)) return false;
    }
    return true;
}

bool Term(Cursor &stAt) {
    return Chain(stAt, RS_TOKEN_AND, Factor);
}

bool Expression(Cursor &stAt) {
    return Chain(stAt, RS_TOKEN_OR, Term);
}

// Words that classify as nothing are dropped by the tokenizer.
bool WordsKnown(const char *pcExpr, std::string &why) {
    std::string text(pcExpr);
    for (size_t at = text.find_first_not_of(' '); at != std::string::npos; at = text.find_first_not_of(' ', at)) {
        size_t end = text.find(' ', at);
        std::string word = text.substr(at, end == std::string::npos ? std::string::npos : end - at);
        at = end;
        RsExprToken *pstList = nullptr;
        (void)RsTokenize(word.data(), &pstList);
        bool bKnown = pstList != nullptr;
        RsExprTokenListFree(pstList);
        if (!bKnown) {
            why = "the word \"" + word + "\" means nothing and is left out";
            return false;
        }
    }
    return true;
}

}  // namespace

extern "C" RS_API u32 RsExprWellFormed(const char *pcExpr, char *pcWhy, u32 uiWhySize) {
    if (pcExpr == nullptr || pcWhy == nullptr || uiWhySize == 0) return RS_EXPR_ERR;
    pcWhy[0] = '\0';
    try {
        std::string why;
        if (!WordsKnown(pcExpr, why)) {
            (void)snprintf_s(pcWhy, uiWhySize, uiWhySize - 1, "%s", why.c_str());
            return RS_EXPR_ERR;
        }
        std::string text(pcExpr);
        RsExprToken *pstList = nullptr;
        (void)RsTokenize(text.data(), &pstList);
        Cursor stAt{pstList, ""};
        bool bWell = pstList == nullptr ? (stAt.why = "it is empty", false) : Expression(stAt);
        if (bWell && stAt.pstCur != nullptr) {
            stAt.why = Shown(stAt.pstCur) + " follows a complete expression";
            bWell = false;
        }
        RsExprTokenListFree(pstList);
        if (bWell) return RS_EXPR_OK;
        (void)snprintf_s(pcWhy, uiWhySize, uiWhySize - 1, "%s", stAt.why.c_str());
        return RS_EXPR_ERR;
    } catch (...) {  // out of memory: nothing to say about the text
        return RS_EXPR_OK;
    }
}
