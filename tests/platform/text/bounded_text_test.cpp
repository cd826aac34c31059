// Bounded text operations: what fits is copied whole, what does not leaves the
// destination empty (or, for memory, zero-filled); nothing goes past destMax.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <tuple>

#include "plat_text.h"

namespace {

using Op = int (*)(char *dest, size_t destMax, const char *src, size_t count);
constexpr Op kCpy = [](char *d, size_t max, const char *s, size_t) { return strcpy_s(d, max, s); };
constexpr Op kNCpy = [](char *d, size_t max, const char *s, size_t n) { return strncpy_s(d, max, s, n); };
constexpr Op kCat = [](char *d, size_t max, const char *s, size_t) { return strcat_s(d, max, s); };
constexpr Op kFmt = [](char *d, size_t max, const char *s, size_t n) { return snprintf_s(d, max, n, "%s", s); };
constexpr Op kSpf = [](char *d, size_t max, const char *s, size_t) { return sprintf_s(d, max, "%s", s); };

const char kUnterminated[4] = {'w', 'x', 'y', 'z'};

TEST(BoundedText, FitsWholeCutsAtAFormatLimitOrLeavesTheDestinationEmpty) {
    // Operation (on "abc" for strcat_s, else on "keep"), destMax, source, count (strncpy_s and
    // snprintf_s only), result, text. Unusable destinations (size 0, or a negative length
    // converted to size_t) are not written; strncpy_s reads no further than its count.
    const std::tuple<Op, size_t, const char *, size_t, int, const char *> cases[] = {
        {kCpy, 8, "12345678", 0, ERANGE, ""},       {kCpy, 8, "1234567", 0, EOK, "1234567"},
        {kCpy, 8, nullptr, 0, EINVAL, ""},          {kCpy, 0, "a", 0, EINVAL, "keep"},
        {kCpy, ~0ul, "a", 0, EINVAL, "keep"},       {kNCpy, 8, "abcdefghi", 3, EOK, "abc"},
        {kNCpy, 8, "abcdefghi", 7, EOK, "abcdefg"}, {kNCpy, 8, "abcdefghi", 8, ERANGE, ""},
        {kNCpy, 8, kUnterminated, 4, EOK, "wxyz"},  {kCat, 8, "defg", 0, EOK, "abcdefg"},
        {kCat, 8, "defgh", 0, ERANGE, ""},          {kCat, 3, "x", 0, EINVAL, ""},
        {kFmt, 8, "abcdefghi", 5, -1, "abcde"},     {kFmt, 8, "abc", 0, -1, ""},
        {kFmt, 8, "12345678", 7, -1, "1234567"},    {kFmt, 8, "12345678", 1000, -1, ""},
        {kSpf, 8, "1234567", 0, 7, "1234567"},      {kSpf, 8, "12345678", 0, -1, ""}};
    for (const auto &[op, destMax, src, count, want, wantText] : cases) {
        char dest[9];
        memset(dest, 'Z', sizeof(dest));
        strcpy(dest, op == kCat ? "abc" : "keep");
        EXPECT_EQ(op(dest, destMax, src, count), want) << src << " into " << destMax;
        EXPECT_STREQ(dest, wantText) << src << " into " << destMax;
        EXPECT_EQ(dest[8], 'Z') << src << " went past destMax";
    }
}

TEST(BoundedMemory, CopiesAndFillsWithinDestMaxAndZeroFillsWhenRefused) {
    // Fill ('x'), else copy from the source: -1 none, 0 "abcdefgh", else that offset into the
    // buffer itself; destMax, count, result, and the buffer afterwards with zero bytes as '0'.
    const std::tuple<bool, size_t, int, size_t, errno_t, const char *> cases[] = {
        {false, 6, 0, 6, EOK, "abcdef67"},     {false, 6, 0, 7, ERANGE, "00000067"},
        {false, 6, -1, 3, EINVAL, "00000067"}, {false, 6, 2, 3, EINVAL, "00000067"},
        {false, 6, 3, 3, EOK, "34534567"},     {false, ~0ul, -1, 3, EINVAL, "01234567"},
        {true, 6, 0, 4, EOK, "xxxx4567"},      {true, 6, 0, 7, ERANGE, "xxxxxx67"}};
    for (const auto &[fill, destMax, from, count, want, picture] : cases) {
        char buffer[9] = "01234567";
        const char *src = from < 0 ? nullptr : from == 0 ? "abcdefgh" : buffer + from;
        EXPECT_EQ(fill ? memset_s(buffer, destMax, 'x', count) : memcpy_s(buffer, destMax, src, count), want)
            << picture;
        std::replace(buffer, buffer + 8, '\0', '0');
        EXPECT_STREQ(buffer, picture);
    }
    char text[16] = "abcdef";
    EXPECT_EQ(strcpy_s(text + 2, 10, text), EINVAL) << "overlapping text";
}

TEST(StrtokS, SplitsOnAnyDelimiterSkippingRunsEachTextInItsOwnContext) {
    char first[] = ",,a,,b;c,", second[] = "x/y";
    char *firstContext = nullptr, *secondContext = nullptr;
    EXPECT_STREQ(strtok_s(first, ",;", &firstContext), "a");
    EXPECT_STREQ(strtok_s(second, "/", &secondContext), "x");
    EXPECT_STREQ(strtok_s(nullptr, ",;", &firstContext), "b");
    EXPECT_STREQ(strtok_s(nullptr, "/", &secondContext), "y");
    EXPECT_STREQ(strtok_s(nullptr, ",;", &firstContext), "c");
    EXPECT_EQ(strtok_s(nullptr, ",;", &firstContext), nullptr);
}

}  // namespace
