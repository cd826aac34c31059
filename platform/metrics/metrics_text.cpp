// The metrics in the text exposition format: a HELP and a TYPE line per
// metric, then its samples. Shards are summed here, under the registry's
// lock, which only making a counter or a route also takes.
#include <charconv>
#include <cinttypes>
#include <cstdio>

#include "metrics/metrics_registry.h"

namespace metrics {

namespace {

const char *const kClasses[6] = {"", "1xx", "2xx", "3xx", "4xx", "5xx"};

void Number(std::string &out, uint64_t value) {
    char digits[24];
    auto result = std::to_chars(digits, digits + sizeof(digits), value);
    out.append(digits, result.ptr);
}

// Label values escape backslash, double quote and newline; help texts
// escape backslash and newline.
void Escaped(std::string &out, std::string_view text, bool label) {
    for (char c : text) {
        if (c == '\\') {
            out.append("\\\\");
        } else if (c == '\n') {
            out.append("\\n");
        } else if (c == '"' && label) {
            out.append("\\\"");
        } else {
            out.push_back(c);
        }
    }
}

void Head(std::string &out, std::string_view name, std::string_view help, const char *type) {
    out.append("# HELP ").append(name).push_back(' ');
    Escaped(out, help, false);
    out.append("\n# TYPE ").append(name).push_back(' ');
    out.append(type).push_back('\n');
}

// Classes never answered are left out: a series appears with its first answer.
void Requests(std::string &out, const Registry &registry) {
    Head(out, "restserver_requests_total", "Answers by configured route pattern and status class.", "counter");
    auto series_out = [&out](const RouteSeries &series) {
        for (size_t status_class = 1; status_class < 6; ++status_class) {
            uint64_t sum = 0;
            for (const auto &shard : series.shards)
                sum += shard.by_class[status_class].load(std::memory_order_relaxed);
            if (sum == 0) continue;
            out.append("restserver_requests_total{route=\"");
            Escaped(out, series.label, true);
            out.append("\",class=\"").append(kClasses[status_class]).append("\"} ");
            Number(out, sum);
            out.push_back('\n');
        }
    };
    for (const auto &series : registry.routes)
        series_out(*series);
    series_out(registry.unrouted);
}

void Latency(std::string &out, const Registry &registry) {
    const char *name = "restserver_request_duration_seconds";
    Head(out, name, "Time from a request read whole to its answer handed to the socket.", "histogram");
    uint64_t cumulative = 0;
    uint64_t sum_ns = 0;
    for (size_t bucket = 0; bucket < kBuckets; ++bucket) {
        for (const LatencyShard &shard : registry.latency)
            cumulative += shard.buckets[bucket].load(std::memory_order_relaxed);
        out.append(name).append("_bucket{le=\"");
        out.append(bucket < kBuckets - 1 ? kBounds[bucket].text : "+Inf").append("\"} ");
        Number(out, cumulative);
        out.push_back('\n');
    }
    for (const LatencyShard &shard : registry.latency)
        sum_ns += shard.sum_ns.load(std::memory_order_relaxed);
    char sum[48];
    std::snprintf(sum, sizeof(sum), "%" PRIu64 ".%09" PRIu64, sum_ns / 1'000'000'000, sum_ns % 1'000'000'000);
    out.append(name).append("_sum ").append(sum).push_back('\n');
    out.append(name).append("_count ");
    Number(out, cumulative);
    out.push_back('\n');
}

}  // namespace

void Render(std::string &out) {
    Registry &registry = RegistryGet();
    std::lock_guard lock(registry.mutex);
    Requests(out, registry);
    Latency(out, registry);
    Head(out, "restserver_connections_open", "Client connections open now.", "gauge");
    int64_t open = registry.connections_open.load(std::memory_order_relaxed);
    out.append("restserver_connections_open ");
    Number(out, open > 0 ? static_cast<uint64_t>(open) : 0);
    out.push_back('\n');
    for (const auto &counter : registry.counters) {
        Head(out, counter->name(), counter->help(), "counter");
        out.append(counter->name()).push_back(' ');
        Number(out, counter->Sum());
        out.push_back('\n');
    }
}

}  // namespace metrics
