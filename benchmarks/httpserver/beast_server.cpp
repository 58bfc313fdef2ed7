// Boost.Beast, a blocking loop on a thread per connection.
#include <boost/asio.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/version.hpp>
#include <thread>

#include "bench_server.h"

namespace beast = boost::beast;
namespace http = beast::http;
using boost::asio::ip::tcp;

namespace {

std::string film;

bool serveFile(tcp::socket& socket, const http::request<http::string_body>& request) {
    beast::error_code error;
    http::file_body::value_type file;
    file.open(film.c_str(), beast::file_mode::scan, error);
    if (error) return false;
    http::response<http::file_body> response(http::status::ok, request.version());
    response.set(http::field::server, BOOST_BEAST_VERSION_STRING);
    response.keep_alive(request.keep_alive());
    response.body() = std::move(file);
    response.prepare_payload();
    http::write(socket, response, error);
    return !error && request.keep_alive();
}

void serve(tcp::socket socket) {
    beast::flat_buffer buffer;
    beast::error_code error;
    while (true) {
        http::request<http::string_body> request;
        http::read(socket, buffer, request, error);
        if (error) return;
        if (request.target().starts_with("/files/")) {
            if (!serveFile(socket, request)) return;
            continue;
        }
        const std::string_view body =
            request.target() == "/large" ? std::string_view(bench::largeBody()) : bench::smallBody;
        http::response<http::span_body<const char>> response(http::status::ok, request.version());
        response.set(http::field::server, BOOST_BEAST_VERSION_STRING);
        response.keep_alive(request.keep_alive());
        response.body() = beast::span<const char>(body.data(), body.size());
        response.prepare_payload();
        http::write(socket, response, error);
        if (error || !request.keep_alive()) return;
    }
}

}  // namespace

int main(int count, char** arguments) {
    if (count > 1) film = std::string(arguments[1]) + "/film.bin";
    boost::asio::io_context context{1};
    tcp::acceptor acceptor(context, {boost::asio::ip::make_address("127.0.0.1"), 0});
    std::thread([&acceptor, &context] {
        while (true) {
            tcp::socket socket(context);
            beast::error_code error;
            acceptor.accept(socket, error);
            if (error) return;
            socket.set_option(tcp::no_delay(true));
            std::thread(serve, std::move(socket)).detach();
        }
    }).detach();
    bench::announceAndWait(acceptor.local_endpoint().port());
    std::_Exit(0);
}
