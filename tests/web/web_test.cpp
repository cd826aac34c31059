// Sessions of a made instance and the response rendezvous on a session.
#include <gtest/gtest.h>

#include <semaphore.h>

#include <atomic>
#include <thread>
#include <vector>

#include "core/restserver_log.h"
#include "plat_msg.h"
#include "support/made_instance.h"
#include "web/restserver_session.h"

namespace {

// A made instance with session 1 and its rendezvous; each test ends the session.
class Web : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(made_.Error(), "");
        env_ = made_.Inst()->pstWebEnv;
        session_ = RsSessionMake(env_, &context_, nullptr, nullptr);
        ASSERT_NE(session_, nullptr);
        ASSERT_EQ(RESTSERVER_SemInit(session_->uiSessionId, &sem_), RS_OK);
        made_.Log().Clear();
    }
    rstest::MadeInstance made_;
    RS_WEB_ENV *env_ = nullptr;
    RS_HANDLER_CONTEXT context_ = {};
    RS_SESSION *session_ = nullptr;
    RS_SESSION_SEM *sem_ = nullptr;
};

// Ids are "instance << 24 | 16-bit counter"; after a wrap, an id still in flight is skipped.
TEST_F(Web, SessionIdsWrapAtSixteenBitsAndLiveIdsAreNotReused) {
    u32 id = RESTSERVER_SessionIdGet(session_->pstRequest);
    EXPECT_EQ(id, 0x00000001u);
    EXPECT_EQ(RESTSERVER_SessionIdGet(session_->pstResponse), id);
    EXPECT_EQ(RsSessionFind(id), session_);
    env_->ucInstId = 2;
    EXPECT_EQ(RsSessionIdGen(env_), 0x02000002u);
    for (u32 i = 3; i < 0x10000; ++i)
        (void)RsSessionIdGen(env_);
    EXPECT_EQ(RsSessionIdGen(env_), 0x02000000u);
    env_->ucInstId = 0;
    RS_SESSION *next = RsSessionMake(env_, &context_, nullptr, nullptr);
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(next->uiSessionId, 0x00000002u) << "id 1 is still in flight and skipped";
    EXPECT_EQ(RsSessionFind(id), session_);
    EXPECT_EQ(RsSessionFind(0x00000002u), next);
    RsSessionDestroy(env_, next);
    RsSessionDestroy(env_, session_);
    EXPECT_EQ(RsSessionFind(id), nullptr);
    EXPECT_TRUE(made_.Log().Lines().empty()) << "an ended request is not an error";
    for (u32 state = RS_STATE_IDLE; state <= RS_STATE_FAILED; ++state) {
        RsStateSet(made_.Inst(), state);
        EXPECT_EQ(RsCheckAbort(env_), state == RS_STATE_FAILED ? 1u : 0u) << "requests abort only after a failed start";
    }
}

