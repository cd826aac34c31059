// restserver-host on the deployment scripts/scaffold-demo.sh makes (which
// `make run` serves from, authentication on): every demo route in one table
// on one kept-alive TLS connection with the scaffold's tokens, many concurrent
// requests through the rendezvous example's worker thread, the stop on SIGTERM
// or SIGINT, a host that cannot serve; the auth filter end to end.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <random>
#include <stdexcept>
#include <thread>

#include "support/deployment.h"
#include "support/free_port.h"
#include "support/host_process.h"
#include "support/http_client.h"
#include "support/scaffolded_demo.h"
#include "support/security_service.h"
#include "support/test_pki.h"

namespace {

using namespace rstest;

constexpr std::chrono::seconds kExitLimit{20};

// The scaffolded demo, started on a free port.
struct Demo : ScaffoldedDemo {
    std::unique_ptr<HostProcess> Start(const std::vector<std::string> &args = {}) {
        return HostStart(Host(), dir, FileText(dir.Path("conf/platform.json")), port, args);
    }

    TlsOptions tls{dir.Path("conf/server.pem")};  // trusts only the scaffolded certificate and its names
    uint16_t port = 0;
};

const char *const kForbidden = "The request is Forbidden.";

struct Route {
    std::string method, path, body;
    int status;
    std::string answer;           // the whole answer body
    const char *field = "";       // "name: value" the answer must carry
    const char *token = "admin";  // the scaffold's token the request carries, "" for none
};

TEST(DemoRoutes, EveryRouteAnswersWithItsStatusAndBody) {
    Demo demo;  // as `make run` does: the scaffold run again keeps the key and certificate
    const std::string cert = FileText(demo.tls.ca_file), key = FileText(demo.dir.Path("conf/server.key"));
    demo.Scaffold();
    ASSERT_NE(cert.find("BEGIN CERTIFICATE"), std::string::npos);
    EXPECT_TRUE(FileText(demo.tls.ca_file) == cert && FileText(demo.dir.Path("conf/server.key")) == key);
    auto host = demo.Start();
    ASSERT_NE(host, nullptr) << demo.Output();
    std::string big, big_json;  // 1 MiB of text in lines, without '"' or '\\', and as a JSON string
    for (size_t i = 0; big.size() < (1u << 20); ++i) {
        big += static_cast<char>(i % 64 == 63 ? '\n' : '#' + i % 57);
        big_json += big.back() == '\n' ? std::string("\\n") : big.substr(big.size() - 1);
    }
    const Route routes[] = {
        {"GET", "/hello", "", 200, R"({"message":"hello from restserver"})"},
        // The demo's rules: only the admin role may GET admin, nobody may DELETE it; a path without a rule
        // and a method without a name are refused.
        {"GET", "/hello", "", 403, kForbidden, "", ""},
        {"GET", "/admin", "", 200, R"({"message":"hello, administrator"})"},
        {"GET", "/admin", "", 403, kForbidden, "", "operator"},
        {"DELETE", "/admin", "", 403, kForbidden},
        {"GET", "/no/such/place", "", 403, kForbidden},
        {"HEAD", "/hello", "", 403, "", "content-length: 25"},
        // The module's init function ran before the first request.
        {"GET", "/items/example", "", 200, R"({"id":"example","value":"an item made by DemoModuleInit"})"},
        {"GET", "/items/chair", "", 404, R"({"error":"no such item"})"},
        {"PUT", "/items/chair", "a red chair", 201, R"({"id":"chair","value":"a red chair"})"},
        {"PUT", "/items/chair", "a blue chair", 200, R"({"id":"chair","value":"a blue chair"})"},
        {"GET", "/items/chair", "", 200, R"({"id":"chair","value":"a blue chair"})"},
        {"PUT", "/items/table", std::string(65537, 'v'), 413, R"({"error":"values are at most 65536 bytes"})"},
        {"DELETE", "/items/chair", "", 200, R"({"deleted":"chair"})"},
        {"DELETE", "/items/chair", "", 404, R"({"error":"no such item"})"},
        {"GET", "/stream?n=3", "", 200, "part 1\npart 2\npart 3\n", "transfer-encoding: chunked"},
        {"GET", "/stream", "", 200,
         "part 1\npart 2\npart 3\npart 4\npart 5\npart 6\npart 7\npart 8\npart 9\npart 10\n"},
        // Brace variables and query values come decoded ("+" is a space in a query), the URI as received.
        {"GET", "/echo/world?q=42", "", 200, R"({"method":"GET","uri":"/echo/world","query":"42","name":"world"})"},
        {"GET", "/echo/hello%20w%C3%B6rld?q=a%26b%3Dc+d", "", 200,
         "{\"method\":\"GET\",\"uri\":\"/echo/hello%20w%C3%B6rld\",\"query\":\"a&b=c d\",\"name\":\"hello "
         "w\xC3\xB6rld\"}"},
        {"POST", "/echo/x", "{\"a\": \"b \\\" c\"}\n", 200,
         R"({"method":"POST","uri":"/echo/x","name":"x","body":"{\"a\": \"b \\\" c\"}\n"})"},
        {"POST", "/echo/big", big, 200,
         R"({"method":"POST","uri":"/echo/big","name":"big","body":")" + big_json + "\"}"},
    };
    HttpClient client(demo.port, &demo.tls);
    for (const Route &r : routes) {
        SCOPED_TRACE(r.method + " " + r.path);
        Answer answer = client.Call(Request(r.method, r.path, r.body, demo.TokenField(r.token)));
        EXPECT_EQ(answer.status, r.status);
        EXPECT_TRUE(answer.body == r.answer) << answer.body.substr(0, 300);
        const std::string field = r.field;
        const size_t colon = field.find(": ");
        EXPECT_TRUE(field.empty() || answer.fields[field.substr(0, colon)] == field.substr(colon + 2)) << field;
    }
    EXPECT_EQ(host->Stop(SIGTERM, kExitLimit), 0);  // the rendezvous test stops it with SIGINT
    const std::string out = demo.Output();
    EXPECT_EQ(out.rfind("restserver-host: authentication on: tokens verified by /", 0), 0u) << out;
    EXPECT_EQ(out.substr(out.find('\n') + 1),
              "restserver-host: instance 0 listening on https://127.0.0.1:" + std::to_string(demo.port) +
                  " (6 of 6 URLs registered)\nrestserver-host: Terminated received, stopping\n");
}

