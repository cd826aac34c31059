// Loading right.json and policy.json: rules that work end to end, and every
// way a load fails or skips a rule, with the lines it logs.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "auth/restserver_auth_lock.h"
#include "auth/restserver_auth_rules.h"
#include "auth_test_util.h"
#include "core/restserver_json_file.h"
#include "support/log_capture.h"

namespace {

using authtest::Caller;

constexpr u32 kFailed = 0xFFFFFFFFu;
const char *const kExampleRight =
    R"([{"method":"GET","uri-pattern":"rest/servicemanager/v1/services/{serviceId}","action":"service-read"}])";
const char *const kExamplePolicy = R"({"service-read":"role:op_regular | role:op_admin"})";

class AuthRuleFiles : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/auth_rules_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        rightPath_ = dir_ + "/right.json";
        policyPath_ = dir_ + "/policy.json";
        g_pcRightJsonPath = rightPath_.c_str();
        g_pcPolicyJsonPath = policyPath_.c_str();
        ASSERT_EQ(RsAuthTokenInfosInit(), 0);
        RsAuthConfigTrieClear();
    }
    void TearDown() override {
        RsAuthConfigTrieClear();
        std::filesystem::remove_all(dir_);
    }

    static void Write(const std::string &path, const std::string &text) { std::ofstream(path) << text; }
    void WriteRules(const std::string &right, const std::string &policy) {
        Write(rightPath_, right);
        Write(policyPath_, policy);
    }
    static u32 Check(const char *key, const std::string &role) {
        Caller caller({role});
        return RsAuthAccessCheck(key, &caller.item);
    }

    std::string dir_, rightPath_, policyPath_;
};

TEST_F(AuthRuleFiles, ExampleRuleGrantsByRole) {
    WriteRules(kExampleRight, kExamplePolicy);
    ASSERT_EQ(RsAuthConfigLoad(), 0u);
    EXPECT_EQ(Check("GETrest/servicemanager/v1/services/qq", "role:op_regular"), 0u);
    EXPECT_EQ(Check("GETrest/servicemanager/v1/services/qq", "role:guest"), kFailed);
    EXPECT_EQ(Check("DELETErest/servicemanager/v1/services/qq", "role:op_admin"), kFailed);
}

TEST_F(AuthRuleFiles, ReloadKeepsPathsAndTheNewestExpressionDecides) {
    WriteRules(kExampleRight, kExamplePolicy);
    ASSERT_EQ(RsAuthConfigLoad(), 0u);
    Write(policyPath_, R"({"service-read":"role:op_admin"})");
    ASSERT_EQ(RsAuthConfigLoad(), 0u);
    EXPECT_EQ(Check("GETrest/servicemanager/v1/services/qq", "role:op_regular"), kFailed);
    EXPECT_EQ(Check("GETrest/servicemanager/v1/services/qq", "role:op_admin"), 0u);
}

TEST_F(AuthRuleFiles, LoadFailuresAreReported) {
    struct Case {
        const char *name;
        const char *right;   // nullptr: no file
        const char *policy;  // nullptr: no file
        std::vector<const char *> messages;
    };
    const Case cases[] = {
        {"no right.json", nullptr, kExamplePolicy, {"Right json path invalid.", "RsAuthRightConfigLoad failed."}},
        {"right.json not JSON",
         "[{",
         kExamplePolicy,
         {"Right json object parse failed.", "RsAuthRightConfigLoad failed."}},
        {"no policy.json", kExampleRight, nullptr, {"Policy json path invalid.", "RsAuthPolicyConfigLoad failed."}},
        {"policy.json not JSON", kExampleRight, "{\"a\":", {"Policy json object parse failed."}},
        {"empty rule array", "[]", kExamplePolicy, {"urlNum is zero."}},
        {"rules not an array", "{}", kExamplePolicy, {"urlNum is zero."}},
        {"action missing from policy.json",
         R"([{"method":"GET","uri-pattern":"rest/a","action":"nope"}])",
         kExamplePolicy,
         {"pMethod or pUrlPattern or pPolicy is NULL."}},
        {"method missing",
         R"([{"uri-pattern":"rest/a","action":"service-read"}])",
         kExamplePolicy,
         {"pMethod or pUrlPattern or pPolicy is NULL."}},
        {"uri-pattern not a string",
         R"([{"method":"GET","uri-pattern":7,"action":"service-read"}])",
         kExamplePolicy,
         {"pMethod or pUrlPattern or pPolicy is NULL."}},
    };
    for (const Case &c : cases) {
        std::filesystem::remove(rightPath_);
        std::filesystem::remove(policyPath_);
        if (c.right != nullptr) Write(rightPath_, c.right);
        if (c.policy != nullptr) Write(policyPath_, c.policy);
        rstest::LogCapture logs;
        EXPECT_EQ(RsAuthConfigLoad(), kFailed) << c.name;
        for (const char *message : c.messages)
            EXPECT_EQ(logs.Count(message, 5), 1u) << c.name << ": " << message;
    }
}

