// The CFJSON layer: type rules, null safety, member walk and printing.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "plat_json.h"

namespace {

struct DocDeleter {
    void operator()(CFJSON *doc) const { CFJSON_Delete(doc); }
};
using Doc = std::unique_ptr<CFJSON, DocDeleter>;

Doc Parse(const char *text) {
    return Doc(CFJSON_Parse(text));
}

TEST(CfJson, StringValueOnlyForStrings) {
    Doc doc = Parse(R"({"s": "text", "n": 5, "b": true, "z": null, "a": ["x"], "o": {}, "e": ""})");
    ASSERT_NE(doc, nullptr);
    struct Case {
        const char *member;
        const char *value;  // null: no string value
    };
    const Case cases[] = {{"s", "text"},  {"e", ""},      {"n", nullptr}, {"b", nullptr},
                          {"z", nullptr}, {"a", nullptr}, {"o", nullptr}, {"missing", nullptr}};
    for (const Case &c : cases) {
        const char *value = CFJSON_StringValueGet(CFJSON_ObjectItemGet(doc.get(), c.member));
        if (c.value == nullptr) {
            EXPECT_EQ(value, nullptr) << c.member;
        } else {
            EXPECT_STREQ(value, c.value) << c.member;
        }
    }
}

TEST(CfJson, ArraySizeAndItems) {
    Doc doc = Parse(R"({"empty": [], "three": [1, "two", {}], "obj": {"a": 1}, "str": "abc"})");
    ASSERT_NE(doc, nullptr);
    CFJSON *three = CFJSON_ObjectItemGet(doc.get(), "three");
    EXPECT_EQ(CFJSON_ArraySizeGet(three), 3u);
    EXPECT_EQ(CFJSON_ArraySizeGet(CFJSON_ObjectItemGet(doc.get(), "empty")), 0u);
    EXPECT_EQ(CFJSON_ArraySizeGet(CFJSON_ObjectItemGet(doc.get(), "obj")), 0u);
    EXPECT_EQ(CFJSON_ArraySizeGet(CFJSON_ObjectItemGet(doc.get(), "str")), 0u);
    EXPECT_STREQ(CFJSON_StringValueGet(CFJSON_ArrayItemGet(three, 1)), "two");
    EXPECT_EQ(CFJSON_ArrayItemGet(three, 3), nullptr);
    EXPECT_EQ(CFJSON_ArrayItemGet(CFJSON_ObjectItemGet(doc.get(), "empty"), 0), nullptr);
    EXPECT_EQ(CFJSON_ArrayItemGet(CFJSON_ObjectItemGet(doc.get(), "obj"), 0), nullptr);
}

TEST(CfJson, NextItemWalksMembersInOrder) {
    Doc doc = Parse(R"({"b": "1", "a": "2", "c": "3"})");
    ASSERT_NE(doc, nullptr);
    std::vector<std::string> keys;
    for (CFJSON *item = CFJSON_NextItemGet(doc.get(), nullptr); item != nullptr;
         item = CFJSON_NextItemGet(doc.get(), item)) {
        keys.push_back(CFJSON_StringKeyGet(item));
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"b", "a", "c"}));
    Doc empty = Parse("{}");
    EXPECT_EQ(CFJSON_NextItemGet(empty.get(), nullptr), nullptr);
    Doc array = Parse(R"(["x"])");
    EXPECT_EQ(CFJSON_NextItemGet(array.get(), nullptr), nullptr);
}

TEST(CfJson, NullArgumentsGiveNull) {
    EXPECT_EQ(CFJSON_Parse(nullptr), nullptr);
    EXPECT_EQ(CFJSON_Parse("{\"a\": "), nullptr);
    EXPECT_EQ(CFJSON_ObjectItemGet(nullptr, "a"), nullptr);
    Doc doc = Parse(R"({"a": "b"})");
    EXPECT_EQ(CFJSON_ObjectItemGet(doc.get(), nullptr), nullptr);
    EXPECT_EQ(CFJSON_ObjectItemGet(CFJSON_ObjectItemGet(doc.get(), "a"), "a"), nullptr);  // not an object
    EXPECT_EQ(CFJSON_ArrayItemGet(nullptr, 0), nullptr);
    EXPECT_EQ(CFJSON_ArraySizeGet(nullptr), 0u);
    EXPECT_EQ(CFJSON_NextItemGet(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFJSON_StringKeyGet(nullptr), nullptr);
    EXPECT_EQ(CFJSON_StringValueGet(nullptr), nullptr);
    EXPECT_EQ(CFJSON_Print(nullptr), nullptr);
    EXPECT_NE(CFJSON_AddString2Object(nullptr, "a", "b"), 0u);
    CFJSON_Free(nullptr);
    CFJSON_Delete(nullptr);
}

TEST(CfJson, BuiltObjectPrintsCompactlyInInsertionOrder) {
    Doc object(CFJSON_ObjectCreate());
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(CFJSON_AddString2Object(object.get(), "jwt", "a.b\"c"), 0u);
    EXPECT_EQ(CFJSON_AddString2Object(object.get(), "domain", "d1"), 0u);
    EXPECT_NE(CFJSON_AddString2Object(object.get(), nullptr, "x"), 0u);
    EXPECT_NE(CFJSON_AddString2Object(object.get(), "x", nullptr), 0u);
    char *text = CFJSON_Print(object.get());
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, R"({"jwt":"a.b\"c","domain":"d1"})");
    CFJSON_Free(text);

    Doc array = Parse("[]");
    EXPECT_NE(CFJSON_AddString2Object(array.get(), "a", "b"), 0u);  // not an object
}

}  // namespace
