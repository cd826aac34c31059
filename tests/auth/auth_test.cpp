// The access expression language, the rule trie and the rule files.
#include <gtest/gtest.h>
#include <string.h>

#include <atomic>
#include <sstream>
#include <thread>

#include "auth/restserver_auth_filter.h"
#include "auth/restserver_auth_rules.h"
#include "core/restserver_core.h"
#include "core/restserver_log.h"
#include "support/deployment.h"
#include "support/log_capture.h"

namespace {

// A token record with the given roles (separated by blanks) and domain name.
struct Caller {
    std::string roles;
    std::vector<char *> pointers;
    RsTokenItem item{};
    explicit Caller(std::string role_text, const char *domain = "") : roles(std::move(role_text)) {
        char *rest = nullptr;
        for (char *role = strtok_r(roles.data(), " ", &rest); role != nullptr; role = strtok_r(nullptr, " ", &rest))
            pointers.push_back(role);
        item.roles = pointers.data();
        item.roleCount = static_cast<u32>(pointers.size());
        strncpy(item.userDomainName, domain, sizeof(item.userDomainName) - 1);
    }
};

// Tokenizes and parses one text; releases both when it goes.
struct Compiled {
    RsExprToken *list = nullptr;
    RsExprNode *tree = nullptr;
    u32 status = 0;
    explicit Compiled(std::string text) { status = RsExprCompile(text.data(), &list, &tree); }
    ~Compiled() {
        RsExprTreeFree(tree);
        RsExprTokenListFree(list);
    }
};

// and(l,r), or(l,r), not(x), leaves by their text, "-" for a missing operand.
std::string TreeText(const RsExprNode *node) {
    if (node == nullptr) return "-";
    if ((node->kind == RS_TOKEN_AND || node->kind == RS_TOKEN_OR) && (node->left != nullptr || node->right != nullptr))
        return (node->kind == RS_TOKEN_AND ? "and(" : "or(") + TreeText(node->left) + "," + TreeText(node->right) + ")";
    return node->kind == RS_TOKEN_NOT ? "not(" + TreeText(node->left) + ")" : node->text;
}

u32 Check(const char *key, const char *roles) {
    Caller caller(roles);
    return RsAuthAccessCheck(key, &caller.item);
}

class Auth : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(RsAuthTokenInfosInit(), 0);
        RsAuthConfigTrieClear();
    }
    void TearDown() override { RsAuthConfigTrieClear(); }
};

// Words by the kind of token they make (0: dropped); "any" words make "@@@".
TEST_F(Auth, WordsAreClassifiedByTheFirstMatchingRow) {
    const std::pair<u32, std::string> kinds[] = {{RS_TOKEN_AND, "& and"},
                                                 {RS_TOKEN_OR, "| or"},
                                                 {RS_TOKEN_NOT, "! not"},
                                                 {RS_TOKEN_TRUE, "true @"},
                                                 {RS_TOKEN_ANY, "x@@@y role:a@@@"},
                                                 {RS_TOKEN_ROLE, "role:op.admin-1 role:a\t|"},
                                                 {RS_TOKEN_DOMAIN, "domain:my_domain1"},
                                                 {RS_TOKEN_PERMISSION, "permission:a.b"},
                                                 {RS_TOKEN_SERVICEROLE, "servicerole:x"},
                                                 {RS_TOKEN_SERVICE, "service:x"},
                                                 {0, "domain:my-domain service:a.b role: AND Or NOT TRUE Role:a"}};
    for (const auto &[kind, words] : kinds) {
        std::istringstream in(words);
        for (std::string word; std::getline(in, word, ' ');) {
            RsExprToken *list = nullptr;
            EXPECT_EQ(TokenizeSimpleExpression(word.c_str(), &list), kind == 0 ? RS_EXPR_ERR : 0u) << word;
            EXPECT_EQ(list == nullptr ? 0 : list->kind, kind) << word;
            EXPECT_EQ(list == nullptr ? "" : list->text, kind == 0 ? "" : kind == RS_TOKEN_ANY ? "@@@" : word);
            RsExprTokenListFree(list);
        }
    }
}

