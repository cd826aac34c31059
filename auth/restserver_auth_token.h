/*
 * What a verified access token yields: its expiry, the user and domain it
 * belongs to, the project and the role names. The token cache owns one per
 * distinct token; the access check only reads it.
 */
#ifndef RESTSERVER_AUTH_TOKEN_H
#define RESTSERVER_AUTH_TOKEN_H

#include "plat_types.h"

#define RS_TOKEN_FIELD_SIZE 32u

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

#endif
