#include "http_client.h"

#include <arpa/inet.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <thread>

namespace rstest {

HttpClient::HttpClient(uint16_t port, const TlsOptions *tls) {
    signal(SIGPIPE, SIG_IGN);  // writing to a closed TLS connection must fail, not end the test
    if (tls != nullptr) {
        SSL_CTX *ctx = SSL_CTX_new(TLS_client_method());
        SSL_CTX_set_options(ctx, SSL_OP_IGNORE_UNEXPECTED_EOF);  // a bare close reads as a close
        SSL_CTX_set_min_proto_version(ctx, tls->version);
        SSL_CTX_set_max_proto_version(ctx, tls->version);
        const char *ciphers = tls->ciphers.c_str();
        bool ok = !*ciphers || (tls->ciphers.rfind("TLS_", 0) == 0 ? SSL_CTX_set_ciphersuites(ctx, ciphers)
                                                                   : SSL_CTX_set_cipher_list(ctx, ciphers));
        if (!tls->cert.empty())
            ok = ok && SSL_CTX_use_certificate_chain_file(ctx, tls->cert.c_str()) == 1 &&
                 SSL_CTX_use_PrivateKey_file(ctx, tls->key.c_str(), SSL_FILETYPE_PEM) == 1;
        if (!tls->ca_file.empty()) {
            ok = ok && SSL_CTX_load_verify_locations(ctx, tls->ca_file.c_str(), nullptr) == 1;
            X509_VERIFY_PARAM_set1_ip_asc(SSL_CTX_get0_param(ctx), "127.0.0.1");
            SSL_CTX_set_verify(ctx, SSL_VERIFY_PEER, nullptr);
        }
        ssl_ = ok ? SSL_new(ctx) : nullptr;
        SSL_CTX_free(ctx);  // the connection keeps its own reference
        if (!ok) throw std::invalid_argument("TLS client options refused");
    }
    sockaddr_in address{AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
    fd_ = socket(AF_INET, SOCK_STREAM, 0);
    bool ok = connect(fd_, reinterpret_cast<sockaddr *>(&address), sizeof(address)) == 0;
    timeval limit{10, 0};  // bounds the handshake
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
    if (ok && ssl_ != nullptr) ok = SSL_set_fd(ssl_, fd_) == 1 && SSL_connect(ssl_) == 1;
    if (!ok) close(fd_), fd_ = -1;
}

HttpClient::~HttpClient() {
    SSL_free(ssl_);
    if (fd_ >= 0) close(fd_);
}

bool HttpClient::Send(const std::string &bytes) {  // blocking: the write is whole or fails
    auto size = static_cast<int>(bytes.size());
    if (fd_ < 0 || size == 0) return fd_ >= 0;
    return (ssl_ != nullptr ? SSL_write(ssl_, bytes.data(), size) : send(fd_, bytes.data(), size, 0)) == size;
}

int HttpClient::Receive(int timeout_ms) {
    timeval limit{timeout_ms / 1000, std::max(timeout_ms % 1000, 1) * 1000};  // zero would mean no limit
    if (fd_ < 0 || setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit)) != 0) return -1;
    char chunk[16384];
    int n =
        ssl_ != nullptr ? SSL_read(ssl_, chunk, sizeof(chunk)) : static_cast<int>(recv(fd_, chunk, sizeof(chunk), 0));
    if (n > 0) buffer_.append(chunk, static_cast<size_t>(n));
    if (n > 0 && pace_bytes_ != 0 && (paced_ += static_cast<size_t>(n)) >= pace_bytes_) {
        paced_ = 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(pace_ms_));
    }
    return n;
}

bool HttpClient::Take(std::string &out, size_t count, int timeout_ms) {
    size_t end;
    while ((end = count == std::string::npos ? buffer_.find("\r\n") : count) > buffer_.size())
        if (Receive(timeout_ms) <= 0) return false;
    out = buffer_.substr(0, end);
    buffer_.erase(0, count == std::string::npos ? end + 2 : end);
    return true;
}

bool HttpClient::Read(Answer &answer, bool head, int timeout_ms) try {
    const size_t line_end = std::string::npos;
    answer = Answer();
    std::string line, chunk;
    if (!Take(line, line_end, timeout_ms) || line.compare(0, 5, "HTTP/") != 0 || line.size() < 12) return false;
    int status = std::stoi(line.substr(9, 3));
    while (Take(line, line_end, timeout_ms) && !line.empty()) {
        size_t colon = line.find(':');
        if (colon == std::string::npos) return false;
        std::string name = line.substr(0, colon);
        for (char &c : name)
            c = static_cast<char>(tolower(c));
        answer.fields[name] = line.substr(std::min(line.find_first_not_of(' ', colon + 1), line.size()));
    }
    auto length = answer.fields.find("content-length");
    if (!line.empty()) return false;
    bool body = !head && status >= 200 && status != 204 && status != 304;
    if (body && length != answer.fields.end()) {
        if (!Take(answer.body, std::stoul(length->second), timeout_ms)) return false;
    } else if (body && answer.fields["transfer-encoding"] != "chunked") {  // unframed: the close ends it
        for (int n; (n = Receive(timeout_ms)) != 0;)
            if (n < 0) return false;
        answer.body.swap(buffer_);
    } else if (body) {
        for (size_t size; Take(line, line_end, timeout_ms) && (size = std::stoul(line, nullptr, 16)) != 0;) {
            if (!Take(chunk, size + 2, timeout_ms) || chunk.compare(size, 2, "\r\n") != 0) return false;
            answer.body.append(chunk, 0, size);
        }
        if (!Take(line, line_end, timeout_ms) || !line.empty()) return false;
    }
    answer.status = status;
    return true;
} catch (const std::logic_error &) {  // a number that does not parse
    return false;
}

Answer HttpClient::Call(const std::string &request, int timeout_ms) {
    Answer answer;  // status 0 unless Read takes a whole answer
    if (Send(request)) Read(answer, request.compare(0, 5, "HEAD ") == 0, timeout_ms);
    return answer;
}

std::string Request(const std::string &method, const std::string &target, const std::string &body,
                    const std::string &fields) {
    std::string text = method + " " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + fields;
    if (!body.empty() || (method != "GET" && method != "HEAD"))
        text += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    return text + "\r\n" + body;
}

}  // namespace rstest
