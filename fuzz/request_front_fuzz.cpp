// Fuzzes the engine's request front: every input is sent as raw bytes on a
// fresh connection to a server with small limits and a few routes, the
// write side is closed, and the answers are read until the server closes.
// Entries read what a handler would (headers, query, brace variables, body)
// and answer whole, chunked, or not at all.
#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "plat_config.h"
#include "plat_kernel.h"

namespace {

constexpr char kSettings[] = R"({
  "kernel": {"io_threads": 1, "workers": 2, "group_workers": 1, "queue_depth": 2, "stop_grace_ms": 100,
             "header_limit": 1024, "target_limit": 256, "body_limit": 4096, "max_fields": 8,
             "header_timeout_ms": 500, "idle_timeout_ms": 500, "write_timeout_ms": 500}
})";
constexpr int kReadLimitMs = 3000;

void Touch(REST_REQ req) {
    const REST_HEAD_ITEM *items = nullptr;
    u32 count = 0;
    (void)REST_RequestHeadGet(req, &items, &count);
    (void)REST_RequestHeadValueGet(req, "content-type");
    (void)REST_RequestQueryCountGet(req);
    (void)REST_RequestQueryValueGet(req, "q");
    (void)REST_RequestBraceVarGet(req, "x");
    u32 length = 0;
    (void)REST_RequestBodyGet(req, &length);
}

void WholeEntry(REST_REQ req, void *, void *) {
    Touch(req);
    (void)REST_ResponseHeadAdd(req, "X-Seen", REST_RequestUriGet(req));
    const char text[] = "{\"ok\":true}";
    (void)REST_ResponseSend(req, 200, text, sizeof(text) - 1);
}

void ChunkedEntry(REST_REQ req, void *, void *) {
    Touch(req);
    if (REST_ResponseChunkSendStart(req, 200) != 0) return;
    for (int part = 0; part < 3; ++part)
        (void)REST_ResponseChunkSend(req, "part\n", 5);
    (void)REST_ResponseChunkSendEnd(req);
}

void SilentEntry(REST_REQ req, void *, void *) {
    Touch(req);
}

uint16_t ServerStart() {
    if (PLAT_InitFromText(kSettings) != PLAT_OK) abort();
    REST_HANDLE server = REST_ServerCreate(0);
    REST_ServerBraceFuncAdd(server, "/a/{x}", WholeEntry, nullptr);
    REST_ServerBraceFuncAdd(server, "/a/{x}/stream", ChunkedEntry, nullptr);
    REST_ServerBraceFuncAdd(server, "/b", SilentEntry, nullptr);
    REST_ServerGenFuncAdd(server, WholeEntry, nullptr);
    REST_END_POINT endpoint{0, 0, {0, 0}, "127.0.0.1"};
    REST_EndPointBind(server, &endpoint, 64, 0);
    char bound[128] = {};
    if (REST_ServerStart(server, 0) != 0 || REST_ServerListenGet(server, bound, sizeof(bound)) != 0) abort();
    const char *colon = strrchr(bound, ':');
    return static_cast<uint16_t>(atoi(colon + 1));
}

// The client side ends with a reset, not TIME_WAIT: thousands of exchanges a
// second would otherwise use up the ephemeral ports.
int Connect(uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    for (int attempt = 0; attempt < 100; ++attempt) {
        int fd = socket(AF_INET, SOCK_STREAM, 0);
        if (fd < 0) abort();
        linger reset{1, 0};
        setsockopt(fd, SOL_SOCKET, SO_LINGER, &reset, sizeof(reset));
        if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)) == 0) return fd;
        close(fd);
        usleep(10000);
    }
    abort();  // the server stopped accepting
}

void Exchange(uint16_t port, const uint8_t *data, size_t size) {
    int fd = Connect(port);
    size_t sent = 0;
    while (sent < size) {
        ssize_t n = send(fd, data + sent, size - sent, MSG_NOSIGNAL);
        if (n <= 0) break;
        sent += static_cast<size_t>(n);
    }
    shutdown(fd, SHUT_WR);
    char answer[4096];
    pollfd ready{fd, POLLIN, 0};
    while (poll(&ready, 1, kReadLimitMs) > 0 && recv(fd, answer, sizeof(answer), 0) > 0) {
    }
    close(fd);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const uint16_t port = ServerStart();
    Exchange(port, data, size);
    return 0;
}
