// Certificates from the security service, token verification with real CMS
// tokens signed at test time, and the token cache.
#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>

#include "auth/restserver_auth_cert.h"
#include "auth/restserver_auth_token.h"
#include "plat_config.h"
#include "plat_sync.h"
#include "support/deployment.h"
#include "support/log_capture.h"
#include "support/security_service.h"
#include "support/test_pki.h"

namespace {

using rstest::ServiceAnswer;
constexpr u32 kFailed = 0xFFFFFFFFu;
const char *const kCerts = "/rest/vog/v1/certificates";
// Stands in for the tool: prints the token's own text, so a token is its content.
const char *const kContentIsToken = R"(grep -v -- ----- "$4" | tr -d '\n' | tr / -)";
u64 g_testNowNs = 0;

std::vector<std::string> Entries() {  // oldest first
    std::vector<std::string> tokens;
    for (RsTokenCacheNode *node = g_pTokenCacheMap ? g_pTokenCacheMap->next : nullptr; node; node = node->next)
        tokens.push_back(node->token);
    return tokens;
}

// A deployment (bin/ is the working directory) with the PKI, the service and openssl runs counted.
class Token : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(PLAT_InitFromText(("{" + service.PlatformSection() + "}").c_str()), 0u) << PLAT_LastError();
        log = std::make_unique<rstest::LogCapture>();  // after the platform's configuration, which resets logging
        std::filesystem::create_directories("../data/vog_cert");
        service.Answer(kCerts, {200, pki.CertAnswer(), 0});
    }
    rstest::Deployment deployment;
    rstest::TestPki pki{deployment.Path("pki")};
    rstest::SecurityService service;
    rstest::OpensslOnPath openssl{deployment.Path("counted")};
    std::unique_ptr<rstest::LogCapture> log;
};

TEST_F(Token, MissingCertificatesAreFetchedOnceAndATokenVerifiedOnceIntoEveryField) {
    EXPECT_EQ(RsAuthCertLoad(0), 0u);
    EXPECT_EQ(RsAuthCertLoad(0), 0u);
    EXPECT_EQ(service.Calls(kCerts), 1);
    EXPECT_TRUE(log->Has("cert already exist!\n", 2));
    std::string token = pki.Token(R"({"token": {"expires_at": "2999-01-01T00:00:00Z", "project": {"id": "p"}, )"
                                  R"("user": {"id": "u", "name": "ann", "domain": {"id": "d", "name": "dom"}}}, )"
                                  R"("roles": ["op_admin", "op_audit"]})");
    RsTokenItem *item = RsLoadDecryptedToken(token.c_str());
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(RsLoadDecryptedToken(token.c_str()), item);
    EXPECT_EQ(openssl.Verifications(), 1);
    ASSERT_EQ(item->roleCount, 2u);
    EXPECT_EQ((std::vector<std::string>{item->expiresAt, item->userDomainId, item->userId, item->userName,
                                        item->userDomainName, item->projectId, item->roles[0], item->roles[1]}),
              (std::vector<std::string>{"2999-01-01T00:00:00Z", "d", "u", "ann", "dom", "p", "op_admin", "op_audit"}));
    EXPECT_NE(access("../data/vog_cert/mytoken", F_OK), 0);
}

// Each bad token prints nothing: one forced reload (only the first reaches the
// service and writes the missing files, the others fall in its five minutes),
// one retry, nothing cached.
TEST_F(Token, BadTokensYieldNothingAfterOneReloadAndOneRetry) {
    // A name of a's stands as YWFh...; one character more turns "aaa" into "aab": still valid JSON.
    std::string altered = pki.Token(R"({"token": {"user": {"name": "aaaaaaaaaaaa"}}})");
    altered[altered.find("YWFhYWFh") + 3] = 'i';
    for (const std::string &token : {altered, altered, pki.Token("{}", true), std::string()}) {
        int before = openssl.Verifications();
        EXPECT_EQ(RsLoadDecryptedToken(token.c_str()), nullptr) << token;
        EXPECT_EQ(openssl.Verifications() - before, 2) << token;
    }
    EXPECT_EQ(log->Count("Certificate is expired, please reload !\n", 5), 4u);
    EXPECT_EQ(service.Calls(kCerts), 1);
    EXPECT_TRUE(Entries().empty());
}

