/*
 * The deployment's service settings: the JWT a service token is asked with
 * (../conf/vog_auth/jwt.json) and the service each URL belongs to
 * (../conf/vog_auth/service_url_config.json). Both are read by the first
 * kernel bring-up that finds them and kept for the life of the process.
 */
#ifndef RESTSERVER_SERVICE_TOKEN_H
#define RESTSERVER_SERVICE_TOKEN_H

#include "plat_types.h"
#include "restserver_export.h"
#include "restserver_helpers.h"

RS_BEGIN_DECLS

#define RS_JWT_JSON_PATH "../conf/vog_auth/jwt.json"
#define RS_SERVICE_URL_JSON_PATH "../conf/vog_auth/service_url_config.json"

/* The "jwt" text; null until loaded. */
RS_API extern char *g_serviceJwt;
/* Entries, the file's last member first; null until loaded or when the file has none. */
RS_API extern RsUrlConfigInfo *g_serviceUrlConfigList;

/*
 * The loaders run on the bring-up thread (under the root store lock). Once
 * one has loaded, later calls keep what it loaded and return 0 at once:
 * lookups on request threads may hold its entries, so nothing is replaced.
 */
RS_API u32 JwtConfigLoad(void);
/* Members without a string "type" and "domain" are dropped; 0 also then. */
RS_API u32 ServiceUrlConfigLoad(void);
/* Releases the JWT and the entries so the loaders read again; the system never does, tests start afresh with it. */
RS_API void RsServiceConfigClear(void);

/* The token request's body {"jwt":...,"domain":...}, released with CFJSON_Free; null without a JWT. */
RS_API char *RsJwtParamBuild(const char *pcDomain);
/* 0 when "/rest/plat/domain/v1/aa" has an entry (logged with its service), else 0xFFFFFFFF. */
RS_API u32 RsUrlServiceNameGetTest(void);

RS_END_DECLS

#endif
