// The access expression language: how texts split into tokens, what trees
// the parser builds (well formed or not), and what those trees grant.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "auth/restserver_auth_lock.h"
#include "auth/restserver_auth_rules.h"
#include "auth_test_util.h"

namespace {

using authtest::Caller;

// Tokenizes and parses one text; releases both when it goes.
struct Compiled {
    RsExprToken *list = nullptr;
    RsExprNode *tree = nullptr;
    u32 status = 0;

    explicit Compiled(const std::string &text) {
        std::vector<char> buf(text.begin(), text.end());
        buf.push_back('\0');
        status = RsExprCompile(buf.data(), &list, &tree);
    }
    ~Compiled() {
        RsExprTreeFree(tree);
        RsExprTokenListFree(list);
    }
};

class ExprLanguage : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(RsAuthTokenInfosInit(), 0); }
};

TEST_F(ExprLanguage, WordsAreClassifiedByTheFirstMatchingRow) {
    struct Case {
        const char *word;
        u32 kind;  // 0: dropped
        const char *text;
    };
    const Case cases[] = {
        {"&", RS_TOKEN_AND, "&"},
        {"and", RS_TOKEN_AND, "and"},
        {"|", RS_TOKEN_OR, "|"},
        {"or", RS_TOKEN_OR, "or"},
        {"!", RS_TOKEN_NOT, "!"},
        {"not", RS_TOKEN_NOT, "not"},
        {"true", RS_TOKEN_TRUE, "true"},
        {"@", RS_TOKEN_TRUE, "@"},
        {"x@@@y", RS_TOKEN_ANY, "@@@"},
        {"role:a@@@", RS_TOKEN_ANY, "@@@"},
        {"role:op.admin-1", RS_TOKEN_ROLE, "role:op.admin-1"},
        {"role:a\t|", RS_TOKEN_ROLE, "role:a\t|"},  // a tab is an ordinary character
        {"domain:my_domain1", RS_TOKEN_DOMAIN, "domain:my_domain1"},
        {"permission:a.b", RS_TOKEN_PERMISSION, "permission:a.b"},
        {"servicerole:x", RS_TOKEN_SERVICEROLE, "servicerole:x"},
        {"service:x", RS_TOKEN_SERVICE, "service:x"},
        {"domain:my-domain", 0, nullptr},
        {"service:a.b", 0, nullptr},
        {"role:", 0, nullptr},
        {"AND", 0, nullptr},
        {"Or", 0, nullptr},
        {"NOT", 0, nullptr},
        {"TRUE", 0, nullptr},
        {"Role:a", 0, nullptr},
    };
    for (const Case &c : cases) {
        RsExprToken *list = nullptr;
        u32 ret = TokenizeSimpleExpression(c.word, &list);
        if (c.kind == 0) {
            EXPECT_EQ(ret, RS_EXPR_ERR) << c.word;
            EXPECT_EQ(list, nullptr) << c.word;
        } else {
            EXPECT_EQ(ret, 0u) << c.word;
            ASSERT_NE(list, nullptr) << c.word;
            EXPECT_EQ(list->kind, c.kind) << c.word;
            EXPECT_STREQ(list->text, c.text) << c.word;
        }
        RsExprTokenListFree(list);
    }
}

TEST_F(ExprLanguage, TextsGiveTheirTokensAndTrees) {
    struct Case {
        const char *text;
        const char *tokens;
        const char *tree;
    };
    const Case cases[] = {
        {"(role:a | role:b) & domain:x", "( role:a | role:b ) & domain:x", "and(or(role:a,role:b),domain:x)"},
        {"role:a | role:b & role:c", "role:a | role:b & role:c", "or(role:a,and(role:b,role:c))"},
        {"role:a & role:b | role:c", "role:a & role:b | role:c", "or(and(role:a,role:b),role:c)"},
        {"not role:a & role:b", "not role:a & role:b", "and(not(role:a),role:b)"},
        {"role:a or role:b or role:c", "role:a or role:b or role:c", "or(or(role:a,role:b),role:c)"},
        {"role:a and role:b and role:c", "role:a and role:b and role:c", "and(and(role:a,role:b),role:c)"},
        {"role:a & (role:b | role:c)", "role:a & ( role:b | role:c )", "and(role:a,or(role:b,role:c))"},
        {"((role:a))", "role:a", "role:a"},
        {"(role:a)", "role:a", "role:a"},
        {"   role:a    ", "role:a", "role:a"},
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
        {"role:a role:b", "role:a role:b", "role:a"},
        {"role:a AND role:b", "role:a role:b", "role:a"},
        {"", "", "-"},
        {"AND TRUE", "", "-"},
    };
    for (const Case &c : cases) {
        Compiled expr(c.text);
        EXPECT_EQ(expr.status, 0u) << c.text;
        EXPECT_EQ(authtest::TokenTexts(expr.list), c.tokens) << c.text;
        EXPECT_EQ(authtest::TreeText(expr.tree), c.tree) << c.text;
    }
}

