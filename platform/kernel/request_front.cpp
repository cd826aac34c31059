// Request front rules over raw bytes and texts.
#include "kernel/request_front.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>

namespace kernel {

namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsHex(char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

// RFC 3986 unreserved and sub-delims, and '%' of a pct-encoding: the bytes
// of a reg-name, in a table since every request's Host is checked.
constexpr std::array<bool, 256> kNameBytes = [] {
    std::array<bool, 256> table{};
    for (int c = 'a'; c <= 'z'; ++c)
        table[c] = true;
    for (int c = 'A'; c <= 'Z'; ++c)
        table[c] = true;
    for (int c = '0'; c <= '9'; ++c)
        table[c] = true;
    for (char c : std::string_view("-._~!$&'()*+,;=%"))
        table[static_cast<unsigned char>(c)] = true;
    return table;
}();

bool IsNameByte(char c) {
    return kNameBytes[static_cast<unsigned char>(c)];
}

bool PortValid(std::string_view port) {
    return std::all_of(port.begin(), port.end(), IsDigit);
}

// The request line ends the first line; "HTTP/1.x" with x from 2 to 9 is read as 1.1.
unsigned VersionScan(char *line, size_t size) {
    constexpr size_t kVersionSize = sizeof("HTTP/1.1") - 1;
    if (size < kVersionSize) return 0;
    char *version = line + size - kVersionSize;
    if (std::memcmp(version, "HTTP/", 5) != 0 || !IsDigit(version[5]) || version[6] != '.' || !IsDigit(version[7]))
        return 0;  // not a version the parser reads: it refuses the line itself
    if (version[5] >= '2') return 505;
    if (version[5] == '1' && version[7] > '1') version[7] = '1';
    return 0;
}

}  // namespace

// One pass from line end to line end (memchr), up to the empty line that
// ends the head or the end of the bytes.
unsigned HeadScan(char *data, size_t size, size_t &skip) {
    skip = 0;
    while (skip < size && (data[skip] == '\n' || (data[skip] == '\r' && skip + 1 < size && data[skip + 1] == '\n')))
        skip += data[skip] == '\r' ? 2 : 1;
    char *head = data + skip;
    const char *end = data + size;
    const char *line = head;
    const char *request_line_end = nullptr;
    while (line < end) {
        const char *lf = static_cast<const char *>(std::memchr(line, '\n', static_cast<size_t>(end - line)));
        if (lf == nullptr) break;
        if (lf == head || lf[-1] != '\r') return 400;
        if (request_line_end == nullptr) request_line_end = lf - 1;
        if (lf - 1 == line) break;  // the empty line: the head is whole
        if (lf + 1 < end && (lf[1] == ' ' || lf[1] == '\t')) return 400;
        line = lf + 1;
    }
    return request_line_end != nullptr ? VersionScan(head, static_cast<size_t>(request_line_end - head)) : 0;
}

bool ChunkLinePendingValid(std::string_view pending, size_t extension_limit, size_t digits_max) {
    if (pending.substr(0, 2) == "\r\n") pending.remove_prefix(2);
    for (size_t i = 0; i < pending.size(); ++i) {
        if (pending[i] == '\n' && (i == 0 || pending[i - 1] != '\r')) return false;
    }
    size_t digits = 0;
    while (digits < pending.size() && IsHex(pending[digits]))
        ++digits;
    if (digits > digits_max) return false;
    size_t line_end = pending.find("\r\n");
    return line_end != std::string_view::npos || pending.size() <= digits_max + extension_limit + 1;
}

bool AuthorityValid(std::string_view authority) {
    std::string_view host = authority;
    std::string_view port;
    if (!host.empty() && host.front() == '[') {
        size_t close = host.find(']');
        if (close == std::string_view::npos || close == 1) return false;
        std::string_view inside = host.substr(1, close - 1);
        if (!std::all_of(inside.begin(), inside.end(), [](char c) { return IsHex(c) || c == ':' || c == '.'; }))
            return false;
        std::string_view rest = host.substr(close + 1);
        if (!rest.empty() && rest.front() != ':') return false;
        return rest.empty() || PortValid(rest.substr(1));
    }
    size_t colon = host.find(':');
    if (colon != std::string_view::npos) {
        port = host.substr(colon + 1);
        host = host.substr(0, colon);
        if (!PortValid(port)) return false;
    }
    return std::all_of(host.begin(), host.end(), IsNameByte);
}

TargetForm TargetFormOf(std::string_view target, std::string_view &origin) {
    origin = target;
    if (!target.empty() && target.front() == '/') return TargetForm::kOrigin;
    if (target == "*") return TargetForm::kAsterisk;
    size_t scheme_end = target.find("://");
    if (scheme_end == std::string_view::npos || scheme_end == 0 ||
        !std::isalpha(static_cast<unsigned char>(target.front())))
        return TargetForm::kInvalid;
    for (char c : target.substr(0, scheme_end)) {
        if (std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '+' && c != '-' && c != '.')
            return TargetForm::kInvalid;
    }
    std::string_view rest = target.substr(scheme_end + 3);
    size_t path = rest.find_first_of("/?");
    if (!AuthorityValid(rest.substr(0, path))) return TargetForm::kInvalid;
    origin = path == std::string_view::npos ? "/" : rest.substr(path);
    if (!origin.empty() && origin.front() == '?') return TargetForm::kInvalid;  // a query needs a path here
    return TargetForm::kAbsolute;
}

}  // namespace kernel
