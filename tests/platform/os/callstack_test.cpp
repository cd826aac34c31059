// Call-stack capture names the functions on the stack.
#include <gtest/gtest.h>

#include <string>

#include "plat_os.h"

// Exported (outside any anonymous namespace, default visibility) so that
// dladdr can name it.
__attribute__((noinline, visibility("default"))) u32 CaptureFromKnownFrame(u32 maxFrames, u32 skip, void **addrs,
                                                                           u32 *count) {
    u32 result = VOS_CallStackSelfGet(maxFrames, skip, addrs, count);
    asm volatile("" ::: "memory");  // keeps this frame from becoming a tail call
    return result;
}

namespace {

TEST(VosCallStack, InnermostFrameIsTheCaller) {
    void *addrs[26] = {};
    u32 count = 0;
    ASSERT_EQ(CaptureFromKnownFrame(26, 0, addrs, &count), PLAT_OK);
    ASSERT_GT(count, 1u);
    EXPECT_LE(count, 26u);
    EXPECT_NE(std::string(VOS_SymNameGet(addrs[0])).find("CaptureFromKnownFrame"), std::string::npos)
        << VOS_SymNameGet(addrs[0]);
}

TEST(VosCallStack, SkipDropsInnermostFramesAndLimitCaps) {
    void *all[64] = {};
    u32 allCount = 0;
    ASSERT_EQ(CaptureFromKnownFrame(64, 0, all, &allCount), PLAT_OK);
    ASSERT_GT(allCount, 3u);

    void *skipped[64] = {};
    u32 skippedCount = 0;
    ASSERT_EQ(CaptureFromKnownFrame(64, 1, skipped, &skippedCount), PLAT_OK);
    EXPECT_EQ(skippedCount, allCount - 1);
    // Outer frames are the same return addresses in both captures.
    EXPECT_EQ(skipped[skippedCount - 1], all[allCount - 1]);

    void *capped[2] = {};
    u32 cappedCount = 0;
    ASSERT_EQ(CaptureFromKnownFrame(2, 0, capped, &cappedCount), PLAT_OK);
    EXPECT_EQ(cappedCount, 2u);
}

TEST(VosCallStack, DemangledNameAndUnknownAddress) {
    void *addrs[4] = {};
    u32 count = 0;
    ASSERT_EQ(CaptureFromKnownFrame(4, 0, addrs, &count), PLAT_OK);
    ASSERT_GE(count, 1u);
    EXPECT_EQ(std::string(VOS_SymNameGet(addrs[0])).rfind("CaptureFromKnownFrame(", 0), 0u)
        << "C++ names come back demangled, got " << VOS_SymNameGet(addrs[0]);
    EXPECT_STREQ(VOS_SymNameGet(nullptr), "??");
    int onStack = 0;
    EXPECT_STREQ(VOS_SymNameGet(&onStack), "??");
}

TEST(VosCallStack, BadArgumentsAreRefused) {
    void *addrs[4];
    u32 count = 0;
    EXPECT_NE(VOS_CallStackSelfGet(4, 0, nullptr, &count), PLAT_OK);
    EXPECT_NE(VOS_CallStackSelfGet(4, 0, addrs, nullptr), PLAT_OK);
    EXPECT_NE(VOS_CallStackSelfGet(0, 0, addrs, &count), PLAT_OK);
}

TEST(VosCallStack, SkippingPastTheWholeStackGivesNoFrames) {
    void *addrs[4] = {};
    u32 count = 99;
    EXPECT_EQ(VOS_CallStackSelfGet(4, 100000, addrs, &count), PLAT_OK);
    EXPECT_EQ(count, 0u);
}

}  // namespace
