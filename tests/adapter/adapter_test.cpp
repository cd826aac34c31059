// The adapter: requests through the real engine on loopback, answers the
// engine never sees, and the request trace log.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "adapter/restserver_http.h"
#include "adapter/restserver_kernel.h"
#include "adapter/restserver_trace.h"
#include "core/restserver_log.h"
#include "support/http_client.h"
#include "support/made_instance.h"
#include "web/restserver_session.h"
#include "web/restserver_web.h"

namespace {

u32 g_method = 0xFFu, g_bin_len = 0;

u32 EchoHandler(RS_REQUEST *request, RS_RESPONSE *response) {
    g_method = RESTSERVER_HttpMethodGet(request);
    (void)RESTSERVER_HttpReqBinBodyGet(request, &g_bin_len);
    char *body = RESTSERVER_HttpReqBodyGetEx(request);
    std::string text = std::string(RESTSERVER_HttpRequestBraceVarGet(request, "name")) + ":" + (body ? body : "-");
    free(body);
    return RESTSERVER_HttpRspDataWrite(response, text.c_str(), 200);
}

// Switches tracing off while its request is inside the handler.
u32 SwitchOffHandler(RS_REQUEST *, RS_RESPONSE *response) {
    RsTraceParaSet(100, 0);
    return RESTSERVER_HttpRspDataWrite(response, "ok", 200);
}

// The status line and the body of one request on its own connection.
std::string Fetch(uint16_t port, const std::string &method, const std::string &target, const std::string &body = "") {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr = {AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
    std::string answer;
    if (connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof(addr)) == 0) {
        std::string request = method + " " + target + " HTTP/1.1\r\nHost: t\r\nConnection: close\r\n" +
                              "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
        (void)send(fd, request.data(), request.size(), MSG_NOSIGNAL);
        char buf[4096];
        for (ssize_t n; (n = recv(fd, buf, sizeof(buf), 0)) > 0;)
            answer.append(buf, static_cast<size_t>(n));
    }
    close(fd);
    size_t head_end = answer.find("\r\n\r\n");
    return head_end == std::string::npos ? "" : answer.substr(0, answer.find("\r\n")) + answer.substr(head_end);
}

// The trace file (its folder made when missing) and its text.
std::string TraceFile() {
    std::string folder = "../var/log/slot-" + std::to_string(g_frame_slot_id);
    std::filesystem::create_directories(folder);
    return folder + "/rest_req_trace_info.log";
}
std::string TraceText() {
    std::stringstream text;
    text << std::ifstream(TraceFile()).rdbuf();
    return text.str();
}
size_t TraceLines() {
    std::string text = TraceText();
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

// The trace switch's value at a request's arrival decides for that request;
// no handler runs after a failed start.
TEST(Adapter, ServedRequestsReachTheirHandlersAndTheTrace) {
    rstest::MadeInstance made;
    ASSERT_EQ(made.Error(), "");
    RS_WEB_ENV *env = made.Inst()->pstWebEnv;
    RsDomainEnable(env, "127.0.0.1", std::to_string(made.port).c_str());
    RsHandlerEnable(env, RS_GROUP_NONE, "echo/{name}", EchoHandler);
    RsHandlerEnable(env, RS_GROUP_NONE, "off/{x}", SwitchOffHandler);
    RsStateSet(made.Inst(), RS_STATE_REGISTERING);
    ASSERT_EQ(RsStartListen(made.Inst()), RS_OK);
    for (int i = 0; i < 300 && !made.Log().Has("KernelServer Started, RetCode:0.", RS_LOG_INFO); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    const std::pair<const char *, u32> methods[] = {{"GET", RS_HTTP_GET},     {"POST", RS_HTTP_POST},
                                                    {"PUT", RS_HTTP_PUT},     {"DELETE", RS_HTTP_DELETE},
                                                    {"PATCH", RS_HTTP_PATCH}, {"OPTIONS", RS_HTTP_OTHER}};
    for (const auto &[method, want] : methods) {
        EXPECT_EQ(Fetch(made.port, method, "/echo/m"), "HTTP/1.1 200 OK\r\n\r\nm:-") << method;
        EXPECT_EQ(g_method, want) << method;
    }
    EXPECT_EQ(Fetch(made.port, "POST", "/echo/alice", "hello"), "HTTP/1.1 200 OK\r\n\r\nalice:hello");
    EXPECT_EQ(g_bin_len, 5u);

    ASSERT_EQ(TraceLines(), 0u);
    RsTraceParaSet(100, 1);
    EXPECT_EQ(Fetch(made.port, "GET", "/off/1"), "HTTP/1.1 200 OK\r\n\r\nok");
    EXPECT_EQ(g_restHandlerTraceEnable, 0u);
    EXPECT_EQ(g_restTraceHead.uiCount, 1u) << "on at arrival: recorded";
    EXPECT_EQ(Fetch(made.port, "GET", "/off/2"), "HTTP/1.1 200 OK\r\n\r\nok");
    EXPECT_EQ(g_restTraceHead.uiCount, 1u) << "off at arrival: not recorded";
    RsTraceParaSet(100, 1);
    EXPECT_EQ(TraceLines(), 1u);
    EXPECT_NE(TraceText().find(",url:off/{x},procMs:"), std::string::npos) << TraceText();

    g_method = 0xFFu;
    RsStateSet(made.Inst(), RS_STATE_FAILED);
    (void)Fetch(made.port, "GET", "/echo/x");
    EXPECT_EQ(g_method, 0xFFu);
    EXPECT_EQ(made.Log().Count("Req(/echo/x) in invalid state, ignore.", RS_LOG_ERROR), 1u);
}

// Empty data never reaches the engine; a colon in an endpoint address means IPv6.
TEST(Adapter, EmptyAnswersAreRefusedAndEndPointsAreFilled) {
    RS_END_POINT end_point;
    RsEndPointFill(&end_point, "fe80::1%eth0", "70000");
    EXPECT_TRUE(end_point.uiAddrKind == 1 && end_point.usPort == 4464) << "the port keeps its low 16 bits";
    RS_RESPONSE response = {reinterpret_cast<void *>(0x1), nullptr};
    rstest::LogCapture log;
    EXPECT_EQ(RESTSERVER_HttpRspDataWrite(&response, nullptr, 200), RS_ERR);
    EXPECT_EQ(RESTSERVER_HttpRspDataWrite(&response, "", 200), RS_ERR);
    EXPECT_EQ(RESTSERVER_HttpRspStreamWrite(&response, ""), RS_ERR);
    EXPECT_EQ(log.Count("Response data is empty, return ERROR.", RS_LOG_ERROR), 3u);
}

u32 ThrowingHandler(RS_REQUEST *, RS_RESPONSE *) {
    throw std::runtime_error("a C++ module's failure");
}

u32 OkHandler(RS_REQUEST *, RS_RESPONSE *response) {
    return RESTSERVER_HttpRspDataWrite(response, "ok", 200);
}

u32 NoContentHandler(RS_REQUEST *, RS_RESPONSE *response) {
    return RESTSERVER_HttpRspDataWrite(response, "", 204);
}

// Waits for an answer from another thread that never comes, unless the teardown wakes it.
u32 WaitingHandler(RS_REQUEST *request, RS_RESPONSE *response) {
    RS_SESSION_SEM *sem = nullptr;
    void *msg = nullptr;
    if (RESTSERVER_SemInit(RESTSERVER_SessionIdGet(request), &sem) != 0) return 0;
    if (RESTSERVER_SemWait(sem) != 0 || RESTSERVER_RspMsgPick(sem, &msg) != 0) {
        (void)RESTSERVER_SemDestroy(sem);
        return RESTSERVER_HttpRspDataWrite(response, "no answer", 503);
    }
    return 0;
}

size_t Sessions(RS_WEB_ENV *env) {
    (void)pthread_rwlock_rdlock(&env->stLock);
    size_t count = 0;
    for (void *node = VOS_AVL3_First(&env->stSessions, &env->stSessionTreeInfo); node != nullptr;
         node = VOS_AVL3_Next(static_cast<VOS_AVL3_NODE *>(node), &env->stSessionTreeInfo))
        ++count;
    (void)pthread_rwlock_unlock(&env->stLock);
    return count;
}

// A handler that throws or answers nothing still ends its session with a 500; a 204 goes out without a
// body, framed so the connection serves on; destroying the instance writes the pending trace records
// and, with a handler still waiting past the stop's grace period, wakes it and frees nothing it uses.
TEST(Adapter, SessionsEndWhateverHandlersDoAndTeardownKeepsWhatTheyUse) {
    rstest::MadeInstance made({.kernel = R"({"stop_grace_ms": 300})"});
    ASSERT_EQ(made.Error(), "");
    RS_WEB_ENV *env = made.Inst()->pstWebEnv;
    RsDomainEnable(env, "127.0.0.1", std::to_string(made.port).c_str());
    const std::pair<const char *, RS_HANDLER_FUNC> routes[] = {
        {"throw", ThrowingHandler}, {"ok", OkHandler}, {"nocontent", NoContentHandler}, {"wait", WaitingHandler}};
    for (const auto &[url, handler] : routes)
        RsHandlerEnable(env, RS_GROUP_NONE, url, handler);
    (void)TraceFile();  // its folder
    RsTraceParaSet(100000, 1);
    RsStateSet(made.Inst(), RS_STATE_REGISTERING);
    ASSERT_EQ(RsStartListen(made.Inst()), RS_OK);
    RS_INST_REPORT report;
    ASSERT_TRUE(RESTSERVER_InstReportGet(made.Inst(), &report) == 0 && report.uiListening == 1) << report.acListen;

    rstest::HttpClient client(made.port);
    EXPECT_EQ(client.Call(rstest::Request("GET", "/throw")).status, 500);
    rstest::Answer answer = client.Call(rstest::Request("GET", "/nocontent"));
    EXPECT_TRUE(answer.status == 204 && answer.fields.count("content-length") == 0);
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(client.Call(rstest::Request("GET", "/ok")).body, "ok") << i;
    EXPECT_EQ(Sessions(env), 0u);
    EXPECT_EQ(g_restTraceHead.uiCount, 1002u);

    std::thread waiting(
        [&] { EXPECT_EQ(rstest::HttpClient(made.port).Call(rstest::Request("GET", "/wait")).status, 503); });
    while (Sessions(env) == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    made.Destroy(made.Inst());
    waiting.join();
    EXPECT_EQ(TraceLines(), 1002u);
    EXPECT_TRUE(made.Log().Has("RsWeb(inst:0) stopped with handlers still running: its sessions and contexts are kept.",
                               RS_LOG_ERROR));
}

void Add(const char *url) {
    const SYS_TIME_S time = {2026, 11, 16, 21, 40, 5, 0, 0};
    const VOS_CPU_TICK_S tick = {0x8a2c10e4u, 0x1fu};
    RsTraceRecordNew(&time, &tick, url, 12);
}

// The record that fills a batch writes it; switching on writes what is
// pending. Lines over 999 characters are skipped; records wait for the file.
TEST(Trace, BatchesAreWrittenWhenFull) {
    rstest::Deployment deployment;
    const struct {
        u32 max, adds, lines, pending;
    } cases[] = {{3, 2, 0, 2}, {3, 3, 3, 0}, {3, 4, 3, 1}, {1, 1, 1, 0}, {1, 3, 3, 0}, {5, 11, 10, 1}};
    for (const auto &c : cases) {
        RsTraceParaSet(c.max, 1);  // writes what the previous case left
        std::filesystem::remove(TraceFile());
        for (u32 i = 0; i < c.adds; ++i)
            Add("api/items/{id}");
        EXPECT_EQ(TraceLines(), c.lines) << c.max << " " << c.adds;
        EXPECT_EQ(g_restTraceHead.uiCount, c.pending) << c.max << " " << c.adds;
        EXPECT_EQ(g_restTraceHead.pstFirst == nullptr, c.pending == 0);
    }
    EXPECT_EQ(TraceText().substr(0, TraceText().find('\n')),
              "2026-11-16 21:40:05 startTick:0x1f 0x8a2c10e4,url:api/items/{id},procMs:12");
    RsTraceParaSet(1, 0);
    EXPECT_EQ(TraceLines(), 10u);
    RsTraceParaSet(1, 1);
    EXPECT_EQ(TraceLines(), 11u);

    const std::string url200(200, 'u'), url1000(1000, 'v');
    for (const char *url : {url200.c_str(), url1000.c_str()})
        Add(url);
    EXPECT_EQ(TraceLines(), 12u);
    EXPECT_NE(TraceText().find(",url:" + url200 + ",procMs:12\n"), std::string::npos);
    std::filesystem::remove_all(deployment.Path("var/log"));
    Add("a");
    Add("b");
    EXPECT_EQ(g_restTraceHead.uiCount, 2u) << "the list grows past the batch size";
    EXPECT_EQ(TraceLines(), 0u);  // makes the folder again
    Add("c");
    EXPECT_EQ(TraceLines(), 3u);
    EXPECT_EQ(std::filesystem::status(TraceFile()).permissions(), std::filesystem::perms(0640));
}

}  // namespace
