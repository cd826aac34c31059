// Percent-decoding and the normal form of path segments.
#include "kernel/percent.h"

namespace kernel {

namespace {

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool Unreserved(unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
           c == '_' || c == '~';
}

// Bytes no segment may carry, in either form.
bool Refused(unsigned char c) {
    return c < 0x20 || c == 0x7F || c == '\\' || c == '/';
}

}  // namespace

void PercentDecode(std::string_view text, bool plus_is_space, std::string &out) {
    for (size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '+' && plus_is_space) {
            out.push_back(' ');
            continue;
        }
        if (c == '%' && i + 2 < text.size()) {
            int high = HexValue(text[i + 1]);
            int low = HexValue(text[i + 2]);
            if (high >= 0 && low >= 0) {
                out.push_back(static_cast<char>(high * 16 + low));
                i += 2;
                continue;
            }
        }
        out.push_back(c);
    }
}

bool SegmentNormalize(std::string_view raw, std::string &out) {
    static const char kHex[] = "0123456789ABCDEF";
    for (size_t i = 0; i < raw.size(); ++i) {
        auto c = static_cast<unsigned char>(raw[i]);
        if (c != '%') {
            if (Refused(c)) return false;
            out.push_back(static_cast<char>(c));
            continue;
        }
        int high = i + 2 < raw.size() ? HexValue(raw[i + 1]) : -1;
        int low = high >= 0 ? HexValue(raw[i + 2]) : -1;
        if (low < 0) return false;
        auto decoded = static_cast<unsigned char>(high * 16 + low);
        if (Refused(decoded)) return false;
        if (Unreserved(decoded)) {
            out.push_back(static_cast<char>(decoded));
        } else {
            out.push_back('%');
            out.push_back(kHex[high]);
            out.push_back(kHex[low]);
        }
        i += 2;
    }
    return true;
}

}  // namespace kernel
