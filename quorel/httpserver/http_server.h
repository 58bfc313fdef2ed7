// An embedded HTTP/1.1 server with routes.
//
//   auto server = std::make_shared<quorel::http::HttpServer>();
//   server->get["/hello/:name"] = [](HttpRequest& request) {
//       return HttpResponse::ok(HttpResponseBody::text("Hello " + request.params.at(":name")));
//   };
//   server->listenAddressIPv4 = "127.0.0.1";
//   server->start(8080, true);
//
// Routes, middleware and notFoundHandler are set up before start(); see http_server_io.h for threads and lifetime.
// A connection is kept alive only for a request that says "Connection: keep-alive" in just these letters, and has no
// Transfer-Encoding.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/httpserver/export.h"
#include "quorel/httpserver/http_router.h"
#include "quorel/httpserver/http_server_io.h"

namespace quorel::http {

// The routes of one method, written like a table: server->get["/path"] = handler.
class QUOREL_VISIBLE MethodRoute {
public:
    // One row of the table, which takes a handler.
    class Entry {
    public:
        void operator=(HttpHandler handler) const { router_.registerRoute(method_, path_, std::move(handler)); }
        // A table of routes is written, not read: this gives no handler.
        operator HttpHandler() const { return {}; }

    private:
        friend class MethodRoute;
        friend class HttpServer;
        Entry(HttpRouter& router, std::optional<std::string> method, std::string path)
            : router_(router), method_(std::move(method)), path_(std::move(path)) {}

        HttpRouter& router_;
        std::optional<std::string> method_;
        std::string path_;
    };

    MethodRoute(std::string routeMethod, HttpRouter& router) : method(std::move(routeMethod)), router_(router) {}

    const std::string method;

    Entry operator[](std::string path) const { return {router_, method, std::move(path)}; }

private:
    HttpRouter& router_;
};

class QUOREL_HTTPSERVER_API HttpServer : public HttpServerIO {
private:
    HttpRouter router_;

public:
    // The version that this library was built as, or "Unspecified".
    static const std::string_view VERSION;

    using Middleware = std::function<std::optional<HttpResponse>(HttpRequest&)>;

    HttpServer();
    ~HttpServer() override;

    // The tables of the methods, by the names that hosts are used to.
    const MethodRoute DELETE{"DELETE", router_}, PATCH{"PATCH", router_}, HEAD{"HEAD", router_},
        POST{"POST", router_}, GET{"GET", router_}, PUT{"PUT", router_};
    const MethodRoute delete_{"DELETE", router_}, patch{"PATCH", router_}, head{"HEAD", router_},
        post{"POST", router_}, get{"GET", router_}, put{"PUT", router_};

    // Answers what no route matches; without it that is HttpResponse::notFound.
    HttpHandler notFoundHandler;
    // Asked in order before the routes; the first that gives a response answers the request.
    std::vector<Middleware> middleware;

    // A route of any method: (*server)["/path"] = handler.
    MethodRoute::Entry operator[](std::string path) { return {router_, std::nullopt, std::move(path)}; }
    std::vector<std::string> routes() const { return router_.routes(); }

    HttpRouteMatch dispatch(HttpRequest& request) override;
};

}  // namespace quorel::http
