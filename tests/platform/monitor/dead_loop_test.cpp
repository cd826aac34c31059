// Dead-loop monitor: an entry running past the maximum makes the monitor call
// the callback once; entries that return in time never do.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "plat_kernel.h"
#include "plat_monitor.h"
#include "support/free_port.h"

namespace {

// One GET on a fresh connection; true when an answer's first bytes came back.
bool Request(uint16_t port, const char *target) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof(addr)) != 0) return false;
    std::string text = std::string("GET ") + target + " HTTP/1.1\r\nHost: t\r\n\r\n";
    send(fd, text.data(), text.size(), MSG_NOSIGNAL);
    char reply[64];
    bool answered = recv(fd, reply, sizeof(reply), 0) > 0;
    close(fd);
    return answered;
}

void SleepEntry(REST_REQ req, void *user, void *) {
    std::this_thread::sleep_for(std::chrono::milliseconds(static_cast<std::atomic<int> *>(user)->load()));
    REST_ResponseSend(req, 200, "done", 4);
}

std::atomic<int> g_reports{0};
void CountReport() {
    g_reports.fetch_add(1);
}
void ExitReport() {
    _exit(42);
}

REST_HANDLE ServeSleeper(uint16_t port, std::atomic<int> *sleep_ms) {
    REST_HANDLE server = REST_ServerCreate(0);
    REST_ServerBraceFuncAdd(server, "/sleep", SleepEntry, sleep_ms);
    REST_END_POINT endpoint{0, port, {0, 0}, "127.0.0.1"};
    REST_EndPointBind(server, &endpoint, 128, 0);
    REST_ServerStart(server, 0);
    return server;
}

TEST(DeadLoopMonitor, OverdueEntryEndsTheProcessThroughTheCallback) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            uint16_t port = rstest::FreePort();
            std::atomic<int> sleep_ms{3000};
            ServeSleeper(port, &sleep_ms);
            CF_DeadLoopCallBackSet(ExitReport);
            CF_DeadLoopCheckIntervalSet(10);
            CF_DeadLoopTaskMaxRunTimeSet(100);
            CF_DeadLoopMonitorSwitch(1);
            Request(port, "/sleep");
            _exit(0);  // the entry finished without the monitor noticing
        },
        ::testing::ExitedWithCode(42), "");
}

TEST(DeadLoopMonitor, ReportsOnceAndNeverForTimelyEntries) {
    uint16_t port = rstest::FreePort();
    std::atomic<int> sleep_ms{0};
    REST_HANDLE server = ServeSleeper(port, &sleep_ms);
    CF_DeadLoopCallBackSet(CountReport);
    EXPECT_NE(CF_DeadLoopCheckIntervalSet(0), 0u);
    EXPECT_NE(CF_DeadLoopTaskMaxRunTimeSet(0), 0u);
    CF_DeadLoopCheckIntervalSet(10);
    CF_DeadLoopTaskMaxRunTimeSet(150);
    ASSERT_EQ(CF_DeadLoopMonitorSwitch(1), 0u);
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(Request(port, "/sleep"));
    EXPECT_EQ(g_reports.load(), 0);
    sleep_ms = 600;  // several checks see the same overdue call
    ASSERT_TRUE(Request(port, "/sleep"));
    EXPECT_EQ(g_reports.load(), 1);
    ASSERT_EQ(CF_DeadLoopMonitorSwitch(0), 0u);
    REST_ServerStop(server);
}

}  // namespace
