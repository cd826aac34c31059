// Command line of restserver-host: --root DIR, --instances N, --trace N, --help,
// and the operator commands --check, --explain, --make-token with their options.
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

// Options of the operator commands that take one value, and where it goes.
std::string *CommandValue(std::string_view arg, HostOptions &options) {
    if (arg == "--roles") return options.roles_given = true, &options.roles;
    if (arg == "--domain") return options.domain_given = true, &options.domain;
    if (arg == "--token") return &options.token_file;
    if (arg == "--expires") return &options.expires;
    if (arg == "--signer") return &options.signer;
    if (arg == "--key") return &options.key;
    return nullptr;
}

bool CommandSet(std::string_view arg, HostOptions &options) {
    if (arg == "--check")
        options.command = HostCommand::kCheck;
    else if (arg == "--explain")
        options.command = HostCommand::kExplain;
    else if (arg == "--make-token")
        options.command = HostCommand::kMakeToken;
    else
        return false;
    return true;
}

bool CommandComplete(const HostOptions &options, std::string &error) {
    if (options.command == HostCommand::kMakeToken &&
        (!options.roles_given || options.signer.empty() || options.key.empty()))
        error = "--make-token needs --roles, --signer and --key";
    else if (options.command == HostCommand::kExplain && !options.token_file.empty() &&
             (options.roles_given || options.domain_given))
        error = "--explain takes --token or --roles and --domain, not both";
    return error.empty();
}

}  // namespace

bool HostOptionsParse(int argc, char **argv, HostOptions &options, std::string &error) {
    for (int i = 1; i < argc; ++i) {
        std::string_view arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            options.help = true;
            continue;
        }
        if (CommandSet(arg, options)) {
            if (options.command != HostCommand::kExplain) continue;
            if (i + 2 >= argc) {
                error = "--explain needs a method and a URI";
                return false;
            }
            options.method = argv[++i];
            options.uri = argv[++i];
            continue;
        }
        if (std::string *value = CommandValue(arg, options); value != nullptr && i + 1 < argc) {
            *value = argv[++i];
            continue;
        }
        if (arg != "--root" && arg != "--instances" && arg != "--trace" && CommandValue(arg, options) == nullptr) {
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
    return CommandComplete(options, error);
}

void HostUsagePrint(std::FILE *out) {
    std::fprintf(out,
                 "usage: restserver-host [--root DIR] [--instances N] [--trace N]\n"
                 "       restserver-host --check [--root DIR]\n"
                 "       restserver-host --explain METHOD URI [--roles r1,r2] [--domain D] [--token FILE]\n"
                 "                       [--root DIR]\n"
                 "       restserver-host --make-token --roles r1,r2 [--domain D] [--expires T] --signer CERT\n"
                 "                       --key KEY\n"
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
                 "Operator commands (the README's Operations section shows their output):\n"
                 "  --check          read everything a start reads (platform.json, both handler\n"
                 "                   files, every module and function, TLS files and password,\n"
                 "                   access rules, service files, token certificates) without\n"
                 "                   binding; one line per problem, then \"configuration ok\" or\n"
                 "                   \"N problems\"; exit status 0 or 1. Init functions run.\n"
                 "  --explain        which access rule METHOD URI reaches (the trie path), its\n"
                 "                   action, expression and verdict for a caller with --roles\n"
                 "                   (\"role:\" added where missing) and --domain, or the token in\n"
                 "                   FILE (verified and checked as the server does); exit status\n"
                 "                   0 passes, 1 refused or no rules\n"
                 "  --make-token     print a token (header form) signed with CERT and KEY by the\n"
                 "                   openssl tool; T is N followed by s, m, h or d (default 1h)\n"
                 "                   or a local time YYYY-MM-DDTHH:MM:SS\n"
                 "\n"
                 "One line per instance tells where it listens, or why it serves nothing, and\n"
                 "how many of its configured URLs are served; every configuration problem met\n"
                 "on the way is printed to stderr. SIGHUP is ignored.\n"
                 "Exit status: 0 after a signal, 1 when no instance listens or a stop signal\n"
                 "comes before the start-up finished, 2 on a bad command line.\n",
                 RS_MAX_INST_NUM);
}

}  // namespace host
