// PLAT_Init reads ../conf/platform.json relative to the working directory.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "plat_config.h"
#include "plat_log.h"

namespace {

namespace fs = std::filesystem;

// A deployment directory with conf/ and bin/; the test runs inside bin/.
class DeploymentDir : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/plat_config_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        root_ = pattern;
        fs::create_directories(root_ / "conf");
        fs::create_directories(root_ / "bin");
        previous_ = fs::current_path();
        fs::current_path(root_ / "bin");
    }
    void TearDown() override {
        fs::current_path(previous_);
        fs::remove_all(root_);
    }
    void WriteConfig(const std::string &text) { std::ofstream(root_ / "conf" / "platform.json") << text; }

    fs::path root_;
    fs::path previous_;
};

TEST_F(DeploymentDir, MissingFileFails) {
    EXPECT_NE(PLAT_Init(), 0u);
    EXPECT_NE(std::string(PLAT_LastError()).find("../conf/platform.json"), std::string::npos);
}

TEST_F(DeploymentDir, BadFileFailsNamingTheMember) {
    WriteConfig(R"({"node": {"instance_id": "one"}})");
    EXPECT_NE(PLAT_Init(), 0u);
    EXPECT_NE(std::string(PLAT_LastError()).find("node.instance_id: expected a number"), std::string::npos)
        << PLAT_LastError();
}

TEST_F(DeploymentDir, ReadsOnceAndOpensTheLogCreatingItsDirectories) {
    WriteConfig(R"({"node": {"instance_id": 5},
                    "log": {"enabled": true, "file": "../var/log/deep/restserver.log", "level": 1}})");
    ASSERT_EQ(PLAT_Init(), 0u) << PLAT_LastError();
    EXPECT_EQ(Loc_GetLocalInstanceID(), 5u);
    EXPECT_EQ(g_stLogCfgs.uiEnable, 1u);
    EXPECT_EQ(g_stLogCfgs.uiLevel, 1u);
    EXPECT_STREQ(g_stLogCfgs.acFile, "../var/log/deep/restserver.log");
    EXPECT_TRUE(fs::exists(root_ / "var" / "log" / "deep" / "restserver.log"));

    WriteConfig(R"({"node": {"instance_id": 6}})");
    EXPECT_EQ(PLAT_Init(), 0u);
    EXPECT_EQ(Loc_GetLocalInstanceID(), 5u);
}

TEST_F(DeploymentDir, UnopenableLogFileIsRejected) {
    fs::create_directories(root_ / "var" / "log.d");
    WriteConfig(R"({"log": {"enabled": true, "file": "../var/log.d"}})");
    EXPECT_NE(PLAT_Init(), 0u);
    EXPECT_NE(std::string(PLAT_LastError()).find("log.file"), std::string::npos) << PLAT_LastError();
    EXPECT_EQ(g_stLogCfgs.uiEnable, 0u);
}

}  // namespace
