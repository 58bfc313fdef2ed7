// A media server on loopback whose replies go wrong where a test says so.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "quorel/httpserver/http_server.h"

namespace quorel::testing {

class MediaServer {
public:
    // What is answered instead of the file; absent for the file.
    using Script = std::function<std::optional<http::HttpResponse>(const std::string& path)>;

    explicit MediaServer(Script script = {});
    ~MediaServer();
    MediaServer(const MediaServer&) = delete;

    // Of a file below the test media's folder, or of "live/index.m3u8", a window of ten seconds that moves on,
    // or of "subtitled.m3u8", which has two renditions of subtitles.
    std::string url(const std::string& path) const;
    // What that file holds; empty when there is none.
    static std::string file(const std::string& path);
    // Closes the port and all connections.
    void die();
    std::size_t requestsFor(const std::string& path) const;

    // For scripts: does not return before the server dies.
    http::HttpResponse hang();
    // Announces the whole file and closes after a quarter of it.
    static http::HttpResponse cut(const std::string& path);
    static http::HttpResponse status(int code) { return http::HttpResponse::raw(code, "As the test wants it"); }
    static http::HttpResponse body(std::string text) {
        return http::HttpResponse::ok(http::HttpResponseBody::text(std::move(text)));
    }

private:
    http::HttpResponse answer(const std::string& path);
    http::HttpResponse livePlaylist() const;

    const Script script_;  // called by many threads at once
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::shared_ptr<http::HttpServer> server_;
    std::uint16_t port_ = 0;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    bool dead_ = false;
    int inside_ = 0;
    std::vector<std::string> requests_;
};

}  // namespace quorel::testing
