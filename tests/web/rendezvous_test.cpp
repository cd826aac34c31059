// The response rendezvous on sessions of a made instance.
#include <gtest/gtest.h>

#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "core/restserver_log.h"
#include "plat_config.h"
#include "plat_msg.h"
#include "restserver_rendezvous.h"
#include "support/deployment.h"
#include "support/log_capture.h"
#include "web/restserver_session.h"

namespace {

class Rendezvous : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(deployment_.PrepareInstances(), "");
        ASSERT_EQ(RESTSERVER_GlobalInit(), 0u);
        ASSERT_EQ(RESTSERVER_InstMake(&inst_, &id_), 0u);
        session_ = RsSessionMake(inst_->pstWebEnv, &context_, nullptr, nullptr);
        ASSERT_NE(session_, nullptr);
        ASSERT_EQ(RESTSERVER_SemInit(session_->uiSessionId, &sem_), 0u);
        ASSERT_EQ(sem_, &session_->stSem);
        log_.emplace();
    }
    void TearDown() override {
        log_.reset();
        if (session_ != nullptr) {
            (void)RESTSERVER_SemDestroy(sem_);
            RsSessionDestroy(inst_->pstWebEnv, session_);
        }
        RESTSERVER_InstDestroy(inst_);
        RESTSERVER_GlobalUnInit();
    }
    std::string Line(const char *fmt) const {
        char text[128];
        snprintf(text, sizeof(text), fmt, session_->uiSessionId);
        return text;
    }

    rstest::Deployment deployment_;
    RS_INSTANCE *inst_ = nullptr;
    u8 id_ = 0;
    RS_HANDLER_CONTEXT context_ = {};
    RS_SESSION *session_ = nullptr;
    RS_SESSION_SEM *sem_ = nullptr;
    std::optional<rstest::LogCapture> log_;
};

TEST_F(Rendezvous, WakeBeforeWaitIsNotLost) {
    ASSERT_EQ(RESTSERVER_SemWake(sem_), 0u);
    EXPECT_EQ(RESTSERVER_SemWait(sem_), 0u);
    EXPECT_TRUE(log_->Has(Line("RESTSERVER_SemWait end, sess-id:0x%08x"), RS_LOG_FINE));
}

TEST_F(Rendezvous, AnsweringThreadFindsSetsAndWakes) {
    void *msg = DMS_MsgAlloc(RS_SESSION_MSG_OWNER, 4);
    u32 id = session_->uiSessionId;
    std::thread answer([id, msg] {
        RS_SESSION_SEM *found = nullptr;
        if (RESTSERVER_SemFind(id, &found) != 0) return;
        (void)RESTSERVER_RspMsgSet(found, msg);
        (void)RESTSERVER_SemWake(found);
    });
    EXPECT_EQ(RESTSERVER_SemWait(sem_), 0u);
    answer.join();
    void *picked = nullptr;
    ASSERT_EQ(RESTSERVER_RspMsgPick(sem_, &picked), 0u);
    EXPECT_EQ(picked, msg);
    EXPECT_EQ(DMS_MsgFree(RS_SESSION_MSG_OWNER, picked), 0u);
}

TEST_F(Rendezvous, MessagesArePickedFirstInFirstOut) {
    int first = 1, second = 2;
    EXPECT_EQ(RESTSERVER_RspMsgListIsEmpty(sem_), 1u);
    ASSERT_EQ(RESTSERVER_RspMsgSet(sem_, &first), 0u);
    ASSERT_EQ(RESTSERVER_RspMsgSet(sem_, &second), 0u);
    void *picked = nullptr;
    ASSERT_EQ(RESTSERVER_RspMsgPick(sem_, &picked), 0u);
    EXPECT_EQ(picked, &first);
    EXPECT_EQ(RESTSERVER_RspMsgListIsEmpty(sem_), 0u);
    ASSERT_EQ(RESTSERVER_RspMsgPick(sem_, &picked), 0u);
    EXPECT_EQ(picked, &second);
    EXPECT_EQ(RESTSERVER_RspMsgListIsEmpty(sem_), 1u);
}

TEST_F(Rendezvous, RefusalsReturnErrorWithTheirLines) {
    void *picked = &picked;
    EXPECT_EQ(RESTSERVER_RspMsgPick(sem_, &picked), RS_ERR);
    EXPECT_EQ(picked, nullptr);
    EXPECT_TRUE(log_->Has(Line("RESTSERVER_RspMsgPick Get rsp msg is null1, sess-id:0x%08x"), RS_LOG_FINE));

    EXPECT_EQ(RESTSERVER_RspMsgSet(sem_, nullptr), RS_ERR);
    EXPECT_TRUE(log_->Has(Line("RESTSERVER_RspMsgSet dst ppRspMsg is null, sess-id:0x%08x"), RS_LOG_ERROR));
    EXPECT_EQ(RESTSERVER_RspMsgListIsEmpty(sem_), 1u);

    u32 unknown = session_->uiSessionId + 100;
    RS_SESSION_SEM *found = sem_;
    EXPECT_EQ(RESTSERVER_SemFind(unknown, &found), RS_ERR);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(log_->CountContaining("RESTSERVER_SemMake Find session fail"), 1u);
    EXPECT_EQ(RESTSERVER_SemInit(unknown, &found), RS_ERR);
    EXPECT_EQ(log_->CountContaining("RESTSERVER_SemInit Find session fail"), 1u);
    EXPECT_EQ(RESTSERVER_SemFind(session_->uiSessionId, nullptr), RS_ERR);
}

TEST_F(Rendezvous, MessagesLeftAtSessionEndGoBackToTheMessageService) {
    std::vector<std::pair<u32, void *>> freed;
    PLAT_MsgFreeHookSet(
        [](u32 owner, void *msg, void *user) {
            static_cast<std::vector<std::pair<u32, void *>> *>(user)->emplace_back(owner, msg);
        },
        &freed);
    void *msg = DMS_MsgAlloc(RS_SESSION_MSG_OWNER, 8);
    ASSERT_EQ(RESTSERVER_RspMsgSet(sem_, msg), 0u);
    (void)RESTSERVER_SemDestroy(sem_);
    RsSessionDestroy(inst_->pstWebEnv, session_);
    session_ = nullptr;
    PLAT_MsgFreeHookSet(nullptr, nullptr);
    ASSERT_EQ(freed.size(), 1u);
    EXPECT_EQ(freed[0], std::make_pair(0x80D60001u, msg));
}

}  // namespace
