#include "quorel/httpserver/http_router.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorel::http {
namespace {

// Registers each route ("GET /a/:id", "* /b") with a handler that answers with a redirect to the route's text.
void fill(HttpRouter& router, const std::vector<std::string>& routes) {
    for (const std::string& route : routes) {
        const std::size_t blank = route.find(' ');
        const std::string method = route.substr(0, blank);
        router.registerRoute(method == "*" ? std::nullopt : std::optional(method), route.substr(blank + 1),
                             [route](HttpRequest&) { return HttpResponse::movedPermanently(route); });
    }
}

// "route, :param=value, ..." or "none".
std::string found(const HttpRouter& router, const std::optional<std::string_view>& method, std::string_view path) {
    const auto match = router.route(method, path);
    if (!match) return "none";
    HttpRequest request;
    std::string text = (*match->handler)(request).headers().at("Location");
    for (const auto& [key, value] : match->params) text.append(", ").append(key).append("=").append(value);
    return text;
}

TEST(HttpRouter, FindsTheRoute) {
    std::string hostile;
    while (hostile.size() < 64 * 1024) hostile += "/x";
    const struct {
        std::vector<std::string> routes;
        std::string_view path;
        std::string_view expected;
    } cases[] = {
        {{"GET /a/:id"}, "/a/7", "GET /a/:id, :id=7"},
        {{"GET /a/:id"}, "//a///7/", "GET /a/:id, :id=7"},
        {{"GET /a/:id"}, "/a/x%20%2Fy?q=1", "GET /a/:id, :id=x /y"},
        {{"GET /a/:id"}, "/a", "none"},
        {{"GET /a/:id"}, "/a/7/b", "none"},
        {{"GET /a/:id"}, "/a/%zz", "none"},
        {{"GET /a/:id"}, "/%61/7", "GET /a/:id, :id=7"},
        {{"GET /"}, "/", "GET /"},
        {{"GET /"}, "", "GET /"},
        {{"GET /a b"}, "/a%20b", "GET /a b"},
        {{"POST /a"}, "/a", "none"},
        // A route of the method goes before one of any method, also where the latter is more exact.
        {{"* /a/b", "GET /a/*"}, "/a/b", "GET /a/*"},
        {{"* /a/:id", "GET /b"}, "/a/7", "* /a/:id, :id=7"},
        // Ties: variable, exact, one segment, many.
        {{"GET /a/b", "GET /a/:id"}, "/a/b", "GET /a/:id, :id=b"},
        {{"GET /a/b/c", "GET /a/:id/c"}, "/a/b/c", "GET /a/:id/c, :id=b"},
        {{"GET /a/b", "GET /a/*"}, "/a/b", "GET /a/b"},
        {{"GET /a/*/c/d", "GET /a/**/d"}, "/a/b/c/d", "GET /a/*/c/d"},
        // A variable branch that fails leaves what it captured.
        {{"GET /a/:id/x", "GET /a/b/c"}, "/a/b/c", "GET /a/b/c, :id=b"},
        // A variable that ends a route hides the rest; one that only passes through does not.
        {{"GET /:x", "GET /a"}, "/a", "GET /:x, :x=a"},
        {{"GET /:x/y", "GET /a"}, "/a", "GET /a, :x=a"},
        // Of two variables at one level only one is tried.
        {{"GET /:a/x", "GET /:b/y"}, "/1/y", "none"},
        // Many segments: two at least, the second of which is not even looked at, and something registered behind.
        {{"GET /f/**/z"}, "/f/1/z", "none"},
        {{"GET /f/**/z"}, "/f/1/2/%7A", "GET /f/**/z"},
        {{"GET /f/**/z"}, "/f/z", "none"},
        {{"GET /f/**/z"}, "/f/1/%zz/z", "GET /f/**/z"},
        {{"GET /f/**/z"}, "/f/1/2/%zz/z", "none"},
        {{"GET /f/**/z/:id"}, "/f/1/2/3/z/4", "GET /f/**/z/:id, :id=4"},
        {{"GET /f/**"}, "/f/1/2", "none"},
        {{"GET /f/**/:id"}, "/f/1/2", "none"},
        {{"GET /**/x/**/x/**/y"}, "/1/x/x/2/x/x/x/y", "none"},
        {{"GET /**/x/**/x/**/y"}, "/1/x/x/2/x/x/x/3/y", "GET /**/x/**/x/**/y"},
        {{"GET /**/x/**/x/**/y"}, hostile, "none"},  // within the test's time
        {{"GET /f/*"}, "/f/1", "GET /f/*"},
        {{"GET /f/*"}, "/f", "none"},
    };
    for (const auto& [routes, path, expected] : cases) {
        HttpRouter router;
        fill(router, routes);
        EXPECT_EQ(found(router, "GET", path), expected) << ::testing::PrintToString(routes) << " " << path;
    }
}

TEST(HttpRouter, OverwritesClearsAndLists) {
    HttpRouter router;
    fill(router, {"GET /a", "* /a", "GET /a/:id/b", "GET /", "PUT /a"});
    EXPECT_THAT(router.routes(), ::testing::UnorderedElementsAre("", "/a", "/a", "/a", "/a/:id/b"));
    EXPECT_EQ(found(router, std::nullopt, "/a"), "* /a");
    EXPECT_EQ(found(router, "GET", "/a"), "GET /a");

    // A cleared route still matches, and has nothing to answer with: the search for any method decides.
    router.registerRoute("GET", "/a", nullptr);
    EXPECT_EQ(found(router, "GET", "/a"), "* /a");
    router.registerRoute(std::nullopt, "/a", nullptr);
    EXPECT_EQ(found(router, "GET", "/a"), "none");
    EXPECT_THAT(router.routes(), ::testing::UnorderedElementsAre("", "/a", "/a/:id/b"));
}

}  // namespace
}  // namespace quorel::http
