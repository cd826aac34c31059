// Parsing the platform configuration text into a complete, checked record.
// Nothing is applied until the whole text has been accepted.
#pragma once

#include <string>

#include "config/platform_cfg.h"

namespace plat {

struct LogSettings {
    bool enabled = false;
    u32 level = 2;
    std::string file = "../var/log/restserver.log";
};

struct ParsedCfg {
    PlatformCfg platform;
    u32 servingWord = 0;
    bool auth = false;
    std::string serviceName = "restserver";
    std::string keyPassword;
    u32 slotId = 1;
    std::string nodeSlot = "slot-1";
    LogSettings log;
};

// false with error naming the offending member.
bool PlatformCfgParse(const char *text, ParsedCfg &out, std::string &error);

// Fills the exported globals, opens the log and makes cfg current.
u32 PlatformCfgApply(const ParsedCfg &cfg, std::string &error);

}  // namespace plat
