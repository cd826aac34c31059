// Recursive-descent parsing of a token list into an expression tree.
//
// Each routine gets the token before its construct and a result slot. A null
// return only stops the enclosing loops and leaves the slot as it stands, so
// text that is not well formed still yields a tree: a dangling operator takes
// the slot's current tree as its missing operand, and an operator where an
// operand belongs becomes a leaf.
#include <stdlib.h>

#include <unordered_set>
#include <vector>

#include "auth/restserver_auth_expr.h"

namespace {

using SubParser = RsExprToken *(*)(RsExprToken *, RsExprNode **);

RsExprNode *MakeNode(const RsExprToken *pstToken) {
    RsExprNode *pstNode = static_cast<RsExprNode *>(calloc(1, sizeof(RsExprNode)));
    if (pstNode == nullptr) return nullptr;
    pstNode->kind = pstToken->kind;
    pstNode->text = pstToken->text;
    return pstNode;
}

// operand (operator operand)*, grouping to the left; shared by and-terms and or-expressions.
RsExprToken *ParseLeftChain(RsExprToken *pstPrev, RsExprNode **ppstSlot, u32 uiOperator, SubParser pfnOperand) {
    if (pstPrev == nullptr || ppstSlot == nullptr) return nullptr;
    RsExprToken *pstCur = pfnOperand(pstPrev, ppstSlot);
    while (pstCur != nullptr && pstCur->kind == uiOperator) {
        RsExprNode *pstNode = MakeNode(pstCur);
        if (pstNode == nullptr) return nullptr;
        pstNode->left = *ppstSlot;
        RsExprToken *pstAfter = pfnOperand(pstCur, ppstSlot);
        pstNode->right = *ppstSlot;
        *ppstSlot = pstNode;
        pstCur = pstAfter;
    }
    return pstCur;
}

}  // namespace

extern "C" RS_API RsExprToken *RecursiveDescentParserToken(RsExprToken *pstPrev, RsExprNode **ppstSlot) {
    return ParseLeftChain(pstPrev, ppstSlot, RS_TOKEN_OR, ParserTokenTerm);
}

extern "C" RS_API RsExprToken *ParserTokenTerm(RsExprToken *pstPrev, RsExprNode **ppstSlot) {
    return ParseLeftChain(pstPrev, ppstSlot, RS_TOKEN_AND, ParserTokenFractor);
}

// The token after a bracketed expression is skipped unchecked: normally it is the ")".
extern "C" RS_API RsExprToken *ParserTokenFractor(RsExprToken *pstPrev, RsExprNode **ppstSlot) {
    if (pstPrev == nullptr || ppstSlot == nullptr || pstPrev->next == nullptr) return nullptr;
    RsExprToken *pstToken = pstPrev->next;
    if (pstToken->kind == RS_TOKEN_LBRACKET) {
        RsExprToken *pstEnd = RecursiveDescentParserToken(pstToken, ppstSlot);
        return pstEnd == nullptr ? nullptr : pstEnd->next;
    }
    RsExprNode *pstNode = MakeNode(pstToken);
    if (pstNode == nullptr) return nullptr;
    if (pstToken->kind != RS_TOKEN_NOT) {
        *ppstSlot = pstNode;
        return pstToken->next;
    }
    RsExprToken *pstAfter = ParserTokenFractor(pstToken, ppstSlot);
    pstNode->left = *ppstSlot;
    *ppstSlot = pstNode;
    return pstAfter;
}

extern "C" RS_API RsExprNode *RsExprTreeBuild(RsExprToken *pstList) {
    RsExprToken stHead = {};
    stHead.next = pstList;
    RsExprNode *pstTree = nullptr;
    (void)RecursiveDescentParserToken(&stHead, &pstTree);
    return pstTree;
}

// Operands may be shared, so every node is released exactly once.
extern "C" RS_API void RsExprTreeFree(RsExprNode *pstRoot) {
    try {
        std::unordered_set<RsExprNode *> seen;
        std::vector<RsExprNode *> pending;
        if (pstRoot != nullptr) pending.push_back(pstRoot);
        while (!pending.empty()) {
            RsExprNode *pstNode = pending.back();
            pending.pop_back();
            if (!seen.insert(pstNode).second) continue;
            if (pstNode->left != nullptr) pending.push_back(pstNode->left);
            if (pstNode->right != nullptr) pending.push_back(pstNode->right);
        }
        for (RsExprNode *pstNode : seen)
            free(pstNode);
    } catch (...) {
        // Out of memory while collecting: the nodes stay allocated, which is safe.
    }
}

extern "C" RS_API u32 RsExprCompile(char *pcExpr, RsExprToken **ppstList, RsExprNode **ppstTree) {
    if (ppstList == nullptr || ppstTree == nullptr) return RS_EXPR_ERR;
    u32 uiRet = RsTokenize(pcExpr, ppstList);
    *ppstTree = RsExprTreeBuild(*ppstList);
    return uiRet;
}
