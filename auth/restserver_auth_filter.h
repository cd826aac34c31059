/*
 * The auth filter every request passes before its handler, and the 403
 * answer a refusal leads to.
 */
#ifndef RESTSERVER_AUTH_FILTER_H
#define RESTSERVER_AUTH_FILTER_H

#include "plat_types.h"
#include "restserver_export.h"
#include "restserver_handler.h"

RS_BEGIN_DECLS

/* The filter every request passes before its handler: 0 lets it through. */
RS_API u32 RsAuthFilter(RS_REQUEST *pstRequest, RS_RESPONSE *pstResponse, u32 uiMethod);
/* The access rules' key of a request: the method name, then the URI without
 * its leading "/" (one without is appended whole); heap text, null when out of memory. */
RS_API char *RsAuthKeyMake(const char *pcMethod, const char *pcUri);
/* Answers 403 "The request is Forbidden.". */
RS_API void RsSetAuthResponseCode(RS_RESPONSE *pstResponse);

RS_END_DECLS

#endif
