// The demo deployment in a temporary folder: the demo module, the template's
// handler configuration files and platform.json (on a free port), and a
// certificate for 127.0.0.1 made with the openssl tool. Start() runs a host
// on it and waits until it accepts connections.
#pragma once

#include <memory>
#include <string>

#include "host_process.h"
#include "support/deployment.h"

namespace hosttest {

class DemoDeployment {
public:
    DemoDeployment();

    // Replaces the template's handler configuration files.
    void WriteHandlerFiles(const std::string &common, const std::string &business) const;
    // Writes a file relative to the deployment's root.
    void Write(const std::string &relative, const std::string &text) const { dir_.Write(relative, text); }
    // Starts a host on the template's platform.json; null when none came up.
    std::unique_ptr<HostProcess> Start();

    uint16_t port() const { return port_; }
    std::string CertFile() const { return dir_.Path("conf/server.pem"); }
    std::string Path(const std::string &relative) const { return dir_.Path(relative); }
    const std::string &Root() const { return dir_.Root(); }

private:
    rstest::Deployment dir_;
    uint16_t port_ = 0;
};

// A platform.json text of the demo template with its port 8443 replaced.
std::string PlatformWithPort(const std::string &platform_json, uint16_t port);

// Writes root/conf/platform.json from the text on a free port and starts the
// binary on root; null when no host came up. Retries on a fresh port, since a
// free port may be taken again before the host binds it.
std::unique_ptr<HostProcess> StartOnFreePort(const std::string &root, const std::string &platform_json,
                                             const std::string &binary, uint16_t &port);

}  // namespace hosttest