#if defined(__SANITIZE_THREAD__)
constexpr int kRequests = 200;
#else
constexpr int kRequests = 2000;
#endif
constexpr int kConnections = 64, kTraceBatch = 10;  // the batch divides kRequests: every record reaches the file

TEST(RendezvousStress, EveryConcurrentRequestGetsItsOwnAnswer) {
    Demo demo;
    demo.dir.Copy(RS_RENDEZVOUS_MODULE, "lib/librendezvous_handler.so");
    // A module that does not load and a handler that does not exist leave their URLs unregistered.
    demo.dir.Write("lib/common_resthandler.cfg", "load ../lib/libmissing_handler.so MissingInit\nurl gone Missing\n");
    demo.dir.Write("lib/resthandler.cfg", FileText(RS_RENDEZVOUS_CFG) + "url rv/{word}/x NoSuchFunction\n");
    demo.dir.Write("var/log/slot-1/.keep", "");                            // the template's node is in slot 1
    std::string platform = FileText(demo.dir.Path("conf/platform.json"));  // no rules for rv/: authentication off
    demo.dir.Write("conf/platform.json", platform.replace(platform.find("\"auth\": true"), 12, "\"auth\": false"));
    auto host = demo.Start({"--trace", std::to_string(kTraceBatch)});
    ASSERT_NE(host, nullptr) << demo.Output();
    for (const char *path : {"/gone", "/rv/a/x"})  // the engine's own 404
        EXPECT_EQ(HttpClient(demo.port, &demo.tls).Call(Request("GET", path)).body, "Not Found") << path;
    std::atomic<int> next{0}, right{0};
    std::vector<std::thread> clients;
    for (int c = 0; c < kConnections; ++c) {
        clients.emplace_back([&] {
            HttpClient client(demo.port, &demo.tls);
            for (int i; (i = next++) < kRequests;) {
                std::string word = std::string("w").append(std::to_string(i));
                right += client.Call(Request("GET", "/rv/" + word)).body == "{\"answer\":\"" + word + "\"}";
            }
        });
    }
    for (auto &client : clients)
        client.join();
    EXPECT_EQ(right, kRequests);
    // Records are added after the answer is sent: wait for the last batch.
    std::string trace;
    for (int i = 0; i < 100 && std::count(trace.begin(), trace.end(), '\n') < kRequests; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        trace = FileText(demo.dir.Path("var/log/slot-1/rest_req_trace_info.log"));
    }
    EXPECT_EQ(std::count(trace.begin(), trace.end(), '\n'), kRequests);
    EXPECT_EQ(std::count(trace.begin(), trace.end(), '{'), kRequests) << "one url:rv/{word} in every line";
    EXPECT_EQ(host->Stop(SIGINT, kExitLimit), 0) << demo.Output();
    EXPECT_NE(demo.Output().find("restserver-host: Interrupt received, stopping\n"), std::string::npos);
}

