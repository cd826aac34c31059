/*
 * Dead-loop monitor: one thread that watches every entry call of the HTTP
 * engine and calls the callback once for a call running past the maximum.
 */
#ifndef PLAT_MONITOR_H
#define PLAT_MONITOR_H

#include "plat_types.h"

PLAT_BEGIN_DECLS

typedef void (*CF_DEAD_LOOP_CALLBACK)(void);

/* Non-zero turns the monitor on (starting its thread), zero turns it off. */
PLAT_API u32 CF_DeadLoopMonitorSwitch(u32 uiOn);
PLAT_API u32 CF_DeadLoopCallBackSet(CF_DEAD_LOOP_CALLBACK pfnCallback);
/* How often the monitor looks, in milliseconds (0 is refused). */
PLAT_API u32 CF_DeadLoopCheckIntervalSet(u32 uiMs);
/* How long one entry call may run, in milliseconds (0 is refused). */
PLAT_API u32 CF_DeadLoopTaskMaxRunTimeSet(u32 uiMs);

PLAT_END_DECLS

#endif