// Another thread finds, queues, wakes; an early wake is kept; leftovers go back.
TEST_F(Web, RendezvousHandsAnswersOverInOrder) {
    void *msgs[4] = {DMS_MsgAlloc(RS_SESSION_MSG_OWNER, 4)};
    std::thread answer([msg = msgs[0]] {
        RS_SESSION_SEM *found = nullptr;
        if (RESTSERVER_SemFind(0x00000001u, &found) != 0) return;
        (void)RESTSERVER_RspMsgSet(found, msg);
        (void)RESTSERVER_SemWake(found);
    });
    EXPECT_EQ(RESTSERVER_SemWait(sem_), RS_OK);
    answer.join();
    void *picked = nullptr;
    ASSERT_EQ(RESTSERVER_RspMsgPick(sem_, &picked), RS_OK);
    EXPECT_EQ(picked, msgs[0]);
    EXPECT_EQ(DMS_MsgFree(RS_SESSION_MSG_OWNER, picked), 0u);
    ASSERT_EQ(RESTSERVER_SemWake(sem_), RS_OK);
    EXPECT_EQ(RESTSERVER_SemWait(sem_), RS_OK);
    EXPECT_EQ(RESTSERVER_RspMsgPick(sem_, &picked), RS_ERR);
    EXPECT_EQ(picked, nullptr);
    EXPECT_EQ(RESTSERVER_RspMsgSet(sem_, nullptr), RS_ERR);
    EXPECT_EQ(made_.Log().CountContaining("RESTSERVER_RspMsgSet dst ppRspMsg is null, sess-id:0x00000001"), 1u);
    RS_SESSION_SEM *found = sem_;
    EXPECT_EQ(RESTSERVER_SemFind(0x00000002u, &found), RS_ERR);
    EXPECT_EQ(found, nullptr);
    EXPECT_TRUE(made_.Log().Has("RESTSERVER_SemMake Find session fail, sess-id:0x00000002", RS_LOG_ERROR));

    for (void *&msg : msgs) {
        msg = DMS_MsgAlloc(RS_SESSION_MSG_OWNER, 8);
        ASSERT_EQ(RESTSERVER_RspMsgSet(sem_, msg), RS_OK);
    }
    for (void *want : {msgs[0], msgs[1]}) {
        ASSERT_EQ(RESTSERVER_RspMsgPick(sem_, &picked), RS_OK);
        EXPECT_EQ(picked, want);
        EXPECT_EQ(DMS_MsgFree(RS_SESSION_MSG_OWNER, picked), 0u);
    }
    std::vector<void *> freed;
    PLAT_MsgFreeHookSet(
        [](u32 owner, void *msg, void *user) {
            if (owner == RS_SESSION_MSG_OWNER) static_cast<std::vector<void *> *>(user)->push_back(msg);
        },
        &freed);
    EXPECT_EQ(RESTSERVER_SemDestroy(sem_), RS_OK);
    RsSessionDestroy(env_, session_);
    PLAT_MsgFreeHookSet(nullptr, nullptr);
    EXPECT_EQ(freed, (std::vector<void *>{msgs[2], msgs[3]}));
}

// A second init keeps a wake already given; an answering thread that found a session keeps it until
// its wake, however early the handler gives up and returns (the race runs under the sanitizers).
TEST_F(Web, AnsweringThreadsHoldTheSessionFromFindToWake) {
    RS_SESSION_SEM *again = nullptr;
    ASSERT_EQ(RESTSERVER_SemWake(sem_), RS_OK);
    ASSERT_EQ(RESTSERVER_SemInit(session_->uiSessionId, &again), RS_OK);
    EXPECT_EQ(again, sem_);
    std::thread wait([this] { EXPECT_EQ(RESTSERVER_SemWait(sem_), RS_OK); });
    wait.join();  // a lost wake would hang here
    EXPECT_EQ(RESTSERVER_SemDestroy(sem_), RS_OK);
    RsSessionDestroy(env_, session_);

    std::atomic<u32> published{0};
    std::atomic<bool> done{false};
    std::thread answering([&] {
        while (!done) {
            RS_SESSION_SEM *found = nullptr;
            u32 id = published.exchange(0);
            if (id == 0 || RESTSERVER_SemFind(id, &found) != 0) continue;
            void *msg = DMS_MsgAlloc(RS_SESSION_MSG_OWNER, 8);
            if (RESTSERVER_RspMsgSet(found, msg) != 0) (void)DMS_MsgFree(RS_SESSION_MSG_OWNER, msg);
            (void)RESTSERVER_SemWake(found);
        }
    });
    for (int i = 0; i < 3000; ++i) {
        RS_SESSION *session = RsSessionMake(env_, &context_, nullptr, nullptr);
        RS_SESSION_SEM *sem = nullptr;
        ASSERT_EQ(RESTSERVER_SemInit(session->uiSessionId, &sem), RS_OK);
        published = session->uiSessionId;
        if (i % 2 == 0) {  // else the handler returns at once
            EXPECT_EQ(RESTSERVER_SemWait(sem), RS_OK);
        }
        (void)RESTSERVER_SemDestroy(sem);
        RsSessionDestroy(env_, session);
    }
    done = true;
    answering.join();
}

