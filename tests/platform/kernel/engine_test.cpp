// The HTTP engine: raw and routed requests and their answers, TLS settings and the clients they let
// in; blocked entries, the 503 queue, stop under load, the idle limit and the connection cap.
#include <gtest/gtest.h>
#include <openssl/ssl.h>
#include <stdlib.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "plat_config.h"
#include "plat_kernel.h"
#include "support/deployment.h"
#include "support/free_port.h"
#include "support/http_client.h"

namespace {

using namespace rstest;

// A server on 127.0.0.1 and a free port, stopped when destroyed.
struct EngineServer {
    ~EngineServer() { Stop(); }
    void Route(const char *path, REST_ENTRY entry, void *user = nullptr, u32 group = REST_GROUP_NONE) {
        if (REST_ServerBraceFuncAddbyGroup(handle, path, entry, user, group) != 0) throw std::invalid_argument(path);
    }
    // Applies the engine settings, binds a free port (another when some process took it first), starts.
    bool Start(const std::string &settings = "{}") {
        if (PLAT_InitFromText(("{\"kernel\": " + settings + "}").c_str()) != 0) return false;
        for (int attempt = 0; attempt < 3 && !started; ++attempt) {
            REST_END_POINT endpoint{0, port = FreePort(), {0, 0}, "127.0.0.1"};
            started = REST_EndPointBind(handle, &endpoint, 1024, 0) == 0 && REST_ServerStart(handle, 0) == 0;
        }
        return started;
    }
    void Stop() { started = started && REST_ServerStop(handle) != 0; }

