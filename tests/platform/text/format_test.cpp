// Formatting with a character limit cuts; without one it fits or fails.
#include <gtest/gtest.h>

#include <cstring>

#include "plat_text.h"

namespace {

constexpr size_t kFieldSize = 8;

struct FormatCase {
    const char *name;
    size_t destMax;
    size_t count;
    const char *arg;
    int want;
    const char *wantText;
};

TEST(SnprintfS, CountBelowDestMaxCutsAndReportsMinusOne) {
    const FormatCase cases[] = {
        {"fits under count", kFieldSize, 5, "abc", 3, "abc"},
        {"fits count exactly", kFieldSize, 5, "abcde", 5, "abcde"},
        {"cut at count", kFieldSize, 5, "abcdefghij", -1, "abcde"},
        {"count zero cuts everything", kFieldSize, 0, "abc", -1, ""},
        {"count zero empty output", kFieldSize, 0, "", 0, ""},
        {"count destMax-1 fits exactly", kFieldSize, 7, "1234567", 7, "1234567"},
        {"count destMax-1 cuts", kFieldSize, 7, "12345678", -1, "1234567"},
    };
    for (const auto &c : cases) {
        char dest[kFieldSize + 1];
        memset(dest, 'Z', sizeof(dest));
        EXPECT_EQ(snprintf_s(dest, c.destMax, c.count, "%s", c.arg), c.want) << c.name;
        EXPECT_STREQ(dest, c.wantText) << c.name;
        EXPECT_EQ(dest[kFieldSize], 'Z') << c.name << ": wrote past destMax";
    }
}

TEST(SnprintfS, CountAtOrAboveDestMaxFitsOrEmpties) {
    const FormatCase cases[] = {
        {"fits", kFieldSize, kFieldSize, "abc", 3, "abc"},
        {"fits exactly", kFieldSize, kFieldSize, "1234567", 7, "1234567"},
        {"one over", kFieldSize, kFieldSize, "12345678", -1, ""},
        {"huge count one over", kFieldSize, 1000, "12345678", -1, ""},
        {"empty", kFieldSize, 1000, "", 0, ""},
    };
    for (const auto &c : cases) {
        char dest[kFieldSize + 1];
        memset(dest, 'Z', sizeof(dest));
        EXPECT_EQ(snprintf_s(dest, c.destMax, c.count, "%s", c.arg), c.want) << c.name;
        EXPECT_STREQ(dest, c.wantText) << c.name;
        EXPECT_EQ(dest[kFieldSize], 'Z') << c.name << ": wrote past destMax";
    }
}

TEST(SprintfS, FitsOrEmpties) {
    char dest[kFieldSize];
    EXPECT_EQ(sprintf_s(dest, sizeof(dest), "%d-%s", 42, "ab"), 5);
    EXPECT_STREQ(dest, "42-ab");
    EXPECT_EQ(sprintf_s(dest, sizeof(dest), "%d-%s", 42, "abcde"), -1);
    EXPECT_STREQ(dest, "");
}

TEST(FormatS, NullArgumentsGiveMinusOne) {
    char dest[kFieldSize] = "keep";
    EXPECT_EQ(snprintf_s(nullptr, kFieldSize, 4, "%s", "a"), -1);
    EXPECT_EQ(sprintf_s(nullptr, kFieldSize, "%s", "a"), -1);
    EXPECT_EQ(snprintf_s(dest, 0, 4, "%s", "a"), -1);
    EXPECT_STREQ(dest, "keep");

    // The null format is passed through a variable so the compiler does not
    // reject the call itself.
    const char *noFormat = nullptr;
    EXPECT_EQ(sprintf_s(dest, kFieldSize, noFormat), -1);
    EXPECT_STREQ(dest, "");
}

}  // namespace
