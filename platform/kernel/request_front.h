// The request front's rules that the parser does not enforce: what may come
// before and around the request line, the header block's line ends, the
// Host field, the request target's form, and the pending line of a chunked
// body. Each works on bytes or texts only, so it is checked on its own.
#pragma once

#include <string_view>

namespace kernel {

// Looks at the unparsed head of a request. Empty lines before the request
// line are skipped (skip tells how many bytes); an HTTP/1.x version with x
// above 1 is rewritten to HTTP/1.1 in place. Returns the status that refuses
// the head, or 0: 505 for a major version above 1, 400 for a field line that
// continues the previous one (obs-fold) or a line ended by a bare LF.
unsigned HeadScan(char *data, size_t size, size_t &skip);

// The unparsed part of a chunked body while the parser waits for more: false
// when no wait can make it valid (a bare LF, a chunk size of more than 16
// hex digits, extensions beyond the cap on a line not yet ended).
bool ChunkLinePendingValid(std::string_view pending, size_t extension_limit, size_t digits_max);

// A Host value as RFC 9112 §3.2 wants it: a host name, an IPv4 address or a
// bracketed IPv6 address, each with an optional port; empty is allowed.
bool AuthorityValid(std::string_view authority);

enum class TargetForm { kOrigin, kAbsolute, kAsterisk, kInvalid };

// The form of a request target; for the absolute form, origin gets its path
// and query ("/" when it has no path).
TargetForm TargetFormOf(std::string_view target, std::string_view &origin);

}  // namespace kernel
