// Captures platform log lines in memory so tests can assert exact messages
// and levels. One capture at a time; it detaches when destroyed.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "plat_types.h"

namespace rstest {

struct LogLine {
    u32 level;
    std::string text;
};

class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    std::vector<LogLine> Lines() const;
    // Number of captured lines equal to text (and of that level, when given).
    size_t Count(const std::string &text, u32 level = 0) const;
    // Number of captured lines containing the fragment.
    size_t CountContaining(const std::string &fragment) const;
    bool Has(const std::string &text, u32 level = 0) const { return Count(text, level) > 0; }
    void Clear();

private:
    static void Hook(u32 level, const char *message, void *user);
    mutable std::mutex mutex_;
    std::vector<LogLine> lines_;
};

}  // namespace rstest
