// Null-safe text helpers.
#include <gtest/gtest.h>

#include "plat_os.h"

namespace {

int Sign(s32 value) {
    return (value > 0) - (value < 0);
}

TEST(VosStrCmp, OrdersBytesUnsignedWithNullFirst) {
    struct Case {
        const char *left;
        const char *right;
        int wantSign;
    };
    const Case cases[] = {
        {"abc", "abc", 0}, {"abc", "abd", -1},    {"abd", "abc", 1}, {"ab", "abc", -1},
        {"", "", 0},       {"", "a", -1},         {"\x80", "a", 1},  // high bytes sort after ASCII
        {"a", "\xff", -1}, {nullptr, nullptr, 0}, {nullptr, "", -1}, {"", nullptr, 1},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(Sign(VOS_StrCmp(c.left, c.right)), c.wantSign)
            << (c.left ? c.left : "(null)") << " vs " << (c.right ? c.right : "(null)");
    }
}

TEST(VosStrLen, CountsBytesAndNullIsZero) {
    EXPECT_EQ(VOS_StrLen(nullptr), 0u);
    EXPECT_EQ(VOS_StrLen(""), 0u);
    EXPECT_EQ(VOS_StrLen("h\xc3\xa9llo"), 6u);
}

TEST(VosStrStr, FindsNeedleInHaystack) {
    const char *haystack = "Bearer abc.def";
    EXPECT_EQ(VOS_StrStr(haystack, "abc"), haystack + 7);
    EXPECT_EQ(VOS_StrStr(haystack, "xyz"), nullptr);
    EXPECT_EQ(VOS_StrStr(haystack, ""), haystack);
    EXPECT_EQ(VOS_StrStr("abc", "Bearer abc"), nullptr) << "haystack comes first";
    EXPECT_EQ(VOS_StrStr(nullptr, "a"), nullptr);
    EXPECT_EQ(VOS_StrStr(haystack, nullptr), nullptr);
}

}  // namespace
