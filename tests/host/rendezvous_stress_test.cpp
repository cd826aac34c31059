// Many concurrent HTTPS requests answered by the rendezvous example's worker
// thread: every request gets its own answer, and the host's trace file holds
// one well-formed line for each.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "demo_deployment.h"
#include "host_process.h"
#include "https_client.h"
#include "support/free_port.h"

namespace hosttest {
namespace {

#if defined(__SANITIZE_THREAD__)
constexpr int kRequests = 200;
#else
constexpr int kRequests = 2000;
#endif
constexpr int kConnections = 64;
constexpr int kTraceBatch = 10;  // divides kRequests, so every record reaches the file
constexpr auto kLimit = std::chrono::seconds(10);

std::unique_ptr<HostProcess> StartTraced(DemoDeployment &demo, uint16_t &port) {
    std::string platform = FileText(RS_DEMO_TEMPLATE "/conf/platform.json");
    for (int attempt = 0; attempt < 3; ++attempt) {
        port = rstest::FreePort();
        demo.Write("conf/platform.json", PlatformWithPort(platform, port));
        auto host = std::make_unique<HostProcess>(
            std::vector<std::string>{"--root", demo.Root(), "--trace", std::to_string(kTraceBatch)}, demo.Path("var"));
        if (host->WaitAccepting(port, kLimit)) return host;
    }
    return nullptr;
}

size_t TraceLines(const std::string &path, const std::regex &line_format, size_t &malformed) {
    std::istringstream in(FileText(path));
    size_t lines = 0;
    malformed = 0;
    for (std::string line; std::getline(in, line); ++lines)
        if (!std::regex_match(line, line_format)) ++malformed;
    return lines;
}

TEST(RendezvousStress, EveryConcurrentRequestGetsItsOwnAnswer) {
    DemoDeployment demo;
    demo.Write("lib/librendezvous_handler.so", FileText(RS_BUILD_DIR "/lib/librendezvous_handler.so"));
    demo.WriteHandlerFiles(FileText(RS_DEMO_TEMPLATE "/lib/common_resthandler.cfg"),
                           FileText(RS_DEMO_TEMPLATE "/../../rendezvous/rendezvous.cfg"));
    demo.Write("var/log/slot-1/.keep", "");  // the template's node is in slot 1
    uint16_t port = 0;
    auto host = StartTraced(demo, port);
    ASSERT_NE(host, nullptr) << "no host came up";

    std::atomic<int> next{0}, right{0};
    std::vector<std::string> wrong(kConnections);
    std::vector<std::thread> clients;
    for (int c = 0; c < kConnections; ++c) {
        clients.emplace_back([&, c] {
            HttpsClient client(port, demo.CertFile());
            for (int i; (i = next++) < kRequests;) {
                std::string word = "w" + std::to_string(i);
                HttpAnswer answer = client.Get("/rv/" + word);
                if (answer.status == 200 && JsonMember(answer.body, "answer") == word) {
                    ++right;
                } else if (wrong[c].empty()) {
                    wrong[c] = word + ": " + std::to_string(answer.status) + " " + answer.body + answer.curl_error;
                }
            }
        });
    }
    for (auto &client : clients)
        client.join();
    EXPECT_EQ(right.load(), kRequests);
    for (const auto &what : wrong)
        EXPECT_TRUE(what.empty()) << what;

    // Records are added after the answer is sent: wait for the last batch.
    const std::string trace = demo.Path("var/log/slot-1/rest_req_trace_info.log");
    const std::regex line_format(
        R"(\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2} startTick:0x[0-9a-f]+ 0x[0-9a-f]+,url:rv/\{word\},procMs:\d+)");
    size_t malformed = 0;
    for (int i = 0; i < 100 && TraceLines(trace, line_format, malformed) < kRequests; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(TraceLines(trace, line_format, malformed), static_cast<size_t>(kRequests));
    EXPECT_EQ(malformed, 0u);
}

}  // namespace
}  // namespace hosttest
