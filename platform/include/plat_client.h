/*
 * REST client: one request to the security service (or any endpoint), one
 * reusable connection handle per calling thread.
 */
#ifndef PLAT_CLIENT_H
#define PLAT_CLIENT_H

#include "plat_kernel.h"
#include "plat_types.h"

PLAT_BEGIN_DECLS

#define SSP_REST_GET 0u  /* no request body */
#define SSP_REST_POST 1u /* with the request body */

/*
 * Sends to scheme://address:port/path, where the address is the endpoint's
 * text (security_service.host when empty), the port is mapped through
 * security_service.port_map and the scheme is security_service.scheme.
 * Returns 0 when an HTTP answer came back (whatever its status), with the
 * body (NUL-terminated, length without the NUL; release it with
 * SSP_ResponseBodyFree), its length and the status. Else non-zero and a null body.
 */
PLAT_API u32 SSP_RestRequestSendEx(u32 uiKind, const REST_END_POINT *pstEndPoint, const char *pcPath, char **ppcBody,
                                   u32 *puiLen, u32 *puiHttpStatus);

/*
 * As above with request fields; *ppcIoBody and *puiIoLen carry the request
 * body in and the answer's body out (null on failure; the request text stays
 * the caller's).
 */
PLAT_API u32 SSP_RestRequestSendWithHead(u32 uiKind, const REST_END_POINT *pstEndPoint, const char *pcPath,
                                         char **ppcIoBody, u32 *puiIoLen, u32 *puiHttpStatus, char **ppcHeadNames,
                                         char **ppcHeadValues, u32 uiHeadCount);

PLAT_API void SSP_ResponseBodyFree(char *pcBody);

PLAT_END_DECLS

#endif
