// Semaphores and the local time record.
#include <gtest/gtest.h>

#include <ctime>
#include <thread>

#include "plat_sync.h"

namespace {

TEST(SyncSem, PostsBeforeWaitsAreCounted) {
    sem_t sem;
    ASSERT_EQ(ZEP_SemInit(&sem, 0, 0), 0u);
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(ZEP_SemPost(&sem), 0u);
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(ZEP_SemWait(&sem), 0u);
    int value = -1;
    sem_getvalue(&sem, &value);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(ZEP_SemDestroy(&sem), 0u);
}

TEST(SyncSem, InitialCountAndCrossThreadWake) {
    sem_t sem;
    ASSERT_EQ(ZEP_SemInit(&sem, 0, 2), 0u);
    int value = -1;
    sem_getvalue(&sem, &value);
    EXPECT_EQ(value, 2);
    ASSERT_EQ(ZEP_SemWait(&sem), 0u);
    ASSERT_EQ(ZEP_SemWait(&sem), 0u);
    u32 waited = PLAT_ERR;
    std::thread waiter([&] { waited = ZEP_SemWait(&sem); });
    ASSERT_EQ(ZEP_SemPost(&sem), 0u);
    waiter.join();
    EXPECT_EQ(waited, 0u);
    EXPECT_EQ(ZEP_SemDestroy(&sem), 0u);
}

TEST(SyncSem, NullAndBadArgumentsFailWithAllOnes) {
    EXPECT_EQ(ZEP_SemInit(nullptr, 0, 0), 0xFFFFFFFFu);
    EXPECT_EQ(ZEP_SemWait(nullptr), 0xFFFFFFFFu);
    EXPECT_EQ(ZEP_SemPost(nullptr), 0xFFFFFFFFu);
    EXPECT_EQ(ZEP_SemDestroy(nullptr), 0xFFFFFFFFu);
    sem_t sem;
    EXPECT_EQ(ZEP_SemInit(&sem, 0, 0x80000000u), 0xFFFFFFFFu);  // above SEM_VALUE_MAX
}

TEST(SyncTime, FieldsAreInRangeAndMatchTheClock) {
    using TimeGet = u32 (*)(SYS_TIME_S *);
    for (TimeGet get : {&ZEP_LMT_SystimeGet, &SSP_Local_SystimeGet}) {
        SYS_TIME_S now{};
        time_t before = time(nullptr);
        ASSERT_EQ(get(&now), 0u);
        tm local{};
        localtime_r(&before, &local);
        EXPECT_EQ(now.usYear, local.tm_year + 1900);
        EXPECT_GE(now.ucMonth, 1);
        EXPECT_LE(now.ucMonth, 12);
        EXPECT_GE(now.ucDay, 1);
        EXPECT_LE(now.ucDay, 31);
        EXPECT_LE(now.ucHour, 23);
        EXPECT_LE(now.ucMinute, 59);
        EXPECT_LE(now.ucSecond, 60);
        EXPECT_LE(now.ucWeek, 6);
        EXPECT_LE(now.uiMillisecond, 999u);
        EXPECT_EQ(get(nullptr), PLAT_ERR);
    }
}

}  // namespace
