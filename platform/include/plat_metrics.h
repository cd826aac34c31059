/*
 * Metrics: process-wide counters shown on the operations listener's metrics
 * route beside the engine's own (see REST_OpsStart in plat_kernel.h).
 * Counting is cheap enough for a request's path (per-thread shards, no
 * lock) and does nothing while the listener is off.
 */
#ifndef PLAT_METRICS_H
#define PLAT_METRICS_H

#include "plat_types.h"

PLAT_BEGIN_DECLS

typedef void *PLAT_COUNTER;

/* The counter of that name, made on first use with its help text: a name in
 * the metric alphabet ([a-zA-Z_:][a-zA-Z0-9_:]*), by convention ending in
 * "_total". Null for a name outside it. Counters live as long as the process. */
PLAT_API PLAT_COUNTER PLAT_CounterGet(const char *pcName, const char *pcHelp);
/* Adds to a counter; does nothing for null or while metrics are off. */
PLAT_API void PLAT_CounterAdd(PLAT_COUNTER hCounter, u64 ulCount);

PLAT_END_DECLS

#endif
