// Lines written to the configured log file: on disk when the call returns,
// with level, thread, file:line and function.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "plat_config.h"
#include "plat_log.h"

namespace {

namespace fs = std::filesystem;

class LogFile : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/plat_log_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir_ = pattern;
        file_ = dir_ / "nested" / "dir" / "restserver.log";
    }
    void TearDown() override {
        PLAT_InitFromText("{}");  // closes the file
        fs::remove_all(dir_);
    }
    void Configure(u32 level) {
        std::string json = R"({"log": {"enabled": true, "level": )" + std::to_string(level) + R"(, "file": ")" +
                           file_.string() + "\"}}";
        ASSERT_EQ(PLAT_InitFromText(json.c_str()), 0u) << PLAT_LastError();
    }
    std::vector<std::string> Lines() const {
        std::ifstream in(file_);
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);)
            lines.push_back(line);
        return lines;
    }

    fs::path dir_;
    fs::path file_;
};

void LogFrom(u32 level, u32 line, const char *text) {
    static const char kFile[] = "web/session.cpp";
    static const char kFunc[] = "RsSessionMake";
    QOR_CFrameLogToFile(g_stLogCfgs.pHandle, kFile, sizeof(kFile), kFunc, sizeof(kFunc), line, level, "%s", text);
}

TEST_F(LogFile, LineIsOnDiskWhenTheCallReturns) {
    Configure(PLAT_LOG_INFO);
    ASSERT_EQ(g_stLogCfgs.uiEnable, 1u);
    EXPECT_EQ(g_stLogCfgs.acFile, file_.string());
    LogFrom(PLAT_LOG_ERROR, 321, "session table full");
    std::vector<std::string> lines = Lines();
    ASSERT_EQ(lines.size(), 1u);
    const std::string &line = lines[0];
    EXPECT_NE(line.find("web/session.cpp:321"), std::string::npos) << line;
    EXPECT_NE(line.find("RsSessionMake"), std::string::npos) << line;
    EXPECT_NE(line.find("error"), std::string::npos) << line;
    EXPECT_NE(line.find("session table full"), std::string::npos) << line;
    EXPECT_NE(line.find("[" + std::to_string(gettid()) + "]"), std::string::npos) << line;
}

TEST_F(LogFile, LevelFilterAppliesToTheFile) {
    Configure(PLAT_LOG_WARN);
    LogFrom(PLAT_LOG_FINE, 1, "fine");
    LogFrom(PLAT_LOG_INFO, 2, "progress");
    LogFrom(PLAT_LOG_WARN, 3, "warning");
    LogFrom(PLAT_LOG_ERROR, 4, "failure");
    std::vector<std::string> lines = Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0].find("warning"), std::string::npos);
    EXPECT_NE(lines[1].find("failure"), std::string::npos);
}

TEST_F(LogFile, ConcurrentLinesStayWhole) {
    Configure(PLAT_LOG_FINE);
    const std::string payload(3000, 'p');  // longer than the stack buffer
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&payload] {
            for (int i = 0; i < 100; ++i)
                LogFrom(PLAT_LOG_INFO, 7, payload.c_str());
        });
    }
    for (auto &thread : threads)
        thread.join();
    std::vector<std::string> lines = Lines();
    ASSERT_EQ(lines.size(), 400u);
    for (const std::string &line : lines) {
        ASSERT_NE(line.find(payload), std::string::npos);
        ASSERT_EQ(line.find("pp2"), std::string::npos);  // no line runs into the next
    }
}

TEST_F(LogFile, DisablingClosesTheFile) {
    Configure(PLAT_LOG_FINE);
    LogFrom(PLAT_LOG_INFO, 1, "before");
    ASSERT_EQ(PLAT_InitFromText(R"({"log": {"enabled": false}})"), 0u);
    LogFrom(PLAT_LOG_INFO, 2, "after");
    std::vector<std::string> lines = Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("before"), std::string::npos);
}

}  // namespace