// Any answer, a 404 included, starts five minutes without a fetch; a failed load starts none.
TEST_F(Token, LoadsFetchAtMostOnceInFiveMinutes) {
    PLAT_TickSourceSet([] { return g_testNowNs; });
    const struct {
        ServiceAnswer answer;
        u64 ms;
        u32 result;
        int calls;
    } steps[] = {{{200, pki.CertAnswer(false)}, 0, kFailed, 1},
                 {{200, "{not json"}, 0, kFailed, 2},
                 {{404, ""}, 0, 0, 3},
                 {{404, ""}, 299999, 0, 3},
                 {{404, ""}, 300000, 0, 4}};
    for (const auto &step : steps) {
        service.Answer(kCerts, step.answer);
        g_testNowNs = 5000000000ull + step.ms * 1000000ull;
        EXPECT_EQ(RsAuthCertLoad(1), step.result) << step.ms;
        EXPECT_EQ(service.Calls(kCerts), step.calls) << step.ms;
    }
    for (const char *message : {"CA or sign cert is null!\n", "request vog cert fail!\n", "Please wait 5 minutes!\n"})
        EXPECT_EQ(log->Count(message, 5), 1u) << message;
    EXPECT_EQ(log->Count("Load cert success !\n", 2), 2u);
    EXPECT_NE(access("../data/vog_cert/caCert.pem", F_OK), 0);
}

TEST(FormatToken, WrapsAt64CharactersAndTurnsDashesIntoSlashes) {
    const std::string a63(63, 'a'), s64(64, '/');
    const struct {
        std::string token, body;
    } cases[] = {{"", "\n"},
                 {a63 + "-", a63 + "/\n"},
                 {a63 + "-b", a63 + "/\nb\n"},
                 {std::string(128, '-'), s64 + "\n" + s64 + "\n"}};
    for (const auto &c : cases) {
        char *pem = FormatToken(c.token.c_str());
        EXPECT_EQ(std::string(pem), "-----BEGIN CMS-----\n" + c.body + "-----END CMS-----\n") << c.token.size();
        free(pem);
    }
}

TEST_F(Token, ConcurrentRequestsVerifyEachTokenOnce) {
    ASSERT_EQ(RsAuthCertLoad(0), 0u);
    std::vector<std::string> tokens;
    for (int i = 0; i < 200; ++i)
        tokens.push_back(pki.Token(R"({"token": {"user": {"id": "u)" + std::to_string(i) + R"("}}})"));
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 32; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 200; ++i) {
                int k = (i * 7 + t) % 200;
                RsTokenItem *item = RsLoadDecryptedToken(tokens[k].c_str());
                wrong += item == nullptr || item->userId != std::string("u").append(std::to_string(k));
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(openssl.Verifications(), 200);
    EXPECT_EQ(Entries().size(), 200u);
}

// A record evicted while this thread still holds it stays readable (the address sanitizer checks).
TEST_F(Token, FullCacheEvictsTheOldest64BeforeAdding) {
    rstest::OpensslOnPath stub(deployment.Path("stub"), kContentIsToken);
    auto token = [](int n) { return R"({"token": {"user": {"id": "t)" + std::to_string(n) + R"("}}})"; };
    for (int i = 0; i < 1023; ++i)
        ASSERT_NE(RsLoadDecryptedToken(token(i).c_str()), nullptr);
    for (auto [added, size, oldest] : {std::tuple{1023, 1024u, 0}, {1024, 961u, 64}}) {
        ASSERT_NE(RsLoadDecryptedToken(token(added).c_str()), nullptr);
        EXPECT_EQ(Entries().size(), size);
        EXPECT_EQ(Entries().front(), token(oldest));
        EXPECT_EQ(Entries().back(), token(added));
    }
    RsTokenItem *held = RsLoadDecryptedToken(token(64).c_str());
    RsTokenCacheMapOverrunProc();
    EXPECT_EQ(Entries().front(), token(128));
    EXPECT_STREQ(held->userId, "t64");
}

