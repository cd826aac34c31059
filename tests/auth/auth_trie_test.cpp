// The rule trie and the access check: which rule a request key finds, and
// what the check answers and logs.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "auth/restserver_auth_lock.h"
#include "auth/restserver_auth_rules.h"
#include "auth_test_util.h"
#include "support/log_capture.h"

namespace {

using authtest::AddRule;
using authtest::Caller;

class AuthTrie : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(RsAuthTokenInfosInit(), 0);
        RsAuthConfigTrieClear();
    }
    void TearDown() override { RsAuthConfigTrieClear(); }

    static std::string Found(const std::string &key) {
        RsAuthConfigTrieNode *leaf = SearchAuthConfigTrieNode(key.c_str());
        return leaf == nullptr ? "" : leaf->expression;
    }
};

TEST_F(AuthTrie, KeysFindTheirRule) {
    struct Case {
        const char *name;
        std::vector<std::string> rules;
        std::vector<std::pair<std::string, std::string>> keys;  // key, expression found ("" none)
    };
    const Case cases[] = {
        {"literal over placeholder",
         {"GETrest/a/special/role:lit", "GETrest/a/{id}/role:ph"},
         {{"GETrest/a/special", "role:lit"}, {"GETrest/a/other", "role:ph"}}},
        {"literal over placeholder, placeholder added last",
         {"GETrest/a/{id}/role:ph", "GETrest/a/special/role:lit"},
         {{"GETrest/a/special", "role:lit"}, {"GETrest/a/other", "role:ph"}}},
        {"backtracking through a placeholder after a dead end",
         {"GETrest/{p}/info/role:ph", "GETrest/users/list/role:lit"},
         {{"GETrest/users/info", "role:ph"}, {"GETrest/users/list", "role:lit"}, {"GETrest/users/other", ""}}},
        {"*** matches one or more segments, not zero",
         {"GETrest/files/***/role:any"},
         {{"GETrest/files/a", "role:any"}, {"GETrest/files/a/b/c", "role:any"}, {"GETrest/files", ""}}},
        {"literal and placeholder before ***",
         {"GETrest/files/***/role:any", "GETrest/files/{id}/role:ph", "GETrest/files/top/role:lit"},
         {{"GETrest/files/top", "role:lit"}, {"GETrest/files/x", "role:ph"}, {"GETrest/files/x/y", "role:any"}}},
        {"a * segment stops the insertion", {"GETrest/*/x/role:a"}, {{"GETrest/*/x", ""}, {"GETrest/any/x", ""}}},
        {"method mismatch", {"GETrest/a/role:a"}, {{"POSTrest/a", ""}, {"GETrest/a", "role:a"}}},
        {"a leading / makes the method a level of its own",
         {"GET/rest/a/role:a"},
         {{"GETrest/a", ""}, {"GET/rest/a", "role:a"}}},
        {"same path: the newest leaf decides",
         {"GETrest/a/role:first", "GETrest/a/role:second", "GETrest/a/role:first"},
         {{"GETrest/a", "role:second"}}},
        {"empty key segments do not count",
         {"GETrest/a/b/role:a"},
         {{"GETrest//a///b/", "role:a"}, {"", ""}, {"///", ""}, {"GETrest/a", ""}, {"GETrest/a/b/c", ""}}},
        {"segments match whole, case-sensitively",
         {"GETrest/abc/role:a"},
         {{"GETrest/ab", ""}, {"GETrest/abcd", ""}, {"GETrest/ABC", ""}}},
    };
    for (const Case &c : cases) {
        RsAuthConfigTrieClear();
        for (const auto &rule : c.rules)
            AddRule(rule);
        for (const auto &[key, want] : c.keys)
            EXPECT_EQ(Found(key), want) << c.name << ": " << key;
    }
}

TEST_F(AuthTrie, KeysOfManySegmentsAreSearchedWhole) {
    std::string path;
    for (int i = 0; i < 100; ++i)
        path += "/s" + std::to_string(i);
    AddRule("GET" + path + "/role:deep");
    AddRule("PUT/***/role:tail");
    EXPECT_EQ(Found("GET" + path), "role:deep");
    EXPECT_EQ(Found("GET" + path + "/extra"), "");
    EXPECT_EQ(Found("PUT" + path), "role:tail");
}

TEST_F(AuthTrie, PlaceholderSegments) {
    struct Case {
        const char *segment;
        u32 want;
    };
    const Case cases[] = {{"{id}", 1}, {"{service-id_2}", 1}, {"{}", 0},    {"{a}b", 0},
                          {"id", 0},   {"{a.b}", 0},          {"{{a}}", 0}, {"*", 0}};
    for (const Case &c : cases)
        EXPECT_EQ(UrlParamHolderCheck(c.segment), c.want) << c.segment;
}

TEST_F(AuthTrie, AccessCheckAnswersAndLogs) {
    AddRule("GETrest/a/role:op_regular | role:op_admin");
    AddRule("GETrest/b/AND TRUE");  // no word recognised: no tree
    struct Case {
        const char *key;
        std::vector<std::string> roles;
        u32 want;
        const char *message;  // level 5, "" none
    };
    const Case cases[] = {
        {"GETrest/a", {"role:op_admin"}, 0, ""},
        {"GETrest/a", {"role:guest"}, 0xFFFFFFFFu, "ExpressionParse return false."},
        {"GETrest/c", {"role:op_admin"}, 0xFFFFFFFFu, "SearchAuthExpression fail."},
        {"GETrest/b", {"role:op_admin"}, 0xFFFFFFFFu, "SearchAuthExpression fail."},
    };
    for (const Case &c : cases) {
        rstest::LogCapture logs;
        Caller caller(c.roles);
        EXPECT_EQ(RsAuthAccessCheck(c.key, &caller.item), c.want) << c.key;
        if (c.message[0] == '\0') {
            EXPECT_TRUE(logs.Lines().empty()) << c.key;
        } else {
            EXPECT_EQ(logs.Count(c.message, 5), 1u) << c.key;
        }
    }
}

TEST_F(AuthTrie, SelfTestNeedsARuleWithALeadingSlash) {
    {
        AddRule("GETrest/servicemanager/v1/services/{id}/role:op_regular");
        rstest::LogCapture logs;
        EXPECT_EQ(RsAuthAccessCheckTest(), 2u);
        EXPECT_TRUE(logs.Has("Auth filter access check fail.", 5));
    }
    {
        AddRule("GET/rest/servicemanager/v1/services/{id}/role:op_regular");
        rstest::LogCapture logs;
        EXPECT_EQ(RsAuthAccessCheckTest(), 0u);
        EXPECT_TRUE(logs.Has("Auth filter access check succ.", 2));
    }
}

}  // namespace
