// The process-wide log sink behind QOR_CFrameLogToFile, opened and closed by
// the platform configuration.
#pragma once

#include <string>

#include "plat_types.h"

namespace plat {

// Opens (appending) the log file, creating missing parent directories, and
// makes it the target of every later line. 0 on success; on failure the
// previous target stays and error says why.
u32 LogSinkOpen(const std::string &path, std::string &error);

// Detaches the file: later lines reach only the hook.
void LogSinkClose();

}  // namespace plat
