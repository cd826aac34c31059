/*
 * Host interface: initialise the library once, make instances (at most ten),
 * start them, read their start-up state and destroy them.
 */
#ifndef RESTSERVER_HOST_H
#define RESTSERVER_HOST_H

#include "restserver_export.h"

RS_BEGIN_DECLS

/* A server instance; the host holds its address as the handle. */
typedef struct RS_INSTANCE RS_INSTANCE;

#define RS_MAX_INST_NUM 10u
#define RS_INST_ID_NONE 255u

/* Start-up states read with RsStateGet. */
#define RS_STATE_IDLE 0u
#define RS_STATE_PARSING 1u
#define RS_STATE_LOADING 2u
#define RS_STATE_REGISTERING 3u
#define RS_STATE_STARTING 4u
#define RS_STATE_LISTENING 5u
#define RS_STATE_FAILED 6u

/* Statuses: 0 success, 0xFFFFFFFF failure. */
RS_API uint32_t RESTSERVER_GlobalInit(void);
RS_API uint32_t RESTSERVER_GlobalUnInit(void);
RS_API uint32_t RESTSERVER_InstMake(RS_INSTANCE **ppstInst, uint8_t *pucInstId);
/* Runs the start-up in the calling thread; the outcome is read with RsStateGet. */
RS_API uint32_t RESTSERVER_InstStart(RS_INSTANCE *pstInst);
RS_API uint32_t RESTSERVER_InstDestroy(RS_INSTANCE *pstInst);
RS_API uint32_t RsStateGet(RS_INSTANCE *pstInst);

/* Request tracing: on (uiEnable non-zero) with batches of uiMax records
 * written to ../var/log/slot-<slot>/rest_req_trace_info.log, or off. */
RS_API void RsTraceParaSet(uint32_t uiMax, uint32_t uiEnable);

RS_END_DECLS

#endif
