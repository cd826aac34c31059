// Memory copy and fill respect the destination size.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "plat_text.h"

namespace {

TEST(MemCopy, CopiesWithinDestinationSize) {
    const unsigned char src[6] = {1, 2, 3, 0, 5, 6};
    unsigned char dest[6] = {};
    EXPECT_EQ(memcpy_s(dest, sizeof(dest), src, sizeof(src)), EOK);
    EXPECT_EQ(memcmp(dest, src, sizeof(src)), 0);
    EXPECT_EQ(memcpy_s(dest, sizeof(dest), src, 0), EOK);
    EXPECT_EQ(memcmp(dest, src, sizeof(src)), 0) << "a zero-length copy changes nothing";
}

TEST(MemCopy, RefusedCopyZeroFillsDestination) {
    const unsigned char src[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    struct Case {
        const char *name;
        const void *src;
        size_t count;
        errno_t want;
    };
    const Case cases[] = {
        {"count over destMax", src, 7, ERANGE},
        {"null source", nullptr, 3, EINVAL},
    };
    for (const auto &c : cases) {
        unsigned char dest[7];
        memset(dest, 0xAB, sizeof(dest));
        EXPECT_EQ(memcpy_s(dest, 6, c.src, c.count), c.want) << c.name;
        for (size_t i = 0; i < 6; ++i)
            EXPECT_EQ(dest[i], 0) << c.name << " byte " << i;
        EXPECT_EQ(dest[6], 0xAB) << c.name << ": wrote past destMax";
    }
}

TEST(MemCopy, NullDestinationOrZeroSizeIsRefused) {
    unsigned char dest[4] = {7, 7, 7, 7};
    EXPECT_EQ(memcpy_s(nullptr, 4, "abc", 3), EINVAL);
    EXPECT_EQ(memcpy_s(dest, 0, "abc", 3), EINVAL);
    // A negative length converted to size_t must not zero-fill the address space.
    EXPECT_EQ(memcpy_s(dest, static_cast<size_t>(-1), nullptr, 3), EINVAL);
    EXPECT_EQ(memset_s(dest, static_cast<size_t>(-1), 0, static_cast<size_t>(-2)), EINVAL);
    EXPECT_EQ(dest[0], 7);
}

TEST(MemCopy, OverlappingAreasAreRefused) {
    char buffer[16] = "0123456789";
    EXPECT_NE(memcpy_s(buffer + 2, 8, buffer, 5), EOK);
    EXPECT_NE(memcpy_s(buffer, 8, buffer + 3, 5), EOK);
    char apart[16] = "0123456789";
    EXPECT_EQ(memcpy_s(apart + 5, 5, apart, 5), EOK) << "adjacent areas do not overlap";
    EXPECT_STREQ(apart, "0123401234");
}

TEST(MemSet, FillsCountOrAtMostDestMax) {
    unsigned char dest[8];
    memset(dest, 0, sizeof(dest));
    EXPECT_EQ(memset_s(dest, 6, 'x', 4), EOK);
    EXPECT_EQ(memcmp(dest, "xxxx\0\0\0\0", 8), 0);

    memset(dest, 0, sizeof(dest));
    EXPECT_EQ(memset_s(dest, 6, 'y', 7), ERANGE);
    EXPECT_EQ(memcmp(dest, "yyyyyy\0\0", 8), 0) << "fills destMax bytes and no more";

    EXPECT_EQ(memset_s(nullptr, 6, 0, 1), EINVAL);
}

}  // namespace
