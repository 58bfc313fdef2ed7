// Private to this room. A server on loopback that stands between the demuxer and its playlists.
//
// hlsdemux2 (GStreamer 1.22) loads playlists and keys in a way of its own that does not survive everything: a
// connection that fails corrupts memory now and then, an empty reply ends the process, a server that hangs holds up
// the teardown for 10 seconds, and a missing playlist of subtitles breaks the film. So it gets them from here, where a
// reply always comes, in time and well formed. It is also where one learns what really went wrong.
//
//   auto session = gateway.open("https://cdn.example/film.m3u8");
//   play(session->address());
//   ... session->explanation() ...
//   session->close();
//
// Any thread. Only what a session's own playlists name can be had through it, under an address that nobody guesses.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "engines/gstreamer/playlist_rewriting.h"
#include "quorel/foundation/url_session.h"
#include "quorel/httpserver/http_server.h"

namespace quorel::gstreamer {

class GatewaySession {
public:
    GatewaySession(UrlSession& session, std::string root, URL source);

    std::string address() const { return addressOf(0); }
    // Why a playlist or a key could not be had a short while ago; absent when all of them could.
    std::optional<std::string> explanation() const;
    // Ends what is being waited for and waits for that, which takes a moment. After it the UrlSession is not used.
    void close();

    http::HttpResponse answer(std::size_t index);

private:
    struct Resource {
        URL url;
        ResourceKind kind;
        bool loadedBefore = false;
    };
    struct Reply {
        std::string data;
        URL from;
    };
    struct Refusal {
        int status = 502;
        std::string sentence;
        bool mayPass = true;  // trying again may help
    };
    using Outcome = std::variant<Reply, Refusal>;
    using Clock = std::chrono::steady_clock;

    std::string addressOf(std::size_t index) const;
    std::size_t indexOf(const URL& url, ResourceKind kind);
    Outcome load(const Resource& resource, Clock::time_point deadline);
    Outcome judge(const Resource& resource, UrlSession::Result result) const;
    std::string nameOf(const Resource& resource) const;
    http::HttpResponse give(Reply reply, ResourceKind kind);
    http::HttpResponse answerOpen(std::size_t index, Resource resource);

    UrlSession& urlSession_;
    const std::string root_;
    const URL source_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Resource> resources_;
    std::map<std::pair<std::string, ResourceKind>, std::size_t> indices_;
    struct Failed {
        std::size_t index;
        std::string sentence;
        Clock::time_point when;
    };
    std::optional<Failed> failed_;
    int inside_ = 0;  // answers on their way
    bool closed_ = false;
};

class PlaylistGateway {
public:
    explicit PlaylistGateway(UrlSession& session);
    ~PlaylistGateway();
    PlaylistGateway(const PlaylistGateway&) = delete;
    PlaylistGateway& operator=(const PlaylistGateway&) = delete;

    // Null when there is no port to be had, or when the source is not for the gateway: it takes addresses of HTTP
    // that end in .m3u8, and those that are said to be playlists (`type`, a MIME type).
    std::shared_ptr<GatewaySession> open(const std::string& source, const std::string& type);

private:
    // What the server's threads share.
    struct Sessions {
        std::mutex mutex;
        std::map<std::string, std::weak_ptr<GatewaySession>> byToken;
    };
    bool startServer();

    UrlSession& urlSession_;
    const std::shared_ptr<Sessions> sessions_ = std::make_shared<Sessions>();
    std::mutex mutex_;
    std::shared_ptr<http::HttpServer> server_;
    std::uint16_t port_ = 0;
};

}  // namespace quorel::gstreamer
