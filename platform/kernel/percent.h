// Percent-decoding of path segments and query parts, and the one normal form
// of a path segment that routing and the auth filter both see.
#pragma once

#include <string>
#include <string_view>

namespace kernel {

// Appends the decoded text to out. An escape that is not two hex digits is
// kept as it stands. With plus_is_space, '+' decodes to a space (query form).
void PercentDecode(std::string_view text, bool plus_is_space, std::string &out);

// Appends the normal form of one raw path segment to out: escapes of
// unreserved characters (letters, digits, "-", ".", "_", "~") decoded, other
// escapes kept with upper-case hex digits, so "%61" and "a" are one segment
// and "%2f" and "%2F" are one escape. False, for a 400, when the segment
// holds a backslash, a control byte or an encoded "/" (raw or encoded), or an
// escape that is not two hex digits: such a segment could name another file
// or another route once some other layer decodes it.
bool SegmentNormalize(std::string_view raw, std::string &out);

}  // namespace kernel
