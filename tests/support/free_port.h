// A loopback TCP port that was free a moment ago (bound to 0 and released),
// for tests that start servers. 0 when none could be had.
#pragma once

#include <arpa/inet.h>
#include <unistd.h>

#include <cstdint>

namespace rstest {

inline uint16_t FreePort() {
    sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t length = sizeof(address);
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    bool bound = bind(fd, reinterpret_cast<sockaddr *>(&address), length) == 0 &&
                 getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length) == 0;
    close(fd);
    return bound ? ntohs(address.sin_port) : 0;
}

}  // namespace rstest
