// The system's counters: one table of names and help texts, the platform's
// counter handles made from it once.
#include "core/restserver_metrics.h"

#include "plat_metrics.h"

namespace {

struct MetricDef {
    const char *pcName;
    const char *pcHelp;
};

const MetricDef g_astMetricDefs[RS_METRIC_COUNT] = {
    {"restserver_token_cache_hits_total", "Requests whose token was found in the token cache."},
    {"restserver_token_cache_misses_total", "Requests whose token was not in the token cache."},
    {"restserver_token_cache_evictions_total", "Tokens evicted from the full token cache."},
    {"restserver_openssl_runs_total", "Runs of the openssl tool to verify a token."},
    {"restserver_trace_records_written_total", "Request trace records written to the trace file."},
};

struct Handles {
    Handles() {
        for (int i = 0; i < RS_METRIC_COUNT; ++i)
            apCounter[i] = PLAT_CounterGet(g_astMetricDefs[i].pcName, g_astMetricDefs[i].pcHelp);
    }
    PLAT_COUNTER apCounter[RS_METRIC_COUNT];
};

const Handles &HandlesGet() {
    static const Handles stHandles;
    return stHandles;
}

}  // namespace

extern "C" RS_API void RsMetricsRegister(void) {
    (void)HandlesGet();
}

extern "C" RS_API void RsMetricAdd(RS_METRIC enMetric, u64 ulCount) {
    if (enMetric < 0 || enMetric >= RS_METRIC_COUNT) return;
    PLAT_CounterAdd(HandlesGet().apCounter[enMetric], ulCount);
}
