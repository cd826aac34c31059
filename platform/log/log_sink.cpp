// One spdlog logger writing to the configured file. The sink is synchronous
// and flushed after every line: a process that dies right after logging (an
// assertion, a dead-loop kill) must leave its last lines in the file, which an
// asynchronous queue would lose.
#include "log/log_sink.h"

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <filesystem>
#include <memory>
#include <mutex>

#include "log/log_write.h"
#include "plat_log.h"

namespace plat {
namespace {

struct SinkState {
    std::mutex mutex;                        // guards the pointer, not the writes
    std::shared_ptr<spdlog::logger> logger;  // null: no file configured
};

SinkState &State() {
    static SinkState *state = new SinkState;  // never destroyed: logging may run during exit
    return *state;
}

std::shared_ptr<spdlog::logger> MakeLogger(const std::string &path) {
    auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(path, false);
    auto logger = std::make_shared<spdlog::logger>("platform", std::move(sink));
    logger->set_pattern("%Y-%m-%d %H:%M:%S.%e %-7l [%t] %g:%# %!: %v");
    logger->set_level(spdlog::level::trace);
    logger->flush_on(spdlog::level::trace);
    return logger;
}

bool MakeParentDirs(const std::string &path, std::string &error) {
    std::filesystem::path parent = std::filesystem::path(path).parent_path();
    if (parent.empty()) return true;
    std::error_code ec;
    std::filesystem::create_directories(parent, ec);
    if (!ec) return true;
    error = "cannot create directory " + parent.string() + ": " + ec.message();
    return false;
}

}  // namespace

u32 LogSinkOpen(const std::string &path, std::string &error) {
    if (!MakeParentDirs(path, error)) return PLAT_ERR;
    std::shared_ptr<spdlog::logger> logger;
    try {
        logger = MakeLogger(path);
    } catch (const std::exception &e) {
        error = "cannot open log file " + path + ": " + e.what();
        return PLAT_ERR;
    }
    SinkState &state = State();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.logger = std::move(logger);
    return PLAT_OK;
}

void LogSinkClose() {
    SinkState &state = State();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.logger.reset();
}

std::shared_ptr<spdlog::logger> LogSinkCurrent() {
    SinkState &state = State();
    std::lock_guard<std::mutex> lock(state.mutex);
    return state.logger;
}

}  // namespace plat
