#include "suspended_thread.h"

#include <signal.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "core/restserver_diag.h"

namespace rstest {

std::string ScreenLogText() {
    char path[256] = {0};
    _lwGetScreenFileName(path, sizeof(path));
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

bool NextSuspendLine(const std::string &text, size_t from, u32 *tid, size_t *next) {
    static const std::string prefix = "Thread ";
    static const std::string suffix = " will suspend!\n";
    for (size_t at = text.find(prefix, from); at != std::string::npos; at = text.find(prefix, at + 1)) {
        size_t digits = at + prefix.size();
        size_t end = text.find_first_not_of("0123456789", digits);
        if (end == digits || end == std::string::npos || text.compare(end, suffix.size(), suffix) != 0) continue;
        *tid = static_cast<u32>(std::stoul(text.substr(digits, end - digits)));
        *next = end + suffix.size();
        return true;
    }
    return false;
}

int RunResumingAsserts(const std::function<void()> &operation) {
    const size_t start = ScreenLogText().size();
    std::atomic<bool> done{false};
    std::thread worker([&] {
        operation();
        done = true;
    });
    size_t scanned = start;
    int resumed = 0;
    while (!done) {
        std::string text = ScreenLogText();
        u32 tid = 0;
        size_t next = 0;
        while (NextSuspendLine(text, scanned, &tid, &next)) {
            _restserver_util_Tgkill(static_cast<u32>(_restserver_util_Getpid()), tid, SIGUSR2);
            scanned = next;
            ++resumed;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    worker.join();
    return resumed;
}

}  // namespace rstest
