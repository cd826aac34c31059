// Call-stack capture, re-entrant mutexes, the tick counter and the string compare.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>

#include "plat_os.h"

// Exported so that dladdr can name it; the barrier keeps its frame from becoming a tail call.
__attribute__((noinline, visibility("default"))) u32 CaptureFromKnownFrame(u32 max, u32 skip, void **out, u32 *n) {
    u32 result = VOS_CallStackSelfGet(max, skip, out, n);
    asm volatile("" ::: "memory");
    return result;
}

namespace {

TEST(VosCallStack, InnermostFrameIsTheNamedCallerSkipDropsInnermostFramesAndTheLimitCaps) {
    void *all[64] = {}, *skipped[64] = {}, *capped[2] = {};
    u32 allCount = 0, skippedCount = 0, cappedCount = 0;
    ASSERT_EQ(CaptureFromKnownFrame(64, 0, all, &allCount), PLAT_OK);
    ASSERT_EQ(CaptureFromKnownFrame(64, 1, skipped, &skippedCount), PLAT_OK);
    EXPECT_EQ(std::string(VOS_SymNameGet(all[0])).rfind("CaptureFromKnownFrame(", 0), 0u) << VOS_SymNameGet(all[0]);
    ASSERT_TRUE(allCount > 3 && skippedCount == allCount - 1) << allCount << " and " << skippedCount;
    EXPECT_EQ(skipped[skippedCount - 1], all[allCount - 1]) << "the same outermost frame";
    EXPECT_TRUE(CaptureFromKnownFrame(2, 0, capped, &cappedCount) == PLAT_OK && cappedCount == 2);
}

TEST(VosMutex, HolderRelocksAndOthersWaitForItsLastUnlock) {
    VOS_MUTEX_ID mutex = 0;
    ASSERT_EQ(VOS_MutexInit(&mutex, 0), PLAT_OK);
    ASSERT_TRUE(VOS_MutexLock(mutex) == PLAT_OK && VOS_MutexLock(mutex) == PLAT_OK &&
                VOS_MutexUnlock(mutex) == PLAT_OK);
    long counter = 0;  // guarded by the mutex alone
    auto work = [&] {
        for (int i = 0; i < 20000; ++i) {
            VOS_MutexLock(mutex);
            long seen = counter;
            std::this_thread::yield();
            counter = seen + 1;
            VOS_MutexUnlock(mutex);
        }
    };
    {
        std::jthread first(work), second(work), third(work);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_EQ(counter, 0) << "still held once: nobody else may enter";
        EXPECT_EQ(VOS_MutexUnlock(mutex), PLAT_OK);
    }
    EXPECT_EQ(counter, 3 * 20000);
    EXPECT_TRUE(VOS_MutexDestroy(&mutex) == PLAT_OK && mutex == 0) << "a destroyed handle reads as none";
}

TEST(VosCpuTick, CountsMonotonicNanosecondsAndConvertsToWholeMilliseconds) {
    u32 low = 0, high = 0;
    ASSERT_EQ(VOS_GetCpuTick(&low, &high), PLAT_OK);
    const auto now = std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
    EXPECT_NEAR(static_cast<double>((u64{high} << 32) | low), static_cast<double>(now), 1e9);
    for (u64 ms : {0ull, 1ull, 5000ull, (1ull << 32) + 7}) {  // ticks, then milliseconds, pass 32 bits
        VOS_CPU_TICK_S tick{static_cast<u32>(ms * 1000000 + 999999), static_cast<u32>((ms * 1000000 + 999999) >> 32)};
        ASSERT_EQ(VOS_CpuTick2Ms(&tick, &high, &low), PLAT_OK);
        EXPECT_EQ((u64{high} << 32) | low, ms) << "partial milliseconds are dropped";
    }
}

TEST(VosStrCmp, OrdersBytesUnsignedWithNullFirst) {
    const char *ordered[] = {nullptr, "", "a", "ab", "abc", "abd", "\x80", "\xff"};
    for (size_t i = 0; i < std::size(ordered); ++i)
        for (size_t j = 0; j < std::size(ordered); ++j)
            EXPECT_EQ(std::clamp(VOS_StrCmp(ordered[i], ordered[j]), -1, 1), (i > j) - (i < j)) << i << " vs " << j;
}

}  // namespace
