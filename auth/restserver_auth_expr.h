/*
 * Access expression language: the word classification table, the tokenizer
 * that turns an expression text into tokens, the recursive-descent parser
 * that builds a tree from them and the evaluator that decides a tree against
 * a caller's token record.
 */
#ifndef RESTSERVER_AUTH_EXPR_H
#define RESTSERVER_AUTH_EXPR_H

#include <regex.h>

#include "auth/restserver_auth_token.h"
#include "plat_types.h"
#include "restserver_export.h"

RS_BEGIN_DECLS

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

/* RS_EXPR_OK when the text is well formed (every word a term, operator or
 * bracket, the grammar complete), else RS_EXPR_ERR with why in pcWhy. The
 * server uses a text that is not well formed all the same. */
RS_API u32 RsExprWellFormed(const char *pcExpr, char *pcWhy, u32 uiWhySize);
/* 1 granted, 0 refused; a missing tree or record grants. */
RS_API u32 ExpressionParse(const RsExprNode *pstNode, const RsTokenItem *pstItem);

RS_END_DECLS

#endif
