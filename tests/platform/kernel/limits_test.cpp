// Limits: each refused with its status, idle connections closed by the idle
// limit, accepting paused at the connection limit.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "engine_harness.h"

namespace {

using enginetest::Answer;
using enginetest::Client;
using enginetest::EchoEntry;
using enginetest::Fetch;
using enginetest::Get;
using enginetest::KernelSettings;
using enginetest::TestServer;

struct LimitCase {
    const char *name;
    std::string request;
    int status;
};

TEST(Limits, EachLimitAnswersItsStatusAndCloses) {
    KernelSettings(R"({"header_limit": 4096, "target_limit": 1024, "body_limit": 1000})");
    TestServer server;
    server.Route("/a", EchoEntry);
    ASSERT_EQ(server.Start(), 0u);
    const LimitCase cases[] = {
        {"fields over the header block", "GET /a HTTP/1.1\r\nHost: t\r\nX-Big: " + std::string(5000, 'x') + "\r\n\r\n",
         431},
        {"target over its limit", Get("/a?" + std::string(2000, 'q')), 414},
        {"declared body over its limit", "POST /a HTTP/1.1\r\nHost: t\r\nContent-Length: 1001\r\n\r\n", 413},
        {"chunked body over its limit",
         "POST /a HTTP/1.1\r\nHost: t\r\nTransfer-Encoding: chunked\r\n\r\n3e9\r\n" + std::string(1001, 'b') +
             "\r\n0\r\n\r\n",
         413},
        {"body at its limit", "POST /a HTTP/1.1\r\nHost: t\r\nContent-Length: 1000\r\n\r\n" + std::string(1000, 'b'),
         200},
    };
    for (const LimitCase &c : cases) {
        Client client(server.port());
        Answer answer;
        ASSERT_TRUE(client.Send(c.request)) << c.name;
        ASSERT_TRUE(client.Read(answer)) << c.name;
        EXPECT_EQ(answer.status, c.status) << c.name;
        if (c.status != 200) {
            EXPECT_TRUE(client.ClosedWithin(5000)) << c.name;
        }
    }
}

TEST(Limits, SlowHeadersGet408) {
    KernelSettings(R"({"header_timeout_ms": 300})");
    TestServer server;
    server.Route("/a", EchoEntry);
    ASSERT_EQ(server.Start(), 0u);
    Client client(server.port());
    Answer answer;
    ASSERT_TRUE(client.Send("GET /a HTTP/1.1\r\nHost: t\r\n"));
    ASSERT_TRUE(client.Read(answer));
    EXPECT_EQ(answer.status, 408);
    EXPECT_TRUE(client.ClosedWithin(5000));
}

TEST(Limits, ThousandIdleConnectionsClosedByIdleLimit) {
    KernelSettings(R"({"idle_timeout_ms": 1000})");
    TestServer server;
    server.Route("/a", EchoEntry);
    ASSERT_EQ(server.Start(), 0u);
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 1000; ++i) {
        clients.push_back(std::make_unique<Client>(server.port()));
        ASSERT_TRUE(clients.back()->connected()) << i;
    }
    // Half of them served once, then idle like the rest.
    for (size_t i = 0; i < clients.size(); i += 2) {
        Answer answer;
        ASSERT_TRUE(clients[i]->Send(Get("/a")));
        ASSERT_TRUE(clients[i]->Read(answer));
    }
    REST_STATS stats{};
    for (int i = 0; i < 400 && stats.ulConnectionsOpen != 1000; ++i) {
        REST_ServerStatsGet(server.handle(), &stats);
        if (stats.ulConnectionsOpen != 1000) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(stats.ulConnectionsOpen, 1000u);
    for (auto &client : clients)
        EXPECT_TRUE(client->ClosedWithin(20000));
    for (int i = 0; i < 200 && stats.ulConnectionsOpen != 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
        REST_ServerStatsGet(server.handle(), &stats);
    }
    EXPECT_EQ(stats.ulConnectionsOpen, 0u);
}

TEST(Limits, ConnectionLimitPausesAcceptingUntilOneCloses) {
    KernelSettings(R"({"max_connections": 4})");
    TestServer server;
    server.Route("/a", EchoEntry);
    ASSERT_EQ(server.Start(), 0u);
    std::vector<std::unique_ptr<Client>> held;
    for (int i = 0; i < 4; ++i) {
        held.push_back(std::make_unique<Client>(server.port()));
        Answer answer;
        ASSERT_TRUE(held.back()->Send(Get("/a")));
        ASSERT_TRUE(held.back()->Read(answer));
    }
    Client waiting(server.port());  // queued by the kernel, not yet accepted
    ASSERT_TRUE(waiting.Send(Get("/a")));
    Answer answer;
    EXPECT_FALSE(waiting.Read(answer, false, 300));
    held.pop_back();
    ASSERT_TRUE(waiting.Read(answer));
    EXPECT_EQ(answer.status, 200);
}

}  // namespace
