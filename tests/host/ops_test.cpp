// The operations listener of a host serving the demo deployment
// (authentication on): the counters move by the requests made, per route
// and status class; /ready follows the instances; neither route is on the
// service port, and neither asks for a token.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "support/deployment.h"
#include "support/free_port.h"
#include "support/host_process.h"
#include "support/http_client.h"
#include "support/scaffolded_demo.h"
#include "support/test_pki.h"

namespace {

using namespace rstest;
using Clock = std::chrono::steady_clock;

struct OpsDemo : ScaffoldedDemo {
    uint16_t OpsPort() const {
        std::string text = FileText(dir.Path("conf/platform.json"));
        std::smatch match;
        if (!std::regex_search(text, match, std::regex(R"("ops"[^}]*"port"\s*:\s*(\d+))"))) return 0;
        return static_cast<uint16_t>(std::stoi(match[1]));
    }

    TlsOptions tls{dir.Path("conf/server.pem")};
};

// The samples by series ("name{labels}"); every sample's family must have
// had its HELP and TYPE lines, and a histogram's buckets add up to its count.
std::map<std::string, double> Scrape(uint16_t ops_port) {
    Answer answer = HttpClient(ops_port).Call(Request("GET", "/metrics"));
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.fields["content-type"], "text/plain; version=0.0.4; charset=utf-8");
    std::map<std::string, double> samples;
    std::set<std::string> described;
    std::vector<std::pair<double, double>> buckets;  // le, cumulative count
    std::istringstream lines(answer.body);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("# HELP ", 0) == 0) described.insert("HELP " + line.substr(7, line.find(' ', 7) - 7));
        if (line.rfind("# TYPE ", 0) == 0) described.insert("TYPE " + line.substr(7, line.find(' ', 7) - 7));
        if (line[0] == '#') continue;
        size_t space = line.rfind(' ');
        std::string series = line.substr(0, space), family = series.substr(0, series.find('{'));
        for (const char *suffix : {"_bucket", "_sum", "_count"}) {
            if (described.count("TYPE " + family) == 0 && family.ends_with(suffix))
                family.resize(family.size() - strlen(suffix));
        }
        EXPECT_TRUE(described.count("HELP " + family) && described.count("TYPE " + family)) << line;
        samples[series] = std::stod(line.substr(space + 1));
        std::smatch le;
        if (std::regex_search(series, le, std::regex(R"(_bucket\{le="([^"]+)\"\})")))
            buckets.emplace_back(le[1] == "+Inf" ? 1e300 : std::stod(le[1]), samples[series]);
    }
    EXPECT_TRUE(std::is_sorted(buckets.begin(), buckets.end())) << "buckets rise with their bound";
    EXPECT_TRUE(!buckets.empty() && buckets.back().second == samples["restserver_request_duration_seconds_count"]);
    return samples;
}

