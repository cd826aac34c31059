// Command line of restserver-host: --root DIR, --instances N, --trace N, --help.
#include "host_options.h"

#include <charconv>
#include <string_view>

#include "restserver_host.h"

namespace host {

namespace {

bool InstancesParse(std::string_view text, unsigned &count) {
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), count);
    return ec == std::errc() && end == text.data() + text.size() && count >= 1 && count <= RS_MAX_INST_NUM;
}

bool TraceParse(std::string_view text, unsigned &batch) {
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), batch);
    return ec == std::errc() && end == text.data() + text.size() && batch >= 1;
}

}  // namespace

bool HostOptionsParse(int argc, char **argv, HostOptions &options, std::string &error) {
    for (int i = 1; i < argc; ++i) {
        std::string_view arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            options.help = true;
            continue;
        }
        if (arg != "--root" && arg != "--instances" && arg != "--trace") {
            error = "unknown option '" + std::string(arg) + "'";
            return false;
        }
        if (i + 1 == argc) {
            error = std::string(arg) + " needs a value";
            return false;
        }
        std::string_view value = argv[++i];
        if (arg == "--root") {
            options.root = value;
        } else if (arg == "--trace") {
            if (!TraceParse(value, options.trace)) {
                error = "--trace takes a batch size of at least 1, not '" + std::string(value) + "'";
                return false;
            }
        } else if (!InstancesParse(value, options.instances)) {
            error = "--instances takes a number from 1 to " + std::to_string(RS_MAX_INST_NUM) + ", not '" +
                    std::string(value) + "'";
            return false;
        }
    }
    return true;
}

void HostUsagePrint(std::FILE *out) {
    std::fprintf(out,
                 "usage: restserver-host [--root DIR] [--instances N] [--trace N]\n"
                 "\n"
                 "Serves a restserver deployment until SIGINT or SIGTERM.\n"
                 "\n"
                 "  --root DIR       deployment folder (bin/ lib/ conf/ var/); the host works in\n"
                 "                   DIR/bin, so ../conf/platform.json and ../lib/*resthandler.cfg\n"
                 "                   are read from DIR. Default: the current directory is bin/.\n"
                 "  --instances N    server instances to make and start, 1 to %u (default 1); they\n"
                 "                   share the one listening address of platform.json, which only\n"
                 "                   the first binds (the others say why they serve nothing)\n"
                 "  --trace N        record every request's URL and processing time in\n"
                 "                   ../var/log/slot-<slot>/rest_req_trace_info.log, written in\n"
                 "                   batches of N lines (default: off)\n"
                 "  --help           this text\n"
                 "\n"
                 "One line per instance tells where it listens, or why it serves nothing, and\n"
                 "how many of its configured URLs are served; every configuration problem met\n"
                 "on the way is printed to stderr. SIGHUP is ignored.\n"
                 "Exit status: 0 after a signal, 1 when no instance listens or a stop signal\n"
                 "comes before the start-up finished, 2 on a bad command line.\n",
                 RS_MAX_INST_NUM);
}

}  // namespace host
