// Helpers shared by the platform configuration tests.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>

#include "plat_types.h"

namespace plattest {

// Reads a value of type T at a byte offset, independent of field names.
template <typename T>
T At(const void *base, size_t offset) {
    T value;
    memcpy(&value, static_cast<const char *>(base) + offset, sizeof(T));
    return value;
}

inline std::string TextAt(const void *base, size_t offset) {
    return std::string(static_cast<const char *>(base) + offset);
}

// A full configuration using every section.
inline const char *FullConfig() {
    return R"({
      "app": {"service_name": "demo", "auth": true, "serving_word": 7},
      "node": {"local_ip": "10.1.2.3", "instance_id": 42, "slot_id": 3, "node_slot": "slot-3",
               "common_root": "/opt/rs"},
      "log": {"enabled": false, "level": 4},
      "rest": {"host": "192.168.7.9", "port": 8443,
               "tls": {"version": "TLSv1.2", "ca_files": ["/ca/a.pem", "/ca/b.pem"], "cert_file": "/c.pem",
                       "key_file": "/k.pem", "key_password": "secret", "ciphers": ["AES128", "AES256", "CHACHA"]}},
      "decrypt": {"key_password": "decrypted"},
      "security_service": {"host": "10.0.0.5", "scheme": "https", "port_map": {"32018": 18443, "80": 8080}},
      "kernel": {"io_threads": 2, "workers": 64, "group_workers": 8, "queue_depth": 1024, "stop_grace_ms": 10000,
                 "header_limit": 16384, "target_limit": 8192, "body_limit": 8388608, "header_timeout_ms": 10000,
                 "idle_timeout_ms": 60000, "write_timeout_ms": 30000, "max_connections": 10000},
      "future_section": {"anything": [1, 2, 3]}
    })";
}

}  // namespace plattest
