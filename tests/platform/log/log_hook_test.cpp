// The level filter, the hook and long messages, observed through the hook.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "plat_log.h"
#include "support/log_capture.h"

namespace {

#define LOG_AT(level, ...)                                                                                            \
    QOR_CFrameLogToFile(g_stLogCfgs.pHandle, __FILE__, sizeof(__FILE__), __func__, sizeof(__func__), __LINE__, level, \
                        __VA_ARGS__)

TEST(LogHook, LinesBelowTheConfiguredLevelAreDropped) {
    rstest::LogCapture capture;
    g_stLogCfgs.uiLevel = PLAT_LOG_WARN;
    struct Case {
        u32 level;
        bool kept;
    };
    const Case cases[] = {{PLAT_LOG_FINE, false}, {PLAT_LOG_INFO, false}, {3, false},
                          {PLAT_LOG_WARN, true},  {PLAT_LOG_ERROR, true}, {9, true}};
    for (const Case &c : cases) {
        LOG_AT(c.level, "level %u", c.level);
        EXPECT_EQ(capture.Count("level " + std::to_string(c.level), c.level), c.kept ? 1u : 0u) << c.level;
    }
}

TEST(LogHook, MessageIsFormattedWithoutPrefix) {
    rstest::LogCapture capture;
    LOG_AT(PLAT_LOG_INFO, "user %s id %d hex 0x%08x", "alice", -3, 0xABCDu);
    ASSERT_EQ(capture.Lines().size(), 1u);
    EXPECT_EQ(capture.Lines()[0].text, "user alice id -3 hex 0x0000abcd");
    EXPECT_EQ(capture.Lines()[0].level, PLAT_LOG_INFO);
}

TEST(LogHook, LongMessagesAreKeptWhole) {
    rstest::LogCapture capture;
    for (size_t len : {1023u, 1024u, 1025u, 70000u}) {
        std::string text(len, 'x');
        text.back() = 'E';
        LOG_AT(PLAT_LOG_ERROR, "%s", text.c_str());
        EXPECT_EQ(capture.Count(text, PLAT_LOG_ERROR), 1u) << len;
    }
}

TEST(LogHook, ClearedHookSeesNothing) {
    std::vector<std::string> seen;
    auto hook = [](u32, const char *message, void *user) {
        static_cast<std::vector<std::string> *>(user)->push_back(message);
    };
    g_stLogCfgs.uiLevel = 0;
    PLAT_LogHookSet(hook, &seen);
    LOG_AT(PLAT_LOG_INFO, "one");
    PLAT_LogHookSet(nullptr, nullptr);
    LOG_AT(PLAT_LOG_INFO, "two");
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0], "one");
}

TEST(LogHook, ManyThreadsLogWhileTheHookIsSwapped) {
    rstest::LogCapture capture;
    constexpr int kThreads = 4;
    constexpr int kLines = 200;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < kLines; ++i)
                LOG_AT(PLAT_LOG_INFO, "thread %d line %d", t, i);
        });
    }
    // Setting and clearing a second hook concurrently must not race with the calls.
    std::atomic<int> other{0};
    for (int i = 0; i < 50; ++i) {
        PLAT_LogHookSet([](u32, const char *, void *user) { ++*static_cast<std::atomic<int> *>(user); }, &other);
        PLAT_LogHookSet(nullptr, nullptr);
    }
    for (auto &thread : threads)
        thread.join();
    EXPECT_LE(capture.Lines().size(), static_cast<size_t>(kThreads * kLines));

    rstest::LogCapture again;
    threads.clear();
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < kLines; ++i)
                LOG_AT(PLAT_LOG_INFO, "thread %d line %d", t, i);
        });
    }
    for (auto &thread : threads)
        thread.join();
    EXPECT_EQ(again.Lines().size(), static_cast<size_t>(kThreads * kLines));
    EXPECT_EQ(again.Count("thread 3 line 199", PLAT_LOG_INFO), 1u);
}

TEST(LogHook, WithoutFileOrSourceTheLineStillReachesTheHook) {
    rstest::LogCapture capture;
    LOG_AT(PLAT_LOG_ERROR, "nowhere %d", 1);
    QOR_CFrameLogToFile(nullptr, nullptr, 0, nullptr, 0, 0, PLAT_LOG_ERROR, "null file and function");
    EXPECT_EQ(capture.Count("nowhere 1", PLAT_LOG_ERROR), 1u);
    EXPECT_EQ(capture.Count("null file and function", PLAT_LOG_ERROR), 1u);
}

}  // namespace
