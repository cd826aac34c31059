// A raw HTTP/1.x test client to 127.0.0.1, plain or TLS: it sends bytes as
// given and reads whole answers, framed by length, by chunks or by the close.
#pragma once

#include <cstdint>
#include <map>
#include <string>

typedef struct ssl_st SSL;

namespace rstest {

struct TlsOptions {
    std::string ca_file{};      // set: verify the chain and the name 127.0.0.1 against it
    std::string cert{}, key{};  // client certificate
    int version = 0;            // TLS1_2_VERSION or TLS1_3_VERSION: offer only it
    std::string ciphers{};      // TLS 1.2 cipher list, or TLS 1.3 suites when it starts "TLS_"
};

struct Answer {
    int status = 0;                             // 0: no whole answer came
    std::map<std::string, std::string> fields;  // lower-case names
    std::string body;
};

class HttpClient {
public:
    // Connects and, with tls, handshakes; options TLS refuses throw (a typo must not pass as a refusal).
    explicit HttpClient(uint16_t port, const TlsOptions *tls = nullptr);
    ~HttpClient();
    bool connected() const { return fd_ >= 0; }
    bool Send(const std::string &bytes);
    // One answer (a 1xx one on its own); false on close, timeout or broken framing. head: no body.
    bool Read(Answer &answer, bool head = false, int timeout_ms = 10000);
    // Sends a request and reads its answer; status 0 when none came.
    Answer Call(const std::string &request, int timeout_ms = 10000);
    // The peer closes the connection within the time, sending nothing more.
    bool ClosedWithin(int timeout_ms) { return Receive(timeout_ms) == 0; }
    // From now on reads pause this long after every this many bytes: a slow but steady reader.
    void Pace(size_t bytes, int pause_ms) { pace_bytes_ = bytes, pace_ms_ = pause_ms; }

private:
    int Receive(int timeout_ms);  // appends to buffer_; 0 on close, -1 on timeout or error
    bool Take(std::string &out, size_t count, int timeout_ms);
    int fd_ = -1;
    SSL *ssl_ = nullptr;
    std::string buffer_;
    size_t pace_bytes_ = 0, paced_ = 0;
    int pace_ms_ = 0;
};

// Request text with Host, the field lines ("Name: value\r\n" each), Content-Length unless a bodiless GET or HEAD.
std::string Request(const std::string &method, const std::string &target, const std::string &body = "",
                    const std::string &fields = "");

}  // namespace rstest
