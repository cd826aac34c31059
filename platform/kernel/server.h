// One HTTP server: its endpoints, routes, TLS context, limits, loops and
// counters. Created by REST_ServerCreate, freed by REST_ServerDestroy once
// no entry of it runs any more.
#pragma once

#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "kernel/entry_gate.h"
#include "kernel/io_types.h"
#include "kernel/limits.h"
#include "kernel/loop_pool.h"
#include "kernel/router.h"
#include "plat_kernel.h"

namespace kernel {

struct ServerStats {
    std::atomic<uint64_t> connections_open{0};
    std::atomic<uint64_t> connections_total{0};
    std::atomic<uint64_t> responses[6]{};
    std::atomic<uint64_t> bytes_in{0};
    std::atomic<uint64_t> bytes_out{0};
};

class Server {
public:
    static constexpr uint32_t kMagic = 0x52455354;  // "REST"
    uint32_t magic = kMagic;

    Server();
    ~Server();

    // Set-up, before Start.
    uint32_t TlsEnable(const REST_SSL_PARAM &param);
    uint32_t EndpointAdd(const REST_END_POINT &endpoint, uint32_t backlog);
    uint32_t RouteAdd(const char *pattern, const Route &route);
    void CatchAllSet(const Route &route);
    void NameSet(const char *name);
    void InstanceSet(const char *id);
    // The engine's own server (the operations listener): this many loops,
    // and nothing it serves is counted in the metrics. Before any route.
    void InternalSet(uint32_t loops);

    uint32_t Start();
    // PLAT_ERR when the grace period ended with entries still running: the
    // server then keeps what they use, and must never be freed.
    uint32_t Stop();
    bool busy() const { return busy_; }
    void StatsRead(REST_STATS &out) const;
    // After Start: PLAT_OK with the bound addresses, else PLAT_ERR with why
    // the server does not serve.
    uint32_t ListenInfo(std::string &text) const;
    // PLAT_ERR with the reason when the TLS asked for could not be applied.
    uint32_t TlsProblem(std::string &text) const;

    // For connections.
    const Limits &limits() const { return limits_; }
    const Router &router() const { return router_; }
    EntryGate &gate() { return *gate_; }
    ServerStats &stats() { return stats_; }
    bool metered() const { return metered_; }
    bool stopping() const { return stopping_.load(std::memory_order_acquire); }
    // Counts a request in from its entry call until its answer is written;
    // false once stopping (the entry must not run).
    bool EntryStart();
    void AnswerDone() { in_entry_.fetch_sub(1, std::memory_order_acq_rel); }
    void ConnectionClosed();

private:
    struct Listener;
    struct EndpointSpec;
    uint32_t ListenerOpen(const EndpointSpec &wanted);
    void Accept(Listener &listener);
    void OnAccept(Listener &listener, TcpSocket socket);
    void Resume(Listener &listener);
    void WaitEntries();
    void ListenNote(const std::string &text);
    static std::string AddressText(const std::string &address, uint16_t port);

    struct EndpointSpec {
        bool v6;
        uint16_t port;
        std::string address;
        uint32_t backlog;
    };

    mutable std::mutex mutex_;  // set-up, start and stop
    std::vector<EndpointSpec> endpoints_;
    Router router_;
    uint32_t highest_group_ = 0;
    std::string name_;
    std::string instance_;
    std::shared_ptr<boost::asio::ssl::context> tls_;
    std::string tls_failure_;  // why the TLS asked for cannot be applied
    std::string listen_info_;  // bound addresses, or why nothing is
    Limits limits_{};
    bool metered_ = true;
    uint32_t loops_wanted_ = 0;  // 0: as the kernel settings say
    std::unique_ptr<LoopPool> loops_;
    std::unique_ptr<EntryGate> gate_;
    std::vector<std::unique_ptr<Listener>> listeners_;
    ServerStats stats_;
    std::atomic<bool> started_{false};
    bool busy_ = false;
    std::atomic<bool> stopping_{false};
    std::atomic<uint64_t> in_entry_{0};
};

// Groups enabled process-wide by REST_GroupEnable.
void GroupCountSet(uint32_t count);
uint32_t GroupCount();

}  // namespace kernel
