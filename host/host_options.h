// Command line of restserver-host.
#pragma once

#include <cstdio>
#include <string>

namespace host {

struct HostOptions {
    std::string root;  // deployment folder; empty: run in the current directory
    unsigned instances = 1;
    unsigned trace = 0;  // trace batch size; 0: tracing stays off
    bool help = false;
};

// Fills options from argv; false with a one-line reason on a bad command line.
bool HostOptionsParse(int argc, char **argv, HostOptions &options, std::string &error);

void HostUsagePrint(std::FILE *out);

}  // namespace host