TEST_F(ExprLanguage, TreesDecideAgainstTheCallersRoles) {
    struct Case {
        const char *text;
        std::vector<std::string> roles;
        const char *domain;
        u32 want;
    };
    const Case cases[] = {
        {"role:op_regular", {"role:op_regular"}, "", 1},
        {"role:op_regular", {"op_regular"}, "", 0},  // the "role:" prefix is part of the term
        {"role:op", {"role:op_regular"}, "", 1},     // substring test
        {"role:A", {"role:a"}, "", 0},
        {"role:b", {"role:a", "role:b"}, "", 1},
        {"role:a", {}, "", 0},
        {"! role:a", {}, "", 1},
        {"role:a | role:b & role:c", {"role:a"}, "", 1},
        {"role:a & role:b | role:c", {"role:c"}, "", 1},
        {"not role:a & role:b", {}, "", 0},
        {"not role:a & role:b", {"role:b"}, "", 1},
        {"(role:a | role:b) & domain:x", {"role:b"}, "domain:x", 1},
        {"(role:a | role:b) & domain:x", {"role:b"}, "x", 0},
        {"role:a &", {"role:a"}, "", 1},
        {"role:a |", {}, "", 0},
        {"& role:a", {}, "", 1},
        {"role:a role:b", {"role:b"}, "", 0},
        {"role:a & !", {"role:a"}, "", 0},
        {"!(role:a", {"role:a"}, "", 0},
        {"permission:x & role:a", {"role:a"}, "", 1},
        {"permission:x & role:a", {}, "", 0},
        {"servicerole:x & service:y", {}, "", 1},
        {"role:a@@@", {}, "", 1},
        {"true", {}, "", 1},
    };
    for (const Case &c : cases) {
        Compiled expr(c.text);
        Caller caller(c.roles, c.domain);
        EXPECT_EQ(ExpressionParse(expr.tree, &caller.item), c.want) << c.text;
    }
}

TEST_F(ExprLanguage, MissingTreeOrRecordGrants) {
    Compiled expr("role:a");
    EXPECT_EQ(ExpressionParse(expr.tree, nullptr), 1u);
    Caller nobody({});
    EXPECT_EQ(ExpressionParse(nullptr, &nobody.item), 1u);
}

TEST_F(ExprLanguage, OversizedExpressionsAreRefusedBeforeSplitting) {
    const std::string longRole = "role:" + std::string(70, 'a');
    std::string manyWords;
    for (int i = 0; i < 129; ++i)
        manyWords += "role:a ";
    struct Case {
        std::string text;
        u32 want;
    };
    const Case cases[] = {
        {longRole, RS_EXPR_OK},  // no bracket: classified whole, no working buffer
        {"(" + longRole + ")", RS_EXPR_WORD_TOO_LONG},
        {"(" + std::string(61, 'a') + ")", RS_EXPR_OK},  // 63 characters fit
        {"(" + std::string(62, 'a') + ")", RS_EXPR_WORD_TOO_LONG},
        {manyWords, RS_EXPR_TOO_MANY_WORDS},
        {manyWords.substr(7), RS_EXPR_OK},  // exactly 128 words
    };
    for (const Case &c : cases) {
        EXPECT_EQ(RsExprLimitsCheck(c.text.c_str()), c.want) << c.text;
        Compiled expr(c.text);
        EXPECT_EQ(expr.status, c.want) << c.text;
        if (c.want != RS_EXPR_OK) {
            EXPECT_EQ(expr.list, nullptr) << c.text;
        }
    }
}

TEST_F(ExprLanguage, NegationRestTooLongLeavesOnlyTheNegation) {
    RsExprToken *list = nullptr;
    const std::string word = "!" + std::string(64, 'x');
    TokenizeRawExpression(word.c_str(), &list);
    EXPECT_EQ(authtest::TokenTexts(list), "!");
    RsExprTokenListFree(list);
}

}  // namespace