TEST_F(Auth, TextsGiveTheirTokensAndTrees) {
    const struct {
        const char *text, *tokens, *tree;
    } cases[] = {{"(role:a | role:b) & domain:x", "( role:a | role:b ) & domain:x", "and(or(role:a,role:b),domain:x)"},
                 {"role:a | role:b & role:c", "role:a | role:b & role:c", "or(role:a,and(role:b,role:c))"},
                 {"role:a & role:b | role:c", "role:a & role:b | role:c", "or(and(role:a,role:b),role:c)"},
                 {"not role:a & role:b", "not role:a & role:b", "and(not(role:a),role:b)"},
                 {"role:a or role:b or role:c", "role:a or role:b or role:c", "or(or(role:a,role:b),role:c)"},
                 {"role:a and role:b and role:c", "role:a and role:b and role:c", "and(and(role:a,role:b),role:c)"},
                 {"role:a & (role:b | role:c)", "role:a & ( role:b | role:c )", "and(role:a,or(role:b,role:c))"},
                 {"  ((role:a))  ", "role:a", "role:a"},
                 // Negation splits only inside bracket splitting.
                 {"!role:a", "", "-"},
                 {"(!role:a", "( ! role:a", "not(role:a)"},
                 {"(!!role:a)", "! ! role:a", "not(not(role:a))"},
                 {"!(role:a", "!", "not(-)"},
                 {"! (role:a", "! ( role:a", "not(role:a)"},
                 {"a(b)", ")", ")"},
                 // Not well formed: the slot rule decides.
                 {"role:a | domain:my-domain", "role:a |", "or(role:a,role:a)"},
                 {"role:a &", "role:a &", "and(role:a,role:a)"},
                 {"role:a & !", "role:a & !", "and(role:a,not(role:a))"},
                 {"& role:a", "& role:a", "&"},
                 {"", "", "-"},
                 {"AND TRUE", "", "-"}};
    for (const auto &c : cases) {
        Compiled expr(c.text);
        EXPECT_EQ(expr.status, 0u) << c.text;
        std::string tokens;
        for (const RsExprToken *token = expr.list; token != nullptr; token = token->next)
            tokens.append(tokens.empty() ? "" : " ").append(token->text);
        EXPECT_EQ(tokens, c.tokens) << c.text;
        EXPECT_EQ(TreeText(expr.tree), c.tree) << c.text;
    }
}

TEST_F(Auth, TreesDecideAgainstTheCallersRoles) {
    const struct {
        const char *text, *roles, *domain;
        u32 want;
    } cases[] = {{"role:op_regular", "role:op_regular", "", 1},
                 {"role:op_regular", "op_regular", "", 0},  // the "role:" prefix is part of the term
                 {"role:op", "role:op_regular", "", 1},     // a substring test
                 {"role:A", "role:a", "", 0},
                 {"role:b", "role:a role:b", "", 1},
                 {"role:a", "", "", 0},
                 {"! role:a", "", "", 1},
                 {"not role:a & role:b", "role:b", "", 1},
                 {"(role:a | role:b) & domain:x", "role:b", "domain:x", 1},
                 {"(role:a | role:b) & domain:x", "role:b", "x", 0},
                 {"& role:a", "", "", 1},
                 {"permission:x & role:a", "role:a", "", 1},
                 {"permission:x & role:a", "", "", 0},
                 {"servicerole:x & service:y", "", "", 1},
                 {"role:a@@@", "", "", 1},
                 {"true", "", "", 1}};
    for (const auto &c : cases) {
        Caller caller(c.roles, c.domain);
        EXPECT_EQ(ExpressionParse(Compiled(c.text).tree, &caller.item), c.want) << c.text;
    }
    Caller nobody("");
    EXPECT_EQ(ExpressionParse(Compiled("role:a").tree, nullptr), 1u) << "no record: granted";
    EXPECT_EQ(ExpressionParse(nullptr, &nobody.item), 1u) << "no tree: granted";
}

