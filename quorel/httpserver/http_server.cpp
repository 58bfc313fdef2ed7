#include "quorel/httpserver/http_server.h"

namespace quorel::http {

#ifdef QUOREL_VERSION
const std::string_view HttpServer::VERSION = QUOREL_VERSION;
#else
const std::string_view HttpServer::VERSION = "Unspecified";
#endif

HttpServer::HttpServer() = default;
HttpServer::~HttpServer() = default;

HttpRouteMatch HttpServer::dispatch(HttpRequest& request) {
    for (const Middleware& ask : middleware) {
        if (auto response = ask(request)) {
            return {{}, std::make_shared<const HttpHandler>([answer = std::move(*response)](HttpRequest&) {
                        return answer;
                    })};
        }
    }
    if (auto match = router_.route(request.method, request.path)) return std::move(*match);
    if (notFoundHandler) return {{}, std::make_shared<const HttpHandler>(notFoundHandler)};
    return HttpServerIO::dispatch(request);
}

}  // namespace quorel::http
