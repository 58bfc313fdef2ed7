#include <quorel/httpserver/http_server.h>

using namespace quorel::http;

int main() {
    const auto server = std::make_shared<HttpServer>();
    server->get["/"] = [](HttpRequest&) { return HttpResponse::ok(HttpResponseBody::text("here")); };
    server->listenAddressIPv4 = "127.0.0.1";
    server->start(0, true);
    const bool listens = server->port() != 0;
    server->stop();
    return listens ? 0 : 1;
}
