// Process-wide metrics: named counters, answers per route and status class,
// the latency histogram and the open connections, kept in per-thread shards
// so that counting on a request's path takes no lock and shares no cache
// line; summed only when the metrics route renders them.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace metrics {

constexpr size_t kShards = 16;

// Each thread keeps to one shard, chosen round-robin at its first count.
inline size_t ShardIndex() {
    static std::atomic<size_t> next{0};
    thread_local const size_t index = next.fetch_add(1, std::memory_order_relaxed) % kShards;
    return index;
}

struct alignas(64) Cell {
    std::atomic<uint64_t> value{0};
};

class Counter {
public:
    Counter(std::string name, std::string help) : name_(std::move(name)), help_(std::move(help)) {}
    void Add(uint64_t count) { cells_[ShardIndex()].value.fetch_add(count, std::memory_order_relaxed); }
    uint64_t Sum() const;
    const std::string &name() const { return name_; }
    const std::string &help() const { return help_; }

private:
    std::string name_;
    std::string help_;
    Cell cells_[kShards];
};

// Answers of one route pattern by status class (index = status / 100).
struct RouteSeries {
    explicit RouteSeries(std::string_view pattern) : label(pattern) {}
    struct alignas(64) Shard {
        std::atomic<uint64_t> by_class[6]{};
    };
    std::string label;
    Shard shards[kShards];
};

// Upper bounds of the latency buckets; a duration equal to a bound falls in
// its bucket. One more bucket takes everything above the last.
struct Bound {
    uint64_t ns;
    const char *text;  // in seconds, as the le label shows it
};
constexpr Bound kBounds[] = {
    {100'000, "0.0001"},   {250'000, "0.00025"},   {500'000, "0.0005"},   {1'000'000, "0.001"},
    {2'500'000, "0.0025"}, {5'000'000, "0.005"},   {10'000'000, "0.01"},  {25'000'000, "0.025"},
    {50'000'000, "0.05"},  {100'000'000, "0.1"},   {250'000'000, "0.25"}, {500'000'000, "0.5"},
    {1'000'000'000, "1"},  {2'500'000'000, "2.5"}, {5'000'000'000, "5"},  {10'000'000'000, "10"},
};
constexpr size_t kBuckets = sizeof(kBounds) / sizeof(kBounds[0]) + 1;
size_t BucketOf(uint64_t ns);

extern std::atomic<bool> g_enabled;
inline bool Enabled() {
    return g_enabled.load(std::memory_order_relaxed);
}
void EnabledSet(bool enabled);

// Monotonic nanoseconds, for latencies.
int64_t NowNs();

// The series of a route pattern, shared by every server that registers it.
RouteSeries *RouteSeriesGet(std::string_view pattern);
// One answer: its route's series (null for an answer given before a route
// was found) and, when started_ns is not 0, the time since then.
void AnswerCount(RouteSeries *series, unsigned status, int64_t started_ns);
void ConnectionsAdd(int64_t change);

// Null for a name outside the metric alphabet. The same name gives the same counter.
Counter *CounterGet(std::string_view name, std::string_view help);

// The engine's own counters, made with the registry so they show from the start.
Counter &EntriesQueued();
Counter &EntriesRefused();
Counter &SparesLent();

// Everything, in the text exposition format (version 0.0.4).
void Render(std::string &out);

}  // namespace metrics
