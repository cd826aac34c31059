/*
 * Authentication and authorisation, internal interface: the access
 * expression language (token kinds, tokenizer, parser, evaluator) and the
 * URL authorisation rules (rule files, segment trie, access check). All of
 * these are exported for hosts and tools as well.
 */
#ifndef RESTSERVER_AUTH_H
#define RESTSERVER_AUTH_H

#include <regex.h>

#include "auth/restserver_auth_token.h"
#include "plat_json.h"
#include "plat_types.h"
#include "restserver_export.h"
#include "restserver_handler.h"

RS_BEGIN_DECLS

/* ---- Access expression language ---- */

/* Token kinds; 0, 1 and 6 are never produced. */
enum {
    RS_TOKEN_OR = 2,
    RS_TOKEN_AND = 3,
    RS_TOKEN_NOT = 4,
    RS_TOKEN_TRUE = 5,
    RS_TOKEN_ROLE = 7,
    RS_TOKEN_DOMAIN = 8,
    RS_TOKEN_PERMISSION = 9,
    RS_TOKEN_SERVICEROLE = 10,
    RS_TOKEN_SERVICE = 11,
    RS_TOKEN_LBRACKET = 12,
    RS_TOKEN_RBRACKET = 13,
    RS_TOKEN_ANY = 14
};

#define RS_AUTH_TOKEN_INFO_NUM 10u
#define RS_EXPR_MAX_WORDS 128u
#define RS_EXPR_WORD_BUF_SIZE 64u /* bracket and negation splitting work in this much */

/* RsTokenize and RsExprLimitsCheck results. */
#define RS_EXPR_OK 0u
#define RS_EXPR_WORD_TOO_LONG 1u
#define RS_EXPR_TOO_MANY_WORDS 2u
#define RS_EXPR_ERR 0xFFFFFFFFu

/* One row of the word classification table; rows are tried in order. */
typedef struct {
    u32 kind;
    regex_t regex;
    const char *pattern;
} RsAuthTokenInfo;

/* Splitter tokens point at shared constant texts; classified words own a heap copy. */
typedef struct RsExprToken {
    u32 kind;
    char *text;
    struct RsExprToken *next;
} RsExprToken;

/*
 * A node shares its token's text, so a tree lives no longer than its list.
 * Text that is not well formed can make two parents share one operand.
 */
typedef struct RsExprNode {
    u32 kind;
    char *text;
    struct RsExprNode *right;
    struct RsExprNode *left;
} RsExprNode;

RS_API extern RsAuthTokenInfo g_authTokenInfos[RS_AUTH_TOKEN_INFO_NUM];

RS_API int RsAuthTokenInfosInit(void);
/* RS_EXPR_OK, or why the expression exceeds the word buffers: checked before anything is split. */
RS_API u32 RsExprLimitsCheck(const char *pcExpr);
RS_API u32 RsTokenize(char *pcExpr, RsExprToken **ppstHead);
RS_API void TokenizeBrackets(const char *pcWord, RsExprToken **ppstHead);
RS_API void TokenizeRawExpression(const char *pcWord, RsExprToken **ppstHead);
RS_API u32 TokenizeSimpleExpression(const char *pcWord, RsExprToken **ppstHead);
RS_API void AddLastToTokenList(RsExprToken *pstToken, RsExprToken **ppstHead);
RS_API void RsExprTokenListFree(RsExprToken *pstHead);

RS_API RsExprToken *RecursiveDescentParserToken(RsExprToken *pstPrev, RsExprNode **ppstSlot);
RS_API RsExprToken *ParserTokenTerm(RsExprToken *pstPrev, RsExprNode **ppstSlot);
RS_API RsExprToken *ParserTokenFractor(RsExprToken *pstPrev, RsExprNode **ppstSlot);
/* Parses a whole token list; the tree is null when the list yields none. */
RS_API RsExprNode *RsExprTreeBuild(RsExprToken *pstList);
RS_API void RsExprTreeFree(RsExprNode *pstRoot);
/* Tokenizes (in place) and parses one expression; returns RsTokenize's status. */
RS_API u32 RsExprCompile(char *pcExpr, RsExprToken **ppstList, RsExprNode **ppstTree);

/* 1 granted, 0 refused; a missing tree or record grants. */
RS_API u32 ExpressionParse(const RsExprNode *pstNode, const RsTokenItem *pstItem);

/* ---- URL authorisation rules ---- */

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

/* 0 granted, 0xFFFFFFFF refused. */
RS_API u32 RsAuthAccessCheck(const char *pcKey, const RsTokenItem *pstItem);
RS_API u32 RsAuthAccessCheckTest(void);

/* Loads write the token table and the trie under the writer side; requests read under the reader side. */
RS_API void RsAuthRulesReadLock(void);
RS_API void RsAuthRulesWriteLock(void);
RS_API void RsAuthRulesUnlock(void);

/* The filter every request passes before its handler: 0 lets it through. */
RS_API u32 RsAuthFilter(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse, u32 uiMethod);
/* Answers 403 "The request is Forbidden.". */
RS_API void RsSetAuthResponseCode(RS_RESPONSE *pstResponse);

RS_END_DECLS

#endif
