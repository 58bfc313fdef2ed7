// A server on loopback that answers each HTTP request with the bytes a test hands it, right or wrong.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace quorel {

class ScriptedServer {
public:
    enum class After { keep, close };  // a kept connection whose reply is not complete stalls
    struct Reply {
        std::string bytes;
        After after = After::keep;
    };
    // Called on the server's thread with head and body of each request.
    using Handler = std::function<Reply(std::string_view request)>;

    explicit ScriptedServer(Handler handler);
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;

    std::uint16_t port() const { return port_; }
    std::string url(std::string_view path) const;
    std::string host() const { return "127.0.0.1:" + std::to_string(port_); }

    std::vector<std::string> requests() const;
    std::size_t connections() const { return connections_; }

    // A reply with status line, the given fields, Content-Length and body.
    static Reply ok(std::string_view body, std::string_view fields = "");
    static Reply redirect(int status, std::string_view location);

private:
    void serve();
    bool answer(int connection, std::string& received);

    const Handler handler_;
    std::uint16_t port_ = 0;
    const int listener_;
    int wake_[2];
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
    std::atomic<std::size_t> connections_ = 0;
    std::thread thread_;
};

}  // namespace quorel
