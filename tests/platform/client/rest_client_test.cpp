// The REST client against a server on loopback: address from the endpoint or the
// security service, port through its map; a transport failure gives no body.
#include <gtest/gtest.h>

#include <string>

#include "plat_client.h"
#include "plat_config.h"
#include "support/free_port.h"

namespace {

// Answers 201 with "<method> <body> <x-token>".
void EchoEntry(REST_REQ req, void *, void *) {
    u32 len = 0;
    const char *body = REST_RequestBodyGet(req, &len), *token = REST_RequestHeadValueGet(req, "x-token");
    std::string text =
        std::to_string(REST_RequestMethodGet(req)) + " " + (body ? body : "-") + " " + (token ? token : "-");
    REST_ResponseSend(req, 201, text.data(), static_cast<u32>(text.size()));
}

TEST(RestClient, RequestsReachTheEndpointOrTheServiceHostAndAnswersComeBack) {
    const uint16_t port = rstest::FreePort();
    REST_HANDLE server = REST_ServerCreate(0);
    REST_ServerBraceFuncAdd(server, "/echo", EchoEntry, nullptr);
    REST_END_POINT v4{0, port, {0, 0}, "127.0.0.1"}, v6{1, port, {0, 0}, "::1"};
    REST_EndPointBind(server, &v4, 128, 0);
    REST_EndPointBind(server, &v6, 128, 0);
    ASSERT_EQ(REST_ServerStart(server, 0), PLAT_OK);
    const std::string settings =
        R"({"security_service": {"host": "127.0.0.1", "port_map": {"32018": )" + std::to_string(port) + "}}}";
    ASSERT_EQ(PLAT_InitFromText(settings.c_str()), PLAT_OK) << PLAT_LastError();
    char *body = nullptr;
    u32 len = 0, status = 0;
    for (const char *address : {"127.0.0.1", "", "::1"}) {  // empty: the service host
        REST_END_POINT mapped{address[0] == ':', 32018, {0, 0}, address};
        ASSERT_EQ(SSP_RestRequestSendEx(SSP_REST_GET, &mapped, "/echo", &body, &len, &status), PLAT_OK);
        EXPECT_EQ(std::string(body, len) + " " + std::to_string(status), "0 - - 201") << address;
        SSP_ResponseBodyFree(body);
    }
    char request[] = "{\"a\":1}", name[] = "X-Token", value[] = "t0k";
    char *names[] = {name}, *values[] = {value};
    body = request, len = sizeof(request) - 1;
    ASSERT_EQ(SSP_RestRequestSendWithHead(SSP_REST_POST, &v4, "/echo", &body, &len, &status, names, values, 1),
              PLAT_OK);
    EXPECT_EQ(std::string(body, len) + " " + std::to_string(status), "1 {\"a\":1} t0k 201");
    SSP_ResponseBodyFree(body);
    REST_ServerStop(server);
}

TEST(RestClient, TransportFailureGivesNoBody) {
    REST_END_POINT closed{0, rstest::FreePort(), {0, 0}, "127.0.0.1"};
    char request[] = "x", *body = request;  // handing the caller's text back would invite a double free
    u32 len = 1, status = 7;
    EXPECT_NE(SSP_RestRequestSendWithHead(SSP_REST_POST, &closed, "/echo", &body, &len, &status, nullptr, nullptr, 0),
              PLAT_OK);
    EXPECT_TRUE(body == nullptr && len == 0);
}

}  // namespace