// Rules "<method><path>/<expression>"; keys "key=expression found" ("key=": none).
TEST_F(Auth, KeysFindTheirRule) {
    const struct {
        const char *rules, *keys;
    } cases[] = {
        {"GETrest/a/special/role:lit GETrest/a/{id}/role:ph", "GETrest/a/special=role:lit GETrest/a/other=role:ph"},
        {"GETrest/a/{id}/role:ph GETrest/a/special/role:lit", "GETrest/a/special=role:lit GETrest/a/other=role:ph"},
        {"GETrest/{p}/info/role:ph GETrest/users/list/role:lit",
         "GETrest/users/info=role:ph GETrest/users/list=role:lit GETrest/users/other="},
        {"GETrest/files/***/role:any", "GETrest/files/a=role:any GETrest/files/a/b/c=role:any GETrest/files="},
        {"GETrest/files/***/role:any GETrest/files/{id}/role:ph GETrest/files/top/role:lit",
         "GETrest/files/top=role:lit GETrest/files/x=role:ph GETrest/files/x/y=role:any"},
        {"GETrest/*/x/role:a", "GETrest/*/x= GETrest/any/x="},
        {"GETrest/a/role:a", "POSTrest/a= GETrest/a=role:a"},
        {"GET/rest/a/role:a", "GETrest/a= GET/rest/a=role:a"},
        {"GETrest/a/role:first GETrest/a/role:second GETrest/a/role:first", "GETrest/a=role:second"},
        {"GETrest/a/b/role:a", "GETrest//a///b/=role:a = ///= GETrest/a= GETrest/a/b/c="},
        {"GETrest/abc/role:a", "GETrest/ab= GETrest/abcd= GETrest/ABC="}};
    for (const auto &c : cases) {
        RsAuthConfigTrieClear();
        std::istringstream rules(c.rules), keys(c.keys);
        for (std::string rule; rules >> rule;)
            AddItemToAuthConfigTrie(rule.data());
        for (std::string pair; keys >> pair;) {
            RsAuthConfigTrieNode *leaf = SearchAuthConfigTrieNode(pair.substr(0, pair.find('=')).c_str());
            EXPECT_EQ(leaf == nullptr ? "" : leaf->expression, pair.substr(pair.find('=') + 1)) << c.rules;
        }
    }
    // A wide level is looked up through an index beside the list: every sibling, the placeholder and "***"
    // are still found, and nothing of a cleared trie is.
    for (int round = 0; round < 2; ++round) {
        RsAuthConfigTrieClear();
        std::string rules = round == 0 ? "GETw/{id}/x/role:ph GETw/***/role:any" : "";
        for (int i = 0; i < 30; ++i)
            rules += " GETw/s" + std::to_string(i + 100 * round) + "/role:r" + std::to_string(i);
        std::istringstream stream(rules);
        for (std::string rule; stream >> rule;)
            AddItemToAuthConfigTrie(rule.data());
        const std::pair<std::string, std::string> keys[] = {{"GETw/s0", round == 0 ? "role:r0" : ""},
                                                            {"GETw/s29", round == 0 ? "role:r29" : ""},
                                                            {"GETw/s100", round == 0 ? "role:any" : "role:r0"},
                                                            {"GETw/zz/x", round == 0 ? "role:ph" : ""},
                                                            {"GETw/zz", round == 0 ? "role:any" : ""}};
        for (const auto &[key, want] : keys) {
            RsAuthConfigTrieNode *leaf = SearchAuthConfigTrieNode(key.c_str());
            EXPECT_EQ(leaf == nullptr ? "" : leaf->expression, want) << key << " in round " << round;
        }
    }
    std::string path = "PUT", tail = "PUT/***/role:tail";
    for (int i = 0; i < 100; ++i)
        path += "/s" + std::to_string(i);
    AddItemToAuthConfigTrie(tail.data());
    EXPECT_STREQ(SearchAuthConfigTrieNode(path.c_str())->expression, "role:tail") << "a key of 100 segments";
    const std::pair<const char *, u32> segments[] = {{"{id}", 1}, {"{service-id_2}", 1}, {"{}", 0},    {"{a}b", 0},
                                                     {"id", 0},   {"{a.b}", 0},          {"{{a}}", 0}, {"*", 0}};
    for (const auto &[segment, placeholder] : segments)
        EXPECT_EQ(UrlParamHolderCheck(segment), placeholder) << segment;
    // A request's key: its method name, then its URI less one leading "/" (a URI without one whole).
    const std::pair<const char *, const char *> uris[] = {
        {"/rest/a/b", "DELETErest/a/b"}, {"rest/x", "DELETErest/x"}, {"//x", "DELETE/x"}};
    for (const auto &[uri, key] : uris) {
        char *made = RsAuthKeyMake("DELETE", uri);
        EXPECT_STREQ(made, key);
        free(made);
    }
}

