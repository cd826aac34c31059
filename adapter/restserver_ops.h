/*
 * The operations listener of the process (/ready and /metrics, see
 * plat_kernel.h): started when the first instance starts, stopped with
 * the library. Ready means at least one instance is made and every one made
 * is listening.
 */
#ifndef RESTSERVER_OPS_H
#define RESTSERVER_OPS_H

#include "plat_types.h"
#include "restserver_export.h"

RS_BEGIN_DECLS

/* Once until RsOpsStop; a listener that cannot start is reported as a problem. */
RS_API void RsOpsStart(void);
RS_API void RsOpsStop(void);
/* 0 when ready; else why not, in pcWhy. */
RS_API u32 RsOpsReady(char *pcWhy, u32 uiSize);

RS_END_DECLS

#endif
