// The operator commands on the scaffolded demo: --check names each class of
// mistake with its file and line or member and passes a correct deployment;
// --explain gives the verdicts the running server gives to real requests
// carrying tokens made by --make-token.
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/wait.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "support/deployment.h"
#include "support/free_port.h"
#include "support/host_process.h"
#include "support/http_client.h"
#include "support/scaffolded_demo.h"

namespace {

using namespace rstest;

struct Ops : ScaffoldedDemo {
    // The host's exit status and everything it printed.
    std::pair<int, std::string> Run(const std::string &args) const {
        FILE *pipe =
            popen((dir.Path("bin/restserver-host") + " --root " + dir.Root() + " " + args + " 2>&1").c_str(), "r");
        std::string out;
        char buffer[512];
        while (pipe != nullptr && fgets(buffer, sizeof(buffer), pipe) != nullptr)
            out += buffer;
        int status = pipe != nullptr ? pclose(pipe) : -1;
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
    }
    std::string Token(const std::string &roles, const std::string &expires) const {
        const std::string pki = dir.Path("conf/demo-pki/");
        const std::string file = dir.Path("conf/demo-tokens/" + roles + expires + ".token");
        auto [status, out] = Run("--make-token --roles " + roles + " --domain demo --expires " + expires +
                                 " --signer " + pki + "sign.pem --key " + pki + "sign.key");
        if (status != 0) throw std::runtime_error("--make-token failed: " + out);
        dir.Write("conf/demo-tokens/" + roles + expires + ".token", out);
        return file;
    }
};

TEST(Check, EachMistakeIsNamedWithItsFileAndLineAndACorrectDeploymentPasses) {
    Ops ops;
    // A check binds nothing: the running server may hold every port the deployment names.
    HeldPort running;
    std::string platform = FileText(ops.dir.Path("conf/platform.json"));
    ASSERT_NE(platform.find("9464"), std::string::npos);
    ops.dir.Write("conf/platform.json", platform.replace(platform.find("9464"), 4, std::to_string(running.port)));
    auto [status, out] = ops.Run("--check");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(out, "configuration ok\n");
    struct Case {
        const char *file, *find, *replace, *want;
    };
    const Case cases[] = {
        {"lib/common_resthandler.cfg", "libdemo_handler.so", "libmissing.so",
         "../lib/common_resthandler.cfg line 4: module ../lib/libmissing.so not loaded"},
        {"lib/common_resthandler.cfg", "url hello DemoHello", "url hello NoSuchHandler",
         "../lib/common_resthandler.cfg line 5: url hello: handler NoSuchHandler not found"},
        {"lib/common_resthandler.cfg", "url hello DemoHello", "url hello DemoHello two",
         "../lib/common_resthandler.cfg line 5: group \"two\" is not a number"},
        {"conf/server.key", "-----BEGIN", "garbage-----BEGIN",
         "../conf/platform.json rest.tls: TLS key file refused (missing, unreadable or wrong password)"},
        {"conf/vog_auth/right.json", "\"stream\",", "stream,", "../conf/vog_auth/right.json: not JSON from line 6"},
        {"conf/vog_auth/right.json", "\"action\": \"demo-closed\"", "\"act\": \"demo-closed\"",
         "../conf/vog_auth/right.json rule 9: no string \"action\""},
        {"conf/vog_auth/policy.json", "\"role:demo_admin\"", "\"role:demo_admin | \"",
         "../conf/vog_auth/policy.json member \"demo-admin\": expression \"role:demo_admin | \" is not well formed"},
        {"conf/vog_auth/policy.json", "\"role:demo_admin\"", "\"!role:demo_admin\"",
         "the word \"!role:demo_admin\" means nothing"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.want);
        const std::string original = FileText(ops.dir.Path(c.file));
        std::string text = original;
        ASSERT_NE(text.find(c.find), std::string::npos);
        ops.dir.Write(c.file, text.replace(text.find(c.find), strlen(c.find), c.replace));
        std::tie(status, out) = ops.Run("--check");
        EXPECT_EQ(status, 1);
        EXPECT_NE(out.find(c.want), std::string::npos) << out;
        EXPECT_NE(out.find(" problem"), std::string::npos) << out;
        ops.dir.Write(c.file, original);
    }
}

TEST(Explain, VerdictsAreTheRunningServersWithTokensMadeByTheHost) {
    Ops ops;
    const std::string op = ops.Token("demo_operator", "1h"), admin = ops.Token("demo_admin", "1h"),
                      expired = ops.Token("demo_admin", "2020-01-01T00:00:00");
    struct Case {
        const char *method, *path;
        std::string token;
        const char *want;  // a line --explain prints
    };
    const Case cases[] = {
        {"GET", "/hello", op, "rule 1: GET hello, action \"demo-any\""},
        {"GET", "/admin", op, "terms:      role:demo_admin no"},
        {"GET", "/admin", admin, "verdict:    passes"},
        {"PUT", "/items/chair", op, "trie path:  PUTitems > *"},
        {"DELETE", "/items/chair", admin, "rule 7: DELETE items/{id}"},
        {"DELETE", "/admin", admin, "expression: ! true"},
        {"GET", "/no/such/place", admin, "no rule matches the key"},
        {"GET", "/hello", expired, "the token has expired"},
        {"GET", "/hello", "", "refused (403): no token"},
    };
    std::vector<int> explained;
    for (const Case &c : cases) {  // before the server runs: both verify through ../data/vog_cert/mytoken
        auto [status, out] = ops.Run(std::string("--explain ") + c.method + " " + c.path +
                                     (c.token.empty() ? "" : " --token " + c.token));
        EXPECT_NE(out.find(c.want), std::string::npos) << c.method << " " << c.path << "\n" << out;
        explained.push_back(status);
    }
    uint16_t port = 0;
    auto host =
        HostStart(ops.dir.Path("bin/restserver-host"), ops.dir, FileText(ops.dir.Path("conf/platform.json")), port);
    ASSERT_NE(host, nullptr);
    TlsOptions tls{ops.dir.Path("conf/server.pem")};
    HttpClient client(port, &tls);
    for (size_t i = 0; i < std::size(cases); ++i) {
        const Case &c = cases[i];
        std::string field =
            c.token.empty() ? ""
                            : "x-access-token: " + FileText(c.token).substr(0, FileText(c.token).find('\n')) + "\r\n";
        Answer answer = client.Call(Request(c.method, c.path, "", field));
        EXPECT_EQ(answer.status == 403, explained[i] == 1) << c.method << " " << c.path << " " << answer.status;
        EXPECT_TRUE(explained[i] == 0 || explained[i] == 1);
    }
}

}  // namespace
