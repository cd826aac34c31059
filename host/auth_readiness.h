// What authentication needs from the machine, said once at start-up.
#pragma once

#include <string>
#include <vector>

namespace host {

// With authentication on, prints where tokens are verified and warns on
// stderr about what would refuse every new token: no openssl tool on PATH,
// no writable ../data/vog_cert folder. Prints nothing when it is off.
void AuthReadinessReport();

// With authentication on, what keeps tokens from verifying, one line each:
// no openssl tool, no writable ../data/vog_cert, certificates there that the
// tool cannot read or that do not chain (signCert.pem issued by caCert.pem).
// Missing certificates are not a problem: the first request fetches them.
std::vector<std::string> AuthReadinessProblems();

}  // namespace host
