// Internal pieces of the log call: the current logger and the hook.
#pragma once

#include <spdlog/logger.h>
#include <memory>

#include "plat_types.h"

namespace plat {

// The logger lines go to; null when no file is configured.
std::shared_ptr<spdlog::logger> LogSinkCurrent();

// Hands a line to the hook, if one is set.
void LogHookCall(u32 level, const char *message);

}  // namespace plat
