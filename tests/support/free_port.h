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

// A loopback port this process listens on until the object goes: taken for anyone else.
struct HeldPort {
    HeldPort() : fd(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
        socklen_t length = sizeof(address);
        if (bind(fd, reinterpret_cast<sockaddr *>(&address), length) == 0 && listen(fd, 1) == 0 &&
            getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length) == 0)
            port = ntohs(address.sin_port);
    }
    ~HeldPort() { close(fd); }
    HeldPort(const HeldPort &) = delete;
    HeldPort &operator=(const HeldPort &) = delete;
    int fd;
    uint16_t port = 0;
};

}  // namespace rstest
