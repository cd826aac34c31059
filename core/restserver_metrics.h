/*
 * The system's counters on the operations listener's metrics route: token
 * cache, openssl runs, trace records. Adding costs nothing beyond a test
 * while metrics are off.
 */
#ifndef RESTSERVER_METRICS_H
#define RESTSERVER_METRICS_H

#include "plat_types.h"
#include "restserver_export.h"

RS_BEGIN_DECLS

typedef enum {
    RS_METRIC_TOKEN_CACHE_HIT,
    RS_METRIC_TOKEN_CACHE_MISS,
    RS_METRIC_TOKEN_CACHE_EVICTION,
    RS_METRIC_OPENSSL_RUN,
    RS_METRIC_TRACE_RECORD,
    RS_METRIC_COUNT
} RS_METRIC;

/* Makes every counter, so each shows (at 0) before its first count. */
RS_API void RsMetricsRegister(void);
RS_API void RsMetricAdd(RS_METRIC enMetric, u64 ulCount);

RS_END_DECLS

#endif
