// URL patterns: "/"-separated segments, "{name}" binds one segment, a literal
// segment wins over a brace segment, a catch-all takes what nothing matched.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "plat_kernel.h"

namespace kernel {

struct Route {
    REST_ENTRY entry = nullptr;
    void *user = nullptr;
    uint32_t group = REST_GROUP_NONE;
    std::vector<std::pair<size_t, std::string>> braces;  // segment index, variable name
};

// Splits a request path into decoded segments, skipping empty ones. False
// for "." or ".." segments, an encoded "/" or a NUL byte: such a path could
// be routed and authorised differently, so it is refused.
bool PathSplit(std::string_view path, std::vector<std::string> &segments);

class Router {
public:
    Router();
    ~Router();
    // False for a pattern that cannot match a request path.
    bool Add(std::string_view pattern, const Route &route);
    void SetCatchAll(const Route &route) { catch_all_ = route; }
    // The route for these segments, else the catch-all, else null.
    const Route *Match(const std::vector<std::string> &segments) const;

private:
    struct Node;
    static const Route *MatchFrom(const Node &node, const std::vector<std::string> &segments, size_t index);
    std::unique_ptr<Node> root_;
    Route catch_all_;
};

}  // namespace kernel