// A session's block is reused by the next session its thread makes: the
// block must come back with no message, no made or posted semaphore, no hold
// and objects that name the new request, not the ended one.
TEST_F(Web, AReusedSessionBlockCarriesNothingOfTheEndedSession) {
    std::vector<void *> freed;
    PLAT_MsgFreeHookSet(
        [](u32 owner, void *msg, void *user) {
            if (owner == RS_SESSION_MSG_OWNER) static_cast<std::vector<void *> *>(user)->push_back(msg);
        },
        &freed);
    void *msg = DMS_MsgAlloc(RS_SESSION_MSG_OWNER, 8);
    ASSERT_EQ(RESTSERVER_RspMsgSet(sem_, msg), RS_OK);
    ASSERT_EQ(RESTSERVER_SemWake(sem_), RS_OK);  // posted, never waited for
    RS_SESSION *ended = session_;
    RsSessionDestroy(env_, ended);
    PLAT_MsgFreeHookSet(nullptr, nullptr);
    EXPECT_EQ(freed, std::vector<void *>{msg}) << "the ended session's message goes back";

    int request = 0, response = 0;
    RS_SESSION *next = RsSessionMake(env_, &context_, &request, &response);
    ASSERT_EQ(next, ended) << "the thread's free list gives the block back";
    EXPECT_EQ(next->uiSessionId, 0x00000002u);
    EXPECT_EQ(next->uiHolds, 0u);
    EXPECT_EQ(RESTSERVER_SessionIdGet(next->pstRequest), next->uiSessionId);
    EXPECT_EQ(RESTSERVER_SessionIdGet(next->pstResponse), next->uiSessionId);
    EXPECT_EQ(next->pstRequest->pHandle, &request);
    EXPECT_EQ(next->pstResponse->pHandle, &response);
    RS_SESSION_SEM *sem = nullptr;
    ASSERT_EQ(RESTSERVER_SemInit(next->uiSessionId, &sem), RS_OK);
    int posts = -1;
    ASSERT_EQ(sem_getvalue(&sem->stSem, &posts), 0);
    EXPECT_EQ(posts, 0) << "a wake of the ended session must not wake the next";
    void *picked = nullptr;
    EXPECT_EQ(RESTSERVER_RspMsgPick(sem, &picked), RS_ERR);
    EXPECT_EQ(picked, nullptr);
    EXPECT_EQ(RsSessionFind(0x00000001u), nullptr);
    EXPECT_EQ(RESTSERVER_SemDestroy(sem), RS_OK);
    RsSessionDestroy(env_, next);
}

// The answering thread's wake drops the last reference, so the block ends on
// that thread: it serves that thread's next session, and the thread's exit
// frees what it kept (the leak checker and the thread sanitizer watch both).
TEST_F(Web, ASessionEndedOnAnotherThreadServesThatThread) {
    RS_SESSION_SEM *found = nullptr;
    ASSERT_EQ(RESTSERVER_SemFind(session_->uiSessionId, &found), RS_OK);
    RS_SESSION *ended = session_;
    EXPECT_EQ(RESTSERVER_SemDestroy(sem_), RS_OK);
    RsSessionDestroy(env_, ended);
    EXPECT_EQ(RsSessionFind(0x00000001u), nullptr) << "out of the tree while held";
    RS_SESSION *made_there = nullptr;
    u32 id_there = 0;
    std::thread answering([&] {
        (void)RESTSERVER_SemWake(found);  // nothing to wake: the hold is given back
        made_there = RsSessionMake(env_, &context_, nullptr, nullptr);
        if (made_there == nullptr) return;
        id_there = made_there->uiSessionId;
        RsSessionDestroy(env_, made_there);
    });
    answering.join();
    EXPECT_EQ(made_there, ended) << "the block ended on the answering thread";
    EXPECT_EQ(id_there, 0x00000002u);
    RS_SESSION *here = RsSessionMake(env_, &context_, nullptr, nullptr);
    ASSERT_NE(here, nullptr);
    EXPECT_EQ(here->uiSessionId, 0x00000003u);
    RsSessionDestroy(env_, here);
}

}  // namespace
