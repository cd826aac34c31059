// The platform configuration text: what it fills, what it rejects and why.
#include <gtest/gtest.h>

#include <string>

#include "config_fixture.h"
#include "plat_config.h"
#include "plat_log.h"
#include "plat_sync.h"

namespace {

using plattest::At;
using plattest::TextAt;

TEST(ConfigSchema, FullFileFillsTheGlobalsAtTheirOffsets) {
    ASSERT_EQ(PLAT_InitFromText(plattest::FullConfig()), 0u) << PLAT_LastError();
    EXPECT_STREQ(PLAT_LastError(), "");
    EXPECT_EQ(At<u32>(&g_stSspBaseAppConfig, 0), 7u);
    EXPECT_EQ(At<u32>(&g_stSspBaseAppConfig, 28), 1u);
    EXPECT_EQ(TextAt(&g_stSspBaseAppConfig, 32), "demo");
    EXPECT_EQ(TextAt(&g_decrypt_info_s, 2944), "decrypted");
    EXPECT_EQ(g_frame_slot_id, 3u);
    EXPECT_STREQ(g_acProcessNodeSlot, "slot-3");
    EXPECT_EQ(At<u32>(&g_stLogCfgs, 0), 4u);  // level
    EXPECT_EQ(At<u32>(&g_stLogCfgs, 4), 0u);  // enable word
    EXPECT_EQ(Loc_GetLocalInstanceID(), 42u);
}

TEST(ConfigSchema, KernelAndSecurityServiceSettings) {
    ASSERT_EQ(PLAT_InitFromText(plattest::FullConfig()), 0u) << PLAT_LastError();
    const PLAT_KERNEL_CFG_S *kernel = PLAT_KernelCfgGet();
    EXPECT_EQ(kernel->uiIoThreads, 2u);
    EXPECT_EQ(kernel->uiWorkers, 64u);
    EXPECT_EQ(kernel->uiGroupWorkers, 8u);
    EXPECT_EQ(kernel->uiQueueDepth, 1024u);
    EXPECT_EQ(kernel->uiStopGraceMs, 10000u);
    EXPECT_EQ(kernel->uiHeaderLimit, 16384u);
    EXPECT_EQ(kernel->uiTargetLimit, 8192u);
    EXPECT_EQ(kernel->uiBodyLimit, 8388608u);
    EXPECT_EQ(kernel->uiHeaderTimeoutMs, 10000u);
    EXPECT_EQ(kernel->uiIdleTimeoutMs, 60000u);
    EXPECT_EQ(kernel->uiWriteTimeoutMs, 30000u);
    EXPECT_EQ(kernel->uiMaxConnections, 10000u);

    const PLAT_SECURITY_SERVICE_CFG_S *security = PLAT_SecurityServiceCfgGet();
    EXPECT_STREQ(security->acHost, "10.0.0.5");
    EXPECT_STREQ(security->acScheme, "https");
    ASSERT_EQ(security->uiPortMapCount, 2u);
    EXPECT_EQ(security->ausPortFrom[0], 32018);
    EXPECT_EQ(security->ausPortTo[0], 18443);
    EXPECT_EQ(security->ausPortFrom[1], 80);
    EXPECT_EQ(security->ausPortTo[1], 8080);
}

TEST(ConfigSchema, EmptyObjectGivesDefaults) {
    ASSERT_EQ(PLAT_InitFromText("{}"), 0u) << PLAT_LastError();
    EXPECT_EQ(PLAT_KernelCfgGet()->uiWorkers, 0u);
    EXPECT_STREQ(PLAT_SecurityServiceCfgGet()->acScheme, "http");
    EXPECT_STREQ(PLAT_SecurityServiceCfgGet()->acHost, "127.0.0.1");
    EXPECT_EQ(PLAT_SecurityServiceCfgGet()->uiPortMapCount, 0u);
    EXPECT_EQ(g_stLogCfgs.uiEnable, 0u);
    EXPECT_EQ(g_stSspBaseAppConfig.uiAuthEnable, 0u);
    char root[8] = "";
    ASSERT_EQ(ZEP_GetCommonRootPath(root, sizeof(root)), 0u);
    EXPECT_STREQ(root, "..");
    LOC_IP_ADDR_S address{};
    ASSERT_EQ(Loc_GetLocalIpAddress(&address), 0u);
    EXPECT_EQ(address.uiFamily, PLAT_AF_INET);
    EXPECT_EQ(address.aucAddr[0], 127);
    EXPECT_EQ(address.aucAddr[3], 1);
}

struct Rejected {
    const char *json;
    const char *message;  // PLAT_LastError must contain this
};

TEST(ConfigSchema, WrongTypesAndValuesAreRejectedNamingTheMember) {
    const Rejected cases[] = {
        {R"({"log": {"level": "2"}})", "log.level: expected a number"},
        {R"({"log": {"enabled": 1}})", "log.enabled:"},
        {R"({"log": {"file": 5}})", "log.file: expected a string"},
        {R"({"log": 3})", "log: expected an object"},
        {R"({"app": {"service_name": ["x"]}})", "app.service_name: expected a string"},
        {R"({"app": {"auth": "yes"}})", "app.auth:"},
        {R"({"app": {"serving_word": -1}})", "app.serving_word:"},
        {R"({"node": {"instance_id": 1.5}})", "node.instance_id:"},
        {R"({"node": {"slot_id": true}})", "node.slot_id: expected a number"},
        {R"({"node": {"local_ip": "localhost"}})", "node.local_ip:"},
        {R"({"node": {"common_root": null}})", "node.common_root: expected a string"},
        {R"({"rest": {"port": 65536}})", "rest.port:"},
        {R"({"rest": {"host": 1}})", "rest.host: expected a string"},
        {R"({"rest": {"tls": {"ca_files": "a.pem"}}})", "rest.tls.ca_files:"},
        {R"({"rest": {"tls": {"ciphers": ["A", 2]}}})", "rest.tls.ciphers:"},
        {R"({"rest": {"tls": []}})", "rest.tls: expected an object"},
        {R"({"decrypt": {"key_password": 12}})", "decrypt.key_password: expected a string"},
        {R"({"security_service": {"scheme": "ftp"}})", "security_service.scheme:"},
        {R"({"security_service": {"port_map": {"abc": 1}}})", "security_service.port_map.abc:"},
        {R"({"security_service": {"port_map": {"70000": 1}}})", "security_service.port_map.70000:"},
        {R"({"security_service": {"port_map": {"80": "81"}}})", "security_service.port_map.80: expected a number"},
        {R"({"kernel": {"body_limit": "8M"}})", "kernel.body_limit: expected a number"},
        {R"({"kernel": {"max_connections": 4294967296}})", "kernel.max_connections:"},
        {R"([1, 2])", "expected an object"},
        {R"({"app": )", "not valid JSON"},
    };
    for (const Rejected &c : cases) {
        EXPECT_NE(PLAT_InitFromText(c.json), 0u) << c.json;
        EXPECT_NE(std::string(PLAT_LastError()).find(c.message), std::string::npos)
            << c.json << " gave: " << PLAT_LastError();
    }
}

TEST(ConfigSchema, TooLongTextIsRejectedNotCut) {
    struct Field {
        const char *prefix;
        const char *suffix;
        size_t fits;  // longest accepted text
    };
    const Field fields[] = {
        {R"({"app": {"service_name": ")", R"("}})", 63},
        {R"({"node": {"node_slot": ")", R"("}})", 63},
        {R"({"decrypt": {"key_password": ")", R"("}})", 255},
        {R"({"security_service": {"host": ")", R"("}})", 63},
        {R"({"log": {"enabled": false, "file": ")", R"("}})", 255},
    };
    for (const Field &f : fields) {
        std::string fits = std::string(f.prefix) + std::string(f.fits, 'a') + f.suffix;
        std::string over = std::string(f.prefix) + std::string(f.fits + 1, 'a') + f.suffix;
        EXPECT_EQ(PLAT_InitFromText(fits.c_str()), 0u) << f.prefix << PLAT_LastError();
        EXPECT_NE(PLAT_InitFromText(over.c_str()), 0u) << f.prefix;
        EXPECT_NE(std::string(PLAT_LastError()).find("longer than"), std::string::npos) << PLAT_LastError();
    }
    std::string longest = R"({"app": {"service_name": ")" + std::string(63, 'n') + R"("}})";
    ASSERT_EQ(PLAT_InitFromText(longest.c_str()), 0u);
    EXPECT_EQ(strlen(g_stSspBaseAppConfig.acServiceName), 63u);
}

std::string PortMapConfig(int entries) {
    std::string map;
    for (int i = 1; i <= entries; ++i) {
        map += (i > 1 ? "," : "") + std::string("\"") + std::to_string(i) + "\": " + std::to_string(i + 1000);
    }
    return R"({"security_service": {"port_map": {)" + map + "}}}";
}

TEST(ConfigSchema, PortMapHoldsAtMostItsFixedNumberOfEntries) {
    EXPECT_NE(PLAT_InitFromText(PortMapConfig(PLAT_PORT_MAP_MAX + 1).c_str()), 0u);
    EXPECT_NE(std::string(PLAT_LastError()).find("security_service.port_map"), std::string::npos);

    ASSERT_EQ(PLAT_InitFromText(PortMapConfig(PLAT_PORT_MAP_MAX).c_str()), 0u) << PLAT_LastError();
    EXPECT_EQ(PLAT_SecurityServiceCfgGet()->uiPortMapCount, static_cast<u32>(PLAT_PORT_MAP_MAX));
    EXPECT_EQ(PLAT_SecurityServiceCfgGet()->ausPortFrom[PLAT_PORT_MAP_MAX - 1], PLAT_PORT_MAP_MAX);
    EXPECT_EQ(PLAT_SecurityServiceCfgGet()->ausPortTo[PLAT_PORT_MAP_MAX - 1], PLAT_PORT_MAP_MAX + 1000);
}

TEST(ConfigSchema, RejectedTextKeepsTheEarlierConfiguration) {
    ASSERT_EQ(PLAT_InitFromText(plattest::FullConfig()), 0u) << PLAT_LastError();
    EXPECT_NE(PLAT_InitFromText(R"({"app": {"service_name": "other"}, "kernel": {"workers": "x"}})"), 0u);
    EXPECT_STREQ(g_stSspBaseAppConfig.acServiceName, "demo");
    EXPECT_EQ(PLAT_KernelCfgGet()->uiWorkers, 64u);
    EXPECT_EQ(Loc_GetLocalInstanceID(), 42u);
}

TEST(ConfigSchema, CommonRootMustFitTheBuffer) {
    ASSERT_EQ(PLAT_InitFromText(plattest::FullConfig()), 0u) << PLAT_LastError();
    char exact[8];
    ASSERT_EQ(ZEP_GetCommonRootPath(exact, sizeof(exact)), 0u);  // "/opt/rs" plus NUL
    EXPECT_STREQ(exact, "/opt/rs");
    char small[7] = "keep";
    EXPECT_NE(ZEP_GetCommonRootPath(small, sizeof(small)), 0u);
    EXPECT_STREQ(small, "keep");
    EXPECT_NE(ZEP_GetCommonRootPath(nullptr, 64), 0u);
}

}  // namespace
