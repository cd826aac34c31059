// The parse phase: the platform endpoint, the handler file format and the
// structure rules across the two files.
#include <string>
#include <vector>

#include "conf_fixture.h"
#include "support/suspended_thread.h"

namespace {

using rstest::kBusinessCfg;
using rstest::kCommonCfg;

struct WantHandler {
    std::string url;
    std::string name;
    u32 group;
};

class Parser : public rstest::ConfPhase {
protected:
    static void ExpectHandlers(const std::vector<RS_META_HANDLER *> &handlers, const std::vector<WantHandler> &want) {
        ASSERT_EQ(handlers.size(), want.size());
        for (size_t i = 0; i < want.size(); ++i) {
            EXPECT_EQ(std::string(RsConfHandlerGetUrl(handlers[i])), want[i].url) << i;
            EXPECT_EQ(std::string(RsConfHandlerGetHandlerName(handlers[i])), want[i].name) << i;
            EXPECT_EQ(RsConfHandlerGetGroupId(handlers[i]), want[i].group) << i;
        }
    }
};

TEST_F(Parser, PlatformEndpointBecomesTheOneDomainWithItsAuthEntry) {
    EXPECT_EQ(RsConfParser(inst_), 0u);
    EXPECT_EQ(RsStateGet(inst_), RS_STATE_PARSING);
    RS_META_DOMAIN *domain = Domain();
    ASSERT_NE(domain, nullptr);
    EXPECT_STREQ(domain->acHost, "127.0.0.1");
    EXPECT_STREQ(domain->acPort, "8443");
    ASSERT_NE(RsConfDomainGetAuth(domain), nullptr);
    EXPECT_EQ(RsConfDomainGetAuth(domain)->pstMsRestCfg->usPort, 8443);
    EXPECT_EQ(log_->Count("Host is 127.0.0.1.", RS_LOG_INFO), 1u);
}

TEST_F(Parser, BothFilesMissingStillSucceeds) {
    EXPECT_EQ(RsConfParser(inst_), 0u);
    EXPECT_EQ(log_->Count("Get cfg file realpath fail.", RS_LOG_ERROR), 2u);
    EXPECT_EQ(log_->Count("Read Rest Common Business config failed.", RS_LOG_ERROR), 1u);
    EXPECT_EQ(log_->Count("Read Rest Business config failed.", RS_LOG_ERROR), 1u);
    EXPECT_TRUE(Handlers().empty());
    EXPECT_TRUE(Modules().empty());
}

TEST_F(Parser, FileFormat) {
    const std::string long_first = "url " + std::string(250, 'a') + " First";
    const std::string long_second = "url " + std::string(70, 'b') + " Second";
    struct Case {
        const char *name;
        std::string text;
        std::vector<WantHandler> want;
        std::vector<std::string> errors;
    };
    const std::vector<Case> cases = {
        {"comments, blanks and tabs",
         "# handlers\n\n   \t\n  # indented comment\nload m.so Init\nurl\trest/a\tFnA\t1\nurl rest/#b FnB # x\n",
         {{"rest/a", "FnA", 1}, {"rest/#b", "FnB", 0}},
         {}},
        {"CRLF line ends",
         "load m.so Init\r\nurl rest/a FnA 2\r\nurl rest/b FnB\r\n",
         {{"rest/a", "FnA", 2}, {"rest/b", "FnB", RS_GROUP_NONE}},
         {}},
        {"long line in pieces",
         "load m.so\n" + long_first + std::string(511 - long_first.size(), ' ') + long_second +
             std::string(89 - long_second.size(), ' ') + "\n",
         {{std::string(250, 'a'), "First", RS_GROUP_NONE}, {std::string(70, 'b'), "Second", RS_GROUP_NONE}},
         {}},
        {"unknown and upper-case tags",
         "load m.so\nURL /a b\nroute /a b\nurl ok Fn\n",
         {{"ok", "Fn", RS_GROUP_NONE}},
         {}},
        {"tag without value",
         "load m.so\nurl\nurl\r\n",
         {},
         {"Parse conf failed: pcTag is null or pcRawCfg is null.",
          "Parse conf failed: pcTag is null or pcRawCfg is null."}},
        {"missing handler name",
         "load m.so\nurl only/url\n",
         {},
         {"missing parameters for page handler.", "Parse conf failed, pcTag: url, pcRawCfg: only/url."}},
        {"group texts and extra fields",
         "load m.so\nurl a F 7\nurl b F 3\nurl c F -1\nurl d F x\nurl e   F\t\t2 extra fields\n",
         {{"a", "F", 7}, {"b", "F", 3}, {"c", "F", RS_GROUP_NONE}, {"d", "F", 0}, {"e", "F", 2}},
         {}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        deployment_.Write(kBusinessCfg, c.text);
        RS_INSTANCE *inst = Make();
        log_->Clear();
        EXPECT_EQ(RsConfParser(inst), 0u);
        ExpectHandlers(Handlers(inst), c.want);
        std::vector<std::string> errors;
        for (const auto &line : log_->Lines()) {
            bool common_file =
                line.text.find("Common") != std::string::npos || line.text.find("realpath") != std::string::npos;
            if (line.level == RS_LOG_ERROR && !common_file) errors.push_back(line.text);
        }
        EXPECT_EQ(errors, c.errors);
        Destroy(inst);
    }
}

TEST_F(Parser, EachFileHasItsOwnModuleAndTheGroupMaximumSpansBoth) {
    deployment_.Write(kCommonCfg, "load ../lib/libcommon.so CommonInit\nurl common/a CommonA 4\n");
    deployment_.Write(kBusinessCfg, "load ../lib/libbusiness.so\nurl business/a BusinessA 9\nurl business/b B 2\n");
    EXPECT_EQ(RsConfParser(inst_), 0u);
    auto modules = Modules();
    ASSERT_EQ(modules.size(), 2u);
    EXPECT_STREQ(modules[0]->acPath, "../lib/libcommon.so");
    EXPECT_STREQ(modules[0]->acInitName, "CommonInit");
    EXPECT_STREQ(modules[1]->acPath, "../lib/libbusiness.so");
    EXPECT_STREQ(modules[1]->acInitName, "");
    auto handlers = Handlers();
    ASSERT_EQ(handlers.size(), 3u);
    EXPECT_EQ(RsConfHandlerGetModule(handlers[0]), modules[0]);
    EXPECT_EQ(RsConfHandlerGetModule(handlers[1]), modules[1]);
    EXPECT_EQ(RsConfHandlerGetModule(handlers[2]), modules[1]);
    EXPECT_EQ(RsConfDomainGetMaxGroupId(Domain()), 9u);
}

TEST_F(Parser, LoadWithoutFieldsFails) {
    struct Case {
        const char *text;
        const char *message;
    };
    const Case cases[] = {
        {"load\n", "Parse conf failed: pcTag is null or pcRawCfg is null."},
        // The split has already cut the value at its blank when the failure is logged.
        {"load   \n", "Parse conf failed, pcTag: load, pcRawCfg: ."},
        {"load \n", "Parse conf failed: pcTag is empty or pcRawCfg is empty."},
    };
    for (const auto &c : cases) {
        deployment_.Write(kBusinessCfg, c.text);
        RS_INSTANCE *inst = Make();
        log_->Clear();
        EXPECT_EQ(RsConfParser(inst), 0u);
        EXPECT_EQ(log_->Count(c.message, RS_LOG_ERROR), 1u) << "'" << c.text << "'" << Dump();
        EXPECT_TRUE(Handlers(inst).empty());
        Destroy(inst);
    }
}

TEST_F(Parser, CommonModuleIsNotVisibleInTheBusinessFile) {
    deployment_.Write(kCommonCfg, "load ../lib/libcommon.so\nurl common/a CommonA\n");
    deployment_.Write(kBusinessCfg, "url business/a BusinessA 3\n");
    u32 result = 1;
    EXPECT_EQ(rstest::RunResumingAsserts([&] { result = RsConfParser(inst_); }), 1);
    EXPECT_EQ(result, 0u);
    EXPECT_NE(rstest::ScreenLogText().find("assert (pstContext->pstCurModule != ((void *)0))\n"), std::string::npos);
    auto handlers = Handlers();
    ASSERT_EQ(handlers.size(), 2u);
    EXPECT_NE(RsConfHandlerGetModule(handlers[0]), nullptr);
    EXPECT_STREQ(RsConfHandlerGetUrl(handlers[1]), "business/a");
    EXPECT_EQ(RsConfHandlerGetModule(handlers[1]), nullptr);
    EXPECT_EQ(RsConfDomainGetMaxGroupId(Domain()), 3u);
}

TEST_F(Parser, SecondLoadLineAssertsAndBecomesCurrent) {
    deployment_.Write(kBusinessCfg, "load ../lib/liba.so\nurl a A\nload ../lib/libb.so\nurl b B\n");
    EXPECT_EQ(rstest::RunResumingAsserts([&] { RsConfParser(inst_); }), 1);
    EXPECT_NE(rstest::ScreenLogText().find("assert (pstContext->pstCurModule == ((void *)0))\n"), std::string::npos);
    auto modules = Modules();
    auto handlers = Handlers();
    ASSERT_EQ(modules.size(), 2u);
    ASSERT_EQ(handlers.size(), 2u);
    EXPECT_EQ(RsConfHandlerGetModule(handlers[0]), modules[0]);
    EXPECT_EQ(RsConfHandlerGetModule(handlers[1]), modules[1]);
}

TEST(ParserWithoutPlatform, MissingMicroserviceConfigurationFailsTheStart) {
    rstest::Deployment deployment;
    std::string json = "{\"node\":{\"common_root\":\"" + deployment.Root() + "\"}}";
    ASSERT_EQ(PLAT_InitFromText(json.c_str()), 0u) << PLAT_LastError();
    deployment.Write(kBusinessCfg, "load ../lib/libnothere.so\nurl a A\n");
    ASSERT_EQ(RESTSERVER_GlobalInit(), 0u);
    RS_INSTANCE *inst = nullptr;
    u8 id = 0;
    ASSERT_EQ(RESTSERVER_InstMake(&inst, &id), 0u);
    rstest::LogCapture log;
    EXPECT_EQ(RESTSERVER_InstStart(inst), 0u);
    EXPECT_EQ(RsStateGet(inst), RS_STATE_FAILED);
    auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].text, "Error occure generate microservier rest configuration.");
    EXPECT_EQ(lines[1].text, "Read Micro Service config failed.");
    EXPECT_EQ(lines[1].level, RS_LOG_ERROR);
    EXPECT_EQ(RsConfDomainFind(inst), nullptr);
    EXPECT_EQ(RESTSERVER_InstDestroy(inst), 0u);
    EXPECT_EQ(RESTSERVER_GlobalUnInit(), 0u);
}

}  // namespace
