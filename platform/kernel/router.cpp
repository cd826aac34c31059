// URL routing tree.
#include "kernel/router.h"

#include <optional>

#include "kernel/percent.h"

namespace kernel {

struct Router::Node {
    std::unordered_map<std::string, std::unique_ptr<Node>> literals;
    std::unique_ptr<Node> brace;
    std::optional<Route> route;
};

namespace {

bool IsBrace(std::string_view segment) {
    return segment.size() >= 2 && segment.front() == '{' && segment.back() == '}';
}

template <class Visit>
void ForEachSegment(std::string_view path, Visit visit) {
    size_t start = 0;
    while (start <= path.size()) {
        size_t end = path.find('/', start);
        if (end == std::string_view::npos) end = path.size();
        if (end > start) visit(path.substr(start, end - start));
        start = end + 1;
    }
}

}  // namespace

bool PathNormalize(std::string &path, std::vector<std::string> &segments) {
    segments.clear();
    bool ok = true;
    ForEachSegment(path, [&](std::string_view raw) {
        if (!ok) return;
        std::string &segment = segments.emplace_back();
        ok = SegmentNormalize(raw, segment);
        if (segment == ".") {
            segments.pop_back();
        } else if (segment == "..") {
            segments.pop_back();
            if (segments.empty())
                ok = false;  // above the root
            else
                segments.pop_back();
        }
    });
    if (!ok) return false;
    bool rooted = path.empty() || path.front() == '/';
    path.clear();
    for (const std::string &segment : segments) {
        if (rooted || !path.empty()) path.push_back('/');
        path += segment;
    }
    if (path.empty() && rooted) path.push_back('/');
    return true;
}

Router::Router() : root_(std::make_unique<Node>()) {}
Router::~Router() = default;

bool Router::Add(std::string_view pattern, const Route &route) {
    Node *node = root_.get();
    Route stored = route;
    stored.braces.clear();
    size_t index = 0;
    bool ok = true;
    ForEachSegment(pattern, [&](std::string_view segment) {
        if (IsBrace(segment)) {
            if (!node->brace) node->brace = std::make_unique<Node>();
            stored.braces.emplace_back(index, std::string(segment.substr(1, segment.size() - 2)));
            node = node->brace.get();
        } else {
            std::string literal;
            if (!SegmentNormalize(segment, literal) || literal == "." || literal == "..") ok = false;
            auto &child = node->literals[literal];
            if (!child) child = std::make_unique<Node>();
            node = child.get();
        }
        ++index;
    });
    if (!ok) return false;
    node->route = std::move(stored);
    return true;
}

const Route *Router::MatchFrom(const Node &node, const std::vector<std::string> &segments, size_t index) {
    if (index == segments.size()) return node.route ? &*node.route : nullptr;
    auto literal = node.literals.find(segments[index]);
    if (literal != node.literals.end()) {
        if (const Route *found = MatchFrom(*literal->second, segments, index + 1)) return found;
    }
    if (node.brace) return MatchFrom(*node.brace, segments, index + 1);
    return nullptr;
}

const Route *Router::Match(const std::vector<std::string> &segments) const {
    if (const Route *found = MatchFrom(*root_, segments, 0)) return found;
    return catch_all_.entry != nullptr ? &catch_all_ : nullptr;
}

}  // namespace kernel
