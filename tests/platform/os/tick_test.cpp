// Tick counter and tick-to-millisecond conversion.
#include <gtest/gtest.h>

#include "plat_os.h"

namespace {

u64 Join(u32 high, u32 low) {
    return (static_cast<u64>(high) << 32) | low;
}

TEST(VosCpuTick, ConvertsNanosecondsToMillisecondWords) {
    struct Case {
        u64 nanos;
        u64 wantMs;
    };
    const Case cases[] = {
        {0, 0},
        {999999, 0},  // partial milliseconds are dropped
        {1000000, 1},
        {5000000000ull, 5000},                                // crosses the 32-bit boundary in ticks
        {((1ull << 32) + 7) * 1000000ull, (1ull << 32) + 7},  // and in milliseconds
    };
    for (const auto &c : cases) {
        VOS_CPU_TICK_S tick{static_cast<u32>(c.nanos), static_cast<u32>(c.nanos >> 32)};
        u32 high = 0xDEAD;
        u32 low = 0xBEEF;
        ASSERT_EQ(VOS_CpuTick2Ms(&tick, &high, &low), PLAT_OK) << c.nanos;
        EXPECT_EQ(Join(high, low), c.wantMs) << c.nanos;
    }
}

TEST(VosCpuTick, CounterNeverGoesBackwards) {
    u32 low = 0;
    u32 high = 0;
    ASSERT_EQ(VOS_GetCpuTick(&low, &high), PLAT_OK);
    u64 previous = Join(high, low);
    EXPECT_GT(previous, 0u);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(VOS_GetCpuTick(&low, &high), PLAT_OK);
        u64 now = Join(high, low);
        ASSERT_GE(now, previous);
        previous = now;
    }
}

TEST(VosCpuTick, NullArgumentsAreRefused) {
    u32 word = 0;
    VOS_CPU_TICK_S tick{};
    EXPECT_NE(VOS_GetCpuTick(nullptr, &word), PLAT_OK);
    EXPECT_NE(VOS_GetCpuTick(&word, nullptr), PLAT_OK);
    EXPECT_NE(VOS_CpuTick2Ms(nullptr, &word, &word), PLAT_OK);
    EXPECT_NE(VOS_CpuTick2Ms(&tick, nullptr, &word), PLAT_OK);
    EXPECT_NE(VOS_CpuTick2Ms(&tick, &word, nullptr), PLAT_OK);
}

}  // namespace
