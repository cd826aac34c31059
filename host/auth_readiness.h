// What authentication needs from the machine, said once at start-up.
#pragma once

namespace host {

// With authentication on, prints where tokens are verified and warns on
// stderr about what would refuse every new token: no openssl tool on PATH,
// no writable ../data/vog_cert folder. Prints nothing when it is off.
void AuthReadinessReport();

}  // namespace host
