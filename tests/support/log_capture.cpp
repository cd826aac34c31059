#include "log_capture.h"

#include "plat_log.h"

namespace rstest {

LogCapture::LogCapture() {
    g_stLogCfgs.uiEnable = 1;
    g_stLogCfgs.uiLevel = 0;  // every level reaches the hook
    PLAT_LogHookSet(&LogCapture::Hook, this);
}

LogCapture::~LogCapture() {
    PLAT_LogHookSet(nullptr, nullptr);
}

void LogCapture::Hook(u32 level, const char *message, void *user) {
    auto *self = static_cast<LogCapture *>(user);
    std::lock_guard<std::mutex> lock(self->mutex_);
    self->lines_.push_back({level, message ? message : ""});
}

std::vector<LogLine> LogCapture::Lines() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
}

size_t LogCapture::Count(const std::string &text, u32 level) const {
    std::lock_guard<std::mutex> lock(mutex_);
    size_t n = 0;
    for (const auto &line : lines_) {
        if (line.text == text && (level == 0 || line.level == level)) ++n;
    }
    return n;
}

size_t LogCapture::CountContaining(const std::string &fragment) const {
    std::lock_guard<std::mutex> lock(mutex_);
    size_t n = 0;
    for (const auto &line : lines_) {
        if (line.text.find(fragment) != std::string::npos) ++n;
    }
    return n;
}

void LogCapture::Clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.clear();
}

}  // namespace rstest
