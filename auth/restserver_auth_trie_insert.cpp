// Building the rule trie: one level per "/"-separated segment of a rule's
// text, placeholders folded into "*", and a leaf named by the expression
// that holds the rule's token list and parsed tree.
#include <regex.h>
#include <stdlib.h>
#include <string.h>

#include "auth/restserver_auth_lock.h"
#include "auth/restserver_auth_rules.h"
#include "auth/restserver_auth_trie_index.h"
#include "plat_os.h"
#include "plat_text.h"

extern "C" {
RS_API RsAuthConfigTrieNode g_AuthConfigTrieRoot;
}

namespace {

char *CopyText(const char *pcText) {
    size_t ulSize = strlen(pcText) + 1;
    char *pcCopy = static_cast<char *>(malloc(ulSize));
    if (pcCopy != nullptr) (void)strcpy_s(pcCopy, ulSize, pcText);
    return pcCopy;
}

// A leaf found again is built afresh; its old list and tree are released
// under the writer lock, so no request still reads them.
void MakeLeaf(RsAuthConfigTrieNode *pstNode) {
    pstNode->isLeaf = 1;
    RsExprTreeFree(pstNode->expressionTree);
    RsExprTokenListFree(pstNode->tokenList);
    pstNode->expressionTree = nullptr;
    pstNode->tokenList = nullptr;
    pstNode->expression = pstNode->name;
    char *pcExpr = CopyText(pstNode->name);
    if (pcExpr == nullptr) return;
    (void)RsExprCompile(pcExpr, &pstNode->tokenList, &pstNode->expressionTree);
    free(pcExpr);
}

void FreeSubtree(RsAuthConfigTrieNode *pstNode) {
    while (pstNode != nullptr) {
        RsAuthConfigTrieNode *pstNext = pstNode->next;
        FreeSubtree(pstNode->children);
        RsExprTreeFree(pstNode->expressionTree);
        RsExprTokenListFree(pstNode->tokenList);
        free(pstNode->name);
        free(pstNode);
        pstNode = pstNext;
    }
}

}  // namespace

extern "C" RS_API void RsAuthConfigTrieClear(void) {
    RsAuthRulesWriteLock();
    RsTrieIndexClear();
    FreeSubtree(g_AuthConfigTrieRoot.children);
    g_AuthConfigTrieRoot = RsAuthConfigTrieNode{};
    RsAuthRulesUnlock();
}

extern "C" RS_API u32 UrlParamHolderCheck(const char *pcSegment) {
    if (pcSegment == nullptr) return 0;
    regex_t stRegex;
    if (regcomp(&stRegex, "^\\{(\\w|-)+\\}$", REG_EXTENDED) != 0) return 0;
    int iRet = regexec(&stRegex, pcSegment, 0, nullptr, 0);
    regfree(&stRegex);
    return iRet == 0 ? 1 : 0;
}

// New children go to the front, so siblings run from the newest to the oldest.
extern "C" RS_API RsAuthConfigTrieNode *InsertAuthConfigChildren(const char *pcName,
                                                                 RsAuthConfigTrieNode **ppstChildren) {
    if (pcName == nullptr || ppstChildren == nullptr) return nullptr;
    RsAuthConfigTrieNode *pstFound = RsTrieChildFind(ppstChildren, {pcName, static_cast<u32>(strlen(pcName))});
    if (pstFound != nullptr) return pstFound;
    RsAuthConfigTrieNode *pstNode = static_cast<RsAuthConfigTrieNode *>(calloc(1, sizeof(RsAuthConfigTrieNode)));
    if (pstNode == nullptr) return nullptr;
    pstNode->name = CopyText(pcName);
    if (pstNode->name == nullptr) {
        free(pstNode);
        return nullptr;
    }
    pstNode->next = *ppstChildren;
    *ppstChildren = pstNode;
    RsTrieChildAdded(ppstChildren);
    return pstNode;
}

// A "*" segment stops the insertion silently: the rule then never matches.
extern "C" RS_API void AddItemToAuthConfigTrie(char *pcRule) {
    if (pcRule == nullptr) return;
    char *pcContext = nullptr;
    char *pcSegment = strtok_s(pcRule, "/", &pcContext);
    RsAuthConfigTrieNode *pstCur = &g_AuthConfigTrieRoot;
    while (pcSegment != nullptr) {
        char *pcNext = strtok_s(nullptr, "/", &pcContext);
        if (VOS_StrCmp(pcSegment, "*") == 0) return;
        const char *pcName = UrlParamHolderCheck(pcSegment) != 0 ? "*" : pcSegment;
        pstCur = InsertAuthConfigChildren(pcName, &pstCur->children);
        if (pstCur == nullptr) return;
        pcSegment = pcNext;
    }
    if (pstCur != &g_AuthConfigTrieRoot) MakeLeaf(pstCur);
}
