// Screen log, stack trace and self-suspension.
#include <signal.h>
#include <unistd.h>

#include <sstream>
#include <string>
#include <thread>

#include "core/restserver_core.h"
#include "core/restserver_diag.h"
#include "core/restserver_string.h"
#include "core_fixture.h"
#include "support/suspended_thread.h"

namespace {

using ScreenLog = rstest::CoreTest;

TEST_F(ScreenLog, PathIsUnderTheCommonRoot) {
    char path[256] = {0};
    _lwGetScreenFileName(path, sizeof(path));
    EXPECT_EQ(std::string(path), deployment_.Root() + "/var/log/pubScreenLog.txt");
}

TEST_F(ScreenLog, MessagesAreAppendedAsIsUpTo1023Characters) {
    RsLwScreenPrinf("first");
    RsLwScreenPrinf(" continues %d\n", 7);
    std::string exact(1023, 'e');
    RsLwScreenPrinf("%s", exact.c_str());
    std::string too_long(1024, 't');
    RsLwScreenPrinf("%s", too_long.c_str());
    RsLwScreenPrinf("%s", "");
    EXPECT_EQ(rstest::ScreenLogText(), "first continues 7\n" + exact);
}

TEST_F(ScreenLog, TraceStackFramesSitBetweenTwoRules) {
    RsTraceStack();
    const std::string rule(53, '-');
    std::string text = rstest::ScreenLogText();
    const std::string head = "TraceStack.\n" + rule + "\n";
    ASSERT_EQ(text.compare(0, head.size(), head), 0) << text;
    ASSERT_GE(text.size(), head.size() + rule.size() + 2);
    EXPECT_EQ(text.substr(text.size() - rule.size() - 2), rule + "\r\n");
    std::istringstream frames(text.substr(head.size(), text.size() - head.size() - rule.size() - 2));
    int count = 0;
    for (std::string frame; std::getline(frames, frame); ++count) {
        size_t arrow = frame.find(" --> ");
        ASSERT_NE(arrow, std::string::npos) << frame;
        EXPECT_EQ(frame.compare(0, 2, "0x"), 0) << frame;
        EXPECT_EQ(frame.find_first_not_of("0123456789abcdef", 2), arrow) << frame;
    }
    EXPECT_GE(count, 1);
    EXPECT_LE(count, 26);
}

TEST_F(ScreenLog, SuspendedThreadResumesOnItsSignalAndKeepsItBlocked) {
    bool still_blocked = false;
    int resumed = rstest::RunResumingAsserts([&] {
        RsSuspendSelf();
        sigset_t mask;
        pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        still_blocked = sigismember(&mask, SIGUSR2) == 1;
    });
    EXPECT_EQ(resumed, 1);
    EXPECT_TRUE(still_blocked);
    u32 tid = 0;
    size_t next = 0;
    std::string text = rstest::ScreenLogText();
    ASSERT_TRUE(rstest::NextSuspendLine(text, 0, &tid, &next)) << text;
    EXPECT_EQ(next, text.find("Thread ", 1));
    EXPECT_EQ(text.substr(next), "Thread " + std::to_string(tid) + " will resume.\n");
}

TEST_F(ScreenLog, AssertionReportsSiteConditionStackAndGoesOn) {
    bool continued = false;
    int line = 0;
    int resumed = rstest::RunResumingAsserts([&] {
        line = __LINE__ + 1;
        RS_ASSERT(continued == true);
        continued = true;
    });
    EXPECT_EQ(resumed, 1);
    EXPECT_TRUE(continued);
    std::string text = rstest::ScreenLogText();
    std::string want_head = std::string("\n") + __FILE__ + ":\n" + "operator() : " + std::to_string(line) +
                            "\nassert (continued == true)\nTraceStack.\n";
    EXPECT_EQ(text.compare(0, want_head.size(), want_head), 0) << text;
    u32 tid = 0;
    size_t next = 0;
    size_t rule_end = text.find("-\r\n");
    ASSERT_NE(rule_end, std::string::npos) << text;
    ASSERT_TRUE(rstest::NextSuspendLine(text, rule_end, &tid, &next)) << text;
    EXPECT_EQ(text.find("Thread "), rule_end + 3);
    EXPECT_EQ(text.substr(next), "Thread " + std::to_string(tid) + " will resume.\n");
}

TEST(ThreadUtilities, IdsMatchTheSystemAndTgkillReachesOneThread) {
    EXPECT_EQ(_restserver_util_Getpid(), getpid());
    s64 main_tid = _restserver_util_Gettid();
    EXPECT_EQ(main_tid, getpid());
    s64 other_tid = 0;
    std::thread([&] { other_tid = _restserver_util_Gettid(); }).join();
    EXPECT_NE(other_tid, main_tid);
    EXPECT_EQ(_restserver_util_Tgkill(getpid(), static_cast<u32>(main_tid), 0), 0);
    EXPECT_NE(_restserver_util_Tgkill(getpid(), 0x7ffffff0u, 0), 0);
}

}  // namespace
