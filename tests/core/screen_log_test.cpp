// The assertion's report in the screen log, and the suspended thread.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>

#include "core/restserver_diag.h"
#include "support/deployment.h"
#include "support/suspended_thread.h"

namespace {

// Site, condition, stack between two rules, then suspend and resume; the
// thread goes on once signalled.
TEST(ScreenLog, AssertionReportsSuspendsAndGoesOnAfterTheSignal) {
    rstest::Deployment deployment;
    ASSERT_EQ(deployment.PrepareInstances(), "");
    bool continued = false, still_blocked = false;
    int line = 0;
    int resumed = rstest::RunResumingAsserts([&] {
        line = __LINE__ + 1;
        RS_ASSERT(continued == true);
        continued = true;
        sigset_t mask;
        pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        still_blocked = sigismember(&mask, SIGUSR2) == 1;
    });
    EXPECT_EQ(resumed, 1);
    EXPECT_TRUE(continued);
    EXPECT_TRUE(still_blocked) << "the resume signal stays blocked";
    EXPECT_TRUE(std::filesystem::exists(deployment.Path("var/log/pubScreenLog.txt"))) << "under the common root";
    const std::string text = rstest::ScreenLogText(), rule(53, '-');
    const std::string head = std::string("\n") + __FILE__ + ":\noperator() : " + std::to_string(line) +
                             "\nassert (continued == true)\nTraceStack.\n" + rule + "\n";
    ASSERT_EQ(text.compare(0, head.size(), head), 0) << text;
    size_t end = text.find(rule + "\r\n", head.size());
    ASSERT_NE(end, std::string::npos) << text;
    const std::string frame = text.substr(head.size(), text.find('\n', head.size()) - head.size());
    EXPECT_EQ(frame.find_first_not_of("0123456789abcdef", 2), frame.find(" --> ")) << frame;
    EXPECT_EQ(frame.compare(0, 2, "0x"), 0) << frame;
    u32 tid = 0;
    size_t next = 0;
    ASSERT_TRUE(rstest::NextSuspendLine(text, end, &tid, &next)) << text;
    EXPECT_EQ(text.find("Thread "), end + rule.size() + 2);
    EXPECT_EQ(text.substr(next), "Thread " + std::to_string(tid) + " will resume.\n");
}

}  // namespace
