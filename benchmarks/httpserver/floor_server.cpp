// What the system calls alone cost: one recv and one send per request, nothing parsed, the file open already.
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/socket.h>

#include <csignal>
#include <cstdlib>
#include <cstring>

#include "benchmarks/httpserver/floor_listener.h"

namespace {

int film = -1;
std::size_t filmSize = 0;

void sendFilm(int client) {
    static const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(filmSize) + "\r\n\r\n";
    if (send(client, head.data(), head.size(), MSG_NOSIGNAL | MSG_MORE) < 0) return;
    off_t offset = 0;
    while (static_cast<std::size_t>(offset) < filmSize) {
        if (sendfile(client, film, &offset, filmSize - static_cast<std::size_t>(offset)) <= 0) return;
    }
}

void serve(int client) {
    const auto answer = [](std::string_view body) {
        return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) +
               "\r\nConnection: keep-alive\r\n\r\n" + std::string(body);
    };
    static const std::string small = answer(bench::smallBody), large = answer(bench::largeBody());
    char buffer[8192];
    for (ssize_t got; (got = recv(client, buffer, sizeof buffer, 0)) > 0;) {
        if (buffer[5] == 'f') {
            sendFilm(client);
            if (memmem(buffer, static_cast<std::size_t>(got), "close", 5) != nullptr) break;
            continue;
        }
        const std::string& bytes = buffer[5] == 'l' ? large : small;
        if (send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size())) break;
    }
    close(client);
}

}  // namespace

int main(int count, char** arguments) {
    std::signal(SIGPIPE, SIG_IGN);
    if (count > 1) {
        film = open((std::string(arguments[1]) + "/film.bin").c_str(), O_RDONLY | O_CLOEXEC);
        filmSize = static_cast<std::size_t>(lseek(film, 0, SEEK_END));
    }
    bench::listenAndServe(serve);
    return 1;
}
