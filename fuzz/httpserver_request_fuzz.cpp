// Any bytes as what a client sends: the outcome and what is left in the socket do not depend on where the bytes
// are cut, limits hold, and the target's parts are those that a URL parser finds.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "quorel/foundation/fatal.h"
#include "quorel/foundation/url.h"
#include "quorel/httpserver/http_parser.h"
#include "quorel/httpserver/http_router.h"
#include "tests/httpserver/scripted_socket.h"

using namespace quorel;
using namespace quorel::http;

namespace {

constexpr HttpLimits limits{.head = 4096, .body = 4096};

struct Outcome {
    std::optional<HttpRequest> request;
    std::string error;
    std::size_t left = 0;
};

Outcome outcome(ScriptedSocket socket) {
    Outcome result;
    try {
        result.request = HttpParser(limits).readHttpRequest(socket);
    } catch (const HttpParserError& error) {
        result.error = error.what();
    } catch (const SocketError& error) {
        if (error.code() != SocketError::Code::recvFailed) fatal("a read failed otherwise than by recvFailed");
        result.error = "recvFailed";
    }
    result.left = socket.rest().size();
    return result;
}

void requireSame(const Outcome& a, const Outcome& b) {
    // What was read before a limit struck depends on the pieces; that it strikes does not.
    const bool sameLeft = a.left == b.left || a.error == "headTooLong";
    if (a.error != b.error || !sameLeft || a.request.has_value() != b.request.has_value())
        fatal("a cut changed the outcome");
    if (!a.request) return;
    const HttpRequest &x = *a.request, &y = *b.request;
    if (x.method != y.method || x.path != y.path || x.queryParams != y.queryParams || x.headers != y.headers ||
        x.body != y.body)
        fatal("a cut changed the request");
}

void checkTarget(const HttpRequest& request, std::string_view bytes) {
    const std::string_view line = bytes.substr(0, bytes.find('\n'));
    std::string target(line.substr(line.find(' ') + 1));
    target.resize(target.find(' '));
    for (const char c : target)
        if (static_cast<unsigned char>(c) <= 13 || static_cast<unsigned char>(c) > 126) return;
    const auto components = URLComponents::parse(addingPercentEncoding(target, CharacterSet::urlQueryAllowed));
    if (!components) return;
    if (components->path() != request.path) fatal("another path than the URL's: " + request.path);
    const auto items = components->queryItems().value_or(std::vector<URLQueryItem>());
    if (items.size() != request.queryParams.size()) fatal("another query than the URL's");
    for (std::size_t i = 0; i < items.size(); ++i)
        if (items[i].name != request.queryParams[i].first ||
            items[i].value.value_or("") != request.queryParams[i].second)
            fatal("another query item than the URL's");
}

const HttpRouter& router() {
    static HttpRouter routes;
    static const bool filled = [] {
        for (const char* path : {"/", "/a/:id", "/a/b", "/a/:id/c", "/*/b", "/f/**/z", "/f/**/z/**/z/:id"})
            routes.registerRoute("GET", path, [](HttpRequest&) { return HttpResponse::created(); });
        return true;
    }();
    (void)filled;
    return routes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::size_t cut = data[0] * std::size_t{256} + data[1];
    const std::string_view bytes(reinterpret_cast<const char*>(data + 2), size - 2);
    const Outcome whole = outcome(ScriptedSocket(bytes));
    requireSame(whole, outcome(ScriptedSocket(bytes, cut)));
    requireSame(whole, outcome(ScriptedSocket(bytes, 0, true)));
    if (!whole.request) return 0;
    if (whole.request->body.size() > 4096) fatal("a body beyond the limit");
    checkTarget(*whole.request, bytes);
    (void)router().route(whole.request->method, whole.request->path);
    return 0;
}
