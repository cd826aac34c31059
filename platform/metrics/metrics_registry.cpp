// The registry behind the metrics: counters and route series made once and
// kept for the life of the process (their addresses are held by routes and
// callers), the latency shards and the connection gauge.
#include <algorithm>
#include <memory>
#include <mutex>
#include <vector>

#include "metrics/metrics_registry.h"
#include "plat_os.h"

namespace metrics {

std::atomic<bool> g_enabled{false};

namespace {

bool NameValid(std::string_view name) {
    auto first = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':'; };
    if (name.empty() || !first(name[0])) return false;
    return std::all_of(name.begin(), name.end(), [&](char c) { return first(c) || (c >= '0' && c <= '9'); });
}

Counter *Make(Registry &registry, std::string_view name, std::string_view help) {
    registry.counters.push_back(std::make_unique<Counter>(std::string(name), std::string(help)));
    return registry.counters.back().get();
}

}  // namespace

Registry::Registry()
    : entries_queued(Make(*this, "restserver_entries_queued_total",
                          "Requests that waited for an entry slot: every entry their group may run at once was busy.")),
      entries_refused(Make(*this, "restserver_entries_refused_total",
                           "Requests refused with 503 because their group's entry queue was full.")),
      spares_lent(Make(*this, "restserver_spare_threads_lent_total",
                       "Spare threads lent to an event loop whose threads were all held by blocked entries.")) {}

Registry &RegistryGet() {
    static auto *registry = new Registry();  // never destroyed: counted into until the process ends
    return *registry;
}

uint64_t Counter::Sum() const {
    uint64_t sum = 0;
    for (const Cell &cell : cells_)
        sum += cell.value.load(std::memory_order_relaxed);
    return sum;
}

size_t BucketOf(uint64_t ns) {
    auto at = std::lower_bound(std::begin(kBounds), std::end(kBounds), ns,
                               [](const Bound &bound, uint64_t value) { return bound.ns < value; });
    return static_cast<size_t>(at - std::begin(kBounds));
}

void EnabledSet(bool enabled) {
    g_enabled.store(enabled, std::memory_order_relaxed);
}

// The platform's tick: monotonic, and a test can drive it.
int64_t NowNs() {
    u32 low = 0;
    u32 high = 0;
    (void)VOS_GetCpuTick(&low, &high);
    return static_cast<int64_t>((static_cast<uint64_t>(high) << 32) | low);
}

RouteSeries *RouteSeriesGet(std::string_view pattern) {
    Registry &registry = RegistryGet();
    std::lock_guard lock(registry.mutex);
    for (auto &series : registry.routes) {
        if (series->label == pattern) return series.get();
    }
    registry.routes.push_back(std::make_unique<RouteSeries>(pattern));
    return registry.routes.back().get();
}

void AnswerCount(RouteSeries *series, unsigned status, int64_t started_ns) {
    Registry &registry = RegistryGet();
    size_t shard = ShardIndex();
    if (series == nullptr) series = &registry.unrouted;
    unsigned status_class = status / 100;
    if (status_class < 6) series->shards[shard].by_class[status_class].fetch_add(1, std::memory_order_relaxed);
    if (started_ns == 0) return;
    int64_t elapsed = std::max<int64_t>(NowNs() - started_ns, 0);
    LatencyShard &latency = registry.latency[shard];
    latency.buckets[BucketOf(static_cast<uint64_t>(elapsed))].fetch_add(1, std::memory_order_relaxed);
    latency.sum_ns.fetch_add(static_cast<uint64_t>(elapsed), std::memory_order_relaxed);
}

void ConnectionsAdd(int64_t change) {
    RegistryGet().connections_open.fetch_add(change, std::memory_order_relaxed);
}

Counter *CounterGet(std::string_view name, std::string_view help) {
    if (!NameValid(name)) return nullptr;
    Registry &registry = RegistryGet();
    std::lock_guard lock(registry.mutex);
    for (auto &counter : registry.counters) {
        if (counter->name() == name) return counter.get();
    }
    return Make(registry, name, help);
}

Counter &EntriesQueued() {
    return *RegistryGet().entries_queued;
}
Counter &EntriesRefused() {
    return *RegistryGet().entries_refused;
}
Counter &SparesLent() {
    return *RegistryGet().spares_lent;
}

}  // namespace metrics
