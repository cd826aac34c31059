// Percent-decoding.
#include "kernel/percent.h"

namespace kernel {

namespace {

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
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

}  // namespace kernel
