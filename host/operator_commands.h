// The operator commands of restserver-host, one file each: --check,
// --explain, --make-token. Each returns the program's exit status.
#pragma once

#include "host_options.h"

namespace host {

// Runs in the deployment's bin/: 0 "configuration ok", 1 with the problems.
int CheckCommand();

// Runs in the deployment's bin/: 0 when the request passes, 1 when refused or not explained.
int ExplainCommand(const HostOptions &options);

// Runs where it was started (the paths are the caller's): 0 with the token on stdout.
int TokenCommand(const HostOptions &options);

}  // namespace host
