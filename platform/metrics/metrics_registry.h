// The registry's record, shared by the counting side and the renderer.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "metrics/metrics.h"

namespace metrics {

struct alignas(64) LatencyShard {
    std::atomic<uint64_t> buckets[kBuckets]{};  // not cumulative: the renderer adds them up
    std::atomic<uint64_t> sum_ns{0};
};

struct Registry {
    Registry();
    std::mutex mutex;  // making counters and series, and rendering; never taken to count
    std::vector<std::unique_ptr<Counter>> counters;
    std::vector<std::unique_ptr<RouteSeries>> routes;
    RouteSeries unrouted{"(none)"};
    LatencyShard latency[kShards];
    std::atomic<int64_t> connections_open{0};
    Counter *entries_queued;
    Counter *entries_refused;
    Counter *spares_lent;
};

Registry &RegistryGet();

}  // namespace metrics
