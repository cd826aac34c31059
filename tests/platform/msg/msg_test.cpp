// DMS messages: allocation, the owner and magic checks, and the free hook.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "plat_msg.h"

namespace {

constexpr u32 kSessionOwner = 0x80D60001u;

struct FreeCall {
    u32 owner;
    void *msg;
};

void Record(u32 owner, void *msg, void *user) {
    static_cast<std::vector<FreeCall> *>(user)->push_back({owner, msg});
}

TEST(DmsMsg, AllocIsZeroFilledAndRemembersItsLength) {
    for (u32 len : {0u, 1u, 17u, 4096u}) {
        auto *msg = static_cast<u8 *>(DMS_MsgAlloc(7, len));
        ASSERT_NE(msg, nullptr) << len;
        EXPECT_EQ(DMS_MsgLengthGet(msg), len);
        for (u32 i = 0; i < len; ++i)
            ASSERT_EQ(msg[i], 0) << len << " at " << i;
        memset(msg, 0xAB, len);  // the whole length is writable
        EXPECT_EQ(DMS_MsgFree(kSessionOwner, msg), 0u);
    }
    EXPECT_EQ(DMS_MsgLengthGet(nullptr), 0u);
}

TEST(DmsMsg, ForeignBlocksAndNullAreRefused) {
    EXPECT_EQ(DMS_MsgFree(kSessionOwner, nullptr), 0xFFFFFFFFu);
    // A block with readable bytes in front of it that never came from DMS_MsgAlloc.
    alignas(16) u8 foreign[64] = {};
    EXPECT_EQ(DMS_MsgFree(kSessionOwner, foreign + 32), 0xFFFFFFFFu);
    EXPECT_EQ(DMS_MsgLengthGet(foreign + 32), 0u);
}

TEST(DmsMsg, AnyOwnerMayReleaseAMessage) {
    void *msg = DMS_MsgAlloc(1, 8);
    ASSERT_NE(msg, nullptr);
    EXPECT_EQ(DMS_MsgFree(kSessionOwner, msg), 0u);
}

TEST(DmsMsg, HookSeesEveryFreeWithItsArguments) {
    std::vector<FreeCall> calls;
    PLAT_MsgFreeHookSet(&Record, &calls);
    void *first = DMS_MsgAlloc(1, 4);
    void *second = DMS_MsgAlloc(2, 4);
    EXPECT_EQ(DMS_MsgFree(kSessionOwner, first), 0u);
    EXPECT_EQ(DMS_MsgFree(0x1234u, second), 0u);
    EXPECT_EQ(DMS_MsgFree(kSessionOwner, nullptr), PLAT_ERR);
    PLAT_MsgFreeHookSet(nullptr, nullptr);
    void *third = DMS_MsgAlloc(3, 4);
    EXPECT_EQ(DMS_MsgFree(kSessionOwner, third), 0u);

    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0].owner, kSessionOwner);
    EXPECT_EQ(calls[0].msg, first);
    EXPECT_EQ(calls[1].owner, 0x1234u);
    EXPECT_EQ(calls[1].msg, second);
    EXPECT_EQ(calls[2].msg, nullptr);
}

TEST(DmsMsg, ConcurrentFreesReachTheHook) {
    std::atomic<int> frees{0};
    PLAT_MsgFreeHookSet([](u32, void *, void *user) { ++*static_cast<std::atomic<int> *>(user); }, &frees);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < 500; ++i)
                DMS_MsgFree(kSessionOwner, DMS_MsgAlloc(9, 32));
        });
    }
    for (auto &thread : threads)
        thread.join();
    PLAT_MsgFreeHookSet(nullptr, nullptr);
    EXPECT_EQ(frees.load(), 2000);
}

}  // namespace
