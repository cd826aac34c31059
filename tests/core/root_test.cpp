// Instance registry, host interface and the start-up state machine.
#include <optional>
#include <vector>

#include "core/restserver_core.h"
#include "core/restserver_diag.h"
#include "core/restserver_log.h"
#include "core/restserver_string.h"
#include "core_fixture.h"
#include "support/log_capture.h"
#include "support/suspended_thread.h"

namespace {

class Root : public rstest::CoreTest {
protected:
    void SetUp() override {
        rstest::CoreTest::SetUp();
        ASSERT_EQ(RESTSERVER_GlobalInit(), 0u);
        capture_.emplace();
    }
    void TearDown() override {
        for (RS_INSTANCE *inst : made_)
            RESTSERVER_InstDestroy(inst);
        EXPECT_EQ(RESTSERVER_GlobalUnInit(), 0u);
    }
    // Makes an instance that TearDown destroys; returns its id.
    u8 Make() {
        RS_INSTANCE *inst = nullptr;
        u8 id = 0;
        EXPECT_EQ(RESTSERVER_InstMake(&inst, &id), 0u);
        made_.push_back(inst);
        return id;
    }
    RS_INSTANCE *Take(u8 id) {
        RS_INSTANCE *inst = RsRootInstanceGet(id);
        std::erase(made_, inst);
        return inst;
    }
    std::vector<RS_INSTANCE *> made_;
    // Attached after the platform configuration, which resets the log settings.
    std::optional<rstest::LogCapture> capture_;
    rstest::LogCapture &log_ = *capture_;
};

TEST(GlobalInit, OnlyOnceUntilUnInit) {
    EXPECT_EQ(RESTSERVER_GlobalUnInit(), 0xFFFFFFFFu);
    EXPECT_EQ(RESTSERVER_GlobalInit(), 0u);
    EXPECT_EQ(g_stRootEnvStore.bInited, 1u);
    EXPECT_EQ(RESTSERVER_GlobalInit(), 0xFFFFFFFFu);
    EXPECT_EQ(RESTSERVER_GlobalUnInit(), 0u);
    EXPECT_EQ(g_stRootEnvStore.bInited, 0u);
    EXPECT_EQ(RESTSERVER_GlobalUnInit(), 0xFFFFFFFFu);
    EXPECT_EQ(RESTSERVER_GlobalInit(), 0u);
    EXPECT_EQ(RESTSERVER_GlobalUnInit(), 0u);
}

TEST_F(Root, TenMakesFillIdsInOrderAndTheEleventhFails) {
    for (u32 want = 0; want < RS_MAX_INST_NUM; ++want) {
        EXPECT_EQ(Make(), want);
        RS_INSTANCE *inst = RsRootInstanceGet(static_cast<u8>(want));
        ASSERT_NE(inst, nullptr);
        EXPECT_EQ(inst->uiMagic, RS_INST_MAGIC);
        EXPECT_EQ(inst->ucInstId, want);
        EXPECT_EQ(RsStateGet(inst), RS_STATE_IDLE);
        EXPECT_NE(inst->pstConfEnv, nullptr);
        EXPECT_NE(inst->pstWebEnv, nullptr);
    }
    EXPECT_EQ(log_.Count("Restserver inst(9) make OK.", RS_LOG_INFO), 1u);
    EXPECT_EQ(RsFindValidInstId(), 0xFFFFFFFFu);

    RS_INSTANCE *inst = reinterpret_cast<RS_INSTANCE *>(0x1);
    u8 id = 0;
    EXPECT_EQ(RESTSERVER_InstMake(&inst, &id), 0xFFFFFFFFu);
    EXPECT_EQ(inst, nullptr);
    EXPECT_EQ(id, RS_INST_ID_NONE);
    EXPECT_EQ(log_.Count("Instance reached max count.", RS_LOG_ERROR), 1u);
    EXPECT_EQ(log_.Count("Restserver inst make start.", RS_LOG_INFO), 11u);
}

TEST_F(Root, DestroyFreesTheLowestIdForReuse) {
    for (int i = 0; i < 10; ++i)
        Make();
    RS_INSTANCE *third = Take(3);
    RS_INSTANCE *seventh = Take(7);
    EXPECT_EQ(RESTSERVER_InstDestroy(seventh), 0u);
    EXPECT_EQ(RESTSERVER_InstDestroy(third), 0u);
    EXPECT_EQ(RsRootInstanceGet(3), nullptr);
    EXPECT_EQ(Make(), 3u);
    EXPECT_EQ(Make(), 7u);
}

TEST_F(Root, MakeRefusesNullOutputs) {
    RS_INSTANCE *inst = reinterpret_cast<RS_INSTANCE *>(0x1);
    u8 id = 42;
    EXPECT_EQ(RESTSERVER_InstMake(nullptr, &id), 0xFFFFFFFFu);
    EXPECT_EQ(id, 42u);
    EXPECT_EQ(RESTSERVER_InstMake(&inst, nullptr), 0xFFFFFFFFu);
    EXPECT_EQ(inst, reinterpret_cast<RS_INSTANCE *>(0x1));
    EXPECT_EQ(RsFindValidInstId(), 0u);
    EXPECT_EQ(log_.Count("Restserver inst make start.", RS_LOG_INFO), 2u);
}

TEST_F(Root, InstanceLookupWarnsOnlyAboveTheLastId) {
    u8 id = Make();
    EXPECT_NE(RsRootInstanceGet(id), nullptr);
    EXPECT_EQ(RsRootInstanceGet(9), nullptr);
    EXPECT_EQ(log_.CountContaining("lager than max id"), 0u);
    for (u8 bad : {10, 255})
        EXPECT_EQ(RsRootInstanceGet(bad), nullptr);
    EXPECT_EQ(log_.Count("Instance id(10) lager than max id(9).", RS_LOG_WARN), 1u);
    EXPECT_EQ(log_.Count("Instance id(255) lager than max id(9).", RS_LOG_WARN), 1u);
}

TEST_F(Root, NullInstanceIsRefused) {
    EXPECT_EQ(RESTSERVER_InstStart(nullptr), 0xFFFFFFFFu);
    EXPECT_EQ(RESTSERVER_InstDestroy(nullptr), 0xFFFFFFFFu);
    EXPECT_EQ(log_.Count("Inst is null, abort.", RS_LOG_ERROR), 2u);
}

TEST_F(Root, StartIsAcceptedOnlyInTheIdleState) {
    for (u32 state : {RS_STATE_PARSING, RS_STATE_LISTENING, RS_STATE_FAILED}) {
        RS_INSTANCE *inst = RsRootInstanceGet(Make());
        RsStateSet(inst, state);
        log_.Clear();
        EXPECT_EQ(RESTSERVER_InstStart(inst), 0xFFFFFFFFu) << "state " << state;
        EXPECT_EQ(RsStateGet(inst), state);
        EXPECT_EQ(
            log_.Count("RestServer(inst:" + std::to_string(inst->ucInstId) + ") is running, abort.", RS_LOG_ERROR), 1u);
    }
}

TEST_F(Root, MachineStopsAtTheFinalStates) {
    RS_INSTANCE *inst = RsRootInstanceGet(Make());
    for (u32 state : {RS_STATE_LISTENING, RS_STATE_FAILED, 7u}) {
        RsStateSet(inst, state);
        EXPECT_EQ(RsFsmTrigger(inst), 0u);
        EXPECT_EQ(RsStateGet(inst), state);
    }
}

TEST_F(Root, DestroyLeavesTheIdleStateAndAFreeSlot) {
    u8 id = Make();
    RS_INSTANCE *inst = Take(id);
    RsStateSet(inst, RS_STATE_LISTENING);
    EXPECT_EQ(RESTSERVER_InstDestroy(inst), 0u);
    EXPECT_EQ(RsRootInstanceGet(id), nullptr);
    EXPECT_EQ(RsFindValidInstId(), id);
}

TEST_F(Root, StartWithWrongMagicAssertsThenChecksTheState) {
    RS_INSTANCE *inst = RsRootInstanceGet(Make());
    inst->uiMagic = 0x12345678u;
    RsStateSet(inst, RS_STATE_FAILED);
    u32 result = 0;
    EXPECT_EQ(rstest::RunResumingAsserts([&] { result = RESTSERVER_InstStart(inst); }), 1);
    EXPECT_EQ(result, 0xFFFFFFFFu);
    EXPECT_EQ(log_.Count("RestServer(inst:0) is running, abort.", RS_LOG_ERROR), 1u);
    EXPECT_NE(rstest::ScreenLogText().find("RESTSERVER_InstStart : "), std::string::npos);
    EXPECT_NE(rstest::ScreenLogText().find("\nassert (0)\n"), std::string::npos);
    inst->uiMagic = RS_INST_MAGIC;
}

TEST_F(Root, DestroyOfAnUnregisteredRecordAssertsAndStillTearsDown) {
    u8 id = Make();
    RS_INSTANCE *inst = Take(id);
    // A copy carries the same id but is not the record in the slot.
    auto *stranger = static_cast<RS_INSTANCE *>(calloc(1, sizeof(RS_INSTANCE)));
    stranger->uiMagic = RS_INST_MAGIC;
    stranger->ucInstId = id;
    u32 result = 0;
    EXPECT_EQ(rstest::RunResumingAsserts([&] { result = RESTSERVER_InstDestroy(stranger); }), 1);
    EXPECT_EQ(result, 0xFFFFFFFFu);
    EXPECT_EQ(log_.Count("Instance(0) not matched.", RS_LOG_ERROR), 1u);
    EXPECT_EQ(RsRootInstanceGet(id), inst);
    EXPECT_EQ(RESTSERVER_InstDestroy(inst), 0u);
}

}  // namespace
