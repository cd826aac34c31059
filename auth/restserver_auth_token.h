/*
 * What a verified access token yields: its expiry, the user and domain it
 * belongs to, the project and the role names. The token cache owns one per
 * distinct token; the auth filter and the access check only read it.
 */
#ifndef RESTSERVER_AUTH_TOKEN_H
#define RESTSERVER_AUTH_TOKEN_H

#include "plat_json.h"
#include "plat_types.h"
#include "restserver_export.h"

RS_BEGIN_DECLS

#define RS_TOKEN_FIELD_SIZE 32u
#define RS_TOKEN_CACHE_MAX 1024u
#define RS_TOKEN_CACHE_EVICT 64u
/* New tokens verified or queued for verification at once; a request beyond it is refused at once. */
#define RS_TOKEN_VERIFY_MAX_WAITING 64u

/* Text fields hold at most 31 characters; an overlong value leaves them empty. */
typedef struct {
    char expiresAt[RS_TOKEN_FIELD_SIZE];
    char userDomainId[RS_TOKEN_FIELD_SIZE];
    char userId[RS_TOKEN_FIELD_SIZE];
    char userName[RS_TOKEN_FIELD_SIZE];
    char **roles; /* roleCount heap strings, in the token's order */
    u32 roleCount;
    char userDomainName[RS_TOKEN_FIELD_SIZE];
    char projectId[RS_TOKEN_FIELD_SIZE];
} RsTokenItem;

/* One cached token: its text (the key) and its record. */
typedef struct RsTokenCacheNode {
    char *token;
    RsTokenItem *item;
    struct RsTokenCacheNode *next;
} RsTokenCacheNode;

/*
 * Head node of the cache (empty token and item), made on first use and never
 * released; the entries follow it oldest first, at most 1024 of them. The
 * cache changes the links under its own lock: walk them only while no
 * request runs.
 */
RS_API extern RsTokenCacheNode *g_pTokenCacheMap;

/*
 * The record of a token, verified on its first use and cached. The record
 * stays valid for the calling thread until that thread's next call here or
 * RsTokenItemRelease, even when it is evicted meanwhile. Null on failure.
 */
RS_API RsTokenItem *RsLoadDecryptedToken(const char *pcToken);
/* Ends the calling thread's hold on the record it got last. */
RS_API void RsTokenItemRelease(void);
/* Evicts the 64 oldest entries; records still held are released when their holders let go. */
RS_API void RsTokenCacheMapOverrunProc(void);

/* Copies the string at a "/"-separated member path; a missing or non-string member leaves pcDest unchanged. */
RS_API void GetTokenJsonItemByPath(const CFJSON *pstObject, const char *pcPath, char *pcDest, u32 uiDestSize);
/* Fills roles and roleCount from the content's "roles" array; roleCount 0 when that fails. */
RS_API void RsTokenItemProc(const CFJSON *pstObject, RsTokenItem *pstItem);

/* 0 while the current second sorts at or before expiresAt, 0xFFFFFFFF once past it. */
RS_API u32 RsAuthTokenCheck(const RsTokenItem *pstItem);
/* Checks a record that expired in 2019: 1 when refused, 0 when accepted. */
RS_API u32 RsAuthTokenCheckTest(void);

RS_END_DECLS

#endif
