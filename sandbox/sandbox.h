// A content backend of one's own: the REST replies that the SDK asks for, the titles they speak of, and trouble on
// demand; for tests, for demonstrations, and as the program quorel-sandbox.
//
//   quorel::sandbox::Sandbox sandbox;
//   sandbox.start();                                                   // on loopback, port of the system's choice
//   services.urlSession->registerProtocol(sandbox.makeProtocol());     // the SDK's https host is the sandbox now
//   Quorel::shared().initialize(sandbox.token(), std::nullopt, false);
//   player->setup("sample", ...);
//
// What it serves:
//   GET  /v1/players/configuration/<id>, /v1/videos/<id>, /v1/live-streams/<id>, /v1/live-streams/<id>/status
//        401 without "Authorization: Bearer <token>", 404 for an id it does not know
//   GET  /media/...           playlists, segments, keys, subtitles and images, with byte ranges
//   GET  /live/<id>/master.m3u8   the stream of a live title, made from a recording by the clock
//   POST /e                   analytics: 204 for a ping that is as it should be, 400 with what is wrong for others
//   GET  /ads/tag/<name>      ads, and all kinds of trouble with them: see /ads
//   GET  /ads/track/<ad>/<event>   tracking, with "code" in the query of an error: 204
//   GET  /, /control, /ads    pages for people
//   POST /_control/live       {"id":"live","state":"onAir"|"paused"|"over"|"startsSoon","eventDate":<seconds since
//                             1970> or "eventIn":<seconds>,"cdn":"127.0.0.1"|"localhost"}; GET
//   GET  /_control/pings      the last 200 pings and what was wrong with them; DELETE forgets them
//   GET  /_control/ads        the last 500 tracking requests; DELETE forgets them
//   POST /_control/faults     {"path":"/v1/*","delay":500,"status":503,"broken":"json"|"cut"|...,"times":2};
//                             GET, DELETE
//   GET  /_control/requests   what arrived, in order; DELETE forgets it
// HEAD goes wherever GET does. Any other method there is answered with 405.
//
// All operations may be called from any thread. It listens on 127.0.0.1 and nowhere else.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "quorel/foundation/error.h"
#include "quorel/foundation/url_session.h"
#include "sandbox/ad_event.h"
#include "sandbox/faults.h"
#include "sandbox/pings.h"
#include "sandbox/request_log.h"
#include "sandbox/titles.h"

namespace quorel::sandbox {

// Why there is no sandbox.
class SandboxError : public Error {
public:
    enum class Code {
        noMedia,       // the media directory is missing, unreadable or not complete
        cannotListen,  // the port is taken, for one
    };
    SandboxError(Code code, std::string description) : Error(std::move(description)), code_(code) {}

    Code code() const { return code_; }

private:
    Code code_;
};

class Sandbox {
public:
    // Where this build's titles are.
    static std::filesystem::path defaultMediaDirectory();

    // Where the titles are, and the bearer token that is asked for.
    struct Options {
        std::filesystem::path mediaDirectory = defaultMediaDirectory();
        std::string token = "sandbox-token";
    };

    Sandbox();
    // Throws SandboxError (noMedia).
    explicit Sandbox(Options options);
    // Stops.
    ~Sandbox();
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

    // Listens; port 0 lets the system choose. Nothing when it listens already. Throws SandboxError (cannotListen).
    void start(std::uint16_t port = 0);
    // Closes all connections. Answers that are being made are waited for and dropped; delays are cut short.
    void stop();

    std::string baseURL() const;  // "http://127.0.0.1:<port>"; the port is 0 before start()
    const std::string& token() const;

    std::vector<Title> titles() const;
    void setTitle(Title title);  // replaces the one with this id, or adds it

    // See faults.h. Throws FaultError. Control requests and the pages for people meet no faults.
    void setFault(std::string pathPattern, Fault fault);
    void setChaos(Chaos chaos);
    void clearFaults();  // chaos included

    std::vector<PingRecord> pings() const;  // the last 200
    // Forgets them.
    void clearPings();

    std::vector<AdEvent> adEvents() const;  // the last 500
    // Forgets them.
    void clearAdEvents();

    std::vector<RequestRecord> requests() const;  // the last 1000, without control requests
    // Forgets them.
    void clearRequests();

    // Brings what the SDK asks of its backend to this sandbox. For after start(); works for as long as the sandbox
    // lives.
    std::shared_ptr<UrlProtocol> makeProtocol() const;

private:
    class Backend;
    std::shared_ptr<Backend> backend_;
    const std::shared_ptr<UrlSession> network_ = std::make_shared<UrlSession>();  // of the protocols
};

}  // namespace quorel::sandbox