TEST(Ops, CountersMoveByTheRequestsMadePerRouteAndClass) {
    OpsDemo demo;
    OpensslOnPath openssl{demo.dir.Path("counted")};
    uint16_t port = 0;
    auto host = HostStart(demo.Host(), demo.dir, FileText(demo.dir.Path("conf/platform.json")), port, {"--trace", "1"});
    ASSERT_NE(host, nullptr) << demo.Output();
    const uint16_t ops_port = demo.OpsPort();
    ASSERT_NE(ops_port, port);
    std::map<std::string, double> before = Scrape(ops_port);
    struct Call {
        std::string path;
        std::string token;
        int status;
    };
    const Call calls[] = {
        {"/hello", "operator", 200},
        {"/hello", "operator", 200},
        {"/hello", "", 403},
        {"/items/none", "admin", 404},
        {"/admin", "operator", 403},
        {"/admin", "admin", 200},
        // The catch-all, whose paths have no rule; the service port has no operations route.
        {"/no/such/place", "admin", 403},
        {"/metrics", "admin", 403},
        {"/ready", "admin", 403},
    };
    HttpClient client(port, &demo.tls);
    for (const Call &call : calls) {
        Answer answer = client.Call(Request("GET", call.path, "", demo.TokenField(call.token)));
        EXPECT_EQ(answer.status, call.status) << call.path;
    }
    // Refused by the engine before any route: no Host field.
    EXPECT_EQ(HttpClient(port, &demo.tls).Call("GET /hello HTTP/1.1\r\n\r\n").status, 400);
    std::map<std::string, double> after = Scrape(ops_port);
    const std::pair<std::string, double> moves[] = {
        {R"(restserver_requests_total{route="/hello",class="2xx"})", 2},
        {R"(restserver_requests_total{route="/hello",class="4xx"})", 1},
        {R"(restserver_requests_total{route="/items/{id}",class="4xx"})", 1},
        {R"(restserver_requests_total{route="/admin",class="2xx"})", 1},
        {R"(restserver_requests_total{route="/admin",class="4xx"})", 1},
        {R"(restserver_requests_total{route="/",class="4xx"})", 3},
        {R"x(restserver_requests_total{route="(none)",class="4xx"})x", 1},
        {"restserver_request_duration_seconds_count", 9},  // every request read whole
        {"restserver_token_cache_misses_total", 2},        // the operator's and the admin's first
        {"restserver_token_cache_hits_total", 6},
        {"restserver_token_cache_evictions_total", 0},
        {"restserver_openssl_runs_total", openssl.Verifications()},
        {"restserver_trace_records_written_total", 9},  // one per request the root handler took
    };
    for (const auto &[series, moved] : moves) {
        EXPECT_EQ(after[series] - before[series], moved) << series;
    }
    EXPECT_GE(openssl.Verifications(), 2);
    EXPECT_GE(after["restserver_connections_open"], 1);  // the client's, still open
    EXPECT_EQ(after.count(R"(restserver_requests_total{route="/metrics",class="2xx"})"),
              0u);  // scrapes are not counted
    EXPECT_EQ(host->Stop(SIGTERM, std::chrono::seconds(20)), 0) << demo.Output();
}

// The first instance's start is held in its module's init until the test
// writes ../var/go. A second instance on the same port reaches the
// listening state but cannot bind.
TEST(Ops, ReadyIs503UntilEveryInstanceListensAndWhileOneCannot) {
    OpsDemo demo;
    demo.dir.Copy(RS_HELD_INIT_MODULE, "lib/libheld_init.so");
    demo.dir.Write("lib/resthandler.cfg", "load ../lib/libheld_init.so HeldInit\n");  // one module a file
    const uint16_t port = FreePort(), ops_port = FreePort();
    std::string json =
        std::regex_replace(FileText(demo.dir.Path("conf/platform.json")), std::regex(R"("port"\s*:\s*\d+)"),
                           "\"port\": " + std::to_string(port), std::regex_constants::format_first_only);
    json = std::regex_replace(json, std::regex(R"(("ops"[^}]*"port"\s*:\s*)\d+)"), "$01" + std::to_string(ops_port));
    demo.dir.Write("conf/platform.json", json);
    auto ready = [&] { return HttpClient(ops_port).Call(Request("GET", "/ready")); };
    auto await = [&](const std::string &body) {
        Answer answer;
        for (auto end = Clock::now() + std::chrono::seconds(20); Clock::now() < end;) {
            if (HttpClient(ops_port).connected() && (answer = ready()).body.rfind(body, 0) == 0) break;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return answer;
    };
    const std::pair<const char *, Answer> cases[] = {{"1", {200, {}, "ready\n"}},
                                                     {"2", {503, {}, "instance 1 not listening: bind 127.0.0.1:"}}};
    for (const auto &[instances, want] : cases) {
        SCOPED_TRACE(std::string("--instances ") + instances);
        std::filesystem::remove(demo.dir.Path("var/go"));
        HostProcess host(demo.Host(), {"--root", demo.dir.Root(), "--instances", instances}, demo.dir.Path("var"));
        Answer held = await("instance 0 loading\n");
        EXPECT_EQ(held.status, 503) << demo.Output();
        EXPECT_EQ(HttpClient(ops_port).Call(Request("POST", "/ready", "x")).status, 405);
        demo.dir.Write("var/go", "");
        Answer settled = await(want.body);
        EXPECT_EQ(settled.status, want.status) << settled.body << demo.Output();
        EXPECT_EQ(host.Stop(SIGTERM, std::chrono::seconds(20)), 0) << demo.Output();
    }
}

}  // namespace
