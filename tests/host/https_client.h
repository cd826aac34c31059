// An HTTPS client on libcurl for the end-to-end tests. One client is one
// curl handle, so consecutive requests may reuse one connection.
#pragma once

#include <curl/curl.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace hosttest {

struct HttpAnswer {
    long status = 0;  // 0: no answer (curl_error says why)
    std::string body;
    std::map<std::string, std::string> headers;  // lower-case names
    std::string curl_error;
    long new_connections = 0;  // connections opened for this request
    long local_port = 0;
};

struct HttpCall {
    HttpCall(std::string method_, std::string path_, std::string body_ = "", std::vector<std::string> headers_ = {})
        : method(std::move(method_)), path(std::move(path_)), body(std::move(body_)), headers(std::move(headers_)) {}
    std::string method;
    std::string path;  // with its query
    std::string body;
    std::vector<std::string> headers;  // "Name: value"
};

class HttpsClient {
public:
    // Trusts only the certificate in ca_file, talking to 127.0.0.1:port.
    HttpsClient(uint16_t port, std::string ca_file);
    ~HttpsClient();
    HttpsClient(const HttpsClient &) = delete;
    HttpsClient &operator=(const HttpsClient &) = delete;

    HttpAnswer Send(const HttpCall &call);
    HttpAnswer Get(const std::string &path) { return Send(HttpCall("GET", path)); }

private:
    CURL *curl_;
    uint16_t port_;
    std::string ca_file_;
};

// A string member of a JSON object text; nullopt when the text is not an
// object or the member is absent or not a string.
std::optional<std::string> JsonMember(const std::string &json, const char *name);

}  // namespace hosttest
