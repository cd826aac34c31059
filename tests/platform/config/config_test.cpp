// The platform configuration: PLAT_Init reading the deployment's file, what a
// text fills in, its defaults, what it rejects and why, and the REST record.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "plat_config.h"
#include "plat_log.h"
#include "plat_sync.h"

namespace {

const char kFull[] = R"({
  "app": {"service_name": "demo", "auth": true, "serving_word": 7, "colour": "unknown members are ignored"},
  "node": {"local_ip": "fe80::1:2", "instance_id": 42, "slot_id": 3, "node_slot": "slot-3", "common_root": "/opt/rs"},
  "log": {"enabled": false, "level": 4}, "decrypt": {"key_password": "decrypted"}, "future_section": [1, 2, 3],
  "rest": {"host": "192.168.7.9", "port": 8443, "tls": {"version": "TLSv1.2", "ca_files": ["/ca/a.pem", "/ca/b.pem"],
           "cert_file": "/c.pem", "key_file": "/k.pem", "key_password": "secret", "ciphers": ["A1", "A2", "C3"]}},
  "security_service": {"host": "10.0.0.5", "scheme": "https", "port_map": {"32018": 18443, "80": 8080}},
  "kernel": {"io_threads": 1, "workers": 2, "group_workers": 3, "queue_depth": 4, "stop_grace_ms": 5, "header_limit": 6,
             "target_limit": 7, "body_limit": 8, "header_timeout_ms": 9, "idle_timeout_ms": 10,
             "write_timeout_ms": 11, "max_connections": 12, "max_fields": 13}
})";

bool Rejected(u32 status, const std::string &error) {
    return status != PLAT_OK && std::string(PLAT_LastError()).find(error) != std::string::npos;
}

std::string AddressText(const LOC_IP_ADDR_S &address, u32 size = 64) {
    char text[64] = "stale";
    return Loc_IpAddressBinToStr(&address, text, size) == PLAT_OK ? text : "refused, left '" + std::string(text) + "'";
}

TEST(PlatformConfig, InitReadsTheDeploymentFileOnceAndOpensItsLog) {
    char root[] = "/tmp/plat_config_XXXXXX";
    ASSERT_NE(mkdtemp(root), nullptr);
    const std::string dir = root;
    std::filesystem::create_directories(dir + "/conf");
    std::filesystem::current_path(dir + "/conf");  // the file is read from ../conf
    auto write = [&dir](const char *text) { std::ofstream(dir + "/conf/platform.json") << text; };
    EXPECT_TRUE(Rejected(PLAT_Init(), "../conf/platform.json")) << PLAT_LastError();
    write(R"({"node": {"instance_id": 5}, "log": {"enabled": true, "file": "../var/log/deep/restserver.log"}})");
    ASSERT_EQ(PLAT_Init(), PLAT_OK) << PLAT_LastError();
    EXPECT_TRUE(std::filesystem::exists(dir + "/var/log/deep/restserver.log"));
    write(R"({"node": {"instance_id": 6}})");
    EXPECT_EQ(PLAT_Init(), PLAT_OK);
    EXPECT_EQ(Loc_GetLocalInstanceID(), 5u) << "read once";
    std::filesystem::remove_all(dir);
}

TEST(PlatformConfig, FullTextFillsEverySetting) {
    ASSERT_EQ(PLAT_InitFromText(kFull), PLAT_OK) << PLAT_LastError();
    EXPECT_TRUE(g_stSspBaseAppConfig.uiServingWord == 7 && g_stSspBaseAppConfig.uiAuthEnable == 1);
    EXPECT_EQ(std::string(g_stSspBaseAppConfig.acServiceName) + " " + g_decrypt_info_s.acKeyPassword, "demo decrypted");
    EXPECT_EQ(std::to_string(g_frame_slot_id) + " " + g_acProcessNodeSlot, "3 slot-3");
    EXPECT_EQ(g_stLogCfgs.uiLevel, 4u);
    LOC_IP_ADDR_S address{};
    EXPECT_EQ(Loc_GetLocalIpAddress(&address), PLAT_OK);
    EXPECT_EQ(AddressText(address), "fe80::1:2");
    const PLAT_KERNEL_CFG_S kernel = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13};
    EXPECT_EQ(memcmp(PLAT_KernelCfgGet(), &kernel, sizeof(kernel)), 0);
    const PLAT_SECURITY_SERVICE_CFG_S &security = *PLAT_SecurityServiceCfgGet();
    EXPECT_EQ(std::string(security.acHost) + " " + security.acScheme, "10.0.0.5 https");
    EXPECT_TRUE(security.uiPortMapCount == 2 && security.ausPortFrom[1] == 80 && security.ausPortTo[1] == 8080);
    char root[8];  // "/opt/rs" and its terminator fit exactly
    EXPECT_EQ(ZEP_GetCommonRootPath(root, sizeof(root)), PLAT_OK);
    EXPECT_STREQ(root, "/opt/rs");
}

TEST(PlatformConfig, EmptyTextGivesDefaults) {
    ASSERT_EQ(PLAT_InitFromText("{}"), PLAT_OK) << PLAT_LastError();
    EXPECT_EQ(std::string(PLAT_SecurityServiceCfgGet()->acHost) + " " + PLAT_SecurityServiceCfgGet()->acScheme,
              "127.0.0.1 http");
    char root[3], small[2] = "k";
    EXPECT_EQ(ZEP_GetCommonRootPath(root, sizeof(root)), PLAT_OK);
    EXPECT_STREQ(root, "..");
    EXPECT_NE(ZEP_GetCommonRootPath(small, sizeof(small)), PLAT_OK);
    EXPECT_STREQ(small, "k") << "a path is never cut";
    LOC_IP_ADDR_S address{}, none{};
    EXPECT_EQ(Loc_GetLocalIpAddress(&address), PLAT_OK);
    EXPECT_EQ(AddressText(address, 10), "127.0.0.1");
    EXPECT_EQ(AddressText(address, 9), "refused, left ''") << "no room for the terminator";
    EXPECT_EQ(AddressText(none), "refused, left ''") << "no address family";
}

