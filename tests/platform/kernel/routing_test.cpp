// Routing: literal over brace, decoded brace and query values, catch-all,
// 404, and paths refused so that routing and authorisation agree.
#include <gtest/gtest.h>

#include <string>

#include "engine_harness.h"

namespace {

using enginetest::Fetch;
using enginetest::Get;
using enginetest::TestServer;

// Answers "<tag>|id=<brace id>|kind=<brace kind>|q=<query q>|n=<query count>|m=<method>".
void DescribeEntry(REST_REQ req, void *user, void *) {
    auto value = [](const char *text) { return std::string(text != nullptr ? text : "-"); };
    std::string text =
        std::string(static_cast<const char *>(user)) + "|id=" + value(REST_RequestBraceVarGet(req, "id")) +
        "|kind=" + value(REST_RequestBraceVarGet(req, "kind")) + "|q=" + value(REST_RequestQueryValueGet(req, "q")) +
        "|n=" + std::to_string(REST_RequestQueryCountGet(req)) + "|m=" + std::to_string(REST_RequestMethodGet(req)) +
        "|uri=" + REST_RequestUriGet(req);
    REST_ResponseSend(req, 200, text.data(), static_cast<u32>(text.size()));
}

void Register(TestServer &server) {
    server.Route("/api/items/{id}", DescribeEntry, (void *)"item");
    server.Route("/api/items/special", DescribeEntry, (void *)"special");
    server.Route("/api/{kind}/list", DescribeEntry, (void *)"list");
    server.Route("/api/{kind}/{id}/raw", DescribeEntry, (void *)"raw");
}

struct RouteCase {
    const char *target;
    int status;
    const char *body;
};

TEST(Routing, LiteralWinsAndValuesAreDecoded) {
    TestServer server;
    Register(server);
    ASSERT_EQ(server.Start(), 0u);
    const RouteCase cases[] = {
        {"/api/items/7", 200, "item|id=7|kind=-|q=-|n=0|m=0|uri=/api/items/7"},
        {"/api/items/special", 200, "special|id=-|kind=-|q=-|n=0|m=0|uri=/api/items/special"},
        {"/api/items/a%20b?q=x%26y+z&r", 200, "item|id=a b|kind=-|q=x&y z|n=2|m=0|uri=/api/items/a%20b"},
        // Literal "items" wins at its level, so {id} takes "list".
        {"/api/items/list", 200, "item|id=list|kind=-|q=-|n=0|m=0|uri=/api/items/list"},
        {"/api/things/list", 200, "list|id=-|kind=things|q=-|n=0|m=0|uri=/api/things/list"},
        // A literal that leads nowhere gives way to the brace branch.
        {"/api/items/9/raw", 200, "raw|id=9|kind=items|q=-|n=0|m=0|uri=/api/items/9/raw"},
        {"//api///items/7/", 200, "item|id=7|kind=-|q=-|n=0|m=0|uri=//api///items/7/"},
        {"/api/items/special?id=3", 200, "special|id=-|kind=-|q=-|n=1|m=0|uri=/api/items/special"},
        {"/api/items", 404, nullptr},
        {"/api/items/7/8", 404, nullptr},
        {"/other", 404, nullptr},
        {"/api/items/../special", 400, nullptr},
        {"/api/./items/7", 400, nullptr},
        {"/api/items/%2e%2e", 400, nullptr},
        {"/api/items/a%2Fb", 400, nullptr},
        {"/api/items/a%00b", 400, nullptr},
    };
    for (const RouteCase &c : cases) {
        auto answer = Fetch(server.port(), Get(c.target));
        EXPECT_EQ(answer.status, c.status) << c.target;
        if (c.body != nullptr) {
            EXPECT_EQ(answer.body, c.body) << c.target;
        }
    }
}

TEST(Routing, CatchAllTakesUnmatchedPaths) {
    TestServer server;
    Register(server);
    REST_ServerGenFuncAdd(server.handle(), DescribeEntry, (void *)"fallback");
    ASSERT_EQ(server.Start(), 0u);
    EXPECT_EQ(Fetch(server.port(), Get("/nothing/here?q=1")).body,
              "fallback|id=-|kind=-|q=1|n=1|m=0|uri=/nothing/here");
    EXPECT_EQ(Fetch(server.port(), Get("/")).body, "fallback|id=-|kind=-|q=-|n=0|m=0|uri=/");
    EXPECT_EQ(Fetch(server.port(), Get("/api/items/7")).body.substr(0, 5), "item|");
}

TEST(Routing, EveryMethodReachesTheSameEntry) {
    TestServer server;
    Register(server);
    ASSERT_EQ(server.Start(), 0u);
    const std::pair<const char *, int> methods[] = {{"GET", 0},     {"POST", 1},  {"PUT", 3},     {"DELETE", 4},
                                                    {"OPTIONS", 5}, {"PATCH", 8}, {"PROPFIND", 9}};
    for (const auto &[method, code] : methods) {
        auto answer = Fetch(server.port(),
                            std::string(method) + " /api/items/1 HTTP/1.1\r\nHost: t\r\nContent-Length: 0\r\n\r\n");
        EXPECT_EQ(answer.status, 200) << method;
        EXPECT_NE(answer.body.find("|m=" + std::to_string(code) + "|"), std::string::npos) << method << answer.body;
    }
}

}  // namespace
