// restserver-host --make-token: an access token as the auth filter reads it,
// the CMS signed message of its JSON content made by the openssl tool with
// the given signing certificate and key, printed in its header form (the
// PEM body on one line, "/" written as "-").
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <charconv>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <regex>
#include <string>
#include <vector>

#include "operator_commands.h"

namespace host {

namespace {

// The values go into JSON text as they are, so only plain words.
bool PlainWord(const std::string &text) {
    static const std::regex word("[A-Za-z0-9_.:@-]+");
    return std::regex_match(text, word);
}

std::vector<std::string> RolesSplit(const std::string &roles) {
    std::vector<std::string> list;
    for (size_t at = 0; at <= roles.size();) {
        size_t end = std::min(roles.find(',', at), roles.size());
        if (end > at) list.push_back(roles.substr(at, end - at));
        at = end + 1;
    }
    return list;
}

// "N" with s, m, h or d after now, or a local time as written; the server
// compares the text with its own local time.
bool ExpiryText(const std::string &when, std::string &text) {
    static const std::regex absolute("\\d{4}-\\d{2}-\\d{2}T\\d{2}:\\d{2}:\\d{2}");
    if (std::regex_match(when, absolute)) {
        text = when + ".000000Z";
        return true;
    }
    std::string amount = when.substr(when.empty() || when[0] != '+' ? 0 : 1);
    long count = 0;
    auto [end, ec] = std::from_chars(amount.data(), amount.data() + amount.size(), count);
    std::string unit(end, static_cast<size_t>(amount.data() + amount.size() - end));
    const long seconds = unit == "s" ? 1 : unit == "m" ? 60 : unit == "h" ? 3600 : unit == "d" ? 86400 : 0;
    if (ec != std::errc() || seconds == 0 || count < 0) return false;
    std::time_t at = std::time(nullptr) + count * seconds;
    std::tm local{};
    char buffer[40];
    if (localtime_r(&at, &local) == nullptr || std::strftime(buffer, sizeof(buffer), "%Y-%m-%dT%H:%M:%S", &local) == 0)
        return false;
    text = std::string(buffer) + ".000000Z";
    return true;
}

std::string Content(const std::vector<std::string> &roles, const std::string &domain, const std::string &expires) {
    std::string list;
    for (const std::string &role : roles)
        list += (list.empty() ? "\"" : ", \"") + (role.rfind("role:", 0) == 0 ? role : "role:" + role) + "\"";
    std::string user = roles.front().rfind("role:", 0) == 0 ? roles.front().substr(5) : roles.front();
    return "{\"token\": {\"expires_at\": \"" + expires + "\", \"project\": {\"id\": \"" + domain +
           "-project\"}, \"user\": {\"id\": \"" + user + "-id\", \"name\": \"" + user + "\", \"domain\": {\"id\": \"" +
           domain + "-id\", \"name\": \"" + domain + "\"}}}, \"roles\": [" + list + "]}";
}

// openssl cms -sign with the content on its standard input; its PEM on out.
bool Sign(const std::string &content, const HostOptions &options, std::string &out) {
    char path[] = "/tmp/restserver-token-XXXXXX";
    int fd = mkstemp(path);
    if (fd < 0) return false;
    bool written = write(fd, content.data(), content.size()) == static_cast<ssize_t>(content.size());
    close(fd);
    auto quoted = [](const std::string &text) {
        std::string q = "'";
        for (char c : text)
            q += c == '\'' ? std::string("'\\''") : std::string(1, c);
        return q + "'";
    };
    std::string command = "openssl cms -sign -nodetach -outform PEM -signer " + quoted(options.signer) + " -inkey " +
                          quoted(options.key) + " -in " + path;
    std::signal(SIGCHLD, SIG_DFL);
    std::FILE *pipe = written ? popen(command.c_str(), "r") : nullptr;
    char line[256];
    while (pipe != nullptr && std::fgets(line, sizeof(line), pipe) != nullptr)
        out += line;
    bool signed_ok = pipe != nullptr && pclose(pipe) == 0;
    unlink(path);
    return signed_ok;
}

}  // namespace

int TokenCommand(const HostOptions &options) {
    std::vector<std::string> roles = RolesSplit(options.roles);
    for (const std::string &value : roles) {
        if (!PlainWord(value)) {
            std::fprintf(stderr, "restserver-host: role '%s': use letters, digits and _ . : @ - only\n", value.c_str());
            return 2;
        }
    }
    if (roles.empty() || (!options.domain.empty() && !PlainWord(options.domain))) {
        std::fprintf(stderr,
                     "restserver-host: --roles needs a role and --domain a plain word (letters, digits, _ . : @ -)\n");
        return 2;
    }
    std::string expires;
    if (!ExpiryText(options.expires, expires)) {
        std::fprintf(stderr,
                     "restserver-host: --expires takes N followed by s, m, h or d, or YYYY-MM-DDTHH:MM:SS, not '%s'\n",
                     options.expires.c_str());
        return 2;
    }
    std::string pem;
    if (!Sign(Content(roles, options.domain, expires), options, pem)) {
        std::fprintf(stderr, "restserver-host: openssl could not sign with %s and %s\n", options.signer.c_str(),
                     options.key.c_str());
        return 1;
    }
    std::string token;
    for (size_t at = 0; at < pem.size();) {
        size_t end = std::min(pem.find('\n', at), pem.size());
        std::string line = pem.substr(at, end - at);
        if (line.find("-----") == std::string::npos) token += line;
        at = end + 1;
    }
    for (char &c : token)
        if (c == '/') c = '-';
    std::printf("%s\n", token.c_str());
    return 0;
}

}  // namespace host
