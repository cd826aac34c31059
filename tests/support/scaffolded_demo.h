// The demo deployment scripts/scaffold-demo.sh makes from this build (as
// `make run` serves it, authentication on), in a temporary folder: what the
// host tests run restserver-host on. Header-only: the script and build
// folder come from the test program's own definitions.
#pragma once

#include <cstdlib>
#include <stdexcept>
#include <string>

#include "deployment.h"

namespace rstest {

struct ScaffoldedDemo {
    ScaffoldedDemo() { Scaffold(); }
    void Scaffold() const {  // safe to run again
        std::string command = "bash " RS_SCAFFOLD_SCRIPT " " RS_BUILD_DIR " " + dir.Root() + " >/dev/null 2>&1";
        if (std::system(command.c_str()) != 0) throw std::runtime_error("the scaffold failed: " + command);
    }
    std::string Host() const { return dir.Path("bin/restserver-host"); }
    // What a host started by HostStart or HostProcess printed (it writes to var/).
    std::string Output() const { return FileText(dir.Path("var/host.out")) + FileText(dir.Path("var/host.err")); }
    // The header line that carries a token: one the scaffold made ("operator", "admin"), or the text itself.
    std::string TokenField(const std::string &token) const {
        std::string text = FileText(dir.Path("conf/demo-tokens/" + token + ".token"));
        text = text.empty() ? token : text.substr(0, text.find('\n'));
        return token.empty() ? "" : "x-access-token: " + text + "\r\n";
    }

    Deployment dir;
};

}  // namespace rstest
