// The engine serving a hello entry, for load comparisons with wrk.
// Usage: engine_hello_server PORT [CERT KEY]
//   GET /       answers "Hello, World!" at once
//   GET /block  holds its thread for 5 s before answering (blocking allowance)
// Runs until SIGINT or SIGTERM.
#include <signal.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "plat_kernel.h"

namespace {

void HelloEntry(REST_REQ req, void *, void *) {
    REST_ResponseSend(req, 200, "Hello, World!", 13);
}

void BlockEntry(REST_REQ req, void *, void *) {
    std::this_thread::sleep_for(std::chrono::seconds(5));
    REST_ResponseSend(req, 200, "late", 4);
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2 && argc != 4) {
        fprintf(stderr, "usage: %s PORT [CERT KEY]\n", argv[0]);
        return 2;
    }
    sigset_t stop_signals;
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGINT);
    sigaddset(&stop_signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);

    REST_ServerInit();
    REST_HANDLE server = REST_ServerCreate(0);
    REST_ServerGenFuncAdd(server, HelloEntry, nullptr);
    REST_ServerBraceFuncAdd(server, "/block", BlockEntry, nullptr);
    if (argc == 4) {
        REST_SSL_PARAM tls{};
        tls.pcSslVersion = "TLSv1.2";
        tls.pcCertFile = argv[2];
        tls.pcKeyFile = argv[3];
        if (REST_ServerSSLEnable(server, &tls) != 0) {
            fprintf(stderr, "TLS settings refused\n");
            return 1;
        }
    }
    REST_END_POINT endpoint{0, static_cast<u16>(atoi(argv[1])), {0, 0}, "127.0.0.1"};
    REST_EndPointBind(server, &endpoint, 4096, 0);
    if (REST_ServerStart(server, 0) != 0) {
        fprintf(stderr, "server did not start\n");
        return 1;
    }
    int signal_number = 0;
    sigwait(&stop_signals, &signal_number);
    REST_ServerStop(server);
    return 0;
}
