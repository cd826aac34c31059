// Server: endpoints and accepting, start and graceful stop, counters.
#include "kernel/server.h"

#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/post.hpp>
#include <chrono>
#include <thread>

#include "kernel/connection.h"
#include "kernel/tls_context.h"
#include "log/log_macro.h"
#include "metrics/metrics.h"

namespace kernel {

namespace net = boost::asio;
using tcp = net::ip::tcp;

namespace {

std::atomic<uint32_t> g_group_count{0};
constexpr auto kAcceptRetry = std::chrono::milliseconds(50);
constexpr auto kStopPoll = std::chrono::milliseconds(5);

}  // namespace

void GroupCountSet(uint32_t count) {
    g_group_count.store(count, std::memory_order_release);
}
uint32_t GroupCount() {
    return g_group_count.load(std::memory_order_acquire);
}

struct Server::Listener {
    explicit Listener(net::io_context &context) : acceptor(context), retry(context) {}
    tcp::acceptor acceptor;
    net::steady_timer retry;
    std::atomic<bool> paused{false};
    std::string name;
};

Server::Server() = default;
Server::~Server() {
    Stop();
}

// TLS is asked for as soon as a version, a certificate or a key is given;
// settings naming none of them leave the server on plain HTTP. A server
// asked for TLS that cannot apply it refuses to start, never serving in the
// clear.
uint32_t Server::TlsEnable(const REST_SSL_PARAM &param) {
    auto given = [](const char *text) { return text != nullptr && text[0] != '\0'; };
    if (!given(param.pcSslVersion) && !given(param.pcCertFile) && !given(param.pcKeyFile)) {
        PLAT_LOG(PLAT_LOG_WARN, "TLS settings name no version, certificate or key: the server stays on plain HTTP");
        return PLAT_OK;
    }
    std::string reason;
    auto context = TlsContextMake(param, reason);
    std::lock_guard lock(mutex_);
    if (!context) {
        tls_failure_ = std::move(reason);
        return PLAT_ERR;
    }
    tls_failure_.clear();
    tls_ = std::move(context);
    PLAT_LOG(PLAT_LOG_INFO, "TLS enabled (%s, certificate %s)", param.pcSslVersion, param.pcCertFile);
    return PLAT_OK;
}

uint32_t Server::EndpointAdd(const REST_END_POINT &endpoint, uint32_t backlog) {
    std::lock_guard lock(mutex_);
    std::string address = endpoint.pcAddress != nullptr ? endpoint.pcAddress : "";
    endpoints_.push_back(EndpointSpec{endpoint.uiAddrKind == 1, endpoint.usPort, address, backlog});
    return PLAT_OK;
}

uint32_t Server::RouteAdd(const char *pattern, const Route &route) {
    std::lock_guard lock(mutex_);
    if (started_) {
        PLAT_LOG(PLAT_LOG_ERROR, "route added after start refused: %s", pattern);
        return PLAT_ERR;
    }
    Route counted = route;
    if (metered_) counted.series = metrics::RouteSeriesGet(pattern);
    if (!router_.Add(pattern, counted)) {
        PLAT_LOG(PLAT_LOG_ERROR, "route pattern refused: %s", pattern);
        return PLAT_ERR;
    }
    if (route.group != REST_GROUP_NONE && route.group + 1 > highest_group_) highest_group_ = route.group + 1;
    return PLAT_OK;
}

void Server::CatchAllSet(const Route &route) {
    std::lock_guard lock(mutex_);
    Route counted = route;
    if (metered_) counted.series = metrics::RouteSeriesGet("/");  // what the catch-all is configured as
    router_.SetCatchAll(counted);
}

void Server::NameSet(const char *name) {
    std::lock_guard lock(mutex_);
    name_ = name;
}

void Server::InstanceSet(const char *id) {
    std::lock_guard lock(mutex_);
    instance_ = id;
}

void Server::InternalSet(uint32_t loops) {
    std::lock_guard lock(mutex_);
    metered_ = false;
    loops_wanted_ = loops;
}

uint32_t Server::ListenerOpen(const EndpointSpec &wanted) {
    const char *address = wanted.address.empty() ? (wanted.v6 ? "::" : "0.0.0.0") : wanted.address.c_str();
    boost::system::error_code ec;
    tcp::endpoint endpoint(net::ip::make_address(address, ec), wanted.port);
    if (ec) {
        PLAT_LOG(PLAT_LOG_ERROR, "endpoint address refused: %s", address);
        return PLAT_ERR;
    }
    auto listener = std::make_unique<Listener>(loops_->Next());
    listener->name = std::string(address) + " port " + std::to_string(wanted.port);
    tcp::acceptor &acceptor = listener->acceptor;
    acceptor.open(endpoint.protocol(), ec);
    if (!ec) acceptor.set_option(tcp::acceptor::reuse_address(true), ec);
    if (!ec && endpoint.address().is_v6()) acceptor.set_option(net::ip::v6_only(true), ec);
    if (!ec) acceptor.bind(endpoint, ec);
    if (!ec)
        acceptor.listen(
            wanted.backlog != 0 ? static_cast<int>(wanted.backlog) : net::socket_base::max_listen_connections, ec);
    if (ec) {
        PLAT_LOG(PLAT_LOG_ERROR, "endpoint %s not bound: %s", listener->name.c_str(), ec.message().c_str());
        ListenNote("bind " + AddressText(address, wanted.port) + ": " + ec.message());
        return PLAT_ERR;
    }
    tcp::endpoint bound = acceptor.local_endpoint(ec);
    uint16_t port = ec ? wanted.port : bound.port();
    PLAT_LOG(PLAT_LOG_INFO, "listening on %s port %u%s", address, port, tls_ ? " (TLS)" : "");
    ListenNote(AddressText(address, port));
    listeners_.push_back(std::move(listener));
    return PLAT_OK;
}

void Server::ListenNote(const std::string &text) {
    if (!listen_info_.empty()) listen_info_.append(", ");
    listen_info_.append(text);
}

std::string Server::AddressText(const std::string &address, uint16_t port) {
    bool v6 = address.find(':') != std::string::npos;
    return (v6 ? "[" + address + "]" : address) + ":" + std::to_string(port);
}

uint32_t Server::ListenInfo(std::string &text) const {
    std::lock_guard lock(mutex_);
    if (!started_ && listen_info_.empty()) {
        text = "not started";
        return PLAT_ERR;
    }
    text = listen_info_;
    return started_ ? PLAT_OK : PLAT_ERR;
}

uint32_t Server::TlsProblem(std::string &text) const {
    std::lock_guard lock(mutex_);
    text = tls_failure_;
    return tls_failure_.empty() ? PLAT_OK : PLAT_ERR;
}

uint32_t Server::Start() {
    std::lock_guard lock(mutex_);
    if (started_) return PLAT_ERR;
    listen_info_.clear();
    if (!tls_failure_.empty()) {
        PLAT_LOG(PLAT_LOG_ERROR, "server %s not started: %s", name_.c_str(), tls_failure_.c_str());
        listen_info_ = tls_failure_;
        return PLAT_ERR;
    }
    limits_ = LimitsLoad();
    if (loops_wanted_ != 0) limits_.io_threads = loops_wanted_;
    uint32_t groups = std::max(GroupCount(), highest_group_);
    // "workers" entries of the default group may block while every loop
    // thread still runs entries in place; spares cover every slot that blocks.
    uint32_t default_slots = limits_.workers + limits_.io_threads;
    loops_ = std::make_unique<LoopPool>(limits_.io_threads, default_slots + groups * limits_.group_workers);
    gate_ = std::make_unique<EntryGate>(default_slots, limits_.group_workers, groups, limits_.queue_depth);
    for (const EndpointSpec &wanted : endpoints_)
        ListenerOpen(wanted);
    if (listeners_.empty()) {
        PLAT_LOG(PLAT_LOG_ERROR, "server %s not started: no endpoint could be bound", name_.c_str());
        if (endpoints_.empty()) listen_info_ = "no endpoint to bind";
        loops_.reset();
        return PLAT_ERR;
    }
    for (auto &listener : listeners_)
        Accept(*listener);
    loops_->Start();
    started_ = true;
    PLAT_LOG(PLAT_LOG_INFO, "server %s started: %u loops, %u workers, %u groups", name_.c_str(), limits_.io_threads,
             limits_.workers, groups);
    return PLAT_OK;
}

void Server::Accept(Listener &listener) {
    listener.acceptor.async_accept(
        loops_->Next().get_executor(), [this, &listener](boost::system::error_code ec, TcpSocket socket) {
            if (ec == net::error::operation_aborted || stopping()) return;
            if (!ec) return OnAccept(listener, std::move(socket));
            // Out of descriptors or similar: try again shortly, never spin.
            PLAT_LOG(PLAT_LOG_WARN, "accept on %s failed: %s", listener.name.c_str(), ec.message().c_str());
            listener.retry.expires_after(kAcceptRetry);
            listener.retry.async_wait([this, &listener](boost::system::error_code ec) {
                if (!ec && !stopping()) Accept(listener);
            });
        });
}

void Server::OnAccept(Listener &listener, TcpSocket socket) {
    uint64_t open = stats_.connections_open.fetch_add(1, std::memory_order_acq_rel) + 1;
    stats_.connections_total.fetch_add(1, std::memory_order_relaxed);
    if (metered_) metrics::ConnectionsAdd(1);
    ConnectionStart(*this, std::move(socket), tls_.get());
    if (open < limits_.max_connections) return Accept(listener);
    PLAT_LOG(PLAT_LOG_WARN, "connection limit %u reached: accepting paused", limits_.max_connections);
    listener.paused.store(true, std::memory_order_release);
    // A connection may have closed before the pause was visible.
    if (stats_.connections_open.load(std::memory_order_acquire) < limits_.max_connections) Resume(listener);
}

void Server::Resume(Listener &listener) {
    bool paused = true;
    if (!listener.paused.compare_exchange_strong(paused, false, std::memory_order_acq_rel)) return;
    net::post(listener.acceptor.get_executor(), [this, &listener] {
        if (!stopping()) Accept(listener);
    });
}

void Server::ConnectionClosed() {
    uint64_t open = stats_.connections_open.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (metered_) metrics::ConnectionsAdd(-1);
    if (open >= limits_.max_connections || stopping()) return;
    for (auto &listener : listeners_) {
        if (listener->paused.load(std::memory_order_acquire)) Resume(*listener);
    }
}

bool Server::EntryStart() {
    in_entry_.fetch_add(1, std::memory_order_acq_rel);
    if (!stopping()) return true;
    in_entry_.fetch_sub(1, std::memory_order_acq_rel);
    return false;
}

void Server::WaitEntries() {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(limits_.stop_grace_ms);
    while (in_entry_.load(std::memory_order_acquire) != 0 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(kStopPoll);
    }
    uint64_t left = in_entry_.load(std::memory_order_acquire);
    if (left != 0)
        PLAT_LOG(PLAT_LOG_ERROR, "stop grace over with %llu entries still running", (unsigned long long)left);
}

uint32_t Server::Stop() {
    std::lock_guard lock(mutex_);
    if (!started_ || stopping()) return PLAT_OK;
    stopping_.store(true, std::memory_order_release);
    for (auto &listener : listeners_) {
        net::post(listener->acceptor.get_executor(), [&listener] {
            boost::system::error_code ignored;
            listener->acceptor.close(ignored);
            listener->retry.cancel();
        });
    }
    WaitEntries();
    gate_->DropQueued();
    size_t left = loops_->Stop();
    if (left != 0) {
        // Their entries still use the loops: the server keeps them (it is never freed once busy)
        // rather than free them under a running call.
        PLAT_LOG(PLAT_LOG_ERROR, "server %s stopped with %zu threads left inside entries", name_.c_str(), left);
        busy_ = true;
        return PLAT_ERR;
    }
    listeners_.clear();
    loops_.reset();  // destroys every connection still open
    PLAT_LOG(PLAT_LOG_INFO, "server %s stopped", name_.c_str());
    return PLAT_OK;
}

void Server::StatsRead(REST_STATS &out) const {
    out.ulConnectionsOpen = stats_.connections_open.load(std::memory_order_relaxed);
    out.ulConnectionsTotal = stats_.connections_total.load(std::memory_order_relaxed);
    for (int i = 0; i < 6; ++i)
        out.aulResponses[i] = stats_.responses[i].load(std::memory_order_relaxed);
    out.ulBytesIn = stats_.bytes_in.load(std::memory_order_relaxed);
    out.ulBytesOut = stats_.bytes_out.load(std::memory_order_relaxed);
}

}  // namespace kernel
