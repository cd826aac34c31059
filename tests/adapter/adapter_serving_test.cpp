// Requests through the real engine on loopback: a made instance registers a
// handler of this test, listens, and answers through the handler interface.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <thread>

#include "adapter/restserver_http.h"
#include "adapter/restserver_kernel.h"
#include "adapter/restserver_trace.h"
#include "config/restserver_cfg_loader.h"
#include "config/restserver_cfg_parser.h"
#include "config/restserver_cfg_register.h"
#include "core/restserver_log.h"
#include "plat_config.h"
#include "support/deployment.h"
#include "support/free_port.h"
#include "support/log_capture.h"
#include "web/restserver_session.h"

namespace {

// What the handler saw on its last call.
std::atomic<u32> g_calls{0};
u32 g_method = 0xFFu;
bool g_same_session = false;
bool g_same_body = false;
u32 g_bin_len = 0;

u32 EchoHandler(RS_REQUEST *request, RS_RESPONSE *response) {
    g_method = RESTSERVER_HttpMethodGet(request);
    g_same_session = RESTSERVER_SessionIdGet(request) == RESTSERVER_SessionIdGet(response) &&
                     RESTSERVER_SessionIdGet(request) != 0xFFFFFFFFu;
    g_same_body = RESTSERVER_HttpReqBodyGet(request) == RESTSERVER_HttpReqBinBodyGet(request, &g_bin_len);
    char *body = RESTSERVER_HttpReqBodyGetEx(request);
    std::string text = std::string(RESTSERVER_HttpRequestBraceVarGet(request, "name")) + ":" + (body ? body : "-");
    free(body);
    g_calls++;
    return RESTSERVER_HttpRspDataWrite(response, text.c_str(), 200);
}

int Connect(uint16_t port) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof(addr)) == 0) return fd;
    close(fd);
    return -1;
}

// The whole answer of one request on its own connection ("" when none came).
std::string Fetch(uint16_t port, const std::string &method, const std::string &target, const std::string &body) {
    int fd = Connect(port);
    if (fd < 0) return "";
    timeval timeout = {3, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
    std::string request = method + " " + target + " HTTP/1.1\r\nHost: t\r\nConnection: close\r\nContent-Length: " +
                          std::to_string(body.size()) + "\r\n\r\n" + body;
    (void)send(fd, request.data(), request.size(), MSG_NOSIGNAL);
    std::string answer;
    char buf[4096];
    for (ssize_t n; (n = recv(fd, buf, sizeof(buf), 0)) > 0;)
        answer.append(buf, static_cast<size_t>(n));
    close(fd);
    return answer;
}

std::string Body(const std::string &answer) {
    size_t at = answer.find("\r\n\r\n");
    return at == std::string::npos ? "" : answer.substr(at + 4);
}

class AdapterServing : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(deployment_.PrepareInstances(), "");
        ASSERT_EQ(RESTSERVER_GlobalInit(), 0u);
        ASSERT_EQ(RESTSERVER_InstMake(&inst_, &id_), 0u);
        log_.emplace();
        port_ = rstest::FreePort();
        RS_WEB_ENV *env = inst_->pstWebEnv;
        RsDomainEnable(env, "127.0.0.1", std::to_string(port_).c_str());
        RsHandlerEnable(env, RS_GROUP_NONE, "echo/{name}", EchoHandler);
        RsStateSet(inst_, RS_STATE_REGISTERING);
        ASSERT_EQ(RsStartListen(inst_), 0u);
        EXPECT_EQ(RsStateGet(inst_), RS_STATE_STARTING);
        for (int i = 0; i < 300 && !log_->Has("KernelServer Started, RetCode:0.", RS_LOG_INFO); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        ASSERT_TRUE(log_->Has("KernelServer Started, RetCode:0.", RS_LOG_INFO));
    }
    void TearDown() override {
        RESTSERVER_InstDestroy(inst_);
        RESTSERVER_GlobalUnInit();
    }

    rstest::Deployment deployment_;
    RS_INSTANCE *inst_ = nullptr;
    u8 id_ = 0;
    uint16_t port_ = 0;
    std::optional<rstest::LogCapture> log_;
};

TEST_F(AdapterServing, HandlerSeesTheSystemsMethodCodes) {
    const struct {
        const char *method;
        u32 want;
    } cases[] = {{"GET", RS_HTTP_GET},       {"POST", RS_HTTP_POST},   {"PUT", RS_HTTP_PUT},
                 {"DELETE", RS_HTTP_DELETE}, {"PATCH", RS_HTTP_PATCH}, {"OPTIONS", RS_HTTP_OTHER}};
    for (const auto &c : cases) {
        std::string answer = Fetch(port_, c.method, "/echo/m", "");
        EXPECT_EQ(answer.rfind("HTTP/1.1 200", 0), 0u) << c.method << ": " << answer;
        EXPECT_EQ(g_method, c.want) << c.method;
        EXPECT_TRUE(g_same_session) << c.method;
    }
}

TEST_F(AdapterServing, BodyIsCopiedAsTextAndReadInPlace) {
    EXPECT_EQ(Body(Fetch(port_, "POST", "/echo/alice", "hello")), "alice:hello");
    EXPECT_TRUE(g_same_body);
    EXPECT_EQ(g_bin_len, 5u);
    EXPECT_EQ(Body(Fetch(port_, "GET", "/echo/bob", "")), "bob:-") << "no body, no copy";
    EXPECT_EQ(g_calls.load(), 2u);
}

TEST_F(AdapterServing, FailedInstanceCallsNoHandler) {
    RsStateSet(inst_, RS_STATE_FAILED);
    (void)Fetch(port_, "GET", "/echo/x", "");
    EXPECT_EQ(g_calls.load(), 0u);
    EXPECT_EQ(log_->Count("Req(/echo/x) in invalid state, ignore.", RS_LOG_ERROR), 1u);
    RsStateSet(inst_, RS_STATE_LISTENING);
    EXPECT_EQ(Body(Fetch(port_, "GET", "/echo/x", "")), "x:-");
    EXPECT_EQ(g_calls.load(), 1u);
}

}  // namespace
