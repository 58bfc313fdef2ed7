// What the system calls alone cost: receives as many bytes as the load client's message has and sends the answer that it
// expects, made beforehand. Nothing is parsed, nothing unmasked.
//
//   websocket_bench_floor BYTES
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdlib>
#include <string>

#include "benchmarks/httpserver/floor_listener.h"
#include "benchmarks/websocket/messages.h"

namespace {

void serve(int client, std::size_t question, const std::string& answer) {
    // The answer to the key of RFC 6455 1.3, which the client sends.
    constexpr std::string_view handshake =
        "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
        "Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n\r\n";
    std::string buffer(std::max<std::size_t>(question, 4096), '\0');
    if (recv(client, buffer.data(), buffer.size(), 0) <= 0) return;
    send(client, handshake.data(), handshake.size(), MSG_NOSIGNAL);
    for (std::size_t have = 0;;) {
        const ssize_t got = recv(client, buffer.data(), question - have, 0);
        if (got <= 0) break;
        have += static_cast<std::size_t>(got);
        if (have < question) continue;
        have = 0;
        if (send(client, answer.data(), answer.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(answer.size())) break;
    }
    close(client);
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 2) return 2;
    const auto size = static_cast<std::size_t>(std::atoi(arguments[1]));
    const std::size_t question = bench::question(size).size();
    const std::string answer = bench::answer(size);
    bench::listenAndServe([question, answer](int client) { serve(client, question, answer); });
    return 1;
}
