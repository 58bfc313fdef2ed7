// Maps a method and a path to a handler through a tree of path segments.
//
//   router.registerRoute("GET", "/videos/:id", handler);
//   auto match = router.route("GET", "/videos/film-1");   // match->params == {{":id", "film-1"}}
//
// Segments of a registered path: ":name" matches one segment and captures it, "*" matches one segment, "**"
// matches two or more up to a segment that is registered behind it, anything else matches itself. Paths are split
// at "/" without empty pieces, and a requested segment is percent-decoded before it is compared. Where several
// routes match, a variable goes before an exact segment, that before "*", that before "**".
//
// A lookup takes time in proportion to the path, and to a power of it where variables stand behind several "**" of one
// route: leave those to applications that trust who asks.
//
// Lookups may run on any number of threads. Routes are meant to be set up before; a registration waits for
// lookups.
#pragma once

#include <memory>
#include <optional>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/httpserver/export.h"
#include "quorel/httpserver/http_request.h"
#include "quorel/httpserver/http_response.h"

namespace quorel::http {

// What a lookup found.
struct QUOREL_VISIBLE HttpRouteMatch {
    // Captured segments by key with colon. Branches of the search that failed may have left theirs too.
    HttpParams params;
    std::shared_ptr<const HttpHandler> handler;  // never null
};

class QUOREL_HTTPSERVER_API HttpRouter {
public:
    HttpRouter();
    ~HttpRouter();
    HttpRouter(const HttpRouter&) = delete;
    HttpRouter& operator=(const HttpRouter&) = delete;

    // No method means any. The same route again overwrites; an empty handler clears, and the route then matches
    // without a handler.
    void registerRoute(const std::optional<std::string>& method, std::string_view path, HttpHandler handler);

    // The query of `path` does not count. A route of the method goes before one of any method; no method looks at
    // the latter alone.
    std::optional<HttpRouteMatch> route(const std::optional<std::string_view>& method,
                                        std::string_view path) const;

    // The paths that have a handler, as "/videos/:id", in no particular order.
    std::vector<std::string> routes() const;

private:
    struct Node;
    class Search;

    mutable std::shared_mutex mutex_;
    std::unique_ptr<Node> rootNode_;
};

}  // namespace quorel::http
