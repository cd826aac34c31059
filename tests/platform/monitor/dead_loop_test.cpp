// The dead-loop monitor on a real server: an entry call running past the maximum
// is reported once, while it still runs; calls that return in time never are.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "plat_client.h"
#include "plat_kernel.h"
#include "plat_monitor.h"
#include "support/free_port.h"

namespace {

std::atomic<int> g_sleepMs{0}, g_reports{0}, g_reportsWhenEntryEnded{-1};

void SleepEntry(REST_REQ req, void *, void *) {
    std::this_thread::sleep_for(std::chrono::milliseconds(g_sleepMs.load()));
    g_reportsWhenEntryEnded = g_reports.load();
    REST_ResponseSend(req, 200, "done", 4);
}

TEST(DeadLoopMonitor, ReportsAnOverdueEntryOnceWhileItRunsAndNeverATimelyOne) {
    REST_END_POINT endpoint{0, rstest::FreePort(), {0, 0}, "127.0.0.1"};
    REST_HANDLE server = REST_ServerCreate(0);
    REST_ServerBraceFuncAdd(server, "/sleep", SleepEntry, nullptr);
    REST_EndPointBind(server, &endpoint, 128, 0);
    ASSERT_EQ(REST_ServerStart(server, 0), PLAT_OK);
    auto call = [&endpoint] {
        char *body = nullptr;
        u32 len = 0, status = 0;
        EXPECT_EQ(SSP_RestRequestSendEx(SSP_REST_GET, &endpoint, "/sleep", &body, &len, &status), PLAT_OK);
        SSP_ResponseBodyFree(body);
    };
    CF_DeadLoopCallBackSet([] { g_reports.fetch_add(1); });
    ASSERT_TRUE(CF_DeadLoopCheckIntervalSet(10) == PLAT_OK && CF_DeadLoopTaskMaxRunTimeSet(150) == PLAT_OK);
    ASSERT_EQ(CF_DeadLoopMonitorSwitch(1), PLAT_OK);
    call();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));  // past the maximum since that call began
    EXPECT_EQ(g_reports.load(), 0);
    g_sleepMs = 600;  // several checks see the same overdue call
    call();
    EXPECT_EQ(g_reportsWhenEntryEnded.load(), 1);
    EXPECT_EQ(g_reports.load(), 1);
    EXPECT_EQ(CF_DeadLoopMonitorSwitch(0), PLAT_OK);
    REST_ServerStop(server);
}

}  // namespace
