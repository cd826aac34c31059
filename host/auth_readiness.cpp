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

}  // namespace

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
