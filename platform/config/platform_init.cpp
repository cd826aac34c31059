// PLAT_Init and PLAT_InitFromText: read, check and apply the platform
// configuration; a rejected text changes nothing and leaves its reason in
// PLAT_LastError and on stderr (the log may not be open yet).
#include <cstdio>
#include <fstream>
#include <mutex>
#include <sstream>

#include "config/platform_cfg_parse.h"

namespace {

constexpr const char *kConfigPath = "../conf/platform.json";

struct InitState {
    std::mutex mutex;
    bool configured = false;  // a configuration has been applied
    char lastError[512] = "";
};

InitState &State() {
    static InitState *state = new InitState;  // never destroyed: callable during exit
    return *state;
}

// Caller holds the state lock.
u32 Fail(InitState &state, const std::string &what) {
    snprintf(state.lastError, sizeof(state.lastError), "%s", what.c_str());
    fprintf(stderr, "platform configuration rejected: %s\n", state.lastError);
    return PLAT_ERR;
}

// Caller holds the state lock.
u32 ApplyText(InitState &state, const char *text, const std::string &origin) {
    plat::ParsedCfg cfg;
    std::string error;
    if (!plat::PlatformCfgParse(text, cfg, error)) return Fail(state, origin + error);
    if (plat::PlatformCfgApply(cfg, error) != PLAT_OK) return Fail(state, origin + error);
    state.configured = true;
    state.lastError[0] = '\0';
    return PLAT_OK;
}

bool ReadFile(const char *path, std::string &text) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream content;
    content << in.rdbuf();
    text = content.str();
    return !in.bad();
}

}  // namespace

// Once any configuration is in place (from the file or a text) this returns 0
// without reading again, so a host and its tests may both call it.
extern "C" PLAT_API u32 PLAT_Init(void) {
    try {
        InitState &state = State();
        std::lock_guard<std::mutex> lock(state.mutex);
        if (state.configured) return PLAT_OK;
        std::string text;
        if (!ReadFile(kConfigPath, text)) return Fail(state, std::string(kConfigPath) + ": cannot read the file");
        return ApplyText(state, text.c_str(), std::string(kConfigPath) + ": ");
    } catch (...) {
        return PLAT_ERR;
    }
}

extern "C" PLAT_API u32 PLAT_InitFromText(const char *pcJson) {
    try {
        InitState &state = State();
        std::lock_guard<std::mutex> lock(state.mutex);
        if (pcJson == nullptr) return Fail(state, "no configuration text");
        return ApplyText(state, pcJson, "");
    } catch (...) {
        return PLAT_ERR;
    }
}

extern "C" PLAT_API const char *PLAT_LastError(void) {
    return State().lastError;
}
