// scripts/scaffold-demo.sh, which `make run` serves from: the deployment it
// makes runs on its own copies of the host and libraries, and running it
// again keeps the key and certificate.
#include <gtest/gtest.h>
#include <signal.h>

#include <cstdlib>

#include "demo_deployment.h"
#include "https_client.h"
#include "support/deployment.h"

namespace hosttest {
namespace {

constexpr std::chrono::seconds kExitLimit{20};

int Scaffold(const std::string &dest) {
    std::string command = "bash '" RS_SCAFFOLD_SCRIPT "' '" RS_BUILD_DIR "' '" + dest + "' >'" + dest + ".log' 2>&1";
    return std::system(command.c_str());
}

TEST(ScaffoldTest, MakesAServableDeploymentAndKeepsItsCertificateOnRerun) {
    rstest::Deployment scratch;
    const std::string dest = scratch.Path("demo");
    ASSERT_EQ(Scaffold(dest), 0) << FileText(dest + ".log");
    const std::string cert = FileText(dest + "/conf/server.pem");
    const std::string key = FileText(dest + "/conf/server.key");
    ASSERT_NE(cert.find("BEGIN CERTIFICATE"), std::string::npos);

    ASSERT_EQ(Scaffold(dest), 0) << FileText(dest + ".log");
    EXPECT_EQ(FileText(dest + "/conf/server.pem"), cert);
    EXPECT_EQ(FileText(dest + "/conf/server.key"), key);

    uint16_t port = 0;
    std::unique_ptr<HostProcess> host =
        StartOnFreePort(dest, FileText(dest + "/conf/platform.json"), dest + "/bin/restserver-host", port);
    ASSERT_NE(host, nullptr) << FileText(dest + "/var/host.err");
    // The client trusts only the scaffolded certificate, so this also checks its names.
    HttpsClient client(port, dest + "/conf/server.pem");
    HttpAnswer answer = client.Get("/hello");
    EXPECT_EQ(answer.status, 200) << answer.curl_error;
    EXPECT_EQ(JsonMember(answer.body, "message"), "hello from restserver");

    host->Signal(SIGTERM);
    EXPECT_EQ(host->WaitExit(kExitLimit), 0) << host->Errors();
}

}  // namespace
}  // namespace hosttest
