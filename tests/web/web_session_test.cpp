// Sessions and the lookups from ids to web environments, on a made instance.
#include <gtest/gtest.h>

#include <optional>
#include <utility>
#include <vector>

#include "adapter/restserver_http.h"
#include "adapter/restserver_kernel.h"
#include "adapter/restserver_trace.h"
#include "core/restserver_log.h"
#include "plat_config.h"
#include "plat_msg.h"
#include "support/deployment.h"
#include "support/log_capture.h"
#include "web/restserver_session.h"

namespace {

class WebSession : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(deployment_.PrepareInstances(), "");
        ASSERT_EQ(RESTSERVER_GlobalInit(), 0u);
        ASSERT_EQ(RESTSERVER_InstMake(&inst_, &id_), 0u);
        env_ = inst_->pstWebEnv;
        ASSERT_NE(env_, nullptr);
        log_.emplace();
    }
    void TearDown() override {
        log_.reset();
        RESTSERVER_InstDestroy(inst_);
        RESTSERVER_GlobalUnInit();
    }
    RS_SESSION *Make() { return RsSessionMake(env_, &context_, nullptr, nullptr); }

    rstest::Deployment deployment_;
    RS_INSTANCE *inst_ = nullptr;
    u8 id_ = 0;
    RS_WEB_ENV *env_ = nullptr;
    RS_HANDLER_CONTEXT context_ = {};
    std::optional<rstest::LogCapture> log_;
};

TEST_F(WebSession, IdsCarryTheInstanceAndWrapAtSixteenBits) {
    env_->ucInstId = 2;
    EXPECT_EQ(RsSessionIdGen(env_), 0x02000001u);
    for (u32 i = 2; i < 0x10000; ++i)
        (void)RsSessionIdGen(env_);
    EXPECT_EQ(RsSessionIdGen(env_), 0x02000000u);
    EXPECT_EQ(RsSessionIdGen(env_), 0x02000001u);
}

TEST(WebSessionIds, CompareIsUnsigned) {
    const struct {
        u32 a, b;
        s32 want;
    } cases[] = {{0x01000000u, 0x00FFFFFFu, 1}, {0x00FFFFFFu, 0x01000000u, -1}, {0xFFFFFFFFu, 1u, 1}, {7u, 7u, 0}};
    for (const auto &c : cases)
        EXPECT_EQ(RsSessionIdCompare(&c.a, &c.b), c.want) << std::hex << c.a << " vs " << c.b;
}

TEST_F(WebSession, MadeSessionIsFoundUntilDestroyed) {
    RS_SESSION *session = Make();
    ASSERT_NE(session, nullptr);
    u32 id = RESTSERVER_SessionIdGet(session->pstRequest);
    EXPECT_EQ(id, 0x00000001u);
    EXPECT_EQ(RESTSERVER_SessionIdGet(session->pstResponse), id);
    EXPECT_EQ(RsSessionGet(session->pstResponse), session);
    EXPECT_EQ(RsSessionFind(id), session);
    RsSessionDestroy(env_, session);
    log_->Clear();
    EXPECT_EQ(RsSessionFind(id), nullptr);
    EXPECT_TRUE(log_->Lines().empty()) << "an ended request is not an error";
}

TEST_F(WebSession, AnIdStillInUseIsNotHandedOutTwice) {
    RS_SESSION *first = Make();
    ASSERT_NE(first, nullptr);
    env_->usSessionSeq = 0;  // as after a full wrap with the first request still in flight
    EXPECT_EQ(Make(), nullptr);
    EXPECT_EQ(RsSessionFind(first->uiSessionId), first);
    RsSessionDestroy(env_, first);
    EXPECT_EQ(RsSessionFind(1), nullptr);
}

