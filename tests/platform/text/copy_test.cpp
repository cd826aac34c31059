// Copy and append either fit whole or leave the destination empty.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "plat_text.h"

namespace {

constexpr size_t kFieldSize = 8;  // holds 7 characters and the terminator

struct CopyCase {
    const char *name;
    size_t destMax;
    const char *src;
    size_t count;  // only for strncpy_s
    errno_t want;
    const char *wantText;
};

TEST(StrCopy, FitsWholeOrLeavesDestinationEmpty) {
    const CopyCase cases[] = {
        {"fits with room", kFieldSize, "abc", 0, EOK, "abc"},
        {"fits exactly", kFieldSize, "1234567", 0, EOK, "1234567"},
        {"one over", kFieldSize, "12345678", 0, ERANGE, ""},
        {"far over", kFieldSize, "a much longer value", 0, ERANGE, ""},
        {"empty source", kFieldSize, "", 0, EOK, ""},
        {"room for terminator only", 1, "", 0, EOK, ""},
        {"no room for one char", 1, "x", 0, ERANGE, ""},
    };
    for (const auto &c : cases) {
        char dest[kFieldSize + 1];
        memset(dest, 'Z', sizeof(dest));
        EXPECT_EQ(strcpy_s(dest, c.destMax, c.src), c.want) << c.name;
        EXPECT_STREQ(dest, c.wantText) << c.name;
        EXPECT_EQ(dest[kFieldSize], 'Z') << c.name << ": wrote past destMax";
    }
}

TEST(StrCopy, NCopyTakesAtMostCountCharacters) {
    const CopyCase cases[] = {
        {"count cuts source", kFieldSize, "abcdefghijk", 3, EOK, "abc"},
        {"count equals length", kFieldSize, "abc", 3, EOK, "abc"},
        {"count above length", kFieldSize, "abc", 50, EOK, "abc"},
        {"count zero", kFieldSize, "abc", 0, EOK, ""},
        {"cut text fits exactly", kFieldSize, "abcdefghijk", 7, EOK, "abcdefg"},
        {"cut text one over", kFieldSize, "abcdefghijk", 8, ERANGE, ""},
        {"whole text one over", kFieldSize, "12345678", 100, ERANGE, ""},
    };
    for (const auto &c : cases) {
        char dest[kFieldSize + 1];
        memset(dest, 'Z', sizeof(dest));
        EXPECT_EQ(strncpy_s(dest, c.destMax, c.src, c.count), c.want) << c.name;
        EXPECT_STREQ(dest, c.wantText) << c.name;
        EXPECT_EQ(dest[kFieldSize], 'Z') << c.name << ": wrote past destMax";
    }
}

TEST(StrCopy, NCopyReadsNoFurtherThanCount) {
    // An unterminated source: only the counted characters may be touched.
    const char raw[4] = {'w', 'x', 'y', 'z'};
    char dest[kFieldSize];
    EXPECT_EQ(strncpy_s(dest, sizeof(dest), raw, sizeof(raw)), EOK);
    EXPECT_STREQ(dest, "wxyz");
}

struct CatCase {
    const char *name;
    const char *initial;
    const char *src;
    errno_t want;
    const char *wantText;
};

TEST(StrCat, AppendsWholeOrEmptiesDestination) {
    const CatCase cases[] = {
        {"append fits", "abc", "de", EOK, "abcde"},
        {"append fits exactly", "abc", "defg", EOK, "abcdefg"},
        {"append one over empties existing text", "abc", "defgh", ERANGE, ""},
        {"append to empty", "", "1234567", EOK, "1234567"},
        {"append empty", "abc", "", EOK, "abc"},
        {"full text plus one", "1234567", "x", ERANGE, ""},
    };
    for (const auto &c : cases) {
        char dest[kFieldSize + 1];
        memset(dest, 'Z', sizeof(dest));
        ASSERT_EQ(strcpy_s(dest, kFieldSize, c.initial), EOK) << c.name;
        EXPECT_EQ(strcat_s(dest, kFieldSize, c.src), c.want) << c.name;
        EXPECT_STREQ(dest, c.wantText) << c.name;
        EXPECT_EQ(dest[kFieldSize], 'Z') << c.name << ": wrote past destMax";
    }
}

TEST(StrCat, UnterminatedDestinationIsRefused) {
    char dest[4] = {'a', 'b', 'c', 'd'};
    EXPECT_EQ(strcat_s(dest, sizeof(dest), "x"), EINVAL);
    EXPECT_EQ(dest[0], '\0');
}

TEST(StrCopy, NullArgumentsAndZeroSizeAreRefused) {
    char dest[kFieldSize] = "keep";
    EXPECT_EQ(strcpy_s(nullptr, kFieldSize, "a"), EINVAL);
    EXPECT_EQ(strncpy_s(nullptr, kFieldSize, "a", 1), EINVAL);
    EXPECT_EQ(strcat_s(nullptr, kFieldSize, "a"), EINVAL);

    EXPECT_EQ(strcpy_s(dest, 0, "a"), EINVAL);
    EXPECT_EQ(strncpy_s(dest, 0, "a", 1), EINVAL);
    EXPECT_EQ(strcat_s(dest, 0, "a"), EINVAL);
    // A negative length converted to size_t is refused rather than trusted.
    EXPECT_EQ(strcpy_s(dest, static_cast<size_t>(-1), "a"), EINVAL);
    EXPECT_EQ(strcat_s(dest, static_cast<size_t>(-1), "a"), EINVAL);
    EXPECT_STREQ(dest, "keep") << "an unusable destination must not be written";

    EXPECT_EQ(strcpy_s(dest, kFieldSize, nullptr), EINVAL);
    EXPECT_STREQ(dest, "");
    strcpy_s(dest, kFieldSize, "keep");
    EXPECT_EQ(strncpy_s(dest, kFieldSize, nullptr, 3), EINVAL);
    EXPECT_STREQ(dest, "");
    strcpy_s(dest, kFieldSize, "keep");
    EXPECT_EQ(strcat_s(dest, kFieldSize, nullptr), EINVAL);
    EXPECT_STREQ(dest, "");
}

TEST(StrCopy, OverlappingSourceIsRefused) {
    char buffer[16] = "abcdef";
    EXPECT_NE(strcpy_s(buffer + 2, 10, buffer), EOK);
    EXPECT_EQ(buffer[2], '\0');
}

}  // namespace
