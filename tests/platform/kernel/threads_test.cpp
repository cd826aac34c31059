// Blocking entries: the allowance keeps other connections served, groups do
// not starve each other, a full queue answers 503, stop is clean under load.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "engine_harness.h"

namespace {

using enginetest::Answer;
using enginetest::Client;
using enginetest::EchoEntry;
using enginetest::Get;
using enginetest::KernelSettings;
using enginetest::TestServer;

// Entries block here until released, like a handler waiting for another
// thread's answer.
struct Barrier {
    std::mutex mutex;
    std::condition_variable changed;
    int blocked = 0;
    int calls = 0;
    bool open = false;

    bool WaitBlocked(int count) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(20), [&] { return blocked >= count; });
    }
    void Open() {
        std::lock_guard lock(mutex);
        open = true;
        changed.notify_all();
    }
    int Calls() {
        std::lock_guard lock(mutex);
        return calls;
    }
};

void BlockingEntry(REST_REQ req, void *user, void *) {
    auto *barrier = static_cast<Barrier *>(user);
    {
        std::unique_lock lock(barrier->mutex);
        ++barrier->calls;
        ++barrier->blocked;
        barrier->changed.notify_all();
        barrier->changed.wait(lock, [&] { return barrier->open; });
        --barrier->blocked;
    }
    REST_ResponseSend(req, 200, "released", 8);
}

std::vector<std::unique_ptr<Client>> SendMany(uint16_t port, const char *target, int count) {
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < count; ++i) {
        clients.push_back(std::make_unique<Client>(port));
        clients.back()->Send(Get(target));
    }
    return clients;
}

void ExpectAllReleased(std::vector<std::unique_ptr<Client>> &clients) {
    for (auto &client : clients) {
        Answer answer;
        ASSERT_TRUE(client->Read(answer));
        EXPECT_EQ(answer.body, "released");
    }
}

TEST(Threads, SixtyFourBlockedEntriesDoNotDelayOthers) {
    KernelSettings(R"({"io_threads": 2})");
    TestServer server;
    Barrier barrier;
    server.Route("/block", BlockingEntry, &barrier);
    server.Route("/fast", EchoEntry, (void *)"fast");
    ASSERT_EQ(server.Start(), 0u);
    auto blocked = SendMany(server.port(), "/block", 64);
    ASSERT_TRUE(barrier.WaitBlocked(64));
    for (int i = 0; i < 20; ++i) {
        Client other(server.port());
        Answer answer;
        ASSERT_TRUE(other.Send(Get("/fast")));
        ASSERT_TRUE(other.Read(answer)) << i;
        EXPECT_EQ(answer.body, "fast");
    }
    barrier.Open();
    ExpectAllReleased(blocked);
}

TEST(Threads, BlockedGroupDoesNotDelayDefaultOrOtherGroups) {
    KernelSettings(R"({"io_threads": 1, "group_workers": 4})");
    REST_GroupEnable(2);
    TestServer server;
    Barrier barrier;
    server.Route("/slow", BlockingEntry, &barrier, 0);
    server.Route("/other", EchoEntry, (void *)"other", 1);
    server.Route("/default", EchoEntry, (void *)"default");
    ASSERT_EQ(server.Start(), 0u);
    auto blocked = SendMany(server.port(), "/slow", 4);
    ASSERT_TRUE(barrier.WaitBlocked(4));
    auto queued = SendMany(server.port(), "/slow", 1);  // beyond the group's allowance: waits
    for (const char *target : {"/default", "/other"}) {
        Client client(server.port());
        Answer answer;
        ASSERT_TRUE(client.Send(Get(target)));
        ASSERT_TRUE(client.Read(answer)) << target;
        EXPECT_EQ(answer.body, target + 1);
    }
    EXPECT_EQ(barrier.Calls(), 4);
    barrier.Open();
    ExpectAllReleased(blocked);
    ExpectAllReleased(queued);
    EXPECT_EQ(barrier.Calls(), 5);
}

TEST(Threads, FullQueueAnswers503WithoutCallingTheEntry) {
    // The allowance is the workers plus the one loop thread.
    KernelSettings(R"({"io_threads": 1, "workers": 2, "queue_depth": 1})");
    TestServer server;
    Barrier barrier;
    server.Route("/block", BlockingEntry, &barrier);
    ASSERT_EQ(server.Start(), 0u);
    auto running = SendMany(server.port(), "/block", 3);
    ASSERT_TRUE(barrier.WaitBlocked(3));
    auto queued = SendMany(server.port(), "/block", 1);
    Answer refused;
    // The queued request may take a moment to reach the queue; retry until one is refused.
    for (int i = 0; i < 100 && refused.status != 503; ++i) {
        Client extra(server.port());
        ASSERT_TRUE(extra.Send(Get("/block")));
        ASSERT_TRUE(extra.Read(refused));
    }
    EXPECT_EQ(refused.status, 503);
    EXPECT_EQ(refused.fields["retry-after"], "1");
    EXPECT_EQ(barrier.Calls(), 3);
    barrier.Open();
    ExpectAllReleased(running);
    ExpectAllReleased(queued);
    EXPECT_EQ(barrier.Calls(), 4);
}

std::atomic<int> g_calls{0};
void CountingEntry(REST_REQ req, void *, void *) {
    int call = g_calls.fetch_add(1) + 1;
    if (call % 7 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    std::string body(2000, 'x');
    REST_ResponseSend(req, 200, body.data(), static_cast<u32>(body.size()));
}

TEST(Threads, StopUnderLoadAnswersWholeOrNotAtAll) {
    KernelSettings(R"({"io_threads": 2, "stop_grace_ms": 5000})");
    TestServer server;
    server.Route("/count", CountingEntry);
    ASSERT_EQ(server.Start(), 0u);
    std::atomic<int> answered{0};
    std::atomic<int> broken{0};
    std::vector<std::thread> loaders;
    for (int t = 0; t < 4; ++t) {
        loaders.emplace_back([&, port = server.port()] {
            for (int round = 0; round < 200; ++round) {
                Client client(port);
                if (!client.connected()) return;
                for (int i = 0; i < 50; ++i) {
                    Answer answer;
                    if (!client.Send(Get("/count"))) break;
                    if (!client.Read(answer, false, 10000)) break;
                    if (answer.status == 200 && answer.body.size() == 2000) {
                        answered.fetch_add(1);
                    } else if (answer.status != 503) {
                        broken.fetch_add(1);
                    }
                }
            }
        });
    }
    while (g_calls.load() < 200)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    server.Stop();
    int calls_at_stop = g_calls.load();
    for (auto &loader : loaders)
        loader.join();
    EXPECT_EQ(g_calls.load(), calls_at_stop);
    EXPECT_EQ(broken.load(), 0);
    // Every entry that ran was answered in full.
    EXPECT_EQ(answered.load(), calls_at_stop);
}

}  // namespace
