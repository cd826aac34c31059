/*
 * Handler interface: what a handler shared object provides. A configured
 * handler receives the request and the response of one call; its result is
 * ignored.
 */
#ifndef RESTSERVER_HANDLER_H
#define RESTSERVER_HANDLER_H

#include "restserver_export.h"

RS_BEGIN_DECLS

typedef struct RS_REQUEST RS_REQUEST;
typedef struct RS_RESPONSE RS_RESPONSE;

typedef uint32_t (*RS_HANDLER_FUNC)(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse);

RS_END_DECLS

#endif
