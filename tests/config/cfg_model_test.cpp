// The configuration model: record limits, list order, walks and lookups.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "config/restserver_cfg_loader.h"
#include "config/restserver_cfg_parser.h"
#include "config/restserver_cfg_register.h"
#include "core/restserver_log.h"
#include "support/log_capture.h"

namespace {

class ConfModel : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(RESTSERVER_GlobalInit(), 0u);
        ASSERT_EQ(RESTSERVER_InstMake(&inst_, &id_), 0u);
    }
    void TearDown() override {
        RESTSERVER_InstDestroy(inst_);
        RESTSERVER_GlobalUnInit();
    }
    RS_INSTANCE *inst_ = nullptr;
    u8 id_ = 0;
    rstest::LogCapture log_;
};

TEST_F(ConfModel, EnvironmentStartsEmptyAndOwned) {
    RS_CONF_ENV *env = inst_->pstConfEnv;
    EXPECT_EQ(env->uiMagic, RS_CONF_MAGIC);
    EXPECT_EQ(env->pstInst, inst_);
    EXPECT_EQ(env->ucInstId, id_);
    EXPECT_TRUE(RsListIsEmpty(&env->stDomainList));
    EXPECT_TRUE(RsListIsEmpty(&env->stModuleList));
    EXPECT_TRUE(RsListIsEmpty(&env->stAuthList));
    EXPECT_EQ(RsConfDomainFind(inst_), nullptr);
    RsConfEnvUnInit(nullptr);
}

TEST_F(ConfModel, EnvironmentInitLogsStartAndEnd) {
    RS_CONF_ENV *env = RsConfEnvInit(inst_, 7);
    ASSERT_NE(env, nullptr);
    EXPECT_EQ(log_.Count("RsConf(inst:7) init start.", RS_LOG_INFO), 1u);
    EXPECT_EQ(log_.Count("RsConf(inst:7) init end.", RS_LOG_INFO), 1u);
    RsConfEnvUnInit(env);
}

TEST_F(ConfModel, TextFieldsAreCutAtTheirLimits) {
    const std::string host64(64, 'h');
    RS_META_DOMAIN *domain = RsConfDomainCreate(inst_, host64.c_str(), "1234567");
    ASSERT_NE(domain, nullptr);
    EXPECT_EQ(std::string(domain->acHost), std::string(63, 'h'));
    EXPECT_EQ(std::string(domain->acPort), "12345");
    EXPECT_EQ(RsConfDomainGetMaxGroupId(domain), RS_GROUP_NONE);
    EXPECT_EQ(RsConfDomainGetAuth(domain), nullptr);
    EXPECT_TRUE(RsListIsEmpty(&domain->stHandlerList));

    const std::string path300(300, 'p');
    const std::string name70(70, 'n');
    RS_META_MODULE *module = RsConfModuleCreate(inst_, path300.c_str(), nullptr);
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(std::string(module->acPath), std::string(255, 'p'));
    EXPECT_STREQ(module->acInitName, "");
    EXPECT_EQ(module->pHandle, nullptr);
    EXPECT_EQ(module->pfnInit, nullptr);
    RS_META_MODULE *named = RsConfModuleCreate(inst_, "m.so", name70.c_str());
    EXPECT_EQ(std::string(named->acInitName), std::string(63, 'n'));

    RS_META_HANDLER *handler = RsConfHandlerCreate(inst_, 4, path300.c_str(), name70.c_str());
    ASSERT_NE(handler, nullptr);
    EXPECT_EQ(std::string(RsConfHandlerGetUrl(handler)), std::string(255, 'p'));
    EXPECT_EQ(std::string(RsConfHandlerGetHandlerName(handler)), std::string(63, 'n'));
    EXPECT_EQ(RsConfHandlerGetGroupId(handler), 4u);
    EXPECT_EQ(handler->stNode.next, &handler->stNode);
    EXPECT_EQ(handler->stNode.prev, &handler->stNode);
    RsConfDomainAddHandler(domain, handler);
}

u32 Record(void *record, void *arg) {
    static_cast<std::vector<void *> *>(arg)->push_back(record);
    return 0;
}

u32 FailOnSecond(void *record, void *arg) {
    auto *seen = static_cast<std::vector<void *> *>(arg);
    seen->push_back(record);
    return seen->size() == 2 ? 0xFFFFFFFFu : 0u;
}

