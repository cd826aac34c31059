// The request trace log: batches, flushes, buffers, an unavailable file,
// tick arithmetic, and the root handler's once-per-request decision.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "adapter/restserver_http.h"
#include "adapter/restserver_kernel.h"
#include "adapter/restserver_trace.h"
#include "config/restserver_cfg_loader.h"
#include "config/restserver_cfg_parser.h"
#include "config/restserver_cfg_register.h"
#include "core/restserver_log.h"
#include "core/restserver_tick.h"
#include "plat_config.h"
#include "support/deployment.h"
#include "support/free_port.h"
#include "support/log_capture.h"
#include "web/restserver_web.h"

namespace {

// Runs in <root>/bin so the trace file lands in <root>/var/log/slot-3.
class Trace : public ::testing::Test {
protected:
    void SetUp() override {
        std::string root = deployment_.Root();
        g_frame_slot_id = 3;
        ASSERT_EQ(system(("mkdir -p " + root + "/bin " + root + "/var/log/slot-3").c_str()), 0);
        ASSERT_EQ(chdir((root + "/bin").c_str()), 0);
        file_ = root + "/var/log/slot-3/rest_req_trace_info.log";
    }
    static void Add(const char *url, u32 ms = 7) {
        SYS_TIME_S time = {};
        time.usYear = 2026;
        time.ucMonth = 11;
        time.ucDay = 16;
        time.ucHour = 21;
        time.ucMinute = 40;
        time.ucSecond = 5;
        VOS_CPU_TICK_S tick = {0x8a2c10e4u, 0x1fu};
        RsTraceRecordNew(&time, &tick, url, ms);
    }
    std::vector<std::string> FileLines() const {
        std::ifstream in(file_);
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);)
            lines.push_back(line);
        return lines;
    }

    rstest::Deployment deployment_;
    std::string file_;
};

TEST_F(Trace, FullBatchWritesEveryLineAndEmptiesTheList) {
    RsTraceParaSet(3, 1);
    ASSERT_EQ(g_restHandlerTraceEnable, 1u);
    Add("api/items/{id}", 12);
    Add("a", 1);
    EXPECT_TRUE(FileLines().empty());
    EXPECT_EQ(g_restTraceHead.uiCount, 2u);
    Add("b", 2);
    std::vector<std::string> lines = FileLines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "2026-11-16 21:40:05 startTick:0x1f 0x8a2c10e4,url:api/items/{id},procMs:12");
    EXPECT_EQ(lines[2], "2026-11-16 21:40:05 startTick:0x1f 0x8a2c10e4,url:b,procMs:2");
    EXPECT_EQ(g_restTraceHead.pstFirst, nullptr);
    EXPECT_EQ(g_restTraceHead.uiCount, 0u);
    EXPECT_EQ(g_restTraceHead.uiFull, 0u);
    Add("c");
    EXPECT_EQ(FileLines().size(), 3u) << "the fourth record starts a new batch";
}

TEST_F(Trace, SwitchingOnFlushesPendingAndOffKeepsThem) {
    RsTraceParaSet(10, 1);
    Add("a");
    Add("b");
    RsTraceParaSet(10, 0);
    EXPECT_EQ(g_restHandlerTraceEnable, 0u);
    EXPECT_TRUE(FileLines().empty());
    RsTraceParaSet(3, 1);
    EXPECT_EQ(FileLines().size(), 2u);
    EXPECT_EQ(g_restTraceHead.uiCount, 0u);
}

TEST_F(Trace, LongUrlsUseTheHeapAndOverlongLinesAreSkipped) {
    RsTraceParaSet(1, 1);
    std::string url200(200, 'u'), url1000(1000, 'v');
    Add(url200.c_str());
    Add(url1000.c_str());
    Add("after");
    std::vector<std::string> lines = FileLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0].find(",url:" + url200 + ",procMs:7"), std::string::npos);
    EXPECT_NE(lines[1].find(",url:after,"), std::string::npos);
}