const char *const kRight = R"([{"method":"GET","uri-pattern":"rest/servicemanager/v1/services/{serviceId}",
    "action":"service-read"}, {"method":"GET","uri-pattern":"rest/none","action":"none"}])";
const char *const kPolicy = R"({"service-read":"role:op_regular | role:op_admin","none":"AND TRUE"})";
const char *const kKey = "GETrest/servicemanager/v1/services/qq";

// The rule files are read from the deployment's conf/vog_auth/.
class RuleFiles : public Auth {
protected:
    void Write(const std::string &right, const std::string &policy) {
        for (const char *file : {"conf/vog_auth/right.json", "conf/vog_auth/policy.json"})
            std::remove(deployment_.Path(file).c_str());
        if (right != "-") deployment_.Write("conf/vog_auth/right.json", right);
        if (policy != "-") deployment_.Write("conf/vog_auth/policy.json", policy);
    }
    rstest::Deployment deployment_;
};

// Each load that fails logs these error lines and nothing else ("-": no file).
TEST_F(RuleFiles, FailedLoadsSayWhy) {
    const std::string no_parts = "pMethod or pUrlPattern or pPolicy is NULL.\n";
    const struct {
        std::string right, policy, lines;
    } cases[] = {{"-", kPolicy, "Right json path invalid.\nRsAuthRightConfigLoad failed.\n"},
                 {"[{", kPolicy, "Right json object parse failed.\nRsAuthRightConfigLoad failed.\n"},
                 {kRight, "-", "Policy json path invalid.\nRsAuthPolicyConfigLoad failed.\n"},
                 {kRight, "{\"a\":", "Policy json object parse failed.\nRsAuthPolicyConfigLoad failed.\n"},
                 {"[]", kPolicy, "urlNum is zero.\n"},
                 {R"([{"method":"GET","uri-pattern":"rest/a","action":"nope"}])", kPolicy, no_parts},
                 {R"([{"method":"GET","uri-pattern":7,"action":"service-read"}])", kPolicy, no_parts}};
    for (const auto &c : cases) {
        Write(c.right, c.policy);
        rstest::LogCapture log;
        EXPECT_EQ(RsAuthConfigLoad(), RS_ERR) << c.lines;
        std::string lines;
        for (const auto &line : log.Lines())
            lines += line.text + (line.level == RS_LOG_ERROR ? "\n" : " (not an error)\n");
        EXPECT_EQ(lines, c.lines);
    }
}

