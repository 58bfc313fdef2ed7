#include "bench_server.h"
#include "quorel/httpserver/file_handlers.h"
#include "quorel/httpserver/http_server.h"

using namespace quorel::http;

int main(int count, char** arguments) {
    auto server = std::make_shared<HttpServer>();
    server->get["/small"] = [](HttpRequest&) {
        return HttpResponse::ok(HttpResponseBody::text(std::string(bench::smallBody)));
    };
    const auto large = std::make_shared<const std::string>(bench::largeBody());
    server->get["/large"] = [large](HttpRequest&) { return HttpResponse::ok(HttpResponseBody::text(large)); };
    if (count > 1) server->get["/files/:path"] = shareFilesFromDirectory(arguments[1]);
    server->listenAddressIPv4 = "127.0.0.1";
    server->start(0, true);
    bench::announceAndWait(server->port());
}
