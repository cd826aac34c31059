#include "demo_deployment.h"

#include <cstdlib>
#include <stdexcept>

#include "support/free_port.h"

namespace hosttest {

namespace {

constexpr int kStartAttempts = 3;
constexpr std::chrono::seconds kStartLimit{10};
const std::string kTemplatePort = "\"port\": 8443";

void MakeCertificate(const rstest::Deployment &dir) {
    std::string command =
        "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2"
        " -subj /CN=localhost -addext subjectAltName=DNS:localhost,IP:127.0.0.1 -keyout '" +
        dir.Path("conf/server.key") + "' -out '" + dir.Path("conf/server.pem") + "' >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0) throw std::runtime_error("openssl could not make a certificate");
}

}  // namespace

DemoDeployment::DemoDeployment() {
    dir_.Copy(RS_DEMO_MODULE, "lib/libdemo_handler.so");
    dir_.Copy(RS_DEMO_TEMPLATE "/lib/common_resthandler.cfg", "lib/common_resthandler.cfg");
    dir_.Copy(RS_DEMO_TEMPLATE "/lib/resthandler.cfg", "lib/resthandler.cfg");
    for (const char *file : {"right.json", "policy.json", "jwt.json", "service_url_config.json"})
        dir_.Copy(std::string(RS_DEMO_TEMPLATE "/conf/vog_auth/") + file, std::string("conf/vog_auth/") + file);
    MakeCertificate(dir_);
}

void DemoDeployment::WriteHandlerFiles(const std::string &common, const std::string &business) const {
    dir_.Write("lib/common_resthandler.cfg", common);
    dir_.Write("lib/resthandler.cfg", business);
}

std::string PlatformWithPort(const std::string &platform_json, uint16_t port) {
    std::string text = platform_json;
    size_t at = text.find(kTemplatePort);
    if (at == std::string::npos) throw std::runtime_error("the platform.json names no port 8443");
    return text.replace(at, kTemplatePort.size(), "\"port\": " + std::to_string(port));
}

std::unique_ptr<HostProcess> StartOnFreePort(const std::string &root, const std::string &platform_json,
                                             const std::string &binary, uint16_t &port) {
    for (int attempt = 0; attempt < kStartAttempts; ++attempt) {
        port = rstest::FreePort();
        WriteText(root + "/conf/platform.json", PlatformWithPort(platform_json, port));
        auto host = std::make_unique<HostProcess>(std::vector<std::string>{"--root", root}, root + "/var", binary);
        if (host->WaitAccepting(port, kStartLimit)) return host;
    }
    return nullptr;
}

std::unique_ptr<HostProcess> DemoDeployment::Start() {
    return StartOnFreePort(dir_.Root(), FileText(RS_DEMO_TEMPLATE "/conf/platform.json"), RS_HOST_BINARY, port_);
}

}  // namespace hosttest
