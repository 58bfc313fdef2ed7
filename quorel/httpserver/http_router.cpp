#include "quorel/httpserver/http_router.h"

#include <cstddef>
#include <functional>
#include <mutex>
#include <utility>

#include "quorel/foundation/text.h"
#include "quorel/foundation/url.h"

namespace quorel::http {

namespace {

constexpr std::string_view anyMethod = "*";
constexpr std::string_view oneSegment = "*";
constexpr std::string_view manySegments = "**";

}  // namespace

// The first level of the tree is the method, or "*" for any.
struct HttpRouter::Node {
    std::map<std::string, std::unique_ptr<Node>, std::less<>> nodes;
    bool isEndOfRoute = false;
    bool captures = false;  // a variable stands somewhere below
    std::shared_ptr<const HttpHandler> handler;

    const Node* child(std::string_view key) const {
        const auto found = nodes.find(key);
        return found == nodes.end() ? nullptr : found->second.get();
    }
};

class HttpRouter::Search {
public:
    Search(const Node& root, std::string_view method, std::string_view path) {
        segments_.reserve(8);
        append(method);
        append(path);
        step(root, 0);
    }

    // The first node that matched decides, even if its handler was cleared.
    std::optional<HttpRouteMatch> result() {
        if (first_ == nullptr || !first_->handler) return std::nullopt;
        return HttpRouteMatch{std::move(params_), first_->handler};
    }

private:
    // A slash within a method separates as one within a path does.
    void append(std::string_view text) {
        while (!text.empty()) {
            const std::size_t slash = text.find('/');
            if (slash != 0) segments_.push_back(text.substr(0, slash));
            text.remove_prefix(slash == text.npos ? text.size() : slash + 1);
        }
    }

    void matched(const Node& node) {
        if (first_ == nullptr) first_ = &node;
    }

    // The segment at `index` as text; absent when its escapes are bad.
    bool token(std::size_t index, std::string& decoded, std::string_view& text) const {
        text = segments_[index];
        if (text.find('%') == text.npos && isASCII(text)) return true;
        auto plain = removingPercentEncoding(text);
        if (!plain) return false;
        decoded = std::move(*plain);
        text = decoded;
        return true;
    }

    static bool isASCII(std::string_view text) {
        for (const char c : text)
            if (static_cast<unsigned char>(c) > 127) return false;
        return true;
    }

    // Every branch is walked even after a match, and what a branch has captured stays when it fails: routes rely
    // on the order variable, exact, "*", "**" and on nothing else.
    void step(const Node& node, std::size_t index) {
        std::string decoded;
        std::string_view text;
        if (index < segments_.size() && token(index, decoded, text)) {
            // Only the first variable of a level is ever tried.
            const auto variable = node.nodes.lower_bound(std::string_view(":"));
            if (variable != node.nodes.end() && variable->first.starts_with(':')) {
                params_.insert_or_assign(variable->first, std::string(text));
                if (index + 1 == segments_.size() && variable->second->isEndOfRoute) {
                    // A variable that ends a route beats everything else in its place.
                    matched(*variable->second);
                    return;
                }
                step(*variable->second, index + 1);
            }
            if (const Node* exact = node.child(text)) step(*exact, index + 1);
            if (const Node* any = node.child(oneSegment)) step(*any, index + 1);
            if (const Node* many = node.child(manySegments)) stepBehindMany(*many, index + 2);
        }
        if (index == segments_.size() && node.isEndOfRoute) matched(node);
    }

    // "**" ends at a segment that is registered behind it; a route that ends in "**" is therefore never found.
    void stepBehindMany(const Node& many, std::size_t begin) {
        std::string decoded;
        std::string_view text;
        // Behind another "**" it is begun again and again. Where nothing is captured, a second walk from the same
        // segment on finds what the first one did.
        std::vector<bool>* const walked = many.captures ? nullptr : &walked_[&many];
        if (walked != nullptr) walked->resize(segments_.size());
        for (std::size_t i = begin; i < segments_.size() && token(i, decoded, text); ++i) {
            if (walked != nullptr && (*walked)[i]) return;
            if (walked != nullptr) (*walked)[i] = true;
            if (const Node* behind = many.child(text)) step(*behind, i + 1);
        }
    }

    std::vector<std::string_view> segments_;
    HttpParams params_;
    std::map<const Node*, std::vector<bool>> walked_;  // by "**": the segments
    const Node* first_ = nullptr;
};

HttpRouter::HttpRouter() : rootNode_(std::make_unique<Node>()) {}
HttpRouter::~HttpRouter() = default;

void HttpRouter::registerRoute(const std::optional<std::string>& method, std::string_view path,
                               HttpHandler handler) {
    const std::unique_lock lock(mutex_);
    const auto descend = [](Node& node, std::string_view key) -> Node& {
        auto found = node.nodes.find(key);
        if (found == node.nodes.end()) found = node.nodes.emplace(key, std::make_unique<Node>()).first;
        return *found->second;
    };
    std::vector<Node*> way{&descend(*rootNode_, method ? std::string_view(*method) : anyMethod)};
    for (const std::string_view segment : split(path, '/', EmptyPieces::drop)) {
        if (segment.starts_with(':'))
            for (Node* above : way) above->captures = true;
        way.push_back(&descend(*way.back(), segment));
    }
    Node* const node = way.back();
    node->isEndOfRoute = true;
    node->handler = handler ? std::make_shared<const HttpHandler>(std::move(handler)) : nullptr;
}

std::optional<HttpRouteMatch> HttpRouter::route(const std::optional<std::string_view>& method,
                                                std::string_view path) const {
    path = path.substr(0, path.find('?'));
    const std::shared_lock lock(mutex_);
    if (method)
        if (auto match = Search(*rootNode_, *method, path).result()) return match;
    return Search(*rootNode_, anyMethod, path).result();
}

std::vector<std::string> HttpRouter::routes() const {
    std::vector<std::string> found;
    const std::function<void(const Node&, const std::string&)> collect = [&](const Node& node,
                                                                             const std::string& prefix) {
        if (node.handler) found.push_back(prefix);
        for (const auto& [key, child] : node.nodes) collect(*child, prefix + "/" + key);
    };
    const std::shared_lock lock(mutex_);
    for (const auto& [method, node] : rootNode_->nodes) collect(*node, "");
    return found;
}

}  // namespace quorel::http
