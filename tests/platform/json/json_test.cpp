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

}  // namespace
