// restserver-host as an operator meets it: the command line, the report of
// each instance, failed start-ups, modules that do not load, and the stop on
// SIGTERM or SIGINT.
#include <gtest/gtest.h>
#include <signal.h>

#include "demo_deployment.h"
#include "https_client.h"

namespace hosttest {
namespace {

constexpr std::chrono::seconds kExitLimit{20};

TEST(HostLifecycleTest, StopSignalsEndTheHostWithStatusZero) {
    for (int signal_number : {SIGTERM, SIGINT}) {
        SCOPED_TRACE(strsignal(signal_number));
        DemoDeployment demo;
        std::unique_ptr<HostProcess> host = demo.Start();
        ASSERT_NE(host, nullptr) << FileText(demo.Path("var/host.err"));
        std::string listening =
            "restserver-host: instance 0 listening on https://127.0.0.1:" + std::to_string(demo.port()) + "\n";
        EXPECT_TRUE(host->WaitOutput(listening, kExitLimit)) << host->Output();
        EXPECT_EQ(host->Output(), listening);

        host->Signal(signal_number);
        EXPECT_EQ(host->WaitExit(kExitLimit), 0) << host->Errors();
        EXPECT_NE(host->Output().find(std::string(strsignal(signal_number)) + " received, stopping"), std::string::npos)
            << host->Output();
        EXPECT_FALSE(PortAccepts(demo.port())) << "the port still accepts after the host ended";
    }
}

// A module that does not load and a handler symbol that does not exist leave
// their URLs unregistered: the engine answers 404 itself, the rest is served.
TEST(HostLifecycleTest, UrlsWhoseHandlersFailedToLoadAreNotServed) {
    DemoDeployment demo;
    demo.WriteHandlerFiles(
        "load ../lib/libmissing_handler.so MissingInit\n"
        "url gone MissingHandler\n",
        "load ../lib/libdemo_handler.so DemoModuleInit\n"
        "url hello DemoHello\n"
        "url hello/{who} NoSuchFunction\n");
    std::unique_ptr<HostProcess> host = demo.Start();
    ASSERT_NE(host, nullptr) << FileText(demo.Path("var/host.err"));
    HttpsClient client(demo.port(), demo.CertFile());

    struct {
        const char *path;
        long status;
        const char *body;
    } const cases[] = {
        {"/gone", 404, "Not Found"},
        {"/hello/world", 404, "Not Found"},
        {"/hello", 200, "{\"message\":\"hello from restserver\"}"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.path);
        HttpAnswer answer = client.Get(c.path);
        EXPECT_EQ(answer.status, c.status) << answer.curl_error;
        EXPECT_EQ(answer.body, c.body);
    }
    std::string log = FileText(demo.Path("var/log/restserver.log"));
    EXPECT_NE(log.find("dlopen error - ../lib/libmissing_handler.so"), std::string::npos) << log;
    EXPECT_NE(log.find("dlsym error - "), std::string::npos) << log;

    host->Signal(SIGTERM);
    EXPECT_EQ(host->WaitExit(kExitLimit), 0) << host->Errors();
}

struct StartFailureCase {
    const char *name;
    const char *platform_json;
    const char *stream;  // "out" or "err"
    const char *message;
};

// Without a listening configuration no instance can serve: the host says so and exits 1.
TEST(HostLifecycleTest, HostThatCannotServeExitsWithStatusOne) {
    const StartFailureCase cases[] = {
        {"no rest section", R"({"log": {"enabled": true, "file": "../var/log/restserver.log"}})", "out",
         "restserver-host: instance 0 failed to start; see the log ../var/log/restserver.log\n"},
        {"log off", R"({"rest": {"host": "", "port": 1}})", "out",
         "restserver-host: instance 0 failed to start; enable \"log\" in ../conf/platform.json to see why\n"},
        {"refused platform.json", R"({"log": {"level": "high"}})", "err",
         "restserver-host: cannot start: ../conf/platform.json: log.level: expected a number\n"},
    };
    for (const StartFailureCase &c : cases) {
        SCOPED_TRACE(c.name);
        DemoDeployment demo;
        demo.Write("conf/platform.json", c.platform_json);
        HostProcess host({"--root", demo.Root()}, demo.Path("var"));
        ASSERT_TRUE(host.started());
        EXPECT_EQ(host.WaitExit(kExitLimit), 1);
        std::string text = std::string(c.stream) == "out" ? host.Output() : host.Errors();
        EXPECT_NE(text.find(c.message), std::string::npos) << text;
    }
}

TEST(HostLifecycleTest, CommandLineIsCheckedBeforeAnythingStarts) {
    struct {
        std::vector<std::string> args;
        int status;
        const char *message;
    } const cases[] = {
        {{"--help"}, 0, "usage: restserver-host [--root DIR] [--instances N]"},
        {{"--instances", "0"}, 2, "--instances takes a number from 1 to 10, not '0'"},
        {{"--instances", "11"}, 2, "--instances takes a number from 1 to 10, not '11'"},
        {{"--instances", "2x"}, 2, "--instances takes a number from 1 to 10, not '2x'"},
        {{"--instances"}, 2, "--instances needs a value"},
        {{"--root"}, 2, "--root needs a value"},
        {{"--port", "8443"}, 2, "unknown option '--port'"},
        {{"--root", "/nonexistent/deployment"}, 1, "cannot work in /nonexistent/deployment/bin"},
    };
    rstest::Deployment scratch;
    for (const auto &c : cases) {
        SCOPED_TRACE(c.args.front());
        HostProcess host(c.args, scratch.Path("var"));
        ASSERT_TRUE(host.started());
        EXPECT_EQ(host.WaitExit(kExitLimit), c.status);
        std::string text = host.Output() + host.Errors();
        EXPECT_NE(text.find(c.message), std::string::npos) << text;
    }
}

}  // namespace
}  // namespace hosttest
