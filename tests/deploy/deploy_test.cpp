// The virtual IP address lookup through its real relative paths: the working
// folder lies four levels below the deployment's root, which stands for "/".
#include <gtest/gtest.h>

#include <filesystem>

#include "plat_config.h"
#include "restserver_helpers.h"
#include "support/deployment.h"
#include "support/log_capture.h"

namespace {

constexpr u32 kFailed = 0xFFFFFFFFu, kUnset = 7;

std::string Vips(const std::string &vips) {  // of "BgpService" in node slot "slot-3"
    return R"({"processes": {"slot-3": {"LVS_SBI_BGP": {"vips": [)" + vips + "]}}}}";
}

// The manifest is read until it names a package, never after; the service name chooses the label (another
// keeps the one set before); the first usage mentioning "BGPSouthBound" decides.
TEST(Vip, TheFirstBgpSouthBoundUsageUnderTheServicesLabelGivesTheAddress) {
    rstest::Deployment deployment;
    std::filesystem::create_directories(deployment.Path("opt/app/svc/bin"));
    std::filesystem::current_path(deployment.Path("opt/app/svc/bin"));
    const std::string bgp = Vips(R"({"usage": "BGPSouthBound", "vip": "192.0.2.10"})");
    const std::string v6 = "ffff:ffff:ffff:ffff:ffff:ffff:255.255.255.255";  // the longest address text
    const struct {
        const char *manifest, *service;  // manifest null: as it is (none at first)
        std::string app_ver;
        u32 ret, found;
        std::string line, vip = "untouched";
        u32 size = 0;  // 0: GetVipFromAppVerJson
    } cases[] = {
        {nullptr, "Other", bgp, kFailed, kUnset, "g_pcManifestPath invalid."},
        {R"({"package": "pkg1"})", "Other", bgp, kFailed, kUnset, "get packageId failed."},
        {R"({"packageId": 5})", "Other", bgp, kFailed, kUnset, "get packageIdstr failed."},
        {"{", "Other", bgp, kFailed, kUnset, "manifest.json object parse fail."},
        {R"({"packageId": "pkg1"})", "Other", bgp, kFailed, 0, "get LVS_SBI failed."},
        {R"({"packageId": "pkg2"})", "PCEPService", bgp, kFailed, 0, " g_acLvsSBILabel :LVS_SBI_PCEP."},
        {nullptr, "korvadex", bgp, kFailed, 0, " g_acLvsSBILabel :LVS_SBI_QORCommon."},
        {nullptr, "bgpservice", bgp, kFailed, 0, " g_acLvsSBILabel :LVS_SBI_QORCommon."},
        {nullptr, "BgpService", bgp, 0, 1, "vipAddr :192.0.2.10", "192.0.2.10"},
        {nullptr, "BgpService", bgp, 0, 1, "vipAddr 192.0.2.10 does not fit 10 bytes.", "", 10},
        {nullptr, "BgpService",
         Vips(R"({"usage": "x", "vip": "a"}, {"usage": "BGPSouthBound-v4", "vip": "b"}, {"usage": "BGPSouthBound"})"),
         0, 1, "usageStr :x", "b"},
        {nullptr, "BgpService", Vips(R"({"usage": "bgpsouthbound", "vip": "1"})"), 0, 1, "usageStr :bgpsouthbound"},
        {nullptr, "BgpService", Vips(R"({"usage": "BGPSouthBound"}, {"usage": "BGPSouthBound", "vip": "b"})"), 0, 1,
         "usageStr :BGPSouthBound"},
        {nullptr, "BgpService", Vips(R"({"usage": "BGPSouthBound", "vip": ")" + v6 + "\"}"), 0, 1, "vipAddr :" + v6,
         v6},
        {nullptr, "BgpService", R"({"processes": {"slot-3": {"LVS_SBI_BGP": {}}}})", kFailed, 1, "get vips failed."},
        {nullptr, "BgpService", R"({"processes": {"slot-4": {}}})", kFailed, 0, "get pProcessObj failed."},
        {nullptr, "BgpService", R"({"process": {}})", kFailed, 0, "get pProcessesObj failed."},
        {nullptr, "BgpService", "{", kFailed, kUnset, "AppVerJson object parse failed."}};
    for (const auto &c : cases) {
        if (c.manifest != nullptr) deployment.Write("etc/sysconf/manifest.json", c.manifest);
        deployment.Write("etc/sysconf/pkg1.json", c.app_ver);
        std::string cfg =
            R"({"app":{"service_name":")" + std::string(c.service) + R"("},"node":{"node_slot":"slot-3"}})";
        ASSERT_EQ(PLAT_InitFromText(cfg.c_str()), 0u);
        rstest::LogCapture log;  // after the platform's configuration, which resets logging
        u32 found = kUnset;
        char vip[RS_VIP_ADDR_SIZE] = "untouched";
        EXPECT_EQ(c.size ? GetVipFromAppVerJsonEx(&found, vip, c.size) : GetVipFromAppVerJson(&found, vip), c.ret);
        EXPECT_TRUE(found == c.found && vip == c.vip && log.Count(c.line) == 1) << c.line << ": " << found << vip;
    }
    EXPECT_STREQ(g_acAppVerJsonPath, "../../../../etc/sysconf/pkg1.json");
}

}  // namespace