    REST_HANDLE handle = REST_ServerCreate(0);
    uint16_t port = 0;
    bool started = false;
};

std::string Get(const std::string &target) {
    return "GET " + target + " HTTP/1.1\r\nHost: t\r\n\r\n";
}

// Routed with a tag: "<tag>|<brace id>|<brace kind>|<query q>|<query count>|<method>|<uri>". Else by
// path: /echo "<body length>:<body>:<x-tag>:<NUL after the body>", /chunks 10000 one-digit chunks, /open
// an unended chunked answer, /silent none, /misuse twice around misplaced chunk calls, /json "[1]",
// /html "html" of its own type, others their name.
void Entry(REST_REQ req, void *user, void *) {
    const std::string uri = REST_RequestUriGet(req);
    auto text = [](const char *value) { return std::string(value != nullptr ? value : "-"); };
    u32 len = 0;
    const char *body = REST_RequestBodyGet(req, &len);
    std::string answer = user != nullptr ? static_cast<const char *>(user) : uri == "/json" ? "[1]" : uri.substr(1);
    for (const std::string &part :
         {text(REST_RequestBraceVarGet(req, "id")), text(REST_RequestBraceVarGet(req, "kind")),
          text(REST_RequestQueryValueGet(req, "q")), std::to_string(REST_RequestQueryCountGet(req)),
          std::to_string(REST_RequestMethodGet(req)), uri})
        answer += user != nullptr ? "|" + part : "";
    if (uri == "/echo")
        answer = std::to_string(len) + ":" + (body != nullptr ? std::string(body, len) : "null") + ":" +
                 text(REST_RequestHeadValueGet(req, "x-tag")) + ":" +
                 (body != nullptr && body[len] == '\0' ? "nul" : "-");
    if (uri == "/chunks" || uri == "/open") {
        REST_ResponseChunkSendStart(req, 200);
        for (int i = 0; uri == "/chunks" && i < 10000; ++i)
            REST_ResponseChunkSend(req, &"0123456789"[i % 10], 1);
        if (uri == "/chunks") REST_ResponseChunkSendEnd(req);
    } else if (uri == "/misuse") {
        REST_ResponseChunkSend(req, "x", 1);
        REST_ResponseChunkSendEnd(req);
        REST_ResponseSend(req, 201, "first", 5);
        REST_ResponseSend(req, 200, "second", 6);
        REST_ResponseChunkSend(req, "x", 1);
    } else if (uri == "/204" || uri == "/304") {  // the text must not go out: these answers have no body
        REST_ResponseSend(req, static_cast<u32>(std::stoi(uri.substr(1))), "dropped", 7);
    } else if (uri != "/silent") {
        if (uri == "/html") REST_ResponseHeadAdd(req, "Content-Type", "text/html");
        REST_ResponseSend(req, 200, answer.data(), static_cast<u32>(answer.size()));
    }
}

// In the working folder: "trusted" (for 127.0.0.1, its key also encrypted as server.key with "secret")
// serves and is trusted both ways; "other" is not.
void CertificatesMake() {
    ASSERT_EQ(system("(openssl req -x509 -newkey rsa:2048 -nodes -keyout trusted.key -out trusted.pem -subj /CN=t"
                     " -addext subjectAltName=IP:127.0.0.1"
                     " && openssl pkey -in trusted.key -aes128 -passout pass:secret -out server.key"
                     " && openssl req -x509 -newkey rsa:2048 -nodes -keyout other.key -out other.pem -subj /CN=o"
                     ") >/dev/null 2>&1"),
              0);
}

REST_SSL_PARAM TrustedParam() {
    return REST_SSL_PARAM{"TLSv1.2", 0, nullptr, 0, 0, "trusted.pem", 0, "server.key", "secret", 0,
                          0,         0, nullptr, 0, {}};
}

struct RawCase {
    std::string request;
    int status;
    bool closes;                           // else it serves the next request, sent right behind
    std::optional<std::string> body = {};  // nullopt: not checked
    const char *field = "";                // "name: value" the answer must carry
};

void RawTable(bool tls, const std::vector<RawCase> &cases, const std::string &post);

TEST(Http, EachRawRequestGetsItsAnswer) {
    Deployment scratch;
    CertificatesMake();
    std::string post = "POST /echo HTTP/1.1\r\nHost: t\r\n", digits;
    for (int i = 0; i < 10000; ++i)
        digits += static_cast<char>('0' + i % 10);
    std::string fields;  // 101 small fields
    for (int i = 0; i <= 100; ++i)
        fields += "X-" + std::to_string(i) + ": 1\r\n";
    const std::vector<RawCase> cases = {
        {Get("/a"), 200, false, "a", "content-length: 1"},
        {"HEAD /a HTTP/1.1\r\nHost: t\r\n\r\n", 200, false, "", "content-length: 1"},
        {post + "X-Tag: a\r\nx-tag: b\r\nContent-Length: 5\r\n\r\nhello", 200, false, "5:hello:a, b:nul"},
        {post + "Transfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n", 200, false, "5:abcde:-:nul"},
        {Get("/echo"), 200, false, "0:null:-:-"},
        {post + "Content-Length: 1000\r\n\r\n" + std::string(1000, 'b'), 200, false},
        {"GET /a HTTP/1.0\r\n\r\n", 200, true, "a"},
        {"GET /a HTTP/1.0\r\nConnection: keep-alive\r\n\r\n", 200, false, "a", "connection: keep-alive"},
        {Get("/chunks"), 200, false, digits, "transfer-encoding: chunked"},
        {"GET /chunks HTTP/1.0\r\n\r\n", 200, true, digits, "connection: close"},  // streamed, unframed
        {Get("/open"), 200, false, "", "transfer-encoding: chunked"},
        {Get("/silent"), 500, false},
        {Get("/204"), 204, false, ""},
        {Get("/304"), 304, false, ""},
        {Get("/misuse"), 201, false, "first"},
        {Get("/json"), 200, false, {}, "content-type: application/json"},
        {Get("/txt"), 200, false, {}, "content-type: text/plain; charset=utf-8"},
        {Get("/html"), 200, false, {}, "content-type: text/html"},
        // Routing, any method: a literal first at its level, then a brace; decoded values; the catch-all.
        {Get("/api/items/7"), 200, false, "item|7|-|-|0|0|/api/items/7"},
        {Request("POST", "/api/items/special"), 200, false, "special|-|-|-|0|1|/api/items/special"},
        {Request("PUT", "/api/items/a%20b?q=x%26y+z&r"), 200, false, "item|a b|-|x&y z|2|3|/api/items/a%20b"},
        {Request("DELETE", "/api/items/list"), 200, false, "item|list|-|-|0|4|/api/items/list"},
        {Request("OPTIONS", "/api/things/list"), 200, false, "list|-|things|-|0|5|/api/things/list"},
        {Request("PATCH", "/api/items/9/raw"), 200, false, "raw|9|items|-|0|8|/api/items/9/raw"},
        {Get("/api/items/special?id=3"), 200, false, "special|-|-|-|1|0|/api/items/special"},
        {Get("/api/items/7/8?q=1"), 200, false, "any|-|-|1|1|0|/api/items/7/8"},
        {Get("/"), 200, false, "any|-|-|-|0|0|/"},
        // Variants of one path route and read as its one normal form: unreserved escapes decoded, other
        // escapes upper-cased and decoded once for braces only, dot and empty segments resolved.
        {Request("PROPFIND", "//api///items/7/"), 200, false, "item|7|-|-|0|9|/api/items/7"},
        {Get("/api/%69tems/%73pecial/"), 200, false, "special|-|-|-|0|0|/api/items/special"},
        {Get("/api/./x/../items//%2e/7"), 200, false, "item|7|-|-|0|0|/api/items/7"},
        {Get("/api/items/%2E%2e/items/special/."), 200, false, "special|-|-|-|0|0|/api/items/special"},
        {Get("/api/items/%3f%2541%7e"), 200, false, "item|?%41~|-|-|0|0|/api/items/%3F%2541~"},
        {Get("/api/items/.."), 200, false, "any|-|-|-|0|0|/api"},
        // Refused: climbing above the root, an encoded "/", backslashes and control bytes in either form,
        // escapes that are not two hex digits.
        {Get("/.."), 400, false},
        {Get("/api/../%2e%2E/api"), 400, false},
        {Get("/api/items/a%2Fb"), 400, false},
        {Get("/api/items/a%2f"), 400, false},
        {Get("/api/items/a%00b"), 400, false},
        {Get("/api/items/%1F"), 400, false},
        {Get("/api/items/%7f"), 400, false},
        {Get("/api/items/a\\b"), 400, false},
        {Get("/api/items/a%5Cb"), 400, false},
        {Get("/api/items/a%5c"), 400, false},
        {Get("/api/items/a%zz"), 400, false},
        {Get("/api/items/a%4"), 400, false},
        {Get("/api/items/a\x01"), 400, true},
        // Framing that two parsers could read differently is refused and the connection ended.
        {post + "Content-Length: 3\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 400, true},
        {post + "Transfer-Encoding: chunked\r\nContent-Length: 3\r\n\r\n0\r\n\r\n", 400, true},
        {post + "Content-Length: 3\r\nContent-Length: 4\r\n\r\nabcd", 400, true},
        {post + "Content-Length: 3, 4\r\n\r\nabcd", 400, true},
        {post + "Content-Length: -1\r\n\r\n", 400, true},
        {post + "Transfer-Encoding: identity\r\n\r\n", 400, true},
        {post + "Transfer-Encoding: chunked, identity\r\n\r\n0\r\n\r\n", 400, true},
        {post + "Content-Length : 3\r\n\r\nabc", 400, true},
        // Limits: the header block, the target, a declared and a chunked body, the time for the header.
        {"GET /a HTTP/1.1\r\nX-Big: " + std::string(5000, 'x') + "\r\n\r\n", 431, true},
        {Get("/a?" + std::string(2000, 'q')), 414, true},
        {post + "Content-Length: 1001\r\n\r\n", 413, true},
        {post + "Transfer-Encoding: chunked\r\n\r\n3e9\r\n" + std::string(1001, 'b'), 413, true},
        // Chunked bodies cannot grow the request past its limits: trailer fields count in the header
        // block, a chunk's extensions are capped, a chunk line longer than the read buffer is refused.
        {post + "Transfer-Encoding: chunked\r\n\r\n0\r\nX-T: " + std::string(5000, 't') + "\r\n\r\n", 431, true},
        {post + "Transfer-Encoding: chunked\r\n\r\n1;" + std::string(5000, 'e') + "\r\na\r\n0\r\n\r\n", 400, true},
        {post + "Transfer-Encoding: chunked\r\n\r\n1;" + std::string(100000, 'e'), 400, true},
        {"GET /a HTTP/1.1\r\nHost: t\r\n", 408, true},
        {post + "Content-Length: 10\r\n\r\nabc", 408, true},  // the body must come within the idle limit
        // HTTP/1.1 needs one Host field naming a valid authority.
        {"GET /a HTTP/1.1\r\n\r\n", 400, true},
        {"GET /a HTTP/1.1\r\nHost: t\r\nHost: u\r\n\r\n", 400, true},
        {"GET /a HTTP/1.1\r\nHost: t u\r\n\r\n", 400, true},
        {"GET /a HTTP/1.1\r\nHost: [::1]:80\r\n\r\n", 200, false, "a"},
        // Targets: the absolute form is routed by its path; "*" only for OPTIONS, answered by the engine;
        // CONNECT and anything that is neither a path nor absolute never reach an entry.
        {Get("http://t:80/a"), 200, false, "a"},
        {Get("https://t?q=1"), 400, true},
        {Get("http://t"), 200, false, "any|-|-|-|0|0|/"},
        {"OPTIONS * HTTP/1.1\r\nHost: t\r\n\r\n", 200, false, "",
         "allow: GET, HEAD, POST, PUT, DELETE, OPTIONS, PATCH"},
        {Get("*"), 400, true},
        {"CONNECT t:443 HTTP/1.1\r\nHost: t:443\r\n\r\n", 501, true},
        {Get("a"), 400, true},
        // The request line: empty lines before it are skipped, HTTP/1.x above 1.1 is served as 1.1, a
        // later major version refused; methods are case-sensitive and unknown ones refused.
        {"\r\n\n\r\n" + Get("/a"), 200, false, "a"},
        {"GET /a HTTP/1.7\r\nHost: t\r\n\r\n", 200, false, "a"},
        {"GET /a HTTP/2.0\r\nHost: t\r\n\r\n", 505, true},
        {"get /a HTTP/1.1\r\nHost: t\r\n\r\n", 501, true},
        {"FOO /a HTTP/1.1\r\nHost: t\r\n\r\n", 501, true},
        // The header block: at most 100 fields, no line folded onto the previous one, no bare LF.
        {Get("/a").insert(17, fields), 431, true},
        {"GET /a HTTP/1.1\r\nHost: t\r\nX-A: a\r\n b\r\n\r\n", 400, true},
        {"GET /a HTTP/1.1\nHost: t\n\n", 400, true},
        // Framing: HTTP/1.0 has no chunked coding, so a request using it is answered and the connection
        // ended; chunked lines with a bare LF or a size of 17 hex digits are refused at once.
        {"POST /echo HTTP/1.0\r\nConnection: keep-alive\r\nTransfer-Encoding: chunked\r\n\r\n1\r\nz\r\n0\r\n\r\n", 200,
         true, "1:z:-:nul"},
        {post + "Transfer-Encoding: chunked\r\n\r\n1\na\n0\n\n", 400, true},
        {post + "Transfer-Encoding: chunked\r\n\r\n00000000000000001\r\na\r\n0\r\n\r\n", 400, true},
    };
    for (bool tls : {false, true}) {
        SCOPED_TRACE(tls ? "TLS" : "plain");
        RawTable(tls, cases, post);
    }
}

// The routes Entry serves (see there).
void EntryRoutesAdd(EngineServer &server) {
    for (const char *path :
         {"/a", "/echo", "/chunks", "/open", "/silent", "/misuse", "/json", "/txt", "/html", "/204", "/304"})
        server.Route(path, Entry);
    server.Route("/api/items/{id}", Entry, (void *)"item");
    server.Route("/api/items/special", Entry, (void *)"special");
    server.Route("/api/{kind}/list", Entry, (void *)"list");
    server.Route("/api/{kind}/{id}/raw", Entry, (void *)"raw");
    ASSERT_EQ(REST_ServerGenFuncAdd(server.handle, Entry, (void *)"any"), 0u);
}

void RawTable(bool tls, const std::vector<RawCase> &cases, const std::string &post) {
    EngineServer server;
    EntryRoutesAdd(server);
    REST_SSL_PARAM param = TrustedParam();
    ASSERT_TRUE(!tls || REST_ServerSSLEnable(server.handle, &param) == 0);
    ASSERT_TRUE(server.Start(R"({"header_limit": 4096, "target_limit": 1024, "body_limit": 1000,
                                 "header_timeout_ms": 300, "idle_timeout_ms": 1500})"));
    TlsOptions options{"trusted.pem"};
    const TlsOptions *client_tls = tls ? &options : nullptr;
    // Until its first request is in, a connection has only the header limit, not the idle one.
    EXPECT_TRUE(HttpClient(server.port, client_tls).ClosedWithin(1000));
    for (const RawCase &c : cases) {
        SCOPED_TRACE(c.request.substr(0, 100));
        HttpClient client(server.port, client_tls);
        ASSERT_TRUE(client.Send(c.request + (c.closes ? "" : Get("/a"))));
        Answer answer, next;
        EXPECT_TRUE(client.Read(answer, c.request.compare(0, 4, "HEAD") == 0));
        EXPECT_EQ(answer.status, c.status);
        EXPECT_TRUE(!c.body || answer.body == *c.body) << answer.body.substr(0, 100);
        const std::string field = c.field;
        const size_t colon = field.find(": ");
        EXPECT_TRUE(field.empty() || answer.fields[field.substr(0, colon)] == field.substr(colon + 2)) << field;
        EXPECT_EQ(answer.fields["connection"] == "close", c.closes);
        EXPECT_TRUE(c.closes ? client.ClosedWithin(5000) : client.Read(next) && next.body == "a");
        EXPECT_TRUE(!c.closes || HttpClient(server.port, client_tls).Call(Get("/a")).body == "a") << "the server";
    }
    // With "Expect: 100-continue" the engine asks for the body before waiting for it.
    HttpClient client(server.port, client_tls);
    EXPECT_EQ(client.Call(post + "Expect: 100-continue\r\nContent-Length: 3\r\n\r\n").status, 100);
    EXPECT_EQ(client.Call("xyz").body, "3:xyz:-:nul");
}

// A connection's requests share one request object, whose texts keep their
// storage: a header, a brace variable or a query pair one request read, longer
// or shorter than the next one's, must not show in a later request.
TEST(Http, ARequestSeesNothingOfTheConnectionsEarlierRequests) {
    EngineServer server;
    EntryRoutesAdd(server);
    ASSERT_TRUE(server.Start());
    const std::string post = "POST /echo HTTP/1.1\r\nHost: t\r\n", body = "Content-Length: 1\r\n\r\nz";
    const std::string brace = "/api/items/a%20value%20longer%20than%20sixteen";
    const std::pair<std::string, std::string> steps[] = {
        {post + "X-Tag: a tag longer than sixteen\r\nx-tag: b\r\n" + body, "1:z:a tag longer than sixteen, b:nul"},
        {post + "X-Tag: c\r\n" + body, "1:z:c:nul"},
        {post + body, "1:z:-:nul"},
        {Get(brace + "?q=a+query+longer+than+sixteen&r"),
         "item|a value longer than sixteen|-|a query longer than sixteen|2|0|" + brace},
        {Get("/api/items/7?q=x"), "item|7|-|x|1|0|/api/items/7"},
        {Get("/api/items/8"), "item|8|-|-|0|0|/api/items/8"},
        {Get("/api/things/list"), "list|-|things|-|0|0|/api/things/list"},
        {post + body, "1:z:-:nul"},
    };
    HttpClient client(server.port, nullptr);
    for (const auto &[request, want] : steps)
        EXPECT_EQ(client.Call(request).body, want) << request;
}

struct TlsCase {
    const char *name;
    std::function<void(REST_SSL_PARAM &)> server;  // changes to TLS 1.2 and up with the encrypted key
    int client_version;                            // the only one the client offers; 0: plain HTTP
    int status;  // 200: served; 0: handshake or request failed; -1: the settings are refused
    std::string client_cert = "", client_ciphers = "";  // cert: "trusted" or "other"
};

TEST(Tls, EachSettingLetsInItsClients) {
    Deployment scratch;  // a temporary working folder
    CertificatesMake();
    char ca[] = "trusted.pem";
    char suite[] = "TLS_CHACHA20_POLY1305_SHA256", cipher[] = "ECDHE-RSA-AES128-GCM-SHA256", bogus[] = "NO-SUCH";
    char *cas[] = {ca}, *ciphers[] = {suite, cipher}, *bogus_ciphers[] = {bogus};
    const auto only13 = [](REST_SSL_PARAM &p) { p.pcSslVersion = "TLSv1.3"; };
    const auto verify = [&](REST_SSL_PARAM &p) { p.ppcCaFiles = cas, p.uiCaFileNum = 1; };
    const auto named = [&](REST_SSL_PARAM &p) { p.ppcCiphers = ciphers, p.uiCipherNum = 2; };
    constexpr int v12 = TLS1_2_VERSION, v13 = TLS1_3_VERSION;
    const TlsCase cases[] = {
        {"1.2 and up, 1.2 client", {}, v12, 200},
        {"1.2 by default: no suite without forward secrecy", {}, v12, 0, "", "AES128-GCM-SHA256"},
        {"1.2 by default: no CBC suite", {}, v12, 0, "", "ECDHE-RSA-AES128-SHA"},
        {"1.2 and up, 1.3 client", {}, v13, 200},
        {"1.3 only, 1.2 client", only13, v12, 0},
        {"1.3 only, 1.3 client", only13, v13, 200},
        {"no TLS settings: plain HTTP", [](REST_SSL_PARAM &p) { p = REST_SSL_PARAM{}; }, 0, 200},
        {"a version without a certificate", [](REST_SSL_PARAM &p) { p.pcCertFile = nullptr; }, v12, -1},
        {"verified, 1.2 client trusted", verify, v12, 200, "trusted"},
        {"verified, 1.2 client self-signed", verify, v12, 0, "other"},
        {"verified, 1.2 client without certificate", verify, v12, 0},
        {"verified, 1.3 client without certificate", verify, v13, 0},
        {"named 1.2 cipher", named, v12, 200, "", "ECDHE-RSA-AES128-GCM-SHA256"},
        {"other 1.2 cipher", named, v12, 0, "", "ECDHE-RSA-AES256-GCM-SHA384"},
        {"named 1.3 suite", named, v13, 200, "", "TLS_CHACHA20_POLY1305_SHA256"},
        {"other 1.3 suite", named, v13, 0, "", "TLS_AES_256_GCM_SHA384"},
        {"wrong password", [](REST_SSL_PARAM &p) { p.pcKeyPassword = "wrong"; }, v12, -1},
        {"unknown version", [](REST_SSL_PARAM &p) { p.pcSslVersion = "SSLv3"; }, v12, -1},
        {"missing certificate", [](REST_SSL_PARAM &p) { p.pcCertFile = "/nonexistent.pem"; }, v12, -1},
        {"key of another certificate", [](REST_SSL_PARAM &p) { p.pcKeyFile = "other.key"; }, v12, -1},
        {"unknown cipher", [&](REST_SSL_PARAM &p) { p.ppcCiphers = bogus_ciphers, p.uiCipherNum = 1; }, v12, -1},
    };
    for (const TlsCase &c : cases) {
        SCOPED_TRACE(c.name);
        EngineServer server;
        server.Route("/a", Entry);
        REST_SSL_PARAM param = TrustedParam();
        if (c.server) c.server(param);
        ASSERT_EQ(REST_ServerSSLEnable(server.handle, &param) != 0, c.status == -1);
        // Settings that cannot be applied never serve in the clear: the start fails and names them.
        char why[256] = {};
        ASSERT_EQ(server.Start(), c.status != -1);
        EXPECT_EQ(REST_ServerListenGet(server.handle, why, sizeof(why)) != 0, c.status == -1);
        if (c.status == -1) {
            EXPECT_NE(std::string(why).find("TLS"), std::string::npos) << why;
            continue;
        }
        const std::string &cert = c.client_cert;
        TlsOptions tls{ca, cert.empty() ? "" : cert + ".pem", cert + ".key", c.client_version, c.client_ciphers};
        Answer answer = HttpClient(server.port, c.client_version ? &tls : nullptr).Call(Get("/a"));
        EXPECT_TRUE(answer.status == c.status && answer.body == (c.status == 200 ? "a" : "")) << answer.status;
    }
}

// Entries wait at the gate until it opens, like handlers waiting for another thread.
struct Gate {
    std::atomic<bool> open{false};
    std::atomic<int> waiting{0}, calls{0};
};

// Every 7th call also sleeps, so that a stop finds entries running.
void GateEntry(REST_REQ req, void *user, void *) {
    auto *gate = static_cast<Gate *>(user);
    if (++gate->calls % 7 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ++gate->waiting;
    while (!gate->open)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::string body(2000, 'x');
    REST_ResponseSend(req, 200, body.data(), static_cast<u32>(body.size()));
}

// count connections, each sending a request without reading the answer.
auto SendMany(uint16_t port, const std::string &target, int count) {
    std::vector<std::unique_ptr<HttpClient>> clients;
    for (int i = 0; i < count; ++i) {
        clients.push_back(std::make_unique<HttpClient>(port));
        clients.back()->Send(Get(target));
    }
    return clients;
}

// A pool runs its allowance (the default one: workers plus the loop thread), queues queue_depth more,
// refuses the rest with 503. Blocked entries hold only their own pool: the loop gets spare threads.
TEST(Load, BlockedEntriesHoldOnlyTheirPool) {
    REST_GroupEnable(2);
    EngineServer server;
    Gate gate;
    auto waiting = [&](int count) {
        for (int i = 0; i < 2000 && gate.waiting < count; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return gate.waiting == count;
    };
    server.Route("/block", GateEntry, &gate);
    server.Route("/slow", GateEntry, &gate, 0);
    server.Route("/fast", Entry);
    server.Route("/other", Entry, nullptr, 1);
    ASSERT_TRUE(server.Start(R"({"io_threads": 1, "workers": 63, "group_workers": 4, "queue_depth": 1})"));
    auto running = SendMany(server.port, "/block", 63), slow = SendMany(server.port, "/slow", 4);
    ASSERT_TRUE(waiting(67));
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(HttpClient(server.port).Call(Get("/fast")).body, "fast");
    EXPECT_EQ(HttpClient(server.port).Call(Get("/other")).body, "other");
    auto last = SendMany(server.port, "/block", 1);  // the default pool is full now
    ASSERT_TRUE(waiting(68));
    auto queued = SendMany(server.port, "/block", 1), queued_slow = SendMany(server.port, "/slow", 1);
    // The queued request may take a moment to reach the queue; retry until one is refused.
    Answer refused;
    for (int i = 0; i < 20 && refused.status != 503; ++i)
        refused = HttpClient(server.port).Call(Get("/block"), 500);
    EXPECT_EQ(refused.status, 503);
    EXPECT_EQ(refused.fields["retry-after"], "1");
    EXPECT_EQ(gate.calls, 68);
    gate.open = true;
    Answer answer;
    for (auto *clients : {&running, &slow, &last, &queued, &queued_slow})
        for (auto &client : *clients)
            EXPECT_TRUE(client->Read(answer) && answer.status == 200);
    EXPECT_EQ(gate.calls, 70);
}

TEST(Load, StopUnderLoadAnswersWholeOrNotAtAll) {
    EngineServer server;
    Gate gate;
    gate.open = true;
    server.Route("/count", GateEntry, &gate);
    ASSERT_TRUE(server.Start(R"({"io_threads": 2, "stop_grace_ms": 5000})"));
    std::atomic<int> answered{0}, refused{0}, broken{0};
    std::vector<std::thread> loaders;
    for (int t = 0; t < 4; ++t) {
        loaders.emplace_back([&, port = server.port] {
            for (int round = 0; round < 200; ++round) {
                HttpClient client(port);
                Answer answer;
                for (int i = 0; i < 50 && (answer = client.Call(Get("/count"))).status != 0; ++i)
                    ++(answer.status == 200 && answer.body.size() == 2000 ? answered
                       : answer.status == 503                             ? refused
                                                                          : broken);
            }
        });
    }
    while (gate.calls < 200)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    server.Stop();
    int calls_at_stop = gate.calls;
    for (auto &loader : loaders)
        loader.join();
    EXPECT_EQ(gate.calls, calls_at_stop);
    EXPECT_EQ(broken, 0);
    EXPECT_EQ(answered, calls_at_stop);  // every entry that ran was answered in full
}

// Connections beyond the cap wait unaccepted until the idle limit has closed others.
TEST(Load, ThousandIdleConnectionsClosedByIdleLimit) {
    EngineServer server;
    server.Route("/a", Entry);
    ASSERT_TRUE(server.Start(R"({"idle_timeout_ms": 2000, "max_connections": 1000})"));
    std::vector<std::unique_ptr<HttpClient>> clients;
    for (int i = 0; i < 1000; ++i) {
        clients.push_back(std::make_unique<HttpClient>(server.port));
        ASSERT_TRUE(i % 2 != 0 || clients.back()->Call(Get("/a")).status == 200) << i;  // half served once
    }
    HttpClient waiting(server.port);  // queued by the kernel, not accepted
    Answer answer;
    ASSERT_TRUE(waiting.Send(Get("/a")));
    EXPECT_FALSE(waiting.Read(answer, false, 300));
    REST_STATS stats{};
    EXPECT_TRUE(REST_ServerStatsGet(server.handle, &stats) == 0 && stats.ulConnectionsOpen == 1000);
    for (auto &client : clients)
        EXPECT_TRUE(client->ClosedWithin(20000));
    EXPECT_TRUE(waiting.Read(answer) && answer.body == "a");
    EXPECT_TRUE(REST_ServerStatsGet(server.handle, &stats) == 0 && stats.ulConnectionsTotal == 1001);
    EXPECT_EQ(stats.aulResponses[2], 501u);
}

// A field too long to store (over 64 KiB, with the header limit raised past it) in the header block
// or in a chunked trailer is refused, on plain and TLS connections, and costs only its connection.
TEST(Limits, OversizedFieldsEndOnlyTheirConnection) {
    Deployment scratch;
    CertificatesMake();
    const std::string post = "POST /echo HTTP/1.1\r\nHost: t\r\nTransfer-Encoding: chunked\r\n\r\n1\r\na\r\n0\r\n";
    for (bool tls : {false, true}) {
        SCOPED_TRACE(tls ? "TLS" : "plain");
        EngineServer server;
        server.Route("/echo", Entry);
        server.Route("/a", Entry);
        REST_SSL_PARAM param = TrustedParam();
        ASSERT_TRUE(!tls || REST_ServerSSLEnable(server.handle, &param) == 0);
        ASSERT_TRUE(server.Start(R"({"header_limit": 1048576, "io_threads": 1})"));
        TlsOptions options{"trusted.pem"};
        const TlsOptions *client_tls = tls ? &options : nullptr;
        for (const std::string &request : {post + "X-T: " + std::string(64 * 1024, 't') + "\r\n\r\n",
                                           Get("/a").insert(17, "X-V: " + std::string(65 * 1024, 'v') + "\r\n")}) {
            HttpClient client(server.port, client_tls);
            EXPECT_EQ(client.Call(request).status, 431);
        }
        for (int i = 0; i < 100; ++i)
            ASSERT_EQ(HttpClient(server.port, client_tls).Call(Get("/a")).body, "a") << i;
    }
}

// Answers "whole" with 16 MiB at once, else streams that many 64 KiB parts ("1024" parts: 64 MiB).
void BigEntry(REST_REQ req, void *user, void *) {
    const std::string what = static_cast<const char *>(user);
    if (what == "whole") {
        const std::string whole(16 << 20, 'w');
        REST_ResponseSend(req, 200, whole.data(), static_cast<u32>(whole.size()));
        return;
    }
    const std::string part(64 * 1024, 'p');
    REST_ResponseChunkSendStart(req, 200);
    for (int i = std::stoi(what); i > 0 && REST_ResponseChunkSend(req, part.data(), 64 * 1024) == 0; --i) {
    }
    REST_ResponseChunkSendEnd(req);
}

long PeakRssKib() {
    std::string status = FileText("/proc/self/status");
    return std::atol(status.c_str() + status.find("VmHWM:") + 6);
}

// Chunked parts go to the socket as the entry makes them, so clients that never read cost no memory
// beyond the sockets' buffers; a client that reads slowly but steadily gets the whole answer, since
// the write limit measures a stall.
TEST(Streaming, NoAnswerPilesUpAndSlowReadersGetItAll) {
    EngineServer server;
    server.Route("/huge", BigEntry, (void *)"1024");
    server.Route("/stream", BigEntry, (void *)"256");
    server.Route("/whole", BigEntry, (void *)"whole");
    ASSERT_TRUE(server.Start(R"({"write_timeout_ms": 600})"));
    std::ofstream("/proc/self/clear_refs") << "5";  // the peak starts again from here
    const long before = PeakRssKib();
    auto idle = SendMany(server.port, "/huge", 8);
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));  // the stall limit ends every entry
    EXPECT_LT(PeakRssKib() - before, 64 * 1024) << "eight 64 MiB answers were held in memory";
    for (const char *path : {"/stream", "/whole"}) {  // 16 MiB each at 10 MiB/s: longer than the limit
        HttpClient client(server.port);
        client.Pace(512 * 1024, 50);
        Answer answer = client.Call(Get(path));
        EXPECT_EQ(answer.status, 200) << path;
        EXPECT_EQ(answer.body.size(), 16u << 20) << path;
    }
}

}  // namespace
