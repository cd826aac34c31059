// Engine limits and thread counts, from the "kernel" settings with defaults.
#pragma once

#include <cstdint>

namespace kernel {

struct Limits {
    uint32_t io_threads;
    uint32_t workers;        // entries of the default group that may block at once
    uint32_t group_workers;  // the same, per handler group
    uint32_t queue_depth;    // requests waiting for an entry slot, per group
    uint32_t stop_grace_ms;
    uint32_t header_limit;  // bytes of start line and fields
    uint32_t target_limit;
    uint32_t body_limit;
    uint32_t header_timeout_ms;
    uint32_t idle_timeout_ms;
    uint32_t write_timeout_ms;
    uint32_t max_connections;
    uint32_t max_fields;  // header and trailer fields of one request
};

// Reads the platform settings now; every zero field takes its default.
Limits LimitsLoad();

}  // namespace kernel
