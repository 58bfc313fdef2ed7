#include "tests/engines/gstreamer/media_server.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <utility>

namespace quorel::testing {
namespace {

using http::HttpResponse;

std::optional<std::string> fileAt(const std::string& path) {
    std::ifstream file(std::string(QUOREL_TEST_MEDIA) + path, std::ios::binary);
    if (!file) return {};
    return std::string(std::istreambuf_iterator<char>(file), {});
}

}  // namespace

MediaServer::MediaServer(Script script)
    : script_(std::move(script)), server_(std::make_shared<http::HttpServer>()) {
    server_->listenAddressIPv4 = "127.0.0.1";
    server_->notFoundHandler = [this](http::HttpRequest& request) {
        const std::string path = request.path.substr(0, request.path.find('?'));
        {
            const std::lock_guard lock(mutex_);
            requests_.push_back(path);
            ++inside_;
        }
        HttpResponse response = answer(path);
        const std::lock_guard lock(mutex_);
        --inside_;
        changed_.notify_all();
        return response;
    };
    server_->start(0, true);
    port_ = server_->port();
}

MediaServer::~MediaServer() {
    die();
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return inside_ == 0; });
}

void MediaServer::die() {
    server_->stop();
    const std::lock_guard lock(mutex_);
    dead_ = true;
    changed_.notify_all();
}

std::string MediaServer::url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + "/" + path;
}

std::string MediaServer::file(const std::string& path) {
    return fileAt("/" + path).value_or("");
}

std::size_t MediaServer::requestsFor(const std::string& path) const {
    const std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(std::count(requests_.begin(), requests_.end(), path));
}

HttpResponse MediaServer::hang() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return dead_; });
    return HttpResponse::notFound();
}

HttpResponse MediaServer::cut(const std::string& path) {
    const std::string content = fileAt(path).value_or("");
    return HttpResponse::raw(200, "OK", http::HttpHeaders{{"Content-Length", std::to_string(content.size())}},
                             [part = content.substr(0, content.size() / 4)](http::HttpResponseBodyWriter& out) {
                                 out.write(std::string_view(part));
                             });
}

HttpResponse MediaServer::livePlaylist() const {
    const std::chrono::duration<double> running = std::chrono::steady_clock::now() - start_;
    const int last = 8 + static_cast<int>(running.count() / 2);
    std::string text =
        "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-SEQUENCE:" + std::to_string(last - 4) +
        "\n";
    for (int i = last - 4; i <= last; ++i) {
        if (i % 10 == 0) text += "#EXT-X-DISCONTINUITY\n";
        text += "#EXTINF:2.0,\n../ts/seg0" + std::to_string(i % 10) + ".ts\n";
    }
    return body(text);
}

HttpResponse MediaServer::answer(const std::string& path) {
    if (script_) {
        if (auto response = script_(path)) return *response;
    }
    if (path == "/live/index.m3u8") return livePlaylist();
    if (path == "/subtitled.m3u8") {
        return body(
            "#EXTM3U\n"
            "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"s\",NAME=\"English\",LANGUAGE=\"en\",URI=\"text.m3u8?en\"\n"
            "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"s\",NAME=\"Español\",LANGUAGE=\"es\",URI=\"text.m3u8?es\"\n"
            "#EXT-X-STREAM-INF:BANDWIDTH=200000,SUBTITLES=\"s\"\nts/index.m3u8\n");
    }
    if (path == "/text.m3u8") return body("#EXTM3U\n#EXTINF:20,\ntext.vtt\n#EXT-X-ENDLIST\n");
    if (path == "/text.vtt") return body("WEBVTT\n\n00:01.000 --> 00:05.000\ntext\n");
    auto content = fileAt(path);
    return content ? body(std::move(*content)) : HttpResponse::notFound();
}

}  // namespace quorel::testing