TEST_F(AuthRuleFiles, RulesBeforeAFailingOneStay) {
    WriteRules(R"([{"method":"GET","uri-pattern":"rest/a","action":"read"},
                   {"method":"GET","uri-pattern":"rest/b","action":"missing"},
                   {"method":"GET","uri-pattern":"rest/c","action":"read"}])",
               R"({"read":"role:r"})");
    EXPECT_EQ(RsAuthConfigLoad(), kFailed);
    EXPECT_EQ(Check("GETrest/a", "role:r"), 0u);
    EXPECT_EQ(Check("GETrest/c", "role:r"), kFailed);
}

TEST_F(AuthRuleFiles, OversizedRulesAreSkippedByAction) {
    std::string manyWords;
    for (int i = 0; i < 129; ++i)
        manyWords += "role:w ";
    const std::string bracketed = "(role:" + std::string(60, 'r') + ")";
    const std::string longPattern = "rest/" + std::string(1100, 'p');
    WriteRules(R"([{"method":"GET","uri-pattern":")" + longPattern + R"(","action":"read"},
                   {"method":"GET","uri-pattern":"rest/words","action":"wordy"},
                   {"method":"GET","uri-pattern":"rest/bracket","action":"bracketed"},
                   {"method":"GET","uri-pattern":"rest/ok","action":"read"}])",
               R"({"read":"role:r","wordy":")" + manyWords + R"(","bracketed":")" + bracketed + R"("})");
    rstest::LogCapture logs;
    EXPECT_EQ(RsAuthConfigLoad(), 0u);
    EXPECT_TRUE(logs.Has("Rule of action read is longer than 1023 characters, skipped.", 5));
    EXPECT_TRUE(logs.Has("Expression of action wordy has more than 128 words, skipped.", 5));
    EXPECT_TRUE(logs.Has("Expression of action bracketed has a bracketed word over 63 characters, skipped.", 5));
    EXPECT_EQ(Check("GETrest/words", "role:w"), kFailed);
    EXPECT_EQ(Check("GETrest/bracket", "role:rrr"), kFailed);
    EXPECT_EQ(Check("GETrest/ok", "role:r"), 0u);
}

// A second instance's bring-up reloads (and re-parses every leaf) while the
// first one's requests are being checked.
TEST_F(AuthRuleFiles, ReloadsDoNotDisturbConcurrentChecks) {
    WriteRules(kExampleRight, kExamplePolicy);
    ASSERT_EQ(RsAuthConfigLoad(), 0u);
    std::atomic<bool> stop{false};
    std::atomic<int> refused{0};
    std::vector<std::thread> checkers;
    for (int t = 0; t < 2; ++t) {
        checkers.emplace_back([&] {
            while (!stop) {
                if (Check("GETrest/servicemanager/v1/services/qq", "role:op_regular") != 0) ++refused;
            }
        });
    }
    for (int i = 0; i < 200; ++i)
        EXPECT_EQ(RsAuthConfigLoad(), 0u);
    stop = true;
    for (auto &thread : checkers)
        thread.join();
    EXPECT_EQ(refused, 0);
}

TEST(JsonFileRead, ReadsLongLinesAndReportsTheCallersMessages) {
    const RS_JSON_FILE_MSGS msgs = {"m-alloc", "m-path", "m-open", "m-text", nullptr, "m-parse"};
    char tmpl[] = "/tmp/json_file_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    const std::string dir = tmpl;
    const std::string value(5000, 'v');  // one line of several line-buffer pieces
    std::ofstream(dir + "/long.json") << "{\n\"k\":\n\"" << value << "\"}\n";
    std::ofstream(dir + "/bad.json") << "{\"k\":";

    CFJSON *doc = nullptr;
    ASSERT_EQ(RsJsonFileRead((dir + "/long.json").c_str(), &msgs, &doc), 0u);
    EXPECT_EQ(CFJSON_StringValueGet(CFJSON_ObjectItemGet(doc, "k")), value);
    CFJSON_Delete(doc);

    struct Case {
        std::string path;
        const char *message;
    };
    const Case cases[] = {
        {dir + "/missing.json", "m-path"},
        {std::string(4096, 'a'), "m-path"},
        {dir + "/bad.json", "m-parse"},
    };
    for (const Case &c : cases) {
        rstest::LogCapture logs;
        doc = nullptr;
        EXPECT_EQ(RsJsonFileRead(c.path.c_str(), &msgs, &doc), kFailed) << c.message;
        EXPECT_EQ(doc, nullptr);
        EXPECT_EQ(logs.Count(c.message, 5), 1u) << c.message;
        EXPECT_EQ(logs.Lines().size(), 1u) << c.message;
    }
    if (geteuid() != 0) {  // root opens anything
        chmod((dir + "/bad.json").c_str(), 0);
        rstest::LogCapture logs;
        EXPECT_EQ(RsJsonFileRead((dir + "/bad.json").c_str(), &msgs, &doc), kFailed);
        EXPECT_TRUE(logs.Has("m-open", 5));
    }
    std::filesystem::remove_all(dir);
}

}  // namespace
