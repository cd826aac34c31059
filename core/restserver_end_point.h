/*
 * A network endpoint as the engine's bind and the REST client's calls take
 * it: the listening address of a domain, or the security service's address.
 */
#ifndef RESTSERVER_END_POINT_H
#define RESTSERVER_END_POINT_H

#include "plat_types.h"

/* The address text is the caller's, not copied. */
typedef struct {
    u32 uiAddrKind; /* 1 when the address holds ':' */
    u16 usPort;
    u8 aucPad[2];
    const char *pcAddress;
} RS_END_POINT;

#endif
