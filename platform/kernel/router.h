// URL patterns: "/"-separated segments, "{name}" binds one segment, a literal
// segment wins over a brace segment, a catch-all takes what nothing matched.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "plat_kernel.h"

namespace metrics {
struct RouteSeries;
}

namespace kernel {

struct Route {
    REST_ENTRY entry = nullptr;
    void *user = nullptr;
    uint32_t group = REST_GROUP_NONE;
    std::vector<std::pair<size_t, std::string>> braces;  // segment index, variable name
    metrics::RouteSeries *series = nullptr;              // its answers' counts, when its server is metered
};

// Brings a request path to its one normal form in place and splits it into
// the segments routing compares: every segment normalised (SegmentNormalize),
// empty ones dropped, "." and ".." resolved, joined again by single "/" with
// no trailing one ("/" alone for the root). A path that began without "/"
// stays so. Routing and the auth filter then see one path: every variant that
// reaches a route gives the same text. False, for a 400, when a segment is
// refused or a ".." would climb above the root.
bool PathNormalize(std::string &path, std::vector<std::string> &segments);

class Router {
public:
    Router();
    ~Router();
    // False for a pattern that cannot match a request path. Literal segments
    // are normalised as request paths are.
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