// The demo's listening settings with the TLS object given.
std::string WithTls(const std::string &tls, uint16_t port = 1) {
    return R"({"rest": {"host": "127.0.0.1", "port": )" + std::to_string(port) + R"(, "tls": )" + tls + "}}";
}

std::string TlsFiles(const char *cert, const char *key, const char *more = "") {
    return std::string(R"({"version": "TLSv1.2", "cert_file": "../conf/)") + cert + R"(", "key_file": "../conf/)" +
           key + "\"" + more + "}";
}

TEST(HostLifecycle, HostThatCannotServeSaysWhyAndExits) {
    Demo demo;
    ASSERT_EQ(std::system(("cd " + demo.dir.Path("conf") +
                           " && openssl pkey -in server.key -aes128 -passout pass:secret -out enc.key"
                           " && openssl genpkey -algorithm RSA -out other.key 2>/dev/null")
                              .c_str()),
              0);
    HeldPort taken;  // a port another process listens on
    ASSERT_NE(taken.port, 0);
    const std::string taken_port = std::to_string(taken.port);
    const struct {
        int status;
        std::string message;
        std::vector<std::string> args;
        std::string platform_json = "";  // set: run on the deployment with this platform.json
    } cases[] = {
        {0, "usage: restserver-host [--root DIR] [--instances N]", {"--help"}},
        {2, "--instances takes a number from 1 to 10, not '0'", {"--instances", "0"}},
        {2, "--instances takes a number from 1 to 10, not '2x'", {"--instances", "2x"}},
        {2, "--instances needs a value", {"--instances"}},
        {2, "unknown option '--port'", {"--port", "8443"}},
        {1, "cannot work in /nonexistent/deployment/bin", {"--root", "/nonexistent/deployment"}},
        {1, "see the log ../var/log/x.log", {}, R"({"log": {"enabled": true, "file": "../var/log/x.log"}})"},
        {1, "failed to start; enable \"log\" in ../conf/platform.json", {}, R"({"rest": {"host": "", "port": 1}})"},
        {1, "cannot start: ../conf/platform.json: log.level: expected a number", {}, R"({"log": {"level": "x"}})"},
        // TLS that cannot be applied never serves in the clear: the setting or file at fault is named.
        {1,
         "wrong password): ../conf/enc.key",
         {},
         WithTls(TlsFiles("server.pem", "enc.key", ", \"key_password\": \"x\""))},
        {1, "wrong password): ../conf/enc.key", {}, WithTls(TlsFiles("server.pem", "enc.key"))},
        {1, "TLS certificate file refused: ../conf/none.pem", {}, WithTls(TlsFiles("none.pem", "server.key"))},
        {1, "wrong password): ../conf/none.key", {}, WithTls(TlsFiles("server.pem", "none.key"))},
        {1, "../conf/other.key", {}, WithTls(TlsFiles("server.pem", "other.key"))},
        {1,
         "TLS version refused: TLSv1.1",
         {},
         WithTls(R"({"version": "TLSv1.1", "cert_file": "../conf/server.pem"})")},
        {1,
         "TLS cipher list refused: NO-SUCH",
         {},
         WithTls(TlsFiles("server.pem", "server.key", R"(, "ciphers": ["NO-SUCH"])"))},
        {1,
         "not serving: bind 127.0.0.1:" + taken_port + ": Address already in use",
         {},
         WithTls(TlsFiles("server.pem", "server.key"), taken.port)},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(!c.platform_json.empty() ? c.platform_json : c.args.front());
        if (!c.platform_json.empty()) demo.dir.Write("conf/platform.json", c.platform_json);
        auto args = !c.platform_json.empty() ? std::vector<std::string>{"--root", demo.dir.Root()} : c.args;
        HostProcess host(demo.Host(), args, demo.dir.Path("var"));
        EXPECT_EQ(host.Stop(0, kExitLimit), c.status);
        EXPECT_NE(demo.Output().find(c.message), std::string::npos) << demo.Output();
    }
    // A start-up suspended by a failed assertion (a url line before any load line) still ends on SIGTERM.
    demo.dir.Write("lib/common_resthandler.cfg", "url early Early\n");
    demo.dir.Write("conf/platform.json", WithTls(TlsFiles("server.pem", "server.key")));
    HostProcess host(demo.Host(), {"--root", demo.dir.Root()}, demo.dir.Path("var"));
    for (int i = 0;
         i < 500 && FileText(demo.dir.Path("var/log/pubScreenLog.txt")).find("will suspend") == std::string::npos; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(host.Stop(SIGTERM, kExitLimit), 1);
    EXPECT_NE(demo.Output().find("see ../var/log/pubScreenLog.txt"), std::string::npos) << demo.Output();
}

// Every handler-configuration mistake is printed, with how many URLs are served; port 0 is shown as the
// port the system gave; a trace folder that is missing keeps tracing off; SIGHUP is ignored.
TEST(HostLifecycle, MistakesAreSaidAndTheRealPortShown) {
    Demo demo;
    demo.dir.Write("lib/common_resthandler.cfg", "load ../lib/libmissing.so MissingInit\nurl gone Missing\n");
    std::string business = FileText(demo.dir.Path("lib/resthandler.cfg"));
    business.replace(business.find("libdemo_handler.so"), 18, "libdemo_handler.so NoSuchInit");
    demo.dir.Write("lib/resthandler.cfg", business + "url nothere NoSuchFunction\nbogus directive\n");
    demo.dir.Write("conf/platform.json", WithTls(TlsFiles("server.pem", "server.key"), 0));
    ASSERT_EQ(std::system(
                  ("rm -r " + demo.dir.Path("var/log/slot-1") + " && chmod 644 " + demo.dir.Path("conf/platform.json"))
                      .c_str()),
              0);
    HostProcess host(demo.Host(), {"--root", demo.dir.Root(), "--trace", "5"}, demo.dir.Path("var"));
    std::string output;
    for (int i = 0; i < 500 && (output = demo.Output()).find(" (3 of 5 URLs") == std::string::npos; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    const size_t at = output.find("listening on https://127.0.0.1:");
    ASSERT_NE(at, std::string::npos) << output;
    const uint16_t port = static_cast<uint16_t>(std::atoi(output.c_str() + at + 31));
    EXPECT_NE(port, 0);
    EXPECT_EQ(HttpClient(port, &demo.tls).Call(Request("GET", "/stream?n=1")).body, "part 1\n");
    // Authentication is off here: the catch-all "/" takes every path nothing else matched.
    EXPECT_EQ(HttpClient(port, &demo.tls).Call(Request("GET", "/no//such/./place")).body,
              R"({"error":"no such resource","uri":"/no/such/place"})");
    for (const char *line :
         {"warning: ../conf/platform.json is readable by every user", "module ../lib/libmissing.so not loaded",
          "url gone: handler Missing not resolved, module ../lib/libmissing.so not loaded",
          "init function NoSuchInit not found in ../lib/libdemo_handler.so",
          "url nothere: handler NoSuchFunction not found in ../lib/libdemo_handler.so",
          "unknown directive \"bogus\", ignored",
          "trace file ../var/log/slot-1/rest_req_trace_info.log cannot be opened: No such file or directory"})
        EXPECT_NE(output.find(line), std::string::npos) << line << "\n" << output;
    kill(host.Pid(), SIGHUP);
    for (int i = 0; i < 500 && demo.Output().find("SIGHUP received, ignored") == std::string::npos; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(HttpClient(port, &demo.tls).Call(Request("GET", "/stream?n=1")).body, "part 1\n");
    EXPECT_EQ(host.Stop(SIGTERM, kExitLimit), 0) << demo.Output();
}

// A service manager's end of the notify protocol: the datagrams the host sends, one at a time.
struct NotifySocket {
    explicit NotifySocket(const std::string &path) : fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        if (bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)) != 0)
            throw std::runtime_error("cannot bind " + path);
        setenv("NOTIFY_SOCKET", path.c_str(), 1);
    }
    ~NotifySocket() {
        unsetenv("NOTIFY_SOCKET");
        close(fd);
    }
    std::string Next(int limit_ms) const {  // "" when nothing came in time
        pollfd entry{fd, POLLIN, 0};
        if (poll(&entry, 1, limit_ms) != 1) return "";
        char text[512];
        ssize_t got = recv(fd, text, sizeof(text), 0);
        return got > 0 ? std::string(text, static_cast<size_t>(got)) : "";
    }
    int fd;
};