// A thread's repeat token skips the lookup only while its entry is cached: once
// evicted it is verified again, also while other threads evict as it reads.
TEST_F(Token, EvictedRepeatTokensAreVerifiedAgain) {
    rstest::OpensslOnPath stub(deployment.Path("stub"), kContentIsToken);
    const std::string mine = R"({"token": {"user": {"id": "mine"}}})";
    ASSERT_NE(RsLoadDecryptedToken(mine.c_str()), nullptr);
    ASSERT_NE(RsLoadDecryptedToken(mine.c_str()), nullptr);  // found in the cache, so remembered
    RsTokenItemRelease();
    RsTokenCacheMapOverrunProc();
    RsTokenItem *item = RsLoadDecryptedToken(mine.c_str());
    ASSERT_NE(item, nullptr);
    EXPECT_STREQ(item->userId, "mine");
    EXPECT_EQ(stub.Verifications(), 2);
    EXPECT_EQ(Entries(), std::vector<std::string>{mine});

    std::atomic<bool> stop{false};
    std::atomic<int> wrong{0};
    std::vector<std::thread> readers;
    for (int t = 0; t < 4; ++t)
        readers.emplace_back([&, t] {
            const std::string id = "r" + std::to_string(t);
            const std::string token = R"({"token": {"user": {"id": ")" + id + R"("}}})";
            while (!stop) {
                RsTokenItem *found = RsLoadDecryptedToken(token.c_str());
                wrong += found == nullptr || found->userId != id;
                RsTokenItemRelease();
            }
        });
    for (int i = 0; i < 100; ++i) {
        RsTokenCacheMapOverrunProc();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    stop = true;
    for (std::thread &thread : readers)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

TEST_F(Token, TextsAreKeptWholeOrNotAtAllAndRolesAllOrNothing) {
    rstest::OpensslOnPath stub(deployment.Path("stub"), kContentIsToken);
    const std::string id31(31, 'i');
    const struct {
        std::string content, userId;
        std::vector<std::string> roles;
    } cases[] = {
        {R"({"token": {"user": {"id": ")" + id31 + R"("}}, "roles": ["b", "a"]})", id31, {"b", "a"}},
        {R"({"token": {"user": {"id": ")" + id31 + R"(x"}}, "roles": []})", "", {}},
        {R"({"token": {"user": {"id": 7}}, "roles": ["a", 1]})", "", {}},
        {R"({"user": {"id": "u"}, "roles": ["a"]})", "", {}},
    };
    for (const auto &c : cases) {
        RsTokenItem *item = RsLoadDecryptedToken(c.content.c_str());
        ASSERT_NE(item, nullptr) << c.content;
        EXPECT_EQ(item->userId, c.userId) << c.content;
        EXPECT_EQ(std::vector<std::string>(item->roles, item->roles + item->roleCount), c.roles) << c.content;
    }
}

// Byte-wise against the current second: fractions and a zone letter sort after it.
TEST(TokenExpiry, CurrentSecondCountsUntilItPassesAndEmptyHasExpired) {
    std::vector<u32> got;
    for (SYS_TIME_S now{}, again{}; got.empty() || now.ucSecond != again.ucSecond; ZEP_LMT_SystimeGet(&again)) {
        ZEP_LMT_SystimeGet(&now);
        got.clear();
        for (const char *format : {"%04d-%02d-%02dT%02d:%02d:%02d.5Z", "%04d-%02d-%02dT%02d:%02d:%02d", "", "2000"}) {
            RsTokenItem item{};
            snprintf(item.expiresAt, sizeof(item.expiresAt), format, now.usYear, now.ucMonth, now.ucDay, now.ucHour,
                     now.ucMinute, now.ucSecond);
            got.push_back(RsAuthTokenCheck(&item));
        }
    }
    EXPECT_EQ(got, (std::vector<u32>{0, 0, kFailed, kFailed}));
    // The current second is remembered between checks: it must move on with the clock.
    RsTokenItem item{};
    SYS_TIME_S now{}, later{};
    do {
        ZEP_LMT_SystimeGet(&now);
        snprintf(item.expiresAt, sizeof(item.expiresAt), "%04d-%02d-%02dT%02d:%02d:%02d", now.usYear, now.ucMonth,
                 now.ucDay, now.ucHour, now.ucMinute, now.ucSecond);
        got = {RsAuthTokenCheck(&item)};
        ZEP_LMT_SystimeGet(&later);
    } while (later.ucSecond != now.ucSecond);
    EXPECT_EQ(got, std::vector<u32>{0});
    while (later.ucSecond == now.ucSecond) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        ZEP_LMT_SystimeGet(&later);
    }
    EXPECT_EQ(RsAuthTokenCheck(&item), kFailed) << "expired a second ago";
}

}  // namespace
