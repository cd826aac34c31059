// The service settings: URL entries and their lookup, the bring-up that needs
// both files, and service tokens from the security service.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <thread>

#include "auth/restserver_service_token.h"
#include "support/made_instance.h"
#include "support/security_service.h"

namespace {

const char *const kUrlFile = "conf/vog_auth/service_url_config.json";
const char *const kJwtFile = "conf/vog_auth/jwt.json";

std::string ServiceOf(const std::string &url) {  // "domain/type", "-" when no entry matches
    const RsUrlConfigInfo *entry = RsUrlConfigInfoGet(url.c_str());
    return entry == nullptr ? "-" : entry->domain + std::string("/") + entry->type;
}

// Later members are tried first; "*" patterns match anywhere inside the URL, others the whole URL; a value
// too long for its field leaves it empty; a member without "domain" is dropped. Lookups run at once.
TEST(ServiceUrls, UrlsFindTheirServiceFromAnyThread) {
    rstest::Deployment deployment;
    deployment.Write(kUrlFile, R"({"/rest/plat/domain/*": {"type": "t", "domain": "domain-svc"},
        "/rest/plat/*": {"type": "t", "domain": "plat-svc"}, "": {"type": "t", "domain": "no-name"},
        "/rest/exact": {"type": "0123456789abcdef", "domain": "exact-svc"}, "/rest/nodomain/*": {"type": "t"},
        "/rest/long": {"type": "t", "domain": "64-characters-are-one-too-many-for-the-field-of-a-service-name--"}})");
    ASSERT_EQ(ServiceUrlConfigLoad(), 0u);
    const char *const cases =
        "/rest/plat/domain/v1/aa=plat-svc/t /x/rest/plat/y=plat-svc/t /rest/pla=- /other=- "
        "/rest/exact=exact-svc/ /rest/exact/1=- /rest/nodomain/a=- /rest/long=/t =no-name/t";
    auto check = [&] {
        for (int i = 0; i < 1000; ++i) {
            std::istringstream rows(cases);
            for (std::string c; rows >> c;)
                EXPECT_EQ(ServiceOf(c.substr(0, c.find('='))), c.substr(c.find('=') + 1)) << c;
        }
    };
    std::thread t1(check), t2(check), t3(check);
    check();
    t1.join(), t2.join(), t3.join();
}

// A bad file fails the bring-up ("-": no file); once mended, the next bring-up loads it, later ones keep it.
TEST(ServiceFiles, BadFilesFailTheBringUpUntilMended) {
    const std::tuple<const char *, const char *, const char *, const char *> cases[] = {
        {kJwtFile, "-", "Jwt json path invalid.", "JwtConfigLoad Fail."},
        {kJwtFile, R"({"jw": "t"})", "Jwt json parse fail.", "JwtConfigLoad Fail."},
        {kUrlFile, "[", "Service url config json parse fail.", "ServiceUrlConfigLoad Fail."}};
    for (const auto &[file, text, line, bring_up] : cases) {
        rstest::MadeInstance made;
        RsServiceConfigClear();  // as though no bring-up had loaded them
        text[0] == '-' ? (void)std::filesystem::remove(made.deployment.Path(file)) : made.deployment.Write(file, text);
        ASSERT_NE(made.Make(), nullptr);  // made without a kernel server
        EXPECT_TRUE(made.Log().Count(line, 5) == 1 && made.Log().Count(bring_up, 5) == 1) << line;
        made.deployment.WriteAccessRules();
        ASSERT_TRUE(made.Make() != nullptr && g_serviceJwt != nullptr && g_serviceUrlConfigList != nullptr);
        const char *jwt = g_serviceJwt;
        made.deployment.Write(kJwtFile, R"({"jwt": "changed"})");
        ASSERT_NE(made.Make(), nullptr);
        EXPECT_TRUE(jwt == g_serviceJwt && std::string(jwt) == "test-deployment-jwt" && !g_serviceUrlConfigList->next);
    }
}

// The JWT and the domain posted in this order; only a 200 with a body gives a token, copied whole.
TEST(ServiceToken, OnlyAnOkAnswerWithABodyGivesAToken) {
    rstest::Deployment deployment;
    rstest::SecurityService service;
    ASSERT_EQ(PLAT_InitFromText(("{" + service.PlatformSection() + "}").c_str()), 0u) << PLAT_LastError();
    deployment.Write(kJwtFile, R"({"other": 1, "jwt": "j.w.t"})");
    deployment.Write(kUrlFile, R"({"/rest/plat/*": {"type": "t", "domain": "plat"}})");
    ASSERT_TRUE(JwtConfigLoad() == 0 && ServiceUrlConfigLoad() == 0);
    const char *const path = "/rest/vog/v1/tokens/jwt/vog";
    const std::tuple<const char *, rstest::ServiceAnswer, const char *, int> cases[] = {
        {"/rest/plat/a", {200, "tok-1\n\"x\"", 0}, "tok-1\n\"x\"", 1},
        {"/rest/plat/a", {401, "refused", 0}, "-", 2},
        {"/rest/plat/a", {200, "", 0}, "-", 3},
        {"/rest/other", {200, "tok-2", 0}, "-", 3}};
    for (const auto &[url, answer, want, calls] : cases) {
        service.Answer(path, answer);
        std::unique_ptr<char, decltype(&free)> token(RsVogTokenGet(url), free);
        EXPECT_EQ(token == nullptr ? "-" : std::string(token.get()), want) << answer.status;
        u32 method = 0;
        std::string body;
        EXPECT_EQ(service.Calls(path, &method, &body), calls);
        EXPECT_TRUE(method == REST_METHOD_POST && body == R"({"jwt":"j.w.t","domain":"plat"})") << body;
    }
    std::string port = std::to_string(rstest::FreePort());
    ASSERT_EQ(PLAT_InitFromText((R"({"security_service": {"port_map": {"8073": )" + port + "}}}").c_str()), 0u);
    EXPECT_EQ(RsVogTokenGet("/rest/plat/a"), nullptr) << "nothing listens";
}

}  // namespace