// Under a service manager the host says READY only once it serves, pings the watchdog at half the interval
// the unit asks for while it serves, and says STOPPING on SIGTERM; a host that cannot serve is never READY.
TEST(HostLifecycle, ServiceManagerHearsReadyWatchdogAndStopping) {
    Demo demo;
    NotifySocket manager(demo.dir.Path("var/notify"));
    setenv("WATCHDOG_USEC", "200000", 1);
    auto host = demo.Start();
    EXPECT_EQ(manager.Next(5000), "READY=1\nSTATUS=serving: 1 of 1 instances listen");
    int pings = 0;
    for (auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1); std::chrono::steady_clock::now() < end;)
        pings += manager.Next(200) == "WATCHDOG=1";
    EXPECT_GE(pings, 3) << "a ping every 100 ms asked for";
    EXPECT_LE(pings, 12);
    ASSERT_EQ(kill(host->Pid(), SIGTERM), 0);
    std::string said;
    while (said.rfind("STOPPING=1", 0) != 0 && !(said = manager.Next(5000)).empty()) {
    }
    EXPECT_EQ(said, "STOPPING=1\nSTATUS=stopping");
    EXPECT_EQ(host->Stop(0, kExitLimit), 0) << demo.Output();

    demo.dir.Write("conf/platform.json", WithTls(TlsFiles("none.pem", "server.key")));
    HostProcess failing(demo.Host(), {"--root", demo.dir.Root()}, demo.dir.Path("var"));
    EXPECT_EQ(failing.Stop(0, kExitLimit), 1);
    EXPECT_EQ(manager.Next(100), "") << "a host that serves nothing is never ready";
}

