// Re-entrant mutexes: the holder may lock again; others wait their turn.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "plat_os.h"

namespace {

class MutexTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(VOS_MutexInit(&mutex_, 0), PLAT_OK); }
    void TearDown() override { EXPECT_EQ(VOS_MutexDestroy(&mutex_), PLAT_OK); }
    VOS_MUTEX_ID mutex_ = 0;
};

TEST_F(MutexTest, HolderMayLockAgainAndKeepsItUntilLastUnlock) {
    ASSERT_NE(mutex_, 0u);
    ASSERT_EQ(VOS_MutexLock(mutex_), PLAT_OK);
    ASSERT_EQ(VOS_MutexLock(mutex_), PLAT_OK);
    ASSERT_EQ(VOS_MutexUnlock(mutex_), PLAT_OK);

    // Still held once: another thread has to wait for the second unlock.
    std::atomic<bool> otherGotIt{false};
    std::thread other([&] {
        VOS_MutexLock(mutex_);
        otherGotIt = true;
        VOS_MutexUnlock(mutex_);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(otherGotIt.load());
    ASSERT_EQ(VOS_MutexUnlock(mutex_), PLAT_OK);
    other.join();
    EXPECT_TRUE(otherGotIt.load());
}

TEST_F(MutexTest, ExcludesOtherThreadsUnderContention) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 20000;
    long counter = 0;  // deliberately unsynchronised except by the mutex
    std::vector<std::thread> workers;
    for (int t = 0; t < kThreads; ++t) {
        workers.emplace_back([&] {
            for (int i = 0; i < kRounds; ++i) {
                VOS_MutexLock(mutex_);
                long seen = counter;
                std::this_thread::yield();
                counter = seen + 1;
                VOS_MutexUnlock(mutex_);
            }
        });
    }
    for (auto &worker : workers)
        worker.join();
    EXPECT_EQ(counter, static_cast<long>(kThreads) * kRounds);
}

TEST(Mutex, NullAndZeroHandlesAreRefused) {
    EXPECT_NE(VOS_MutexInit(nullptr, 0), PLAT_OK);
    EXPECT_NE(VOS_MutexLock(0), PLAT_OK);
    EXPECT_NE(VOS_MutexUnlock(0), PLAT_OK);
    EXPECT_NE(VOS_MutexDestroy(nullptr), PLAT_OK);
    VOS_MUTEX_ID none = 0;
    EXPECT_NE(VOS_MutexDestroy(&none), PLAT_OK);
}

TEST(Mutex, DestroyZeroesTheHandle) {
    VOS_MUTEX_ID mutex = 0;
    ASSERT_EQ(VOS_MutexInit(&mutex, 0), PLAT_OK);
    ASSERT_EQ(VOS_MutexDestroy(&mutex), PLAT_OK);
    EXPECT_EQ(mutex, 0u);
}

}  // namespace
