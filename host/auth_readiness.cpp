// The authentication switch and what a token verification needs: the openssl
// tool on PATH and the certificate folder, with both certificates or a
// security service to fetch them from.
#include "auth_readiness.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "plat_config.h"

namespace host {

namespace {

constexpr const char *kCertDir = "../data/vog_cert";

// The tool a shell would run for "openssl", "" when there is none.
std::string ToolOnPath(const char *name) {
    const char *path = std::getenv("PATH");
    std::string_view rest = path != nullptr ? path : "";
    while (!rest.empty()) {
        size_t end = rest.find(':');
        std::string dir(rest.substr(0, end));
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
        std::string candidate = (dir.empty() ? "." : dir) + "/" + name;
        if (access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    return "";
}

bool Readable(const std::string &path) {
    return access(path.c_str(), R_OK) == 0;
}

// The tool's first line of output and whether it succeeded; SIGCHLD is still at its default here.
bool ToolRun(const std::string &command, std::string &first_line) {
    std::FILE *pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) return false;
    char line[256] = {};
    if (std::fgets(line, sizeof(line), pipe) != nullptr) first_line = line;
    while (std::fgets(line, sizeof(line), pipe) != nullptr) {
    }
    if (!first_line.empty() && first_line.back() == '\n') first_line.pop_back();
    return pclose(pipe) == 0;
}

}  // namespace

std::vector<std::string> AuthReadinessProblems() {
    std::vector<std::string> problems;
    if (g_stSspBaseAppConfig.uiAuthEnable == 0) return problems;
    std::string tool = ToolOnPath("openssl");
    if (tool.empty()) problems.push_back("openssl: no openssl tool on PATH: every new token will be refused");
    if (access(kCertDir, W_OK | X_OK) != 0)
        problems.push_back(std::string(kCertDir) + ": not a writable folder: no token can be verified");
    std::string ca = std::string(kCertDir) + "/caCert.pem", sign = std::string(kCertDir) + "/signCert.pem";
    if (tool.empty() || !Readable(ca) || !Readable(sign)) return problems;
    std::string output;
    if (!ToolRun("'" + tool + "' verify -CAfile " + ca + " " + sign, output))
        problems.push_back(sign + ": does not verify against " + ca + " (" + output + ")");
    return problems;
}

void AuthReadinessReport() {
    if (g_stSspBaseAppConfig.uiAuthEnable == 0) return;
    std::string tool = ToolOnPath("openssl");
    std::printf("restserver-host: authentication on: tokens verified by %s against %s\n",
                tool.empty() ? "openssl" : tool.c_str(), kCertDir);
    if (tool.empty())
        std::fprintf(stderr, "restserver-host: warning: no openssl tool on PATH: every new token will be refused\n");
    if (access(kCertDir, W_OK | X_OK) != 0) {
        std::fprintf(stderr, "restserver-host: warning: %s is not a writable folder: no token can be verified\n",
                     kCertDir);
    } else if (!Readable(std::string(kCertDir) + "/caCert.pem") || !Readable(std::string(kCertDir) + "/signCert.pem")) {
        std::printf(
            "restserver-host: %s has no certificates yet: the first request fetches them from the security "
            "service\n",
            kCertDir);
    }
    std::fflush(stdout);
}

}  // namespace host
