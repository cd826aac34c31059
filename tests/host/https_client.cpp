#include "https_client.h"

#include <algorithm>
#include <cctype>

#include "plat_json.h"

namespace hosttest {

namespace {

constexpr long kRequestTimeoutSeconds = 30;

size_t BodyAppend(char *data, size_t size, size_t count, void *user) {
    static_cast<std::string *>(user)->append(data, size * count);
    return size * count;
}

size_t HeaderAppend(char *data, size_t size, size_t count, void *user) {
    std::string line(data, size * count);
    size_t colon = line.find(':');
    if (colon == std::string::npos) return size * count;
    std::string name = line.substr(0, colon);
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
    size_t start = line.find_first_not_of(' ', colon + 1);
    size_t end = line.find_last_not_of("\r\n");
    (*static_cast<std::map<std::string, std::string> *>(user))[name] =
        start == std::string::npos || end < start ? "" : line.substr(start, end - start + 1);
    return size * count;
}

// Method and body; HEAD asks for no body, other methods send theirs as is.
void MethodSet(CURL *curl, const HttpCall &call) {
    if (call.method == "HEAD") {
        curl_easy_setopt(curl, CURLOPT_NOBODY, 1L);
        return;
    }
    if (call.method != "GET" || !call.body.empty()) {
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, call.body.data());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(call.body.size()));
    }
    curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, call.method.c_str());
}

}  // namespace

HttpsClient::HttpsClient(uint16_t port, std::string ca_file)
    : curl_(curl_easy_init()), port_(port), ca_file_(std::move(ca_file)) {}

HttpsClient::~HttpsClient() {
    curl_easy_cleanup(curl_);
}

HttpAnswer HttpsClient::Send(const HttpCall &call) {
    HttpAnswer answer;
    curl_easy_reset(curl_);  // keeps the connection cache
    std::string url = "https://127.0.0.1:" + std::to_string(port_) + call.path;
    curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl_, CURLOPT_CAINFO, ca_file_.c_str());
    curl_easy_setopt(curl_, CURLOPT_TIMEOUT, kRequestTimeoutSeconds);
    curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION, BodyAppend);
    curl_easy_setopt(curl_, CURLOPT_WRITEDATA, &answer.body);
    curl_easy_setopt(curl_, CURLOPT_HEADERFUNCTION, HeaderAppend);
    curl_easy_setopt(curl_, CURLOPT_HEADERDATA, &answer.headers);
    MethodSet(curl_, call);

    curl_slist *headers = curl_slist_append(nullptr, "Expect:");  // no 100-continue round trip
    for (const std::string &header : call.headers)
        headers = curl_slist_append(headers, header.c_str());
    curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, headers);
    CURLcode code = curl_easy_perform(curl_);
    curl_slist_free_all(headers);
    if (code != CURLE_OK) {
        answer.curl_error = curl_easy_strerror(code);
        return answer;
    }
    curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &answer.status);
    curl_easy_getinfo(curl_, CURLINFO_NUM_CONNECTS, &answer.new_connections);
    curl_easy_getinfo(curl_, CURLINFO_LOCAL_PORT, &answer.local_port);
    return answer;
}

std::optional<std::string> JsonMember(const std::string &json, const char *name) {
    CFJSON *root = CFJSON_Parse(json.c_str());
    const char *value = CFJSON_StringValueGet(CFJSON_ObjectItemGet(root, name));
    std::optional<std::string> member = value != nullptr ? std::optional<std::string>(value) : std::nullopt;
    CFJSON_Delete(root);
    return member;
}

}  // namespace hosttest
