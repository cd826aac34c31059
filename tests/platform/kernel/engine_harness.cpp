// Test harness for the HTTP engine.
#include "engine_harness.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

#include "plat_config.h"
#include "support/free_port.h"

namespace enginetest {

void KernelSettings(const std::string &kernel_json) {
    std::string text = "{\"kernel\": " + kernel_json + "}";
    if (PLAT_InitFromText(text.c_str()) != 0) throw std::runtime_error(std::string("settings: ") + PLAT_LastError());
}

TestServer::TestServer() : handle_(REST_ServerCreate(0)), port_(rstest::FreePort()) {}

TestServer::~TestServer() {
    Stop();
}

void TestServer::Route(const char *pattern, REST_ENTRY entry, void *user, u32 group) {
    if (group == REST_GROUP_NONE) {
        REST_ServerBraceFuncAdd(handle_, pattern, entry, user);
    } else {
        REST_ServerBraceFuncAddbyGroup(handle_, pattern, entry, user, group);
    }
}

u32 TestServer::Start() {
    REST_END_POINT endpoint{0, port_, {0, 0}, "127.0.0.1"};
    REST_EndPointBind(handle_, &endpoint, 1024, 0);
    return REST_ServerStart(handle_, 0);
}

void TestServer::Stop() {
    if (stopped_) return;
    stopped_ = true;
    REST_ServerStop(handle_);
}

Client::Client(uint16_t port) {
    fd_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd_, reinterpret_cast<sockaddr *>(&addr), sizeof(addr)) != 0) {
        close(fd_);
        fd_ = -1;
    }
}

Client::~Client() {
    if (fd_ >= 0) close(fd_);
}

bool Client::Send(const std::string &bytes) {
    size_t sent = 0;
    while (sent < bytes.size()) {
        ssize_t n = send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) return false;
        sent += static_cast<size_t>(n);
    }
    return true;
}

bool Client::Fill(int timeout_ms) {
    pollfd waiting{fd_, POLLIN, 0};
    if (poll(&waiting, 1, timeout_ms) <= 0) return false;
    char chunk[16384];
    ssize_t n = recv(fd_, chunk, sizeof(chunk), 0);
    if (n <= 0) return false;
    buffer_.append(chunk, static_cast<size_t>(n));
    return true;
}

bool Client::Line(std::string &line, int timeout_ms) {
    size_t end;
    while ((end = buffer_.find("\r\n")) == std::string::npos) {
        if (!Fill(timeout_ms)) return false;
    }
    line = buffer_.substr(0, end);
    buffer_.erase(0, end + 2);
    return true;
}

bool Client::Bytes(size_t count, std::string &out, int timeout_ms) {
    while (buffer_.size() < count) {
        if (!Fill(timeout_ms)) return false;
    }
    out.append(buffer_, 0, count);
    buffer_.erase(0, count);
    return true;
}

bool Client::Read(Answer &answer, bool head, int timeout_ms) {
    answer = Answer();
    std::string line;
    if (!Line(line, timeout_ms) || line.size() < 12) return false;
    answer.status = std::stoi(line.substr(9, 3));
    while (Line(line, timeout_ms) && !line.empty()) {
        size_t colon = line.find(':');
        if (colon == std::string::npos) return false;
        std::string name = line.substr(0, colon);
        for (char &c : name)
            c = static_cast<char>(tolower(c));
        answer.fields[name] = line.substr(line.find_first_not_of(' ', colon + 1));
    }
    if (!line.empty()) return false;
    if (head || answer.status == 100) return true;
    if (answer.fields.count("content-length") != 0) {
        return Bytes(std::stoul(answer.fields["content-length"]), answer.body, timeout_ms);
    }
    answer.chunked = answer.fields["transfer-encoding"] == "chunked";
    if (!answer.chunked) return false;
    for (;;) {
        if (!Line(line, timeout_ms)) return false;
        size_t size = std::stoul(line, nullptr, 16);
        if (size == 0) return Line(line, timeout_ms) && line.empty();
        std::string crlf;
        if (!Bytes(size, answer.body, timeout_ms) || !Bytes(2, crlf, timeout_ms) || crlf != "\r\n") return false;
        ++answer.chunks;
    }
}

bool Client::ClosedWithin(int timeout_ms) {
    for (;;) {
        pollfd waiting{fd_, POLLIN, 0};
        if (poll(&waiting, 1, timeout_ms) <= 0) return false;
        char chunk[4096];
        ssize_t n = recv(fd_, chunk, sizeof(chunk), 0);
        if (n <= 0) return true;
    }
}

Answer Fetch(uint16_t port, const std::string &request) {
    Client client(port);
    Answer answer;
    if (!client.Send(request) || !client.Read(answer)) answer.status = 0;
    return answer;
}

std::string Get(const std::string &target) {
    return "GET " + target + " HTTP/1.1\r\nHost: t\r\n\r\n";
}

void EchoEntry(REST_REQ req, void *user, void *) {
    const char *text = user != nullptr ? static_cast<const char *>(user) : "ok";
    REST_ResponseSend(req, 200, text, static_cast<u32>(strlen(text)));
}

void SilentEntry(REST_REQ, void *, void *) {}

}  // namespace enginetest
