// Server operations: a thin C face over kernel::Server. Nothing escapes as
// an exception; failures become a non-zero result with a log line.
#include <algorithm>
#include <memory>
#include <mutex>
#include <vector>

#include "kernel/api_guard.h"
#include "kernel/server.h"
#include "log/log_macro.h"

using kernel::Guarded;
using kernel::Route;
using kernel::Server;

namespace {

Server *AsServer(REST_HANDLE handle) {
    auto *server = static_cast<Server *>(handle);
    if (server == nullptr || server->magic != Server::kMagic) return nullptr;
    return server;
}

// One of a server's texts into the caller's buffer, with the query's own result.
u32 ServerTextGet(REST_HANDLE hServer, char *pcText, u32 uiSize, const char *what,
                  uint32_t (Server::*get)(std::string &) const) {
    Server *server = AsServer(hServer);
    if (server == nullptr || pcText == nullptr || uiSize == 0) return PLAT_ERR;
    return Guarded(what, [&] {
        std::string text;
        u32 result = (server->*get)(text);
        kernel::TextCopyOut(text, pcText, uiSize);
        return result;
    });
}

// Every server made, until it is destroyed; a server whose stop left entries
// running is never destroyed, so their handle never dangles.
struct Servers {
    std::mutex mutex;
    std::vector<std::unique_ptr<Server>> list;
};

Servers &ServersGet() {
    static auto *servers = new Servers();  // never destroyed: entries may outlive static destruction
    return *servers;
}

REST_HANDLE ServerKeep(std::unique_ptr<Server> server) {
    Servers &servers = ServersGet();
    std::lock_guard lock(servers.mutex);
    servers.list.push_back(std::move(server));
    return servers.list.back().get();
}

std::unique_ptr<Server> ServerTake(Server *server) {
    Servers &servers = ServersGet();
    std::lock_guard lock(servers.mutex);
    auto found = std::find_if(servers.list.begin(), servers.list.end(),
                              [server](const std::unique_ptr<Server> &kept) { return kept.get() == server; });
    if (found == servers.list.end()) return nullptr;
    std::unique_ptr<Server> taken = std::move(*found);
    servers.list.erase(found);
    return taken;
}

u32 RouteAdd(REST_HANDLE handle, const char *path, REST_ENTRY entry, void *user, u32 group) {
    Server *server = AsServer(handle);
    if (server == nullptr || path == nullptr || entry == nullptr) {
        PLAT_LOG(PLAT_LOG_ERROR, "route refused: bad server, path or entry (%s)", path != nullptr ? path : "(null)");
        return PLAT_ERR;
    }
    return Guarded("route add", [&] { return server->RouteAdd(path, Route{entry, user, group, {}}); });
}

}  // namespace

