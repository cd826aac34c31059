// Command line of restserver-host.
#pragma once

#include <cstdio>
#include <string>

namespace host {

// What the host does: serve (the default) or one of the operator commands.
enum class HostCommand { kServe, kCheck, kExplain, kMakeToken };

struct HostOptions {
    HostCommand command = HostCommand::kServe;
    std::string root;  // deployment folder; empty: run in the current directory
    unsigned instances = 1;
    unsigned trace = 0;  // trace batch size; 0: tracing stays off
    bool help = false;
    // --explain METHOD URI and the caller; --make-token's token.
    std::string method, uri;
    std::string roles, domain, token_file;
    bool roles_given = false, domain_given = false;
    std::string expires = "1h", signer, key;
};

// Fills options from argv; false with a one-line reason on a bad command line.
bool HostOptionsParse(int argc, char **argv, HostOptions &options, std::string &error);

void HostUsagePrint(std::FILE *out);

}  // namespace host