TEST_F(WebSession, DestroyReleasesQueuedMessages) {
    std::vector<std::pair<u32, void *>> freed;
    PLAT_MsgFreeHookSet(
        [](u32 owner, void *msg, void *user) {
            static_cast<std::vector<std::pair<u32, void *>> *>(user)->emplace_back(owner, msg);
        },
        &freed);
    RS_SESSION *session = Make();
    ASSERT_NE(session, nullptr);
    void *msgs[2];
    for (void *&msg : msgs) {
        msg = DMS_MsgAlloc(RS_SESSION_MSG_OWNER, 8);
        auto *node = static_cast<RS_SESSION_MSG *>(calloc(1, sizeof(RS_SESSION_MSG)));
        node->pMsg = msg;
        RsListAppend(&session->stSem.stMsgList, &node->stNode);
    }
    RsSessionDestroy(env_, session);
    PLAT_MsgFreeHookSet(nullptr, nullptr);
    ASSERT_EQ(freed.size(), 2u);
    for (size_t i = 0; i < 2; ++i)
        EXPECT_EQ(freed[i], std::make_pair(RS_SESSION_MSG_OWNER, msgs[i]));
}

TEST_F(WebSession, LookupsOfEmptySlotsFailWithTheirMessages) {
    EXPECT_EQ(RsWebInstanceGet(256 + id_), env_) << "only the low byte names the instance";
    EXPECT_EQ(RsWebInstanceGet(10), nullptr);
    EXPECT_TRUE(log_->Has("RsWebInstanceGet Get instance by id(10) fail.", RS_LOG_ERROR));
    log_->Clear();
    EXPECT_EQ(RsSessionFind(0x05000001u), nullptr);
    EXPECT_TRUE(log_->Has("RsWebInstanceGetBySessionId Get instance by sess-id(0x05000001) fail.", RS_LOG_ERROR));
    EXPECT_TRUE(log_->Has("RsSessionFind Find session by sess-id(0x05000001) fail.", RS_LOG_ERROR));
}

TEST_F(WebSession, OnlyAFailedStartAbortsRequests) {
    for (u32 state = RS_STATE_IDLE; state <= RS_STATE_FAILED; ++state) {
        RsStateSet(inst_, state);
        EXPECT_EQ(RsCheckAbort(env_), state == RS_STATE_FAILED ? 1u : 0u) << state;
    }
    RsStateSet(inst_, RS_STATE_IDLE);
}

TEST(WebSessionObjects, ObjectWithoutSessionHasNoId) {
    RS_REQUEST request = {nullptr, nullptr};
    EXPECT_EQ(RESTSERVER_SessionIdGet(&request), 0xFFFFFFFFu);
}

TEST(WebEnv, UnInitOfNullOnlyLogs) {
    rstest::LogCapture log;
    RsWebEnvUnInit(nullptr);
    auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "RS_WEB_ENV is null.");
}

// Without access rules the instance gets no kernel server: it registers
// nothing and its start fails instead of listening.
TEST(WebEnvWithoutKernel, StartEndsFailed) {
    rstest::Deployment deployment;
    std::string json =
        "{\"node\":{\"common_root\":\"" + deployment.Root() + "\"},\"rest\":{\"host\":\"127.0.0.1\",\"port\":8443}}";
    ASSERT_EQ(PLAT_InitFromText(json.c_str()), 0u) << PLAT_LastError();
    ASSERT_EQ(RESTSERVER_GlobalInit(), 0u);
    RS_INSTANCE *inst = nullptr;
    u8 id = 0;
    std::optional<rstest::LogCapture> log;
    log.emplace();
    ASSERT_EQ(RESTSERVER_InstMake(&inst, &id), 0u);
    EXPECT_TRUE(log->Has("RsAuthConfigLoad Fail.", RS_LOG_ERROR));
    EXPECT_EQ(inst->pstWebEnv->pstKernel, nullptr);
    EXPECT_EQ(RESTSERVER_InstStart(inst), 0u);
    EXPECT_EQ(RsStateGet(inst), RS_STATE_FAILED);
    EXPECT_EQ(log->CountContaining("RsKernelDomainBind"), 0u);
    EXPECT_TRUE(log->Has("RsWeb has no kernel server, listen ignored.", RS_LOG_ERROR));
    EXPECT_EQ(log->CountContaining("KernelServer Starting."), 0u);
    log.reset();
    RESTSERVER_InstDestroy(inst);
    RESTSERVER_GlobalUnInit();
}

}  // namespace
