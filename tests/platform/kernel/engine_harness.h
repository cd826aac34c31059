// Test harness for the HTTP engine: a server on a free loopback port, a raw
// socket client that reads whole answers, and small entry functions.
#pragma once

#include <map>
#include <string>

#include "plat_kernel.h"

namespace enginetest {

// Applies a "kernel" settings object (JSON text) through the platform configuration.
void KernelSettings(const std::string &kernel_json);


class TestServer {
public:
    TestServer();
    ~TestServer();
    REST_HANDLE handle() const { return handle_; }
    uint16_t port() const { return port_; }
    void Route(const char *pattern, REST_ENTRY entry, void *user = nullptr, u32 group = REST_GROUP_NONE);
    u32 Start();  // binds 127.0.0.1 on a free port
    void Stop();

private:
    REST_HANDLE handle_;
    uint16_t port_;
    bool stopped_ = false;
};

struct Answer {
    int status = 0;
    std::map<std::string, std::string> fields;  // lower-case names
    std::string body;
    bool chunked = false;
    size_t chunks = 0;
};

class Client {
public:
    explicit Client(uint16_t port);
    ~Client();
    bool connected() const { return fd_ >= 0; }
    bool Send(const std::string &bytes);
    // Reads one answer; false on close, timeout or malformed framing.
    bool Read(Answer &answer, bool head = false, int timeout_ms = 10000);
    // True when the peer closes the connection within the time.
    bool ClosedWithin(int timeout_ms);

private:
    bool Fill(int timeout_ms);
    bool Line(std::string &line, int timeout_ms);
    bool Bytes(size_t count, std::string &out, int timeout_ms);
    int fd_ = -1;
    std::string buffer_;
};

// One request on a fresh connection; status 0 when no answer came.
Answer Fetch(uint16_t port, const std::string &request);
std::string Get(const std::string &target);

// Entries used by several tests.
void EchoEntry(REST_REQ req, void *user, void *reserved);  // answers "<user text>"
void SilentEntry(REST_REQ req, void *user, void *reserved);

}  // namespace enginetest
