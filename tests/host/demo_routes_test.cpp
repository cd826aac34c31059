// The demo deployment served by a real restserver-host over TLS on loopback:
// every demo route, request decoding, large bodies, chunked answers, HEAD and
// keep-alive. Each test runs its own host in its own temporary deployment.
#include <gtest/gtest.h>
#include <signal.h>

#include <optional>
#include <thread>

#include "demo_deployment.h"
#include "https_client.h"

namespace hosttest {
namespace {

constexpr std::chrono::seconds kStopLimit{20};

class DemoRoutesTest : public ::testing::Test {
protected:
    void SetUp() override {
        host_ = demo_.Start();
        ASSERT_NE(host_, nullptr) << "the host never accepted connections; output:\n"
                                  << FileText(demo_.Path("var/host.out")) << FileText(demo_.Path("var/host.err"));
        client_ = std::make_unique<HttpsClient>(demo_.port(), demo_.CertFile());
    }

    // Every test ends the way an operator ends the host.
    void TearDown() override {
        if (host_ == nullptr) return;
        host_->Signal(SIGTERM);
        EXPECT_EQ(host_->WaitExit(kStopLimit), 0) << host_->Output() << host_->Errors();
    }

    DemoDeployment demo_;
    std::unique_ptr<HostProcess> host_;
    std::unique_ptr<HttpsClient> client_;
};

// A JSON member expected in an answer; nullopt: the member must be absent.
struct Member {
    const char *name;
    std::optional<std::string> value;
};

struct RouteCase {
    HttpCall call;
    long status;
    std::vector<Member> members;
};

void ExpectAnswer(HttpsClient &client, const RouteCase &step) {
    SCOPED_TRACE(step.call.method + " " + step.call.path);
    HttpAnswer answer = client.Send(step.call);
    ASSERT_EQ(answer.curl_error, "");
    EXPECT_EQ(answer.status, step.status) << answer.body;
    for (const Member &member : step.members)
        EXPECT_EQ(JsonMember(answer.body, member.name), member.value) << member.name << " in " << answer.body;
}

// Steps run in order: the item steps build on each other.
TEST_F(DemoRoutesTest, EveryRouteAnswersWithItsStatusAndBody) {
    const RouteCase steps[] = {
        {{"GET", "/hello"}, 200, {{"message", "hello from restserver"}}},
        // The module's init function ran before the first request.
        {{"GET", "/items/example"}, 200, {{"id", "example"}, {"value", "an item made by DemoModuleInit"}}},
        {{"GET", "/items/chair"}, 404, {{"error", "no such item"}}},
        {{"PUT", "/items/chair", "a red chair"}, 201, {{"value", "a red chair"}}},
        {{"PUT", "/items/chair", "a blue chair"}, 200, {{"value", "a blue chair"}}},
        {{"GET", "/items/chair"}, 200, {{"id", "chair"}, {"value", "a blue chair"}}},
        {{"POST", "/items/chair", "x"}, 405, {{"error", "items take GET, PUT and DELETE"}}},
        {{"PUT", "/items/table"}, 400, {{"error", "the body is the item's value"}}},
        {{"PUT", "/items/table", std::string(65537, 'v')}, 413, {{"error", "values are at most 65536 bytes"}}},
        {{"GET", "/items/table"}, 404, {{"error", "no such item"}}},
        {{"DELETE", "/items/chair"}, 200, {{"deleted", "chair"}}},
        {{"GET", "/items/chair"}, 404, {{"error", "no such item"}}},
        {{"DELETE", "/items/chair"}, 404, {{"error", "no such item"}}},
        {{"GET", "/stream?n=0"}, 400, {{"error", "n must be a number from 1 to 10000"}}},
        {{"GET", "/stream?n=10001"}, 400, {{"error", "n must be a number from 1 to 10000"}}},
        {{"GET", "/stream?n=12x"}, 400, {{"error", "n must be a number from 1 to 10000"}}},
        // The catch-all "/" takes every path nothing else matched.
        {{"GET", "/no/such/place"}, 404, {{"error", "no such resource"}, {"uri", "/no/such/place"}}},
        {{"GET", "/"}, 404, {{"error", "no such resource"}, {"uri", "/"}}},
        {{"GET", "/hello/extra"}, 404, {{"uri", "/hello/extra"}}},
    };
    for (const RouteCase &step : steps)
        ExpectAnswer(*client_, step);
}

TEST_F(DemoRoutesTest, EchoDecodesBraceVariablesQueryValuesHeadersAndBody) {
    const RouteCase cases[] = {
        {{"GET", "/echo/world?q=42", "", {"X-Demo: hi"}},
         200,
         {{"method", "GET"},
          {"uri", "/echo/world"},
          {"name", "world"},
          {"query", "42"},
          {"header", "hi"},
          {"body", std::nullopt}}},
        // Brace variables and query values are decoded (a "+" is a space in the query); the URI is
        // the path as received, without its query.
        {{"GET", "/echo/hello%20w%C3%B6rld?q=a%26b%3Dc+d"},
         200,
         {{"name", "hello w\xC3\xB6rld"}, {"query", "a&b=c d"}, {"uri", "/echo/hello%20w%C3%B6rld"}}},
        {{"GET", "/echo/x?other=1"}, 200, {{"query", std::nullopt}, {"header", std::nullopt}}},
        // Header names match whatever their case.
        {{"GET", "/echo/x", "", {"x-demo: lower"}}, 200, {{"header", "lower"}}},
        {{"GET", "/echo/x", "", {"X-DEMO: upper"}}, 200, {{"header", "upper"}}},
        {{"POST", "/echo/x", "{\"a\": \"b \\\" c\"}\n"},
         200,
         {{"method", "POST"}, {"body", "{\"a\": \"b \\\" c\"}\n"}}},
        {{"PUT", "/echo/x", "put"}, 200, {{"method", "PUT"}, {"body", "put"}}},
        {{"DELETE", "/echo/x"}, 200, {{"method", "DELETE"}}},
        {{"PATCH", "/echo/x", "p"}, 200, {{"method", "PATCH"}}},
        {{"OPTIONS", "/echo/x"}, 200, {{"method", "OTHER"}}},
    };
    for (const RouteCase &step : cases)
        ExpectAnswer(*client_, step);
}

TEST_F(DemoRoutesTest, EchoAnswerNamesTheRequestSession) {
    HttpAnswer first = client_->Get("/echo/a");
    HttpAnswer second = client_->Get("/echo/b");
    ASSERT_EQ(first.status, 200) << first.curl_error;
    ASSERT_EQ(second.status, 200) << second.curl_error;
    // Instance 0 numbers its sessions 0x00000001, 0x00000002, ...
    EXPECT_NE(first.headers["x-demo-session"], second.headers["x-demo-session"]);
    EXPECT_EQ(first.headers["x-demo-session"].rfind("0x00", 0), 0u) << first.headers["x-demo-session"];
}

// Request threads share the item map: writers on several connections at once
// must all land, each under its own id.
TEST_F(DemoRoutesTest, ConcurrentWritersAllLandInTheItemMap) {
    constexpr int kWriters = 4;
    constexpr int kItemsEach = 40;
    std::vector<std::thread> writers;
    std::vector<int> created(kWriters, 0);
    for (int writer = 0; writer < kWriters; ++writer) {
        writers.emplace_back([this, writer, &created] {
            HttpsClient client(demo_.port(), demo_.CertFile());
            for (int item = 0; item < kItemsEach; ++item) {
                std::string id = std::to_string(writer) + "-" + std::to_string(item);
                if (client.Send({"PUT", "/items/" + id, "value " + id}).status == 201) ++created[writer];
            }
        });
    }
    for (std::thread &writer : writers)
        writer.join();
    for (int writer = 0; writer < kWriters; ++writer) {
        EXPECT_EQ(created[writer], kItemsEach) << "writer " << writer;
        for (int item = 0; item < kItemsEach; ++item) {
            std::string id = std::to_string(writer) + "-" + std::to_string(item);
            HttpAnswer answer = client_->Get("/items/" + id);
            EXPECT_EQ(answer.status, 200) << id;
            EXPECT_EQ(JsonMember(answer.body, "value"), "value " + id);
        }
    }
}

// 1 MiB of text with every printable character, quotes, backslashes and line ends.
std::string LargeBody() {
    std::string body;
    body.reserve(1 << 20);
    uint32_t state = 12345;
    while (body.size() < (1u << 20)) {
        state = state * 1103515245u + 12345u;
        char c = static_cast<char>(' ' + (state >> 16) % 95);
        body.push_back((state >> 8) % 64 == 0 ? '\n' : c);
    }
    return body;
}

TEST_F(DemoRoutesTest, MebibyteBodyIsEchoedByteExact) {
    const std::string body = LargeBody();
    HttpAnswer answer = client_->Send({"POST", "/echo/big", body});
    ASSERT_EQ(answer.status, 200) << answer.curl_error;
    std::optional<std::string> echoed = JsonMember(answer.body, "body");
    ASSERT_TRUE(echoed.has_value()) << answer.body.substr(0, 200);
    EXPECT_EQ(echoed->size(), body.size());
    EXPECT_TRUE(*echoed == body) << "the echoed body differs from the one sent";
}

std::string Parts(int count) {
    std::string text;
    for (int part = 1; part <= count; ++part)
        text += "part " + std::to_string(part) + "\n";
    return text;
}

TEST_F(DemoRoutesTest, ChunkedStreamArrivesWhole) {
    struct {
        const char *path;
        int parts;
    } const cases[] = {{"/stream?n=1000", 1000}, {"/stream", 10}, {"/stream?n=1", 1}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.path);
        HttpAnswer answer = client_->Get(c.path);
        ASSERT_EQ(answer.status, 200) << answer.curl_error;
        EXPECT_EQ(answer.headers["transfer-encoding"], "chunked");
        EXPECT_TRUE(answer.body == Parts(c.parts)) << answer.body.size() << " bytes received";
    }
}

TEST_F(DemoRoutesTest, HeadAnswersTheHeadersOfGetWithoutABody) {
    HttpAnswer get = client_->Get("/hello");
    HttpAnswer head = client_->Send({"HEAD", "/hello"});
    ASSERT_EQ(get.status, 200) << get.curl_error;
    ASSERT_EQ(head.status, 200) << head.curl_error;
    EXPECT_EQ(head.body, "");
    EXPECT_EQ(head.headers["content-length"], std::to_string(get.body.size()));
    EXPECT_EQ(head.headers["content-type"], get.headers["content-type"]);
}

TEST_F(DemoRoutesTest, KeepAliveServesConsecutiveRequestsOnOneConnection) {
    HttpAnswer first = client_->Get("/hello");
    ASSERT_EQ(first.status, 200) << first.curl_error;
    EXPECT_EQ(first.new_connections, 1);
    const HttpCall next[] = {
        {"GET", "/items/example"}, {"PUT", "/items/kept", "v"}, {"GET", "/stream?n=3"}, {"GET", "/no/route"}};
    for (const HttpCall &call : next) {
        SCOPED_TRACE(call.path);
        HttpAnswer answer = client_->Send(call);
        ASSERT_NE(answer.status, 0) << answer.curl_error;
        EXPECT_EQ(answer.new_connections, 0) << "the connection was not reused";
        EXPECT_EQ(answer.local_port, first.local_port);
    }
}

}  // namespace
}  // namespace hosttest
