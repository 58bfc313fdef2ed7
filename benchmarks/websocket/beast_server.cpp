// Boost.Beast, a blocking loop on a thread per connection.
#include <boost/asio.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>
#include <thread>

#include "benchmarks/httpserver/bench_server.h"

namespace beast = boost::beast;
namespace websocket = beast::websocket;
using boost::asio::ip::tcp;

namespace {

void serve(tcp::socket socket) {
    beast::error_code error;
    websocket::stream<tcp::socket> stream(std::move(socket));
    stream.accept(error);
    stream.binary(true);
    stream.auto_fragment(false);
    beast::flat_buffer buffer;
    while (!error) {
        stream.read(buffer, error);
        if (error) return;
        stream.write(buffer.data(), error);
        buffer.consume(buffer.size());
    }
}

}  // namespace

int main() {
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
