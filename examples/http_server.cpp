// A server with three routes. Try: curl http://127.0.0.1:8080/hello/you
#include <cstdio>

#include "quorel/httpserver/http_server.h"

using namespace quorel::http;

int main() {
    auto server = std::make_shared<HttpServer>();
    server->get["/"] = [](HttpRequest&) {
        return HttpResponse::ok(HttpResponseBody::html(std::string("It works.")));
    };
    server->get["/hello/:name"] = [](HttpRequest& request) {
        return HttpResponse::ok(HttpResponseBody::text("Hello " + request.params.at(":name") + "\n"));
    };
    server->get["/status"] = [](HttpRequest& request) {
        return HttpResponse::ok(
            HttpResponseBody::json(quorel::JSONObject{{"ok", true}, {"you", *request.address}}));
    };
    server->listenAddressIPv4 = "127.0.0.1";
    server->start(8080, true);
    std::printf("http://127.0.0.1:%u/ until Enter is pressed\n", server->port());
    std::getchar();
}
