// Percent-decoding of path segments and query parts.
#pragma once

#include <string>
#include <string_view>

namespace kernel {

// Appends the decoded text to out. An escape that is not two hex digits is
// kept as it stands. With plus_is_space, '+' decodes to a space (query form).
void PercentDecode(std::string_view text, bool plus_is_space, std::string &out);

}  // namespace kernel
