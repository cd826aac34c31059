// The handler files through an instance's start: parse, load, register.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

#include "config/restserver_cfg_parser.h"
#include "config/restserver_cfg_register.h"
#include "core/restserver_log.h"
#include "support/made_instance.h"
#include "support/suspended_thread.h"

namespace {

u32 Collect(void *record, void *arg) {
    static_cast<std::vector<void *> *>(arg)->push_back(record);
    return 0;
}

// The domain's handlers as "url name group module-index;" ("-": no module).
std::string Handlers(RS_INSTANCE *inst) {
    std::vector<void *> modules, handlers;
    RsConfRootWalkModule(inst, Collect, &modules);
    if (RsConfDomainFind(inst) != nullptr) RsConfDomainWalkHandler(RsConfDomainFind(inst), Collect, &handlers);
    std::string out;
    for (void *record : handlers) {
        auto *handler = static_cast<RS_META_HANDLER *>(record);
        auto at = std::find(modules.begin(), modules.end(), handler->pstModule);
        out += std::string(handler->acUrl) + " " + handler->acHandlerName + " " +
               std::to_string(static_cast<int>(handler->uiGroupId)) + " " +
               (at == modules.end() ? "-" : std::to_string(at - modules.begin())) + ";";
    }
    return out;
}

// Captured lines of a level (0: any) starting with a prefix, TLS continuation lines left out.
std::string Lines(rstest::LogCapture &log, u32 level, std::vector<std::string> prefixes = {""}) {
    std::string out;
    for (const auto &line : log.Lines())
        for (const auto &prefix : prefixes)
            if ((level == 0 || line.level == level) && line.text.rfind(prefix, 0) == 0 && line.text[0] != ' ')
                out += line.text + "\n";
    return out;
}

void WriteFiles(const rstest::Deployment &deployment, const char *common, const std::string &business) {
    for (const char *file : {"lib/common_resthandler.cfg", "lib/resthandler.cfg"})
        std::remove(deployment.Path(file).c_str());
    if (common != nullptr) deployment.Write("lib/common_resthandler.cfg", common);
    if (business != "-") deployment.Write("lib/resthandler.cfg", business);
}

TEST(Parser, FilesGiveModulesHandlersAndGroups) {
    const std::string long1 = "url " + std::string(250, 'a') + " F", long2 = "url " + std::string(70, 'b') + " S";
    struct Case {
        const char *common;    // null: no file
        std::string business;  // "-": no file
        std::string handlers;
        int max_group, asserts;
        const char *errors;
    } const cases[] = {
        {"", "# c\n\n \t\n  # c\nload m.so Init\nurl\trest/a\tFnA\t1\nurl rest/#b FnB # x\n",
         "rest/a FnA 1 0;rest/#b FnB 0 0;", 1, 0, ""},
        {"", "load m.so\r\nurl rest/a FnA 2\r\nurl rest/b FnB", "rest/a FnA 2 0;rest/b FnB -1 0;", 2, 0, ""},
        {"", "load m.so\n" + long1 + std::string(511 - long1.size(), ' ') + long2 + "\n",
         std::string(250, 'a') + " F -1 0;" + std::string(70, 'b') + " S -1 0;", -1, 0, ""},
        {"", "load m.so\nurl " + std::string(300, 'p') + " " + std::string(70, 'n'),
         std::string(255, 'p') + " " + std::string(63, 'n') + " -1 0;", -1, 0, ""},
        {"", "load m.so\nURL /a b\nroute /a b\nurl \xA0ok Fn\n", "\xA0ok Fn -1 0;", -1, 0, ""},
        {"", "load m.so\nurl a F 7\nurl b F 3\nurl c F -1\nurl d F x\nurl e   F\t\t2 extra fields\n",
         "a F 7 0;b F 3 0;c F -1 0;d F 0 0;e F 2 0;", 7, 0, ""},
        {"", "load\nload   \nload \nload m.so\nurl\nurl only/url\n", "", -1, 0,
         "Parse conf failed: pcTag is null or pcRawCfg is null.\nParse conf failed, pcTag: load, pcRawCfg: .\n"
         "Parse conf failed: pcTag is empty or pcRawCfg is empty.\n"
         "Parse conf failed: pcTag is null or pcRawCfg is null.\nmissing parameters for page handler.\n"
         "Parse conf failed, pcTag: url, pcRawCfg: only/url.\n"},
        // Each file binds its handlers to its own module; the group maximum spans both.
        {"load ../lib/libc.so CInit\nurl c/a CA 4\n", "load ../lib/libb.so\nurl b/a BA 9\nurl b/b BB 2\n",
         "c/a CA 4 0;b/a BA 9 1;b/b BB 2 1;", 9, 0, ""},
        {"load ../lib/libc.so\nurl c/a CA\n", "url b/a BA 3\n", "c/a CA -1 0;b/a BA 3 -;", 3, 1, ""},
        {"", "load ../lib/liba.so\nurl a A\nload ../lib/libb.so\nurl b B\n", "a A -1 0;b B -1 1;", -1, 1, ""},
        {nullptr, "-", "", -1, 0,
         "Get cfg file realpath fail.\nRead Rest Common Business config failed.\nGet cfg file realpath fail.\n"
         "Read Rest Business config failed.\n"},
    };
    rstest::MadeInstance made;
    ASSERT_EQ(made.Error(), "");
    for (const auto &c : cases) {
        SCOPED_TRACE(c.business.substr(0, 60));
        WriteFiles(made.deployment, c.common, c.business);
        RS_INSTANCE *inst = made.Make();
        made.Log().Clear();
        EXPECT_EQ(rstest::RunResumingAsserts([&] { EXPECT_EQ(RsConfParser(inst), RS_OK); }), c.asserts);
        EXPECT_EQ(Handlers(inst), c.handlers);
        EXPECT_EQ(static_cast<int>(RsConfDomainGetMaxGroupId(RsConfDomainFind(inst))), c.max_group);
        EXPECT_EQ(Lines(made.Log(), RS_LOG_ERROR), c.errors);
        made.Destroy(inst);
    }
}

// An init function runs once per start, before handlers are resolved;
// unresolved handlers reach the kernel adapter, which refuses them.
TEST(Start, ModulesLoadAndHandlersRegisterInFileOrder) {
    struct Case {
        const char *common, *business;
        int asserts;
        const char *calls, *errors;
    } const cases[] = {
        {"load ../lib/libcounting_handler.so CountingModuleInit\nurl items CountingItemsGet 2\nurl i2 "
         "CountingItemsGet\n",
         "load ../lib/libcounting_handler.so\nurl / CountingItemsGet 0\n", 0,
         "RsKernelDomainBind, ip:127.0.0.1, port:P\nRsKernelGroupEnable, groupNum:3\n"
         "RsKernelAuthEnable, Cfg is: SslVersion:\nReg hanlder, group:2, url:items, handler:fn\n"
         "Reg hanlder, group:-1, url:i2, handler:fn\nReg hanlder, group:0, url:/, handler:fn\n",
         ""},
        {"", "load ../lib/libnothere.so Init\nurl a A 1\nurl b B\n", 0,
         "RsKernelDomainBind, ip:127.0.0.1, port:P\nRsKernelGroupEnable, groupNum:2\n"
         "RsKernelAuthEnable, Cfg is: SslVersion:\nReg hanlder, group:1, url:a, handler:(nil)\n"
         "Reg hanlder, group:-1, url:b, handler:(nil)\n",
         "dlopen error - ../lib/libnothere.so: cannot open shared object file: No such file or directory.\n"
         "RsConfRootWalkModule(../lib/libnothere.so) error\n"
         "HandlerLoad error, because so-handle is null. So path:../lib/libnothere.so\n"
         "HandlerLoad error, because so-handle is null. So path:../lib/libnothere.so\n"
         "Reg hanlder fail, handler is null. Url:a\nReg hanlder fail, handler is null. Url:b\n"},
        {"url early Early\n", "load ../lib/libcounting_handler.so\nurl gone OtherMissing\nurl v CountingItemsGet\n", 1,
         "RsKernelDomainBind, ip:127.0.0.1, port:P\nRsKernelAuthEnable, Cfg is: SslVersion:\n"
         "Reg hanlder, group:-1, url:early, handler:(nil)\nReg hanlder, group:-1, url:gone, handler:(nil)\n"
         "Reg hanlder, group:-1, url:v, handler:fn\n",
         "HandlerLoad error, because moudle is null. Handler name:Early\n"
         "dlsym error - ../lib/libcounting_handler.so: undefined symbol: OtherMissing.\n"
         "Reg hanlder fail, handler is null. Url:early\nReg hanlder fail, handler is null. Url:gone\n"},
    };
    for (const auto &c : cases) {
        rstest::MadeInstance made;
        ASSERT_EQ(made.Error(), "");
        made.deployment.Copy(RS_FIXTURE_DIR "/libcounting_handler.so", "lib/libcounting_handler.so");
        WriteFiles(made.deployment, c.common, c.business);
        made.Log().Clear();
        EXPECT_EQ(rstest::RunResumingAsserts([&] { EXPECT_EQ(RESTSERVER_InstStart(made.Inst()), RS_OK); }), c.asserts);
        EXPECT_EQ(RsStateGet(made.Inst()), RS_STATE_LISTENING);
        std::string calls = Lines(
            made.Log(), 0, {"RsKernelDomainBind", "RsKernelGroupEnable", "RsKernelAuthEnable, Cfg", "Reg hanlder,"});
        calls = std::regex_replace(calls, std::regex("port:" + std::to_string(made.port)), "port:P");
        EXPECT_EQ(std::regex_replace(calls, std::regex("0x[0-9a-f]+"), "fn"), c.calls);
        EXPECT_EQ(Lines(made.Log(), RS_LOG_ERROR), c.errors);
        if (c.asserts != 0 || c.errors[0] != '\0') continue;

        void *module = dlopen(made.deployment.Path("lib/libcounting_handler.so").c_str(), RTLD_NOW | RTLD_NOLOAD);
        const u32 *init_calls = static_cast<u32 *>(dlsym(module, "g_uiCountingInitCalls"));
        EXPECT_EQ(*static_cast<u32 *>(dlsym(module, "g_uiCountingResolvedAtInit")), 0u);
        EXPECT_EQ(*init_calls, 1u);
        EXPECT_EQ(RESTSERVER_InstStart(made.Make()), RS_OK);
        EXPECT_EQ(*init_calls, 2u);
        dlclose(module);
    }
}

}  // namespace