std::string Text(const char *section, const char *member, size_t length) {
    return std::string("{\"") + section + "\": {\"" + member + "\": \"" + std::string(length, 'a') + "\"}}";
}

std::string PortMap(int entries) {
    std::string map = R"({"security_service": {"port_map": {"1": 1)";
    for (int i = 2; i <= entries; ++i)
        map += ", \"" + std::to_string(i) + "\": 1";
    return map + "}}}";
}

TEST(PlatformConfig, RejectedTextsNameTheMemberAndChangeNothing) {
    const std::pair<std::string, const char *> cases[] = {
        {PortMap(PLAT_PORT_MAP_MAX), nullptr},  // null: accepted
        {Text("app", "service_name", 63), nullptr},
        {PortMap(PLAT_PORT_MAP_MAX + 1), "security_service.port_map: more than 16 entries"},
        {Text("app", "service_name", 64), "app.service_name: text of 64 characters is longer than 63"},
        {Text("decrypt", "key_password", 256), "decrypt.key_password: text of 256 characters is longer than 255"},
        {R"({"app": {"service_name": "other"}, "kernel": {"workers": "x"}})", "kernel.workers: expected a number"},
        {R"({"log": {"enabled": 1}})", "log.enabled: expected true or false"},
        {R"({"log": {"enabled": true, "file": ""}})", "log.file: empty while logging is enabled"},
        {R"({"log": {"enabled": true, "file": "/"}})", "log.file: cannot open log file /"},
        {R"({"log": 3})", "log: expected an object"},
        {R"({"app": {"serving_word": -1}})", "app.serving_word: expected a whole number"},
        {R"({"node": {"instance_id": 1.5}})", "node.instance_id: expected a whole number"},
        {R"({"kernel": {"max_connections": 4294967296}})", "kernel.max_connections: expected a whole number"},
        {R"({"rest": {"port": 65536}})", "rest.port: expected a whole number from 0 to 65535"},
        {R"({"node": {"common_root": null}})", "node.common_root: expected a string"},
        {R"({"node": {"local_ip": "localhost"}})", "node.local_ip: not an IPv4 or IPv6 address"},
        {R"({"rest": {"tls": {"ciphers": ["A", 2]}}})", "rest.tls.ciphers: expected an array of strings"},
        {R"({"security_service": {"scheme": "ftp"}})", "security_service.scheme: expected http or https"},
        {R"({"security_service": {"port_map": {"70000": 1}}})", "security_service.port_map.70000: key is not"},
        {R"({"ops": {"enabled": true}})", "ops.port: required when ops.enabled is true"},
        {R"({"ops": {"enabled": true, "host": "localhost", "port": 9}})", "ops.host: not an IPv4 or IPv6 address"},
        // The listener's routes would collide with the service's.
        {R"({"rest": {"host": "0.0.0.0", "port": 9}, "ops": {"enabled": true, "port": 9}})",
         "ops.port: the same address and port as rest"},
        {R"({"app": )", "not valid JSON"},
    };
    for (const auto &[json, error] : cases) {
        u32 status = PLAT_InitFromText(json.c_str());
        EXPECT_TRUE(error == nullptr ? status == PLAT_OK : Rejected(status, error)) << json << ": " << PLAT_LastError();
    }
    // The last accepted text named a service of 63 characters: kept whole, and no rejected text changed it.
    EXPECT_EQ(g_stSspBaseAppConfig.acServiceName, std::string(63, 'a'));
}

TEST(RestCfg, RecordCopiesTheRestSectionOutlivesReconfigurationAndNeedsAnIpHost) {
    ASSERT_EQ(PLAT_InitFromText(kFull), PLAT_OK) << PLAT_LastError();
    MicroserviceRestCfg *cfg = Haf_GenMicroserviceRestCfg();
    ASSERT_NE(cfg, nullptr);
    for (const char *json : {"{}", R"({"rest": {"host": "rest.example"}})", R"({"rest": {"host": "300.1.1.1"}})"}) {
        ASSERT_EQ(PLAT_InitFromText(json), PLAT_OK) << json;
        EXPECT_EQ(Haf_GenMicroserviceRestCfg(), nullptr) << json;
    }
    EXPECT_EQ(cfg->usPort, 8443);
    EXPECT_EQ(AddressText(cfg->stHostIp), "192.168.7.9");
    EXPECT_STREQ(cfg->pcSslVersion, "TLSv1.2");
    ASSERT_TRUE(cfg->ucCaFileNum == 2 && cfg->ucCipherNum == 3);
    EXPECT_STREQ(cfg->ppcCaFiles[1], "/ca/b.pem");
    EXPECT_STREQ(cfg->ppcCiphers[2], "C3");
    EXPECT_STREQ(cfg->pcCertFile, "/c.pem");
    EXPECT_STREQ(cfg->pcKeyFile, "/k.pem");
    EXPECT_STREQ(cfg->pcKeyPassword, "secret");
    Haf_FreeMicroserviceRestCfg(&cfg);
    EXPECT_EQ(cfg, nullptr);
}

}  // namespace
