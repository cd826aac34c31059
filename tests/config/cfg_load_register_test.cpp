// The load and register phases, and whole starts through the state machine.
#include <stdio.h>

#include <string>
#include <vector>

#include "conf_fixture.h"
#include "support/suspended_thread.h"

namespace {

using rstest::kBusinessCfg;
using rstest::kCommonCfg;

std::string Pointer(const void *address) {
    char text[32];
    snprintf(text, sizeof(text), "%p", address);
    return text;
}

class LoadRegister : public rstest::ConfPhase {
protected:
    void SetUp() override {
        rstest::ConfPhase::SetUp();
        InstallModule("counting_handler");
        InstallModule("plain_handler");
    }
};

TEST_F(LoadRegister, NormalStartPassesParseLoadAndRegister) {
    EXPECT_EQ(g_astRsFsm[RS_STATE_IDLE][0].pfnProc, &RsConfParser);
    EXPECT_EQ(g_astRsFsm[RS_STATE_PARSING][0].pfnProc, &RsConfLoad);
    EXPECT_EQ(g_astRsFsm[RS_STATE_LOADING][0].pfnProc, &RsConfRegister);
    deployment_.Write(kCommonCfg,
                      "load ../lib/libcounting_handler.so CountingModuleInit\nurl items CountingItemsGet\n");
    EXPECT_EQ(RESTSERVER_InstStart(inst_), 0u);
    EXPECT_EQ(RsStateGet(inst_), RS_STATE_LISTENING);
    EXPECT_EQ(log_->Count("RsConfDomainRegister: 127.0.0.1:8443.", RS_LOG_INFO), 1u);
    auto handlers = Handlers();
    ASSERT_EQ(handlers.size(), 1u);
    ASSERT_NE(RsConfHandlerGetHandler(handlers[0]), nullptr);
    EXPECT_EQ(RsConfHandlerGetHandler(handlers[0])(nullptr, nullptr), 200u);
    EXPECT_EQ(RESTSERVER_InstStart(inst_), 0xFFFFFFFFu);
}

TEST_F(LoadRegister, InitRunsOncePerStartAfterLoadingAndBeforeResolving) {
    deployment_.Write(kCommonCfg,
                      "load ../lib/libcounting_handler.so CountingModuleInit\n"
                      "url items CountingItemsGet 0\nurl stock CountingStockGet 1\n");
    deployment_.Write(kBusinessCfg, "load ../lib/libplain_handler.so\nurl version PlainVersionGet\n");
    EXPECT_EQ(RESTSERVER_InstStart(inst_), 0u);
    EXPECT_EQ(ModuleCounter("counting_handler", "g_uiCountingInitCalls"), 1u);
    EXPECT_EQ(ModuleCounter("counting_handler", "g_uiCountingResolvedAtInit"), 0u);
    auto handlers = Handlers();
    ASSERT_EQ(handlers.size(), 3u);
    const u32 answers[] = {200, 201, 204};
    for (size_t i = 0; i < handlers.size(); ++i) {
        ASSERT_NE(RsConfHandlerGetHandler(handlers[i]), nullptr) << i;
        EXPECT_EQ(RsConfHandlerGetHandler(handlers[i])(nullptr, nullptr), answers[i]);
    }
    EXPECT_EQ(log_->CountContaining("error"), 0u);

    RS_INSTANCE *second = Make();
    EXPECT_EQ(RESTSERVER_InstStart(second), 0u);
    EXPECT_EQ(ModuleCounter("counting_handler", "g_uiCountingInitCalls"), 2u);
    EXPECT_EQ(ModuleCounter("counting_handler", "g_uiCountingResolvedAtInit"), 0u);
    Destroy(second);
}

TEST_F(LoadRegister, MissingSharedObjectLeavesItsHandlersWithoutFunctions) {
    deployment_.Write(kBusinessCfg, "load ../lib/libnothere.so Init\nurl a A 1\nurl b B\n");
    EXPECT_EQ(RESTSERVER_InstStart(inst_), 0u);
    EXPECT_EQ(RsStateGet(inst_), RS_STATE_LISTENING);
    EXPECT_EQ(log_->CountContaining("dlopen error - "), 1u);
    EXPECT_EQ(log_->Count("RsConfRootWalkModule(../lib/libnothere.so) error", RS_LOG_ERROR), 1u);
    EXPECT_EQ(log_->Count("HandlerLoad error, because so-handle is null. So path:../lib/libnothere.so", RS_LOG_ERROR),
              2u);
    auto calls = Calls();
    ASSERT_EQ(calls.size(), 5u) << Dump();
    EXPECT_EQ(calls[0], "RsKernelDomainBind, ip:127.0.0.1, port:8443");
    EXPECT_EQ(calls[1], "RsKernelGroupEnable, groupNum:2");
    EXPECT_EQ(calls[2].rfind("RsKernelAuthEnable, Cfg is: ", 0), 0u);
    EXPECT_EQ(calls[3].rfind("Reg hanlder, group:1, url:a, handler:", 0), 0u);
    EXPECT_EQ(calls[4].rfind("Reg hanlder, group:-1, url:b, handler:", 0), 0u);
    EXPECT_EQ(log_->Count("Reg hanlder fail, handler is null. Url:a", RS_LOG_ERROR), 1u);
    EXPECT_EQ(log_->Count("Reg hanlder fail, handler is null. Url:b", RS_LOG_ERROR), 1u);
}

TEST_F(LoadRegister, MissingSymbolAndMissingModuleAreReportedPerHandler) {
    deployment_.Write(kCommonCfg, "url early Early\n");
    deployment_.Write(kBusinessCfg, "load ../lib/libplain_handler.so\nurl gone PlainMissing\nurl v PlainVersionGet\n");
    EXPECT_EQ(rstest::RunResumingAsserts([&] { RESTSERVER_InstStart(inst_); }), 1);
    EXPECT_EQ(RsStateGet(inst_), RS_STATE_LISTENING);
    EXPECT_EQ(log_->Count("HandlerLoad error, because moudle is null. Handler name:Early", RS_LOG_ERROR), 1u);
    EXPECT_EQ(log_->CountContaining("dlsym error - "), 1u);
    EXPECT_EQ(log_->CountContaining("PlainMissing"), 2u);  // the dlsym text and the registration line
    auto handlers = Handlers();
    ASSERT_EQ(handlers.size(), 3u);
    EXPECT_EQ(RsConfHandlerGetHandler(handlers[0]), nullptr);
    EXPECT_EQ(RsConfHandlerGetHandler(handlers[1]), nullptr);
    ASSERT_NE(RsConfHandlerGetHandler(handlers[2]), nullptr);
    EXPECT_EQ(RsConfHandlerGetHandler(handlers[2])(nullptr, nullptr), 204u);
}

TEST_F(LoadRegister, RegistrationFollowsFileOrderWithGroupsAndTls) {
    deployment_.Write(kCommonCfg,
                      "load ../lib/libcounting_handler.so CountingModuleInit\n"
                      "url items CountingItemsGet 2\nurl stock CountingStockGet\n");
    deployment_.Write(kBusinessCfg, "load ../lib/libplain_handler.so\nurl / PlainVersionGet 0\n");
    RS_META_AUTH *auth = nullptr;
    EXPECT_EQ(RESTSERVER_InstStart(inst_), 0u);
    auth = RsConfDomainGetAuth(Domain());
    auto handlers = Handlers();
    ASSERT_EQ(handlers.size(), 3u);

    auto calls = Calls();
    ASSERT_EQ(calls.size(), 6u) << Dump();
    EXPECT_EQ(calls[0], "RsKernelDomainBind, ip:127.0.0.1, port:8443");
    EXPECT_EQ(calls[1], "RsKernelGroupEnable, groupNum:3");
    EXPECT_EQ(calls[2].rfind("RsKernelAuthEnable, Cfg is: ", 0), 0u);
    EXPECT_EQ(log_->Count("free Microservice RestCfg ok.", RS_LOG_INFO), 1u);
    ASSERT_NE(auth, nullptr);
    EXPECT_EQ(auth->pstMsRestCfg, nullptr) << "the web side releases the TLS record";
    const char *const groups[] = {"2", "-1", "0"};
    for (size_t i = 0; i < 3; ++i) {
        std::string fn = Pointer(reinterpret_cast<const void *>(RsConfHandlerGetHandler(handlers[i])));
        EXPECT_EQ(calls[3 + i], std::string("Reg hanlder, group:") + groups[i] +
                                    ", url:" + RsConfHandlerGetUrl(handlers[i]) + ", handler:" + fn);
    }

    std::vector<std::string> registered;
    for (const auto &line : log_->Lines()) {
        if (line.text.rfind("RsConfHandlerRegister: ", 0) == 0) {
            EXPECT_EQ(line.level, RS_LOG_INFO);
            registered.push_back(line.text);
        }
    }
    auto fn = [&](size_t i) { return Pointer(reinterpret_cast<const void *>(RsConfHandlerGetHandler(handlers[i]))); };
    EXPECT_EQ(registered, (std::vector<std::string>{
                              "RsConfHandlerRegister: CountingItemsGet(" + fn(0) + ") [2].",
                              "RsConfHandlerRegister: CountingStockGet(" + fn(1) + ") [-1].",
                              "RsConfHandlerRegister: PlainVersionGet(" + fn(2) + ") [0].",
                          }));
}

TEST_F(LoadRegister, NoGroupsMeansNoGroupDeclaration) {
    deployment_.Write(kBusinessCfg, "load ../lib/libplain_handler.so\nurl v PlainVersionGet -1\n");
    EXPECT_EQ(RESTSERVER_InstStart(inst_), 0u);
    auto calls = Calls();
    ASSERT_EQ(calls.size(), 3u) << Dump();
    EXPECT_EQ(calls[0].rfind("RsKernelDomainBind, ", 0), 0u);
    EXPECT_EQ(calls[1].rfind("RsKernelAuthEnable, Cfg is: ", 0), 0u);
    EXPECT_EQ(calls[2].rfind("Reg hanlder, group:-1, url:v, ", 0), 0u);
}

TEST_F(LoadRegister, ConfigInjectRunsThePhasesWithoutTheMachine) {
    deployment_.Write(kBusinessCfg, "load ../lib/libplain_handler.so\nurl v PlainVersionGet\n");
    RsConfServerConfigInject(inst_);
    EXPECT_EQ(RsStateGet(inst_), RS_STATE_REGISTERING);
    EXPECT_EQ(Calls().size(), 3u);
    EXPECT_EQ(RESTSERVER_InstStart(inst_), 0xFFFFFFFFu);
    EXPECT_EQ(RsAuthRegister(), 0u);
}

TEST(ConfigInjectWithoutPlatform, StopsAfterTheParse) {
    rstest::Deployment deployment;
    std::string json = "{\"node\":{\"common_root\":\"" + deployment.Root() + "\"}}";
    ASSERT_EQ(PLAT_InitFromText(json.c_str()), 0u) << PLAT_LastError();
    ASSERT_EQ(RESTSERVER_GlobalInit(), 0u);
    RS_INSTANCE *inst = nullptr;
    u8 id = 0;
    ASSERT_EQ(RESTSERVER_InstMake(&inst, &id), 0u);
    rstest::LogCapture log;
    RsConfServerConfigInject(inst);
    EXPECT_EQ(RsStateGet(inst), RS_STATE_PARSING);
    EXPECT_EQ(log.Count("RsConfParser failed.", RS_LOG_ERROR), 1u);
    EXPECT_EQ(log.CountContaining("RsConfLoad"), 0u);
    RESTSERVER_InstDestroy(inst);
    RESTSERVER_GlobalUnInit();
}

}  // namespace