TEST_F(Trace, UnopenableFileKeepsRecordsForLater) {
    RsTraceParaSet(1, 1);
    ASSERT_EQ(rmdir((deployment_.Root() + "/var/log/slot-3").c_str()), 0);
    Add("a");
    Add("b");
    EXPECT_EQ(g_restTraceHead.uiCount, 2u) << "the list grows past the batch size";
    ASSERT_EQ(mkdir((deployment_.Root() + "/var/log/slot-3").c_str(), 0755), 0);
    Add("c");
    std::vector<std::string> lines = FileLines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_NE(lines[0].find(",url:a,"), std::string::npos);
    struct stat info = {};
    ASSERT_EQ(stat(file_.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0640u);
}

TEST(TraceTicks, DifferenceBorrowsFromTheHighWord) {
    const struct {
        VOS_CPU_TICK_S start, end, want;
    } cases[] = {{{0xFFFFFFF0u, 0}, {0x10u, 1}, {0x20u, 0}},
                 {{5u, 2}, {9u, 2}, {4u, 0}},
                 {{0x10u, 1}, {0x0Fu, 3}, {0xFFFFFFFFu, 1}}};
    for (const auto &c : cases) {
        VOS_CPU_TICK_S delta = {1, 1};
        RsGetDeltaCpuTick(&c.start, &c.end, &delta);
        EXPECT_EQ(delta.uiHigh, c.want.uiHigh);
        EXPECT_EQ(delta.uiLow, c.want.uiLow);
    }
}

// Switches tracing off while the request is inside its handler.
u32 SwitchOffHandler(RS_REQUEST *request, RS_RESPONSE *response) {
    (void)request;
    RsTraceParaSet(100, 0);
    return RESTSERVER_HttpRspDataWrite(response, "ok", 200);
}

std::string Get(uint16_t port, const std::string &target) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::string answer;
    if (connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof(addr)) == 0) {
        timeval timeout = {3, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
        std::string request = "GET " + target + " HTTP/1.1\r\nHost: t\r\nConnection: close\r\n\r\n";
        (void)send(fd, request.data(), request.size(), MSG_NOSIGNAL);
        char buf[4096];
        for (ssize_t n; (n = recv(fd, buf, sizeof(buf), 0)) > 0;)
            answer.append(buf, static_cast<size_t>(n));
    }
    close(fd);
    return answer;
}

TEST_F(Trace, RootHandlerDecidesOncePerRequest) {
    std::string json = "{\"node\":{\"common_root\":\"" + deployment_.Root() + "\"}}";
    ASSERT_EQ(PLAT_InitFromText(json.c_str()), 0u) << PLAT_LastError();
    g_frame_slot_id = 3;
    deployment_.WriteAccessRules();
    ASSERT_EQ(RESTSERVER_GlobalInit(), 0u);
    RS_INSTANCE *inst = nullptr;
    u8 id = 0;
    ASSERT_EQ(RESTSERVER_InstMake(&inst, &id), 0u);
    rstest::LogCapture log;
    uint16_t port = rstest::FreePort();
    RsDomainEnable(inst->pstWebEnv, "127.0.0.1", std::to_string(port).c_str());
    RsHandlerEnable(inst->pstWebEnv, RS_GROUP_NONE, "off/{x}", SwitchOffHandler);
    RsStateSet(inst, RS_STATE_REGISTERING);
    ASSERT_EQ(RsStartListen(inst), 0u);
    for (int i = 0; i < 300 && !log.Has("KernelServer Started, RetCode:0.", RS_LOG_INFO); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));

    RsTraceParaSet(100, 1);
    EXPECT_EQ(Get(port, "/off/1").rfind("HTTP/1.1 200", 0), 0u);
    EXPECT_EQ(g_restHandlerTraceEnable, 0u);
    EXPECT_EQ(g_restTraceHead.uiCount, 1u) << "on at arrival: recorded";
    EXPECT_EQ(Get(port, "/off/2").rfind("HTTP/1.1 200", 0), 0u);
    EXPECT_EQ(g_restTraceHead.uiCount, 1u) << "off at arrival: not recorded";
    RsTraceParaSet(100, 1);
    std::vector<std::string> lines = FileLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find(",url:off/{x},procMs:"), std::string::npos) << lines[0];
    RESTSERVER_InstDestroy(inst);
    RESTSERVER_GlobalUnInit();
}

}  // namespace
