// A small HTTP service inside the process that gives a subtitle file as WebVTT with a time map: it loads the file,
// converts SRT, and writes the X-TIMESTAMP-MAP line. A playlist of subtitles names it as its segment.
//
//   auto transformer = std::make_shared<SubtitlesTransformer>(session);
//   playlist += transformer->urlFor("https://subs.example/a.srt", TextTrackFormat::SRT, std::nullopt);
//
// There is one job at a time, the one stored last: the URL is the same for all, and a request says nothing of the
// file. Every outcome is answered with status 200; failures with their message in place of a file.
//
// Listens on loopback only, unless an audio route is given, whose receivers would ask from elsewhere. Any thread. Ends
// with its last reference, without waiting: downloads are cancelled, and answers that wait for them are dropped.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "quorel/engine/audio_route.h"
#include "quorel/engine/source_description.h"
#include "quorel/foundation/url_session.h"
#include "quorel/httpserver/http_server.h"
#include "quorel/sideload/export.h"
#include "quorel/sideload/subtitles_synchronizer.h"
#include "quorel/sideload/timestamp_map.h"

namespace quorel {

class QUOREL_SIDELOAD_API SubtitlesTransformer final : public SubtitlesSynchronizerDelegate {
public:
    // A job: which file, of which format, with which map.
    struct Parameters {
        std::string contentUrl;  // absolute
        TextTrackFormat format = TextTrackFormat::WebVTT;
        std::optional<WebVttTimestamp> timestamp;
        bool operator==(const Parameters&) const = default;
    };
    // Sixteen random bits, for the choice of a port.
    using RandomBits = std::function<std::uint16_t()>;

    // Starts the server. Where a port is taken, up to nine others are tried; with none, a line in the log says so and
    // urlFor() gives URLs that nothing answers. `session` is not kept alive; without it every download fails.
    explicit SubtitlesTransformer(std::weak_ptr<UrlSession> session, std::shared_ptr<AudioRoute> audioRoute = {},
                                  RandomBits randomBits = systemRandomBits);
    ~SubtitlesTransformer() override;
    SubtitlesTransformer(const SubtitlesTransformer&) = delete;
    SubtitlesTransformer& operator=(const SubtitlesTransformer&) = delete;

    // Stores the job and gives the URL under which its result is served. The map is written only when both its values
    // are there.
    std::string urlFor(std::string contentUrl, TextTrackFormat format, std::optional<WebVttTimestamp> timestamp);

    std::optional<Parameters> parameters() const;
    bool setTimestamp(const WebVttTimestamp& timestamp) override;

    std::uint16_t port() const { return port_; }
    int retryAttemptsLeft() const { return retryAttemptsLeft_; }

    // From the system's random source.
    static std::uint16_t systemRandomBits();
    // From 8000 to 49150, each as likely as any other.
    static std::uint16_t drawPort(const RandomBits& randomBits);

private:
    class Job;

    void start(const RandomBits& randomBits);
    std::string host() const;

    const std::shared_ptr<Job> job_;
    const std::shared_ptr<http::HttpServer> server_ = std::make_shared<http::HttpServer>();
    const std::shared_ptr<AudioRoute> audioRoute_;
    int retryAttemptsLeft_ = 9;
    std::uint16_t port_;
};

}  // namespace quorel