// A rule without its parts stops the load, keeping the rules before it.
// Rules too large for the word buffers are skipped and the load goes on.
TEST_F(RuleFiles, BadRulesStopTheLoadOrAreSkipped) {
    auto rule = [](const std::string &path, const std::string &action) {
        return R"({"method":"GET","uri-pattern":"rest/)" + path + R"(","action":")" + action + "\"}";
    };
    Write("[" + rule("a", "read") + "," + rule("b", "gone") + "," + rule("c", "read") + "]", R"({"read":"role:r"})");
    EXPECT_EQ(RsAuthConfigLoad(), RS_ERR);
    EXPECT_EQ(Check("GETrest/a", "role:r"), 0u);
    EXPECT_EQ(Check("GETrest/c", "role:r"), RS_ERR);

    std::string words;
    for (int i = 0; i < 129; ++i)
        words += "role:a ";
    const std::string role = "role:" + std::string(70, 'a');
    const std::string expressions[] = {
        "role:a", words, words.substr(7), "(" + role.substr(0, 62) + ")", "(" + role.substr(0, 61) + ")", role};
    std::string right = "[", policy = "{";
    for (int i = 0; i < 6; ++i) {
        right += rule(i == 0 ? std::string(1100, 'p') : "r" + std::to_string(i), "x" + std::to_string(i)) + ",";
        policy += "\"x" + std::to_string(i) + "\":\"" + expressions[i] + "\",";
    }
    Write(right.substr(0, right.size() - 1) + "]", policy.substr(0, policy.size() - 1) + "}");
    rstest::LogCapture log;
    EXPECT_EQ(RsAuthConfigLoad(), 0u);
    EXPECT_EQ(log.Lines().size(), 3u);
    EXPECT_TRUE(log.Has("Rule of action x0 is longer than 1023 characters, skipped.", RS_LOG_ERROR));
    EXPECT_TRUE(log.Has("Expression of action x1 has more than 128 words, skipped.", RS_LOG_ERROR));
    EXPECT_TRUE(log.Has("Expression of action x3 has a bracketed word over 63 characters, skipped.", RS_LOG_ERROR));
    for (int i = 1; i < 6; ++i)
        EXPECT_EQ(Check(("GETrest/r" + std::to_string(i)).c_str(), role.c_str()), i == 1 || i == 3 ? RS_ERR : 0u) << i;
}

// An expression without known words refuses everyone. Another instance's
// start reloads the rules while requests are checked.
TEST_F(RuleFiles, RulesGrantByRoleAndReloadsReplaceThemUnderConcurrentChecks) {
    Write(std::string(5000, ' ') + kRight, kPolicy);
    ASSERT_EQ(RsAuthConfigLoad(), 0u);
    const struct {
        const char *key, *roles, *line;
    } cases[] = {{kKey, "role:guest", "ExpressionParse return false."},
                 {"DELETErest/servicemanager/v1/services/qq", "role:op_admin", "SearchAuthExpression fail."},
                 {"GETrest/none", "role:op_admin", "SearchAuthExpression fail."}};
    for (const auto &c : cases) {
        rstest::LogCapture log;
        EXPECT_EQ(Check(c.key, c.roles), RS_ERR) << c.key;
        EXPECT_EQ(log.Lines().size(), 1u) << c.key;
        EXPECT_TRUE(log.Has(c.line, RS_LOG_ERROR)) << c.key;
    }
    std::atomic<bool> stop{false};
    std::atomic<int> refused{0};
    std::vector<std::thread> checkers;
    for (int t = 0; t < 2; ++t)
        checkers.emplace_back([&] {
            while (!stop)
                if (Check(kKey, "role:op_regular") != 0) ++refused;
        });
    for (int i = 0; i < 200; ++i)
        EXPECT_EQ(RsAuthConfigLoad(), 0u);
    stop = true;
    for (auto &thread : checkers)
        thread.join();
    EXPECT_EQ(refused, 0);
    rstest::LogCapture log;
    EXPECT_EQ(Check(kKey, "role:op_admin"), 0u);
    EXPECT_TRUE(log.Lines().empty()) << "a grant is not logged";
    Write(kRight, R"({"service-read":"role:op_admin","none":"true"})");
    ASSERT_EQ(RsAuthConfigLoad(), 0u);
    EXPECT_EQ(Check(kKey, "role:op_regular"), RS_ERR);
    EXPECT_EQ(Check(kKey, "role:op_admin"), 0u);
}

}  // namespace
