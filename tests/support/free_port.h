// A loopback TCP port that was free a moment ago (bound to 0 and released),
// for tests that start servers. 0 when none could be had.
#pragma once

#include <cstdint>

namespace rstest {

uint16_t FreePort();

}  // namespace rstest
