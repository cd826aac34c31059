// Instance registry and the start-up state machine.
#include <gtest/gtest.h>

#include "core/restserver_log.h"
#include "support/made_instance.h"
#include "support/suspended_thread.h"

namespace {

// Ids are the lowest free slot, up to ten. A record that is not the one in
// its slot asserts and is torn down alone.
TEST(Registry, MakesTakeTheLowestFreeIdUpToTen) {
    rstest::MadeInstance made;
    ASSERT_EQ(made.Error(), "");
    EXPECT_EQ(RESTSERVER_GlobalInit(), RS_ERR) << "the library is initialised once";
    for (u8 id = 1; id < RS_MAX_INST_NUM; ++id) {
        RS_INSTANCE *inst = made.Make();
        ASSERT_TRUE(inst != nullptr && inst->ucInstId == id && RsRootInstanceGet(id) == inst) << id;
    }
    RS_INSTANCE *inst = reinterpret_cast<RS_INSTANCE *>(0x1);
    u8 id = 0;
    EXPECT_EQ(RESTSERVER_InstMake(&inst, &id), RS_ERR);
    EXPECT_EQ(inst, nullptr);
    EXPECT_EQ(id, RS_INST_ID_NONE);
    EXPECT_EQ(made.Log().Count("Instance reached max count.", RS_LOG_ERROR), 1u);
    EXPECT_EQ(RsRootInstanceGet(10), nullptr);
    EXPECT_EQ(made.Log().Count("Instance id(10) lager than max id(9).", RS_LOG_WARN), 1u);
    RS_INSTANCE *third = RsRootInstanceGet(3);
    EXPECT_EQ(made.Destroy(RsRootInstanceGet(7)), RS_OK);
    EXPECT_EQ(made.Destroy(third), RS_OK);
    EXPECT_EQ(made.Make()->ucInstId, 3u);
    EXPECT_EQ(made.Make()->ucInstId, 7u);

    auto *stranger = static_cast<RS_INSTANCE *>(calloc(1, sizeof(RS_INSTANCE)));
    stranger->uiMagic = RS_INST_MAGIC;  // id 0, but not the record in slot 0
    EXPECT_EQ(rstest::RunResumingAsserts([&] { EXPECT_EQ(RESTSERVER_InstDestroy(stranger), RS_ERR); }), 1);
    EXPECT_EQ(made.Log().Count("Instance(0) not matched.", RS_LOG_ERROR), 1u);
    EXPECT_EQ(RsRootInstanceGet(0), made.Inst());
}

// Only an idle instance starts; a wrong magic asserts first.
TEST(Registry, OnlyAnIdleInstanceStarts) {
    rstest::MadeInstance made;
    ASSERT_EQ(made.Error(), "");
    RS_INSTANCE *inst = made.Inst();
    for (u32 state : {RS_STATE_PARSING, RS_STATE_STARTING, RS_STATE_LISTENING, RS_STATE_FAILED}) {
        RsStateSet(inst, state);
        made.Log().Clear();
        inst->uiMagic = state == RS_STATE_FAILED ? 0x12345678u : RS_INST_MAGIC;
        EXPECT_EQ(rstest::RunResumingAsserts([&] { EXPECT_EQ(RESTSERVER_InstStart(inst), RS_ERR); }),
                  state == RS_STATE_FAILED ? 1 : 0);
        EXPECT_EQ(RsStateGet(inst), state);
        EXPECT_EQ(made.Log().Count("RestServer(inst:0) is running, abort.", RS_LOG_ERROR), 1u) << state;
    }
    inst->uiMagic = RS_INST_MAGIC;
}

// No microservice configuration: the parse fails. No access rules: no kernel server.
TEST(Registry, FailedStartsEndInTheFailedState) {
    const std::pair<rstest::InstanceSetup, const char *> cases[] = {
        {{false, true}, "Read Micro Service config failed."},
        {{true, false}, "RsWeb has no kernel server, listen ignored."}};
    for (const auto &[setup, line] : cases) {
        rstest::MadeInstance made(setup);
        ASSERT_EQ(made.Error(), "");
        EXPECT_EQ(RESTSERVER_InstStart(made.Inst()), RS_OK);
        EXPECT_EQ(RsStateGet(made.Inst()), RS_STATE_FAILED);
        EXPECT_TRUE(made.Log().Has(line, RS_LOG_ERROR)) << line;
    }
    EXPECT_EQ(RESTSERVER_GlobalUnInit(), RS_ERR) << "not initialised";
}

}  // namespace
