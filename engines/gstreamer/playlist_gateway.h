// Private to this room. A server on loopback that stands between the demuxer and its playlists.
//
// hlsdemux2 (GStreamer 1.22) loads playlists and keys in a way of its own that does not survive everything: a
// connection that fails corrupts memory now and then, an empty reply ends the process, a server that hangs holds up
// the teardown for 10 seconds, and a missing playlist of subtitles breaks the film. So it gets them from here, where a
// reply always comes, in time and well formed. It is also where one learns what really went wrong.
//
// What a playlist names under a private scheme comes from here too, whatever it is, and is asked of the source's
// resource loader delegate.
//
//   auto session = gateway.open(GatewaySource{...});
//   play(session->address());
//   ... session->explanation() ...
//   session->close();
//
// Any thread. Only what a session's own playlists name can be had through it, under an address that nobody guesses.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "engines/gstreamer/playlist_rewriting.h"
#include "engines/gstreamer/resource_loader.h"
#include "quorel/httpserver/http_server.h"

namespace quorel::gstreamer {

// A source as the pipeline gets it.
struct GatewaySource {
    std::string address;
    std::string type;  // a MIME type, or empty
    std::shared_ptr<ResourceLoader> loader;
    // Called on a thread of the gateway, once, before the first playlist is handed out: what a master playlist has for
    // a viewer to read. Not called for a media playlist, nor for one without any.
    std::function<void(std::vector<SubtitleRendition>)> onRenditions{};
};

class GatewaySession {
public:
    GatewaySession(GatewaySource source, std::string root);

    std::string address() const { return addressOf(0); }
    struct Explanation {
        std::string sentence;
        bool isVague = false;  // its server may know more
    };
    // Why a playlist or a key could not be had a short while ago; absent when all of them could.
    std::optional<Explanation> explanation() const;
    // Ends what is being waited for and waits for that, which takes a moment. After it the loader is not used.
    void close();

    http::HttpResponse answer(std::size_t index, const http::HttpRequest& request);

private:
    struct Resource {
        std::string uri;
        ResourceKind kind;
        bool loadedBefore = false;
        std::string lastWindow{};  // of a live stream: the playlist as it was handed out last
        std::chrono::steady_clock::time_point lastLoad{};
    };
    using Loaded = ResourceLoader::Loaded;
    using Refusal = ResourceLoader::Refusal;
    using Clock = std::chrono::steady_clock;

    std::string addressOf(std::size_t index) const;
    std::size_t indexOf(const std::string& uri, ResourceKind kind);
    ResourceLoader::Result load(const Resource& resource, Clock::time_point deadline);
    std::string nameOf(const Resource& resource) const;
    http::HttpResponse give(Loaded loaded, std::size_t index, ResourceKind kind, const http::HttpRequest& request);
    http::HttpResponse answerOpen(std::size_t index, Resource resource, const http::HttpRequest& request);

    const std::string root_;
    const std::string source_;     // the address that the viewer's application knows
    const std::string sourceUri_;  // the one under which it is loaded
    const std::function<void(std::vector<SubtitleRendition>)> onRenditions_;
    std::shared_ptr<ResourceLoader> loader_;  // null when closed
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Resource> resources_;
    std::map<std::pair<std::string, ResourceKind>, std::size_t> indices_;
    bool renditionsTold_ = false;
    struct Failed {
        std::size_t index;
        Explanation explanation;
        Clock::time_point when;
    };
    std::optional<Failed> failed_;
    int inside_ = 0;  // answers on their way
    bool closed_ = false;
};

class PlaylistGateway {
public:
    PlaylistGateway() = default;
    ~PlaylistGateway();
    PlaylistGateway(const PlaylistGateway&) = delete;
    PlaylistGateway& operator=(const PlaylistGateway&) = delete;

    // Whether the source is for the gateway: an address of HTTP that ends in .m3u8, or that is said to be a playlist,
    // or that an interceptor wants.
    static bool takes(const GatewaySource& source);
    // Null when there is no port to be had.
    std::shared_ptr<GatewaySession> open(GatewaySource source);

private:
    // What the server's threads share.
    struct Sessions {
        std::mutex mutex;
        std::map<std::string, std::weak_ptr<GatewaySession>> byToken;
    };
    bool startServer();

    const std::shared_ptr<Sessions> sessions_ = std::make_shared<Sessions>();
    std::mutex mutex_;
    std::shared_ptr<http::HttpServer> server_;
    std::uint16_t port_ = 0;
};

}  // namespace quorel::gstreamer
