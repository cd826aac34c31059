// The source table: read at start-up only, so one lock and a map suffice.
#include "config/restserver_cfg_source.h"

#include <mutex>
#include <string>
#include <unordered_map>

#include "plat_text.h"

namespace {

struct RsConfSource {
    std::string file;
    u32 uiLine;
};

std::mutex g_sourceMutex;
std::unordered_map<const void *, RsConfSource> g_sources;

}  // namespace

void RsConfSourceNote(const void *pRecord, const char *pcFile, u32 uiLine) {
    try {
        std::lock_guard lock(g_sourceMutex);
        g_sources[pRecord] = RsConfSource{pcFile, uiLine};
    } catch (...) {
        // Without memory the problem is reported without its line.
    }
}

void RsConfSourceForget(const void *pRecord) {
    std::lock_guard lock(g_sourceMutex);
    g_sources.erase(pRecord);
}

RsConfWhere::RsConfWhere(const void *pRecord) : acText() {
    std::lock_guard lock(g_sourceMutex);
    auto found = g_sources.find(pRecord);
    if (found == g_sources.end() || found->second.file.empty()) return;
    (void)snprintf_s(acText, sizeof(acText), sizeof(acText) - 1, "%s line %u: ", found->second.file.c_str(),
                     found->second.uiLine);
}
