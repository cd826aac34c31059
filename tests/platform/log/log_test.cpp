// Log lines: the level filter, formatting and long messages seen through the
// hook, and the configured file, written to by threads while the hook changes.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "plat_config.h"
#include "plat_log.h"
#include "support/log_capture.h"

namespace {

// The lengths count the terminators, as callers passing sizeof do.
#define LOG_AT(level, ...) \
    QOR_CFrameLogToFile(g_stLogCfgs.pHandle, "web/session.cpp", 16, "RsSessionMake", 14, 321, level, __VA_ARGS__)

TEST(LogHook, LinesBelowTheLevelAreDroppedOthersArriveFormattedAndWhole) {
    rstest::LogCapture capture;
    g_stLogCfgs.uiLevel = PLAT_LOG_WARN;
    const std::pair<u32, bool> levels[] = {{PLAT_LOG_FINE, false}, {PLAT_LOG_INFO, false}, {3, false},
                                           {PLAT_LOG_WARN, true},  {PLAT_LOG_ERROR, true}, {9, true}};
    for (auto [level, kept] : levels) {
        LOG_AT(level, "level %u", level);
        EXPECT_EQ(capture.Count("level " + std::to_string(level), level), kept ? 1u : 0u) << level;
    }
    for (size_t len : {1023u, 1024u, 1025u, 70000u}) {  // around the stack buffer and far past it
        std::string text(len, 'x');
        text.back() = 'E';
        LOG_AT(PLAT_LOG_ERROR, "%s", text.c_str());
        EXPECT_EQ(capture.Count(text, PLAT_LOG_ERROR), 1u) << len;
    }
}

TEST(LogFile, ConcurrentLinesAreOnDiskWholeWhileTheHookChangesUntilLoggingIsDisabled) {
    char dir[] = "/tmp/plat_log_XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    const std::string file = dir + std::string("/nested/dir/restserver.log");
    const std::string json = R"({"log": {"enabled": true, "level": 1, "file": ")" + file + "\"}}";
    ASSERT_EQ(PLAT_InitFromText(json.c_str()), PLAT_OK) << PLAT_LastError();
    std::vector<std::string> lines;
    auto read = [&file, &lines] {
        std::ifstream in(file);
        lines.clear();
        for (std::string line; std::getline(in, line);)
            lines.push_back(line);
    };
    LOG_AT(PLAT_LOG_ERROR, "session table %s", "full");
    read();
    ASSERT_EQ(lines.size(), 1u) << "on disk when the call returns";
    const std::string thread = std::string("[").append(std::to_string(gettid())).append("]");
    for (const char *part : {"error", thread.c_str(), "web/session.cpp:321", "RsSessionMake", "session table full"})
        EXPECT_NE(lines[0].find(part), std::string::npos) << part << " in " << lines[0];

    const std::string payload(3000, 'p');  // longer than the stack buffer
    auto logMany = [&payload] {
        for (int i = 0; i < 200; ++i)
            LOG_AT(PLAT_LOG_INFO, "%s", payload.c_str());
    };
    std::thread first(logMany), second(logMany);
    std::atomic<int> seen{0};
    auto count = [](u32, const char *, void *user) { ++*static_cast<std::atomic<int> *>(user); };
    for (int i = 0; i < 50; ++i) {
        PLAT_LogHookSet(count, &seen);
        PLAT_LogHookSet(nullptr, nullptr);
    }
    first.join();
    second.join();
    const int cleared = seen.load();
    ASSERT_EQ(PLAT_InitFromText(R"({"log": {"enabled": false}})"), PLAT_OK);
    LOG_AT(PLAT_LOG_ERROR, "after disabling");
    EXPECT_EQ(seen.load(), cleared) << "a cleared hook sees nothing";
    read();
    ASSERT_EQ(lines.size(), 401u);
    for (size_t i = 1; i < lines.size(); ++i)
        ASSERT_EQ(lines[i].size() - lines[i].find(payload), payload.size()) << "each line ends with its own payload";
    std::filesystem::remove_all(dir);
}

}  // namespace
