#include "tests/foundation/scripted_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

namespace quorel {
namespace {

// A socket on 127.0.0.1 and a port of the system's choice.
int boundSocket(std::uint16_t& port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (socket < 0 || ::bind(socket, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        throw std::runtime_error("no loopback socket");
    }
    port = ntohs(address.sin_port);
    return socket;
}

// The length of the whole request that `received` begins with; 0 while it is not complete.
std::size_t requestLength(const std::string& received) {
    const std::size_t head = received.find("\r\n\r\n");
    if (head == std::string::npos) return 0;
    const std::size_t field = received.find("Content-Length: ");
    const std::size_t body = field < head ? std::strtoul(received.c_str() + field + 16, nullptr, 10) : 0;
    return received.size() >= head + 4 + body ? head + 4 + body : 0;
}

}  // namespace

ScriptedServer::ScriptedServer(Handler handler) : handler_(std::move(handler)), listener_(boundSocket(port_)) {
    if (::listen(listener_, 64) != 0 || ::pipe(wake_) != 0) throw std::runtime_error("cannot listen");
    thread_ = std::thread([this] { serve(); });
}

ScriptedServer::~ScriptedServer() {
    ::close(wake_[1]);
    thread_.join();
    ::close(wake_[0]);
    ::close(listener_);
}

std::string ScriptedServer::url(std::string_view path) const {
    return "http://" + host() + std::string(path);
}

std::vector<std::string> ScriptedServer::requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
}

ScriptedServer::Reply ScriptedServer::ok(std::string_view body, std::string_view fields) {
    std::string bytes = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n";
    return {bytes.append(fields).append("\r\n").append(body)};
}

ScriptedServer::Reply ScriptedServer::redirect(int status, std::string_view location) {
    return {"HTTP/1.1 " + std::to_string(status) + " Elsewhere\r\nLocation: " + std::string(location) +
            "\r\nX-Hop: first\r\nContent-Length: 4\r\n\r\nhere"};
}

void ScriptedServer::serve() {
    std::map<int, std::string> connections;
    while (true) {
        std::vector<pollfd> waiting{{wake_[0], POLLIN, 0}, {listener_, POLLIN, 0}};
        for (const auto& [connection, received] : connections) waiting.push_back({connection, POLLIN, 0});
        ::poll(waiting.data(), waiting.size(), -1);
        if (waiting[0].revents != 0) break;
        if (waiting[1].revents != 0) {
            connections.emplace(::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC), "");
            ++connections_;
        }
        for (std::size_t i = 2; i < waiting.size(); ++i) {
            const int connection = waiting[i].fd;
            if (waiting[i].revents == 0 || answer(connection, connections[connection])) continue;
            ::close(connection);
            connections.erase(connection);
        }
    }
    for (const auto& [connection, received] : connections) ::close(connection);
}

// Reads what has come and answers the requests that are complete. False when the connection is at its end.
bool ScriptedServer::answer(int connection, std::string& received) {
    char buffer[65536];
    const ssize_t count = ::recv(connection, buffer, sizeof buffer, 0);
    if (count <= 0) return false;
    received.append(buffer, static_cast<std::size_t>(count));
    while (const std::size_t length = requestLength(received)) {
        const std::string request = received.substr(0, length);
        received.erase(0, length);
        std::unique_lock lock(mutex_);
        requests_.push_back(request);
        lock.unlock();
        const Reply reply = handler_(request);
        // The socket blocks, so that a short count means that the client has gone.
        const ssize_t sent = ::send(connection, reply.bytes.data(), reply.bytes.size(), MSG_NOSIGNAL);
        if (sent != static_cast<ssize_t>(reply.bytes.size()) || reply.after == After::close) return false;
    }
    return true;
}

}  // namespace quorel