TEST_F(ConfModel, WalksVisitInCreationOrder) {
    std::vector<void *> seen;
    RsConfRootWalkDomain(inst_, Record, &seen);
    RsConfRootWalkModule(inst_, Record, &seen);
    RsConfRootWalkAuth(inst_, Record, &seen);
    EXPECT_TRUE(seen.empty());

    RS_META_DOMAIN *d1 = RsConfDomainCreate(inst_, "10.0.0.1", "80");
    RS_META_DOMAIN *d2 = RsConfDomainCreate(inst_, "10.0.0.2", "81");
    RS_META_MODULE *m1 = RsConfModuleCreate(inst_, "a.so", "");
    RS_META_MODULE *m2 = RsConfModuleCreate(inst_, "b.so", "");
    RS_META_MODULE *m3 = RsConfModuleCreate(inst_, "c.so", "");
    auto *cfg = reinterpret_cast<MicroserviceRestCfg *>(0x10);
    RS_META_AUTH *a1 = RsConfAuthCreate(inst_, cfg);
    EXPECT_EQ(a1->pstMsRestCfg, cfg);
    std::vector<void *> handlers;
    for (const char *url : {"u1", "u2", "u3"}) {
        RS_META_HANDLER *h = RsConfHandlerCreate(inst_, RS_GROUP_NONE, url, "fn");
        RsConfDomainAddHandler(d2, h);
        handlers.push_back(h);
    }
    EXPECT_EQ(RsConfDomainFind(inst_), d1);

    RsConfRootWalkDomain(inst_, Record, &seen);
    EXPECT_EQ(seen, (std::vector<void *>{d1, d2}));
    seen.clear();
    RsConfRootWalkModule(inst_, Record, &seen);
    EXPECT_EQ(seen, (std::vector<void *>{m1, m2, m3}));
    seen.clear();
    RsConfRootWalkAuth(inst_, Record, &seen);
    EXPECT_EQ(seen, (std::vector<void *>{a1}));
    seen.clear();
    RsConfDomainWalkHandler(d1, Record, &seen);
    EXPECT_TRUE(seen.empty());
    RsConfDomainWalkHandler(d2, Record, &seen);
    EXPECT_EQ(seen, handlers);
}

TEST_F(ConfModel, FailingWalkCallbacksAreReportedAndTheWalkGoesOn) {
    RsConfDomainCreate(inst_, "10.0.0.1", "80");
    RsConfDomainCreate(inst_, "10.0.0.2", "81");
    RsConfDomainCreate(inst_, "10.0.0.3", "82");
    RsConfModuleCreate(inst_, "a.so", "");
    RsConfModuleCreate(inst_, "b.so", "");
    std::vector<void *> seen;
    RsConfRootWalkDomain(inst_, FailOnSecond, &seen);
    EXPECT_EQ(seen.size(), 3u);
    EXPECT_EQ(log_.Count("RsConfRootWalkDomain(10.0.0.2:81) error", RS_LOG_ERROR), 1u);
    seen.clear();
    RsConfRootWalkModule(inst_, FailOnSecond, &seen);
    EXPECT_EQ(seen.size(), 2u);
    EXPECT_EQ(log_.Count("RsConfRootWalkModule(b.so) error", RS_LOG_ERROR), 1u);
    EXPECT_EQ(log_.CountContaining("error"), 2u);
}

TEST_F(ConfModel, LookupsByInstanceAndSessionId) {
    RS_INSTANCE *second = nullptr;
    u8 second_id = 0;
    ASSERT_EQ(RESTSERVER_InstMake(&second, &second_id), 0u);
    RS_INSTANCE *third = nullptr;
    u8 third_id = 0;
    ASSERT_EQ(RESTSERVER_InstMake(&third, &third_id), 0u);
    ASSERT_EQ(third_id, 2u);

    EXPECT_EQ(RsConfInstanceGet(id_), inst_->pstConfEnv);
    EXPECT_EQ(RsConfInstanceGetBySessionId(0x02000001u), third->pstConfEnv);
    EXPECT_EQ(RsConfInstanceGetBySessionId(0x0100FFFFu), second->pstConfEnv);
    EXPECT_EQ(log_.CountContaining("Get instance by id"), 0u);

    EXPECT_EQ(RsConfInstanceGet(5), nullptr);
    EXPECT_EQ(log_.Count("RsWebInstanceGet Get instance by id(0x00000005) fail.", RS_LOG_WARN), 1u);
    EXPECT_EQ(RsConfInstanceGetBySessionId(0x0C000000u), nullptr);
    EXPECT_EQ(log_.Count("Instance id(12) lager than max id(9).", RS_LOG_WARN), 1u);
    EXPECT_EQ(log_.Count("RsWebInstanceGet Get instance by id(0x0000000c) fail.", RS_LOG_WARN), 1u);

    RESTSERVER_InstDestroy(third);
    RESTSERVER_InstDestroy(second);
}

}  // namespace
