// Semaphore counts (waking across threads is exercised by the rendezvous tests) and the local time.
#include <gtest/gtest.h>

#include <ctime>

#include "plat_sync.h"

namespace {

TEST(SyncSem, EachWaitTakesOneFromTheInitialValueAndThePosts) {
    sem_t sem;
    int value = -1;
    ASSERT_TRUE(ZEP_SemInit(&sem, 0, 2) == PLAT_OK && ZEP_SemPost(&sem) == PLAT_OK);
    ASSERT_TRUE(sem_getvalue(&sem, &value) == 0 && value == 3) << value;
    ASSERT_TRUE(ZEP_SemWait(&sem) == PLAT_OK && ZEP_SemWait(&sem) == PLAT_OK);
    EXPECT_TRUE(sem_getvalue(&sem, &value) == 0 && value == 1) << value;
    EXPECT_EQ(ZEP_SemDestroy(&sem), PLAT_OK);
}

TEST(SyncTime, BothGettersGiveTheLocalTimeOfNow) {
    for (auto get : {&ZEP_LMT_SystimeGet, &SSP_Local_SystimeGet}) {
        SYS_TIME_S got{};
        timespec before{}, after{};
        do {  // again when a second boundary passed during the call
            clock_gettime(CLOCK_REALTIME, &before);
            ASSERT_EQ(get(&got), PLAT_OK);
            clock_gettime(CLOCK_REALTIME, &after);
        } while (after.tv_sec != before.tv_sec);
        char want[64], text[64];
        strftime(want, sizeof(want), "%Y-%m-%d %H:%M:%S day %w", localtime(&before.tv_sec));
        snprintf(text, sizeof(text), "%04u-%02u-%02u %02u:%02u:%02u day %u", got.usYear, got.ucMonth, got.ucDay,
                 got.ucHour, got.ucMinute, got.ucSecond, got.ucWeek);
        EXPECT_STREQ(text, want);
    }
}

}  // namespace