// The auth filter end to end: a demo whose rules let every operator GET rest/{name} and only admins GET
// rest/admin, tokens signed at test time, the certificates fetched from a stand-in security service and
// the openssl tool's verifications counted.
const char *const kCerts = "/rest/vog/v1/certificates";

struct AuthDemo : Demo {
    explicit AuthDemo(bool auth = true) {
        dir.Write("lib/resthandler.cfg",
                  "load ../lib/libdemo_handler.so\nurl rest/admin DemoAdmin\nurl rest/{name} DemoEcho\n");
        dir.Write("conf/vog_auth/right.json", R"([{"method": "GET", "uri-pattern": "rest/{id}", "action": "any"},
                                                  {"method": "GET", "uri-pattern": "rest/admin", "action": "admin"}])");
        dir.Write("conf/vog_auth/policy.json",
                  R"({"any": "role:op_regular | role:op_admin", "admin": "role:op_admin"})");
        std::filesystem::remove_all(dir.Path("data/vog_cert"));  // fetched from the service when needed
        std::filesystem::create_directories(dir.Path("data/vog_cert"));
        service.Answer(kCerts, {200, pki.CertAnswer(), 0});
        std::string platform = FileText(dir.Path("conf/platform.json"));
        platform.replace(platform.find("\"auth\": true"), 12, auth ? "\"auth\": true" : "\"auth\": false");
        host = HostStart(Host(), dir, "{" + service.PlatformSection() + "," + platform.substr(1), port);
        if (host == nullptr) throw std::runtime_error("the host did not start: " + Output());
    }
    std::string Token(const std::string &role, const std::string &expires = "2999-01-01T00:00:00Z") const {
        return TokenField(pki.Token(R"({"token": {"expires_at": ")" + expires + R"("}, "roles": [")" + role + "\"]}"));
    }
    size_t Logged(const std::string &message) const {
        std::string log = FileText(dir.Path("var/log/restserver.log"));
        size_t count = 0;
        for (size_t at = 0; (at = log.find(message, at)) != std::string::npos; ++at)
            ++count;
        return count;
    }
    Answer Get(HttpClient &client, const std::string &target, const std::string &token) {
        return client.Call(Request("GET", target, "", token));
    }

    TestPki pki{dir.Path("pki")};
    SecurityService service;
    OpensslOnPath openssl{dir.Path("counted")};
    std::unique_ptr<HostProcess> host;
};

