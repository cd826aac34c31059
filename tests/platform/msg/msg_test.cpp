// DMS messages: zeroed blocks that know their length, refusal of pointers
// that never came from DMS_MsgAlloc, and the free hook under concurrent frees.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "plat_msg.h"

namespace {

constexpr u32 kOwner = 0x80D60001u;

TEST(DmsMsg, BlocksAreZeroedKnowTheirLengthAndForeignPointersAreRefused) {
    for (u32 len : {0u, 17u, 4096u}) {
        auto *msg = static_cast<u8 *>(DMS_MsgAlloc(7, len));
        ASSERT_TRUE(msg != nullptr && DMS_MsgLengthGet(msg) == len) << len;
        for (u32 i = 0; i < len; ++i)
            ASSERT_EQ(msg[i], 0) << len << " at " << i;
        EXPECT_EQ(DMS_MsgFree(kOwner, msg), PLAT_OK) << "any owner may release it";
    }
    alignas(16) u8 foreign[64] = {};  // readable bytes in front, but no block
    EXPECT_TRUE(DMS_MsgFree(kOwner, foreign + 32) == PLAT_ERR && DMS_MsgLengthGet(foreign + 32) == 0);
}

TEST(DmsMsg, HookSeesRefusedFreesTooAndSwapsRaceFreeWithFreeingThreads) {
    std::atomic<int> seen{0};
    auto count = [](u32, void *, void *user) { ++*static_cast<std::atomic<int> *>(user); };
    PLAT_MsgFreeHookSet(count, &seen);
    EXPECT_TRUE(DMS_MsgFree(kOwner, nullptr) == PLAT_ERR && seen == 1) << "a refused free reaches the hook too";
    auto freeMany = [] {
        for (int i = 0; i < 1000; ++i)
            DMS_MsgFree(kOwner, DMS_MsgAlloc(9, 32));
    };
    std::thread first(freeMany), second(freeMany);
    for (int i = 0; i < 200; ++i) {
        PLAT_MsgFreeHookSet(nullptr, nullptr);
        PLAT_MsgFreeHookSet(count, &seen);
    }
    PLAT_MsgFreeHookSet(nullptr, nullptr);
    first.join();
    second.join();
    const int cleared = seen.load();
    EXPECT_EQ(DMS_MsgFree(kOwner, DMS_MsgAlloc(1, 1)), PLAT_OK);
    EXPECT_EQ(seen.load(), cleared) << "a cleared hook sees nothing";
}

}  // namespace