extern "C" {

PLAT_API u32 REST_ServerInit(void) {
    return PLAT_OK;
}

PLAT_API REST_HANDLE REST_ServerCreate(u32 uiFlags) {
    (void)uiFlags;
    return Guarded(
        "server create", [] { return ServerKeep(std::make_unique<Server>()); }, REST_HANDLE{nullptr});
}

PLAT_API u32 REST_ServerSSLEnable(REST_HANDLE hServer, const REST_SSL_PARAM *pstParam) {
    Server *server = AsServer(hServer);
    if (server == nullptr || pstParam == nullptr) {
        PLAT_LOG(PLAT_LOG_ERROR, "TLS enable refused: bad server or settings");
        return PLAT_ERR;
    }
    return Guarded("TLS enable", [&] { return server->TlsEnable(*pstParam); });
}

PLAT_API u32 REST_EndPointBind(REST_HANDLE hServer, const REST_END_POINT *pstEndPoint, u32 uiBacklog, u32 uiFlags) {
    (void)uiFlags;
    Server *server = AsServer(hServer);
    if (server == nullptr || pstEndPoint == nullptr) {
        PLAT_LOG(PLAT_LOG_ERROR, "endpoint refused: bad server or endpoint");
        return PLAT_ERR;
    }
    return Guarded("endpoint bind", [&] { return server->EndpointAdd(*pstEndPoint, uiBacklog); });
}

PLAT_API u32 REST_GroupEnable(u32 uiCount) {
    kernel::GroupCountSet(uiCount);
    return PLAT_OK;
}

PLAT_API u32 REST_ServerGenFuncAdd(REST_HANDLE hServer, REST_ENTRY pfnEntry, void *pUser) {
    Server *server = AsServer(hServer);
    if (server == nullptr || pfnEntry == nullptr) return PLAT_ERR;
    return Guarded("catch-all add", [&] {
        server->CatchAllSet(Route{pfnEntry, pUser, REST_GROUP_NONE, {}});
        return PLAT_OK;
    });
}

PLAT_API u32 REST_ServerSvcNameSet(REST_HANDLE hServer, const char *pcName) {
    Server *server = AsServer(hServer);
    if (server == nullptr || pcName == nullptr) return PLAT_ERR;
    return Guarded("service name set", [&] {
        server->NameSet(pcName);
        return PLAT_OK;
    });
}

PLAT_API u32 REST_ServerInstIDSet(REST_HANDLE hServer, const char *pcInstId) {
    Server *server = AsServer(hServer);
    if (server == nullptr || pcInstId == nullptr) return PLAT_ERR;
    return Guarded("instance id set", [&] {
        server->InstanceSet(pcInstId);
        return PLAT_OK;
    });
}

PLAT_API u32 REST_ServerBraceFuncAdd(REST_HANDLE hServer, const char *pcPath, REST_ENTRY pfnEntry, void *pUser) {
    return RouteAdd(hServer, pcPath, pfnEntry, pUser, REST_GROUP_NONE);
}

PLAT_API u32 REST_ServerBraceFuncAddbyGroup(REST_HANDLE hServer, const char *pcPath, REST_ENTRY pfnEntry, void *pUser,
                                            u32 uiGroup) {
    return RouteAdd(hServer, pcPath, pfnEntry, pUser, uiGroup);
}

PLAT_API u32 REST_ServerStart(REST_HANDLE hServer, u32 uiWord) {
    (void)uiWord;
    Server *server = AsServer(hServer);
    if (server == nullptr) return PLAT_ERR;
    return Guarded("server start", [&] { return server->Start(); });
}

PLAT_API u32 REST_ServerStop(REST_HANDLE hServer) {
    Server *server = AsServer(hServer);
    if (server == nullptr) return PLAT_ERR;
    return Guarded("server stop", [&] { return server->Stop(); });
}

PLAT_API u32 REST_ServerDestroy(REST_HANDLE hServer) {
    Server *server = AsServer(hServer);
    if (server == nullptr) return PLAT_ERR;
    return Guarded("server destroy", [&] {
        if (server->Stop() != PLAT_OK || server->busy()) return PLAT_ERR;
        server->magic = 0;  // a stale handle is refused from here on
        return ServerTake(server) != nullptr ? PLAT_OK : PLAT_ERR;
    });
}

PLAT_API void REST_EntryBlocking(void) {
    kernel::LoopPool::EntryBlocking();
}

PLAT_API u32 REST_ServerListenGet(REST_HANDLE hServer, char *pcText, u32 uiSize) {
    return ServerTextGet(hServer, pcText, uiSize, "listen query", &Server::ListenInfo);
}

PLAT_API u32 REST_ServerTlsProblemGet(REST_HANDLE hServer, char *pcText, u32 uiSize) {
    return ServerTextGet(hServer, pcText, uiSize, "TLS problem query", &Server::TlsProblem);
}

PLAT_API u32 REST_ServerStatsGet(REST_HANDLE hServer, REST_STATS *pstStats) {
    Server *server = AsServer(hServer);
    if (server == nullptr || pstStats == nullptr) return PLAT_ERR;
    server->StatsRead(*pstStats);
    return PLAT_OK;
}

}  // extern "C"
