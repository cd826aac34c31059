// A restserver-host child process serving a deployment folder, with its
// standard output and error kept in files of that folder.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace hosttest {

class HostProcess {
public:
    // Starts the host binary (the one built here by default) with the
    // arguments; stdout and stderr go to <output_dir>/host.out and host.err.
    HostProcess(const std::vector<std::string> &args, const std::string &output_dir,
                const std::string &binary = RS_HOST_BINARY);
    ~HostProcess();  // kills a host that is still running
    HostProcess(const HostProcess &) = delete;
    HostProcess &operator=(const HostProcess &) = delete;

    bool started() const { return pid_ > 0; }
    // True once the port accepts TCP connections; false when the host exits
    // or the time runs out first.
    bool WaitAccepting(uint16_t port, std::chrono::milliseconds limit);
    // True once the host's standard output holds the text.
    bool WaitOutput(const std::string &text, std::chrono::milliseconds limit) const;
    void Signal(int signal_number) const;
    // Exit status, or -1 when the host has not exited in time (it is then killed)
    // or ended by a signal.
    int WaitExit(std::chrono::milliseconds limit);
    std::string Output() const;
    std::string Errors() const;

private:
    bool Reap(bool block);
    pid_t pid_ = -1;
    int status_ = -1;
    std::string output_dir_;
};

// Whole text of a file, "" when it cannot be read.
std::string FileText(const std::string &path);
// Replaces a file's content; throws when it cannot be written.
void WriteText(const std::string &path, const std::string &text);


// True when a TCP connection to 127.0.0.1:port succeeds.
bool PortAccepts(uint16_t port);

}  // namespace hosttest
