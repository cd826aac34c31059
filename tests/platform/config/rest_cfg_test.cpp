// The microservice REST record: layout read through raw bytes, deep ownership,
// and the cases that yield no record.
#include <gtest/gtest.h>

#include <string>

#include "config_fixture.h"
#include "plat_config.h"

namespace {

using plattest::At;

const char *TextPtrAt(const void *record, size_t offset) {
    return At<const char *>(record, offset);
}

TEST(RestCfg, RecordFieldsAtTheirOffsets) {
    ASSERT_EQ(PLAT_InitFromText(plattest::FullConfig()), 0u) << PLAT_LastError();
    MicroserviceRestCfg *cfg = Haf_GenMicroserviceRestCfg();
    ASSERT_NE(cfg, nullptr);
    EXPECT_EQ(At<u8>(cfg, 4), 2);  // CA files
    EXPECT_EQ(At<u8>(cfg, 5), 3);  // ciphers
    EXPECT_EQ(At<u16>(cfg, 6), 8443);
    EXPECT_EQ(At<u32>(cfg, 8), PLAT_AF_INET);
    const u8 expected[4] = {192, 168, 7, 9};
    EXPECT_EQ(memcmp(reinterpret_cast<const u8 *>(cfg) + 12, expected, 4), 0);
    EXPECT_STREQ(TextPtrAt(cfg, 32), "TLSv1.2");
    auto cas = At<char **>(cfg, 48);
    EXPECT_STREQ(cas[0], "/ca/a.pem");
    EXPECT_STREQ(cas[1], "/ca/b.pem");
    EXPECT_STREQ(TextPtrAt(cfg, 64), "/c.pem");
    EXPECT_STREQ(TextPtrAt(cfg, 80), "/k.pem");
    EXPECT_STREQ(TextPtrAt(cfg, 88), "secret");
    auto ciphers = At<char **>(cfg, 96);
    EXPECT_STREQ(ciphers[0], "AES128");
    EXPECT_STREQ(ciphers[2], "CHACHA");
    EXPECT_EQ(At<u64>(cfg, 40), 0u);
    EXPECT_EQ(At<u64>(cfg, 56), 0u);
    EXPECT_EQ(At<u64>(cfg, 72), 0u);
    Haf_FreeMicroserviceRestCfg(&cfg);
    EXPECT_EQ(cfg, nullptr);
}

TEST(RestCfg, RecordOwnsItsTextsAcrossReconfiguration) {
    ASSERT_EQ(PLAT_InitFromText(plattest::FullConfig()), 0u) << PLAT_LastError();
    MicroserviceRestCfg *first = Haf_GenMicroserviceRestCfg();
    MicroserviceRestCfg *second = Haf_GenMicroserviceRestCfg();
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first->pcCertFile, second->pcCertFile);
    EXPECT_NE(first->ppcCaFiles[0], second->ppcCaFiles[0]);
    ASSERT_EQ(PLAT_InitFromText(R"({"rest": {"host": "::1", "tls": {"cert_file": "/other.pem"}}})"), 0u);
    Haf_FreeMicroserviceRestCfg(&second);
    EXPECT_STREQ(first->pcCertFile, "/c.pem");  // a use after free here is caught by the sanitizer build
    EXPECT_STREQ(first->ppcCiphers[1], "AES256");
    Haf_FreeMicroserviceRestCfg(&first);
    Haf_FreeMicroserviceRestCfg(&first);  // already null
    Haf_FreeMicroserviceRestCfg(nullptr);
}

TEST(RestCfg, Ipv6HostAndEmptyTlsLists) {
    ASSERT_EQ(PLAT_InitFromText(R"({"rest": {"host": "fe80::1:2", "port": 443}})"), 0u) << PLAT_LastError();
    MicroserviceRestCfg *cfg = Haf_GenMicroserviceRestCfg();
    ASSERT_NE(cfg, nullptr);
    EXPECT_EQ(cfg->stHostIp.uiFamily, PLAT_AF_INET6);
    EXPECT_EQ(cfg->stHostIp.aucAddr[0], 0xfe);
    EXPECT_EQ(cfg->stHostIp.aucAddr[1], 0x80);
    EXPECT_EQ(cfg->stHostIp.aucAddr[13], 0x01);
    EXPECT_EQ(cfg->stHostIp.aucAddr[15], 0x02);
    EXPECT_EQ(cfg->usPort, 443);
    EXPECT_EQ(cfg->ucCaFileNum, 0);
    EXPECT_EQ(cfg->ucCipherNum, 0);
    char text[64];
    ASSERT_EQ(Loc_IpAddressBinToStr(&cfg->stHostIp, text, sizeof(text)), 0u);
    EXPECT_STREQ(text, "fe80::1:2");
    Haf_FreeMicroserviceRestCfg(&cfg);
}

TEST(RestCfg, NoRecordWithoutAUsableHost) {
    const char *cases[] = {
        "{}",
        R"({"rest": {"port": 8443}})",
        R"({"rest": {"host": "", "port": 8443}})",
        R"({"rest": {"host": "rest.example", "port": 8443}})",
        R"({"rest": {"host": "300.1.1.1", "port": 8443}})",
    };
    for (const char *json : cases) {
        ASSERT_EQ(PLAT_InitFromText(json), 0u) << json << PLAT_LastError();
        EXPECT_EQ(Haf_GenMicroserviceRestCfg(), nullptr) << json;
    }
}

TEST(LocNode, BinaryAddressToText) {
    struct Case {
        const char *host;
        u32 size;
        u32 status;
        const char *text;
    };
    const Case cases[] = {
        {"127.0.0.1", 64, 0, "127.0.0.1"},     {"127.0.0.1", 10, 0, "127.0.0.1"}, {"127.0.0.1", 9, PLAT_ERR, ""},
        {"2001:db8::8", 64, 0, "2001:db8::8"}, {"2001:db8::8", 4, PLAT_ERR, ""},
    };
    for (const Case &c : cases) {
        ASSERT_EQ(PLAT_InitFromText((std::string(R"({"node": {"local_ip": ")") + c.host + "\"}}").c_str()), 0u);
        LOC_IP_ADDR_S address{};
        ASSERT_EQ(Loc_GetLocalIpAddress(&address), 0u);
        char text[64];
        memset(text, 'x', sizeof(text));
        EXPECT_EQ(Loc_IpAddressBinToStr(&address, text, c.size), c.status) << c.host << " " << c.size;
        EXPECT_STREQ(text, c.text) << c.host << " " << c.size;
    }
}

TEST(LocNode, AddressWithoutFamilyGivesEmptyText) {
    LOC_IP_ADDR_S none{};
    char text[64] = "stale";
    EXPECT_NE(Loc_IpAddressBinToStr(&none, text, sizeof(text)), 0u);
    EXPECT_STREQ(text, "");
    char untouched[4] = "abc";
    EXPECT_NE(Loc_IpAddressBinToStr(&none, untouched, 0), 0u);
    EXPECT_STREQ(untouched, "abc");
    EXPECT_NE(Loc_IpAddressBinToStr(nullptr, text, sizeof(text)), 0u);
    EXPECT_NE(Loc_GetLocalIpAddress(nullptr), 0u);
}

}  // namespace
