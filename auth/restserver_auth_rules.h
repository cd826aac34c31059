/*
 * URL authorisation rules: the two rule documents, the trie of rules keyed
 * by method and path segments, and the access check that finds a request's
 * rule and decides its expression.
 */
#ifndef RESTSERVER_AUTH_RULES_H
#define RESTSERVER_AUTH_RULES_H

#include "auth/restserver_auth_expr.h"
#include "plat_json.h"

RS_BEGIN_DECLS

#define RS_AUTH_RULE_BUF_SIZE 1024u

/* Siblings run newest first; a leaf's name is its rule's expression text. */
typedef struct RsAuthConfigTrieNode {
    char *name;
    u32 isLeaf;
    char *expression;
    RsExprToken *tokenList;
    RsExprNode *expressionTree;
    struct RsAuthConfigTrieNode *next;
    struct RsAuthConfigTrieNode *children;
} RsAuthConfigTrieNode;

/* One "/"-separated segment of a request key, viewed in place. */
typedef struct {
    const char *pcText;
    u32 uiLen;
} RsKeySegment;

RS_API extern const char *g_pcRightJsonPath;
RS_API extern const char *g_pcPolicyJsonPath;
RS_API extern CFJSON *g_pRightJsonObject;
RS_API extern CFJSON *g_pPolicyJsonObject;
RS_API extern RsAuthConfigTrieNode g_AuthConfigTrieRoot;

RS_API u32 RsAuthConfigLoad(void);
RS_API u32 RsAuthRightConfigLoad(void);
RS_API u32 RsAuthPolicyConfigLoad(void);

RS_API void AddItemToAuthConfigTrie(char *pcRule);
/* Releases every rule; the system never does, tools and tests start afresh with it. */
RS_API void RsAuthConfigTrieClear(void);
RS_API u32 UrlParamHolderCheck(const char *pcSegment);
RS_API RsAuthConfigTrieNode *InsertAuthConfigChildren(const char *pcName, RsAuthConfigTrieNode **ppstChildren);

/* Searches read the trie: the caller holds the rules lock for reading. */
RS_API RsAuthConfigTrieNode *SearchAuthConfigTrieNode(const char *pcKey);
RS_API RsAuthConfigTrieNode *RecursiveSearch(RsAuthConfigTrieNode *pstNode, const RsKeySegment *pstSegments,
                                             u32 uiCount, u32 uiDepth);
RS_API RsAuthConfigTrieNode *SearchNextNode(RsAuthConfigTrieNode *pstFirst, const char *pcName);
RS_API RsExprNode *SearchAuthExpression(const char *pcKey);
/* As SearchAuthConfigTrieNode, also naming the nodes the search went through
 * to the leaf's parent (placeholders are "*"): at most uiMax, their count in
 * *puiDepth (0 when no rule was found). The names live as long as the rules. */
RS_API RsAuthConfigTrieNode *RsAuthTrieSearchTraced(const char *pcKey, const char **ppcNames, u32 uiMax, u32 *puiDepth);

/* 0 granted, 0xFFFFFFFF refused. */
RS_API u32 RsAuthAccessCheck(const char *pcKey, const RsTokenItem *pstItem);
RS_API u32 RsAuthAccessCheckTest(void);

RS_END_DECLS

#endif
