// The metrics text through the operations listener, with the clock driven
// by the test so each request takes a chosen time: bucket edges, cumulative
// buckets, the sum, label and help escaping, and counters that count only
// while the listener runs.
#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "plat_config.h"
#include "plat_kernel.h"
#include "plat_metrics.h"
#include "plat_os.h"
#include "support/free_port.h"
#include "support/http_client.h"

namespace {

using namespace rstest;

std::atomic<u64> g_now{1'000'000'000};

u64 FakeNow() {
    return g_now.load();
}

// Each entry moves the clock on by the nanoseconds its path names.
void Advance(REST_REQ req, void *, void *) {
    g_now += std::stoull(REST_RequestBraceVarGet(req, "n\"s\\"));
    REST_ResponseSend(req, 200, "", 0);
}

TEST(Metrics, DurationsOnABoundFallInItsBucketAndTheTextIsEscaped) {
    const uint16_t ops_port = FreePort(), port = FreePort();
    std::string json = R"({"ops": {"enabled": true, "port": )" + std::to_string(ops_port) + "}}";
    ASSERT_EQ(PLAT_InitFromText(json.c_str()), PLAT_OK);
    PLAT_COUNTER counter = PLAT_CounterGet("test_things_total", "Things,\ncounted \\ here.");
    for (const char *name : {"", "1things", "things-total", "things total"})
        EXPECT_EQ(PLAT_CounterGet(name, "refused"), nullptr) << name;
    EXPECT_EQ(PLAT_CounterGet("test_things_total", "again"), counter);
    PLAT_CounterAdd(counter, 5);  // the listener is not running: not counted
    ASSERT_EQ(REST_OpsStart(), PLAT_OK);
    PLAT_CounterAdd(counter, 2);
    PLAT_TickSourceSet(FakeNow);
    REST_HANDLE server = REST_ServerCreate(0);
    REST_END_POINT endpoint{0, port, {0, 0}, "127.0.0.1"};
    ASSERT_EQ(REST_ServerBraceFuncAdd(server, "/wait/{n\"s\\}", Advance, nullptr), PLAT_OK);
    REST_EndPointBind(server, &endpoint, 64, 0);
    ASSERT_EQ(REST_ServerStart(server, 0), PLAT_OK);
    HttpClient client(port);
    for (const char *ns : {"100000", "100001", "10000000000", "10000000001"})
        EXPECT_EQ(client.Call(Request("GET", std::string("/wait/") + ns)).status, 200) << ns;
    const std::string text = HttpClient(ops_port).Call(Request("GET", "/metrics")).body;
    PLAT_TickSourceSet(nullptr);
    for (const char *line : {
             "restserver_requests_total{route=\"/wait/{n\\\"s\\\\}\",class=\"2xx\"} 4\n",
             "_bucket{le=\"0.0001\"} 1\n",   // 100 us exactly
             "_bucket{le=\"0.00025\"} 2\n",  // 1 ns more
             "_bucket{le=\"5\"} 2\n",
             "_bucket{le=\"10\"} 3\n",
             "_bucket{le=\"+Inf\"} 4\n",
             "restserver_request_duration_seconds_sum 20.000200002\n",
             "restserver_request_duration_seconds_count 4\n",
             "# HELP test_things_total Things,\\ncounted \\\\ here.\n# TYPE test_things_total counter\n"
             "test_things_total 2\n",
         }) {
        EXPECT_NE(text.find(line), std::string::npos) << line << "in\n" << text;
    }
    REST_ServerStop(server);
    EXPECT_EQ(REST_OpsStop(), PLAT_OK);
}

}  // namespace
