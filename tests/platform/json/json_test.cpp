// The CFJSON layer: lookups answer only for the right type, members walk in
// order, and only objects take new members.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "plat_json.h"

namespace {

TEST(CfJson, LookupsAnswerOnlyForTheRightTypeMembersWalkInOrderAndOnlyObjectsGrow) {
    std::unique_ptr<CFJSON, decltype(&CFJSON_Delete)> doc(
        CFJSON_Parse(R"({"s": "text", "e": "", "n": 5, "z": null, "a": [1, "two"], "o": {"k": "v"}})"), &CFJSON_Delete);
    // Member, its string value, its array size.
    const std::tuple<const char *, const char *, u32> cases[] = {
        {"s", "text", 0},  {"e", "", 0},      {"n", nullptr, 0},      {"z", nullptr, 0},
        {"a", nullptr, 2}, {"o", nullptr, 0}, {"missing", nullptr, 0}};
    for (const auto &[member, text, size] : cases) {
        CFJSON *item = CFJSON_ObjectItemGet(doc.get(), member);
        EXPECT_STREQ(CFJSON_StringValueGet(item), text) << member;
        EXPECT_EQ(CFJSON_ArraySizeGet(item), size) << member;
        EXPECT_EQ(CFJSON_ArrayItemGet(item, 0) != nullptr, size > 0) << member;
        EXPECT_EQ(CFJSON_NextItemGet(item, nullptr) != nullptr, member[0] == 'o') << member << " has members";
    }
    CFJSON *array = CFJSON_ObjectItemGet(doc.get(), "a"), *object = CFJSON_ObjectItemGet(doc.get(), "o");
    std::vector<std::string> keys;
    for (CFJSON *item = CFJSON_NextItemGet(doc.get(), nullptr); item; item = CFJSON_NextItemGet(doc.get(), item))
        keys.push_back(CFJSON_StringKeyGet(item));
    EXPECT_EQ(keys, (std::vector<std::string>{"s", "e", "n", "z", "a", "o"}));
    EXPECT_NE(CFJSON_AddString2Object(array, "x", "y"), PLAT_OK);
    EXPECT_TRUE(CFJSON_AddString2Object(object, "q", "r") == PLAT_OK && CFJSON_ObjectItemGet(object, "q") != nullptr);
}

// Printing must give what it always gave: documents of every kind, escapes
// of every class, keys and values with and without them, text longer than
// the print's stack buffer.
TEST(CfJson, PrintGivesTheCompactTextOfParsedAndBuiltDocuments) {
    using Doc = std::unique_ptr<CFJSON, decltype(&CFJSON_Delete)>;
    using Text = std::unique_ptr<char, decltype(&CFJSON_Free)>;
    const std::pair<const char *, const char *> parsed[] = {
        {R"({ "a" : { }, "b" : [ ] })", R"({"a":{},"b":[]})"},
        {"[1, 2.5, -3, 0.1, 1e300, -3e-7, 123456789012]", "[1,2.5,-3,0.1,1e+300,-3e-07,123456789012]"},
        {"[true, false, null]", "[true,false,null]"},
        {R"(["q\"\\\/\b\f\n\r\t\u0001\u001f\u007f é"])", "[\"q\\\"\\\\/\\b\\f\\n\\r\\t\\u0001\\u001f\x7f é\"]"},
        {R"({"":"", "k\"":"v\n"})", R"({"":"","k\"":"v\n"})"},
        {R"({"n":{"d":[{"x":[[],{}]}]}})", R"({"n":{"d":[{"x":[[],{}]}]}})"},
        {"\"text\"", "\"text\""},
        {"42", "42"},
    };
    for (const auto &[input, want] : parsed) {
        Doc doc(CFJSON_Parse(input), &CFJSON_Delete);
        ASSERT_NE(doc, nullptr) << input;
        Text text(CFJSON_Print(doc.get()), &CFJSON_Free);
        EXPECT_STREQ(text.get(), want) << input;
    }

    Doc built(CFJSON_ObjectCreate(), &CFJSON_Delete);
    std::string lines;
    for (int i = 0; i < 400; ++i)
        lines += "line\t" + std::to_string(i) + "\n";
    const std::pair<const char *, const char *> members[] = {{"plain", "hello"}, {"", ""}, {"q\"k", "a\\b\x01"}};
    for (const auto &[name, value] : members)
        ASSERT_EQ(CFJSON_AddString2Object(built.get(), name, value), PLAT_OK);
    ASSERT_EQ(CFJSON_AddString2Object(built.get(), "long", lines.c_str()), PLAT_OK);
    std::string escaped;
    for (char c : lines)
        escaped += c == '\t' ? "\\t" : c == '\n' ? "\\n" : std::string(1, c);
    Text text(CFJSON_Print(built.get()), &CFJSON_Free);
    EXPECT_EQ(std::string(text.get()), R"({"plain":"hello","":"","q\"k":"a\\b\u0001","long":")" + escaped + "\"}");
    // Built members read back like parsed ones.
    for (const auto &[name, value] : members)
        EXPECT_STREQ(CFJSON_StringValueGet(CFJSON_ObjectItemGet(built.get(), name)), value) << name;
    EXPECT_STREQ(CFJSON_StringKeyGet(CFJSON_NextItemGet(built.get(), nullptr)), "plain");
    EXPECT_EQ(CFJSON_Print(nullptr), nullptr);
}

}  // namespace
