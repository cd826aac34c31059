#include "host_process.h"
#include "support/free_port.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

extern char **environ;

namespace hosttest {

namespace {

constexpr std::chrono::milliseconds kPollStep{20};

sockaddr_in Loopback(uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

}  // namespace

std::string FileText(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void WriteText(const std::string &path, const std::string &text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    if (!out) throw std::runtime_error("cannot write " + path);
}

bool PortAccepts(uint16_t port) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = Loopback(port);
    bool accepted = connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)) == 0;
    close(fd);
    return accepted;
}

HostProcess::HostProcess(const std::vector<std::string> &args, const std::string &output_dir, const std::string &binary)
    : output_dir_(output_dir) {
    std::vector<std::string> argv_text{binary};
    argv_text.insert(argv_text.end(), args.begin(), args.end());
    std::vector<char *> argv;
    for (std::string &arg : argv_text)
        argv.push_back(arg.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    std::string out = output_dir + "/host.out";
    std::string err = output_dir + "/host.err";
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (posix_spawn(&pid_, binary.c_str(), &actions, nullptr, argv.data(), environ) != 0) pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
}

HostProcess::~HostProcess() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    Reap(true);
}

bool HostProcess::Reap(bool block) {
    if (pid_ <= 0) return true;
    int status = 0;
    if (waitpid(pid_, &status, block ? 0 : WNOHANG) != pid_) return false;
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    pid_ = -1;
    return true;
}

bool HostProcess::WaitAccepting(uint16_t port, std::chrono::milliseconds limit) {
    auto deadline = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < deadline) {
        if (Reap(false)) return false;
        if (PortAccepts(port)) return true;
        std::this_thread::sleep_for(kPollStep);
    }
    return false;
}

bool HostProcess::WaitOutput(const std::string &text, std::chrono::milliseconds limit) const {
    auto deadline = std::chrono::steady_clock::now() + limit;
    while (Output().find(text) == std::string::npos) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(kPollStep);
    }
    return true;
}

void HostProcess::Signal(int signal_number) const {
    if (pid_ > 0) kill(pid_, signal_number);
}

int HostProcess::WaitExit(std::chrono::milliseconds limit) {
    auto deadline = std::chrono::steady_clock::now() + limit;
    while (!Reap(false)) {
        if (std::chrono::steady_clock::now() >= deadline) {
            kill(pid_, SIGKILL);
            Reap(true);
            return -1;
        }
        std::this_thread::sleep_for(kPollStep);
    }
    return status_;
}

std::string HostProcess::Output() const {
    return FileText(output_dir_ + "/host.out");
}

std::string HostProcess::Errors() const {
    return FileText(output_dir_ + "/host.err");
}

}  // namespace hosttest