TEST(Auth, SwitchedOffEveryRequestPassesAndNoCertificateIsFetched) {
    AuthDemo demo(false);
    EXPECT_EQ(HttpClient(demo.port, &demo.tls).Call(Request("GET", "/rest/admin")).status, 200);
    EXPECT_EQ(demo.service.Calls(kCerts) + demo.openssl.Verifications(), 0);
}

// Each refusal logs its reasons and nothing else: which checks ran shows their order.
TEST(Auth, EachRequestIsRefusedForItsReasonOrReachesItsHandler) {
    AuthDemo demo;
    const std::string op = demo.Token("role:op_regular"), admin = demo.Token("role:op_admin");
    const std::vector<std::string> reasons = {"Auth filter get token failed.",   "Auth filter load token failed.",
                                              "Auth filter token check failed.", "SearchAuthExpression fail.",
                                              "ExpressionParse return false.",   "Auth filter access check failed."};
    const std::string longName(300, 'n');  // a rules key too long for the filter's stack buffer
    const struct {
        std::string method, target, token;
        int status;
        std::string body;
        std::vector<size_t> logged;  // indexes of the reasons logged once
    } cases[] = {
        {"GET", "/rest/x", "", 403, kForbidden, {0}},            // after the certificate fetch
        {"OPTIONS", "/rest/admin", admin, 403, kForbidden, {}},  // a method without a name
        {"GET", "/rest/x", "x-access-token: MIIBorged\r\n", 403, kForbidden, {1}},
        {"GET", "/rest/admin", demo.Token("role:op_regular", "2001-01-01T00:00:00Z"), 403, kForbidden, {2}},
        {"GET", "/hello", op, 403, kForbidden, {3, 5}},
        {"GET", "/rest/admin", op, 403, kForbidden, {4, 5}},
        {"GET", "/rest/admin", admin, 200, R"({"message":"hello, administrator"})", {}},
        {"GET", "/rest/x", op, 200, R"({"method":"GET","uri":"/rest/x","name":"x"})", {}},
        {"GET",
         "/rest/" + longName,
         op,
         200,
         R"({"method":"GET","uri":"/rest/)" + longName + R"(","name":")" + longName + R"("})",
         {}},
    };
    HttpClient client(demo.port, &demo.tls);
    for (const auto &c : cases) {
        SCOPED_TRACE(c.method + " " + c.target + " " + c.token.substr(0, 30));
        std::vector<size_t> before;
        for (const std::string &reason : reasons)
            before.push_back(demo.Logged(reason));
        Answer answer = client.Call(Request(c.method, c.target, "", c.token));
        EXPECT_TRUE(answer.status == c.status && answer.body == c.body) << answer.status << " " << answer.body;
        for (size_t i = 0; i < reasons.size(); ++i)
            EXPECT_EQ(demo.Logged(reasons[i]) - before[i], std::count(c.logged.begin(), c.logged.end(), i)) << i;
    }
    EXPECT_EQ(demo.service.Calls(kCerts), 1);  // the reload after the forged token falls in the five minutes
    const std::string fresh = demo.Token("role:op_regular");
    const int runs = demo.openssl.Verifications();
    int granted = 0;
    for (int i = 0; i < 1000; ++i)
        granted += demo.Get(client, "/rest/" + std::to_string(i), fresh).status == 200;
    EXPECT_EQ(granted, 1000);
    EXPECT_EQ(demo.openssl.Verifications(), runs + 1);  // verified once, then served from the cache
}

