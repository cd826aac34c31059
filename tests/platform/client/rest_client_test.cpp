// REST client against the engine on loopback: address and port from the
// endpoint or the security service settings, methods, fields, bodies and
// statuses, and transport failures.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "plat_client.h"
#include "plat_config.h"
#include "support/free_port.h"

namespace {

// Answers "<method> <body> <x-token>" with the status asked for in the query.
void EchoEntry(REST_REQ req, void *, void *) {
    u32 len = 0;
    const char *body = REST_RequestBodyGet(req, &len);
    const char *token = REST_RequestHeadValueGet(req, "x-token");
    const char *status = REST_RequestQueryValueGet(req, "status");
    std::string text = std::to_string(REST_RequestMethodGet(req)) + " " + (body != nullptr ? body : "-") + " " +
                       (token != nullptr ? token : "-");
    REST_ResponseSend(req, status != nullptr ? std::stoul(status) : 200, text.data(), static_cast<u32>(text.size()));
}

class RestClient : public ::testing::Test {
protected:
    void SetUp() override {
        port_ = rstest::FreePort();
        server_ = REST_ServerCreate(0);
        REST_ServerBraceFuncAdd(server_, "/echo", EchoEntry, nullptr);
        REST_END_POINT v4{0, port_, {0, 0}, "127.0.0.1"};
        REST_END_POINT v6{1, port_, {0, 0}, "::1"};
        REST_EndPointBind(server_, &v4, 128, 0);
        REST_EndPointBind(server_, &v6, 128, 0);
        ASSERT_EQ(REST_ServerStart(server_, 0), 0u);
        // Port 32018 is mapped to the engine's port; the host is loopback.
        std::string settings =
            R"({"security_service": {"host": "127.0.0.1", "scheme": "http", "port_map": {"32018": )" +
            std::to_string(port_) + "}}}";
        ASSERT_EQ(PLAT_InitFromText(settings.c_str()), 0u) << PLAT_LastError();
    }
    void TearDown() override { REST_ServerStop(server_); }

    REST_HANDLE server_ = nullptr;
    uint16_t port_ = 0;
};

TEST_F(RestClient, GetReachesEndpointOrServiceHost) {
    struct Case {
        const char *name;
        REST_END_POINT endpoint;
    };
    const Case cases[] = {
        {"address text, mapped port", {0, 32018, {0, 0}, "127.0.0.1"}},
        {"empty address takes the service host", {0, 32018, {0, 0}, ""}},
        {"IPv6 address text", {1, 32018, {0, 0}, "::1"}},
    };
    for (const Case &c : cases) {
        char *body = nullptr;
        u32 len = 99;
        u32 status = 0;
        ASSERT_EQ(SSP_RestRequestSendEx(0, &c.endpoint, "/echo", &body, &len, &status), 0u) << c.name;
        ASSERT_NE(body, nullptr) << c.name;
        EXPECT_STREQ(body, "0 - -") << c.name;
        EXPECT_EQ(len, 5u) << c.name;
        EXPECT_EQ(status, 200u) << c.name;
        SSP_ResponseBodyFree(body);
    }
}

TEST_F(RestClient, PostCarriesBodyAndFieldsAndStatusPassesThrough) {
    REST_END_POINT endpoint{0, 32018, {0, 0}, "127.0.0.1"};
    char request_text[] = "{\"a\":1}";
    char *io_body = request_text;
    u32 io_len = static_cast<u32>(strlen(request_text));
    u32 status = 0;
    char name[] = "X-Token";
    char value[] = "t0k";
    char *names[] = {name};
    char *values[] = {value};
    ASSERT_EQ(
        SSP_RestRequestSendWithHead(1, &endpoint, "/echo?status=201", &io_body, &io_len, &status, names, values, 1),
        0u);
    ASSERT_NE(io_body, request_text);
    EXPECT_STREQ(io_body, "1 {\"a\":1} t0k");
    EXPECT_EQ(io_len, strlen(io_body));
    EXPECT_EQ(status, 201u);
    SSP_ResponseBodyFree(io_body);

    char *body = nullptr;
    u32 len = 0;
    ASSERT_EQ(SSP_RestRequestSendEx(0, &endpoint, "/missing", &body, &len, &status), 0u);
    EXPECT_EQ(status, 404u);
    SSP_ResponseBodyFree(body);
}

TEST_F(RestClient, TransportFailureGivesNoBody) {
    REST_END_POINT closed{0, rstest::FreePort(), {0, 0}, "127.0.0.1"};
    char *body = reinterpret_cast<char *>(0x1);
    u32 len = 7;
    u32 status = 7;
    EXPECT_NE(SSP_RestRequestSendEx(0, &closed, "/echo", &body, &len, &status), 0u);
    EXPECT_EQ(body, nullptr);
    EXPECT_EQ(len, 0u);

    char request_text[] = "x";
    char *io_body = request_text;
    u32 io_len = 1;
    EXPECT_NE(SSP_RestRequestSendWithHead(1, &closed, "/echo", &io_body, &io_len, &status, nullptr, nullptr, 0), 0u);
    EXPECT_EQ(io_body, nullptr);  // never the caller's request text: freeing it would be a double free
    REST_END_POINT endpoint{0, 32018, {0, 0}, "127.0.0.1"};
    EXPECT_NE(SSP_RestRequestSendEx(2, &endpoint, "/echo", &body, &len, &status), 0u);
}

}  // namespace
