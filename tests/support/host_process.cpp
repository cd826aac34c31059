#include "host_process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <regex>
#include <thread>

#include "free_port.h"
#include "http_client.h"

namespace rstest {

using Clock = std::chrono::steady_clock;

HostProcess::HostProcess(const std::string &binary, std::vector<std::string> args, const std::string &output_dir) {
    args.insert(args.begin(), binary);
    std::vector<char *> argv;
    for (std::string &arg : args)
        argv.push_back(arg.data());
    argv.push_back(nullptr);
    std::string out = output_dir + "/host.out", err = output_dir + "/host.err";
    if ((pid_ = fork()) != 0) return;
    // Only calls that are safe between fork and exec in a threaded process.
    signal(SIGPIPE, SIG_DFL);  // test clients ignore it; the host must not inherit that
    dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), STDOUT_FILENO);
    dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), STDERR_FILENO);
    execv(argv[0], argv.data());
    _exit(127);
}

bool HostProcess::Running() {
    int status = 0;
    if (pid_ > 0 && waitpid(pid_, &status, WNOHANG) == pid_) {
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        pid_ = -1;
    }
    return pid_ > 0;
}

int HostProcess::Stop(int signal_number, std::chrono::milliseconds limit) {
    if (Running() && signal_number != 0) kill(pid_, signal_number);
    for (auto deadline = Clock::now() + limit; Running() && Clock::now() < deadline;)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    if (!Running()) return status_;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
    return -1;
}

namespace {

// The first "port" member gets port, every later one (the operations
// listener's) a free port of its own, so hosts of parallel tests never share one.
std::string PortsFree(const std::string &platform_json, uint16_t port) {
    const std::regex port_value(R"("port"\s*:\s*\d+)");
    std::string text;
    auto last = platform_json.cbegin();
    bool first = true;
    for (std::sregex_iterator it(platform_json.begin(), platform_json.end(), port_value), end; it != end; ++it) {
        text.append(last, (*it)[0].first).append("\"port\": " + std::to_string(first ? port : FreePort()));
        last = (*it)[0].second;
        first = false;
    }
    return text.append(last, platform_json.cend());
}

}  // namespace

std::unique_ptr<HostProcess> HostStart(const std::string &binary, const Deployment &deployment,
                                       const std::string &platform_json, uint16_t &port,
                                       const std::vector<std::string> &args) {
    std::vector<std::string> argv{"--root", deployment.Root()};
    argv.insert(argv.end(), args.begin(), args.end());
    for (int attempt = 0; attempt < 3; ++attempt) {
        port = FreePort();
        deployment.Write("conf/platform.json", PortsFree(platform_json, port));
        auto host = std::make_unique<HostProcess>(binary, argv, deployment.Path("var"));
        for (auto deadline = Clock::now() + std::chrono::seconds(20); Clock::now() < deadline && host->Running();) {
            if (HttpClient(port).connected()) return host;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }
    return nullptr;
}

}  // namespace rstest