// Every variant the engine routes to the admin handler is judged by the rule of rest/admin.
TEST(Auth, PathVariantsAreJudgedAsTheRouteTheyReach) {
    AuthDemo demo;
    const std::string op = demo.Token("role:op_regular"), admin = demo.Token("role:op_admin");
    const struct {
        const char *target;
        int op, admin;
    } variants[] = {{"/rest/%61dmin", 403, 200},    {"/rest/./admin", 403, 200},     {"//rest//admin/", 403, 200},
                    {"/rest/x/../admin", 403, 200}, {"/rest/%2e/ad%6Din", 403, 200}, {"/rest/admin%2F", 400, 400},
                    {"/rest%2Fadmin", 400, 400},    {"/rest/%41dmin", 200, 200},     {"/rest/admin%20", 200, 200}};
    HttpClient client(demo.port, &demo.tls);
    for (const auto &v : variants) {
        Answer answer = demo.Get(client, v.target, op);
        EXPECT_EQ(answer.status, v.op) << v.target;
        EXPECT_EQ(answer.body.find("administrator"), std::string::npos) << v.target << " " << answer.body;
        EXPECT_EQ(demo.Get(client, v.target, admin).status, v.admin) << v.target;
    }
}

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr bool kTimed = false;  // instrumented code measures the instrumentation
#else
constexpr bool kTimed = true;
#endif

// While 32 connections send random tokens as fast as they can (each one a verification that fails
// twice), requests with a cached token are never refused nor queued behind the verifications. Their
// p99 is held to twice its value alone, or to 20 ms: a blocked entry holds its loop's thread until the
// engine lends the loop a spare, a few milliseconds on a loaded two-core machine; queued behind the
// verifications, they would wait hundreds.
TEST(Auth, GarbageTokensNeitherRefuseNorStarveCachedCallers) {
    AuthDemo demo;
    const std::string op = demo.Token("role:op_regular");
    HttpClient client(demo.port, &demo.tls);
    int refused = 0;
    auto measure = [&](std::vector<double> &ms, int requests) {
        for (int i = 0; i < requests; ++i) {
            auto start = std::chrono::steady_clock::now();
            refused += demo.Get(client, "/rest/x", op).status != 200;
            ms.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
        }
    };
    auto p99 = [](std::vector<double> ms) {
        std::sort(ms.begin(), ms.end());
        return ms[ms.size() * 99 / 100];
    };
    std::vector<double> warm, quiet, loud;
    measure(warm, 50);  // verifies the token
    measure(quiet, 1000);
    const double alone = p99(quiet);
    std::atomic<bool> stop{false};
    std::atomic<int> garbage{0};
    std::atomic<int> connected{0};
    std::vector<std::thread> flood;
    for (int t = 0; t < 32; ++t) {
        flood.emplace_back([&, t] {
            HttpClient bad(demo.port, &demo.tls);
            ++connected;
            std::mt19937 random(t);
            for (std::string token(200, 'A'); !stop;) {
                for (char &c : token)
                    c = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-"[random() % 64];
                garbage += demo.Get(bad, "/rest/x", "x-access-token: " + token + "\r\n").status == 403;
            }
        });
    }
    // The flood's handshakes are its set-up, not its garbage: measured once they are done, over at
    // least 1,000 requests and until 32 more garbage tokens were refused meanwhile.
    while (connected < 32)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const int before = garbage;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    measure(loud, 1000);
    while (garbage - before < 32 && std::chrono::steady_clock::now() < deadline)
        measure(loud, 100);
    const int during = garbage - before;
    const double flooded = p99(loud);
    stop = true;
    for (auto &thread : flood)
        thread.join();
    std::printf("cached-token p99: %.3f ms alone, %.3f ms with %d garbage tokens refused meanwhile\n", alone, flooded,
                during);
    EXPECT_EQ(refused, 0);
    EXPECT_GE(during, 32);
    EXPECT_TRUE(!kTimed || flooded <= 2 * std::max(alone, 10.0)) << "p99 " << flooded << " ms against " << alone;
}

}  // namespace
