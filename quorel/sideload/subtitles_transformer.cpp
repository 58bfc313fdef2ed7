#include "quorel/sideload/subtitles_transformer.h"

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

#include "quorel/foundation/device_util.h"
#include "quorel/foundation/fatal.h"
#include "quorel/foundation/log.h"
#include "quorel/foundation/url.h"
#include "quorel/httpserver/http_request.h"
#include "quorel/httpserver/http_response.h"
#include "quorel/httpserver/http_server_io.h"
#include "quorel/httpserver/socket.h"
#include "quorel/sideload/transformation.h"

namespace quorel {
namespace {

constexpr std::string_view path = "/transformSubtitle";

}  // namespace

std::uint16_t SubtitlesTransformer::systemRandomBits() {
    return static_cast<std::uint16_t>(std::random_device()());
}

// Multiply and shift, with rejection of what would make some ports likelier than others.
std::uint16_t SubtitlesTransformer::drawPort(const RandomBits& randomBits) {
    constexpr std::uint32_t count = 41151;
    constexpr std::uint32_t threshold = 65536 % count;
    std::uint32_t product = 0;
    do {
        product = randomBits() * count;
    } while ((product & 0xFFFF) < threshold);
    return static_cast<std::uint16_t>(8000 + (product >> 16));
}

// What the server's threads share with the transformer; they never hold the transformer itself.
class SubtitlesTransformer::Job {
public:
    explicit Job(std::weak_ptr<UrlSession> session) : downloads_(std::move(session)) {}

    std::optional<Parameters> parameters() const {
        const std::lock_guard lock(mutex_);
        return parameters_;
    }
    void store(std::optional<Parameters> parameters) {
        const std::lock_guard lock(mutex_);
        parameters_ = std::move(parameters);
    }
    bool setTimestamp(const WebVttTimestamp& timestamp) {
        const std::lock_guard lock(mutex_);
        if (parameters_) parameters_->timestamp = timestamp;
        return parameters_.has_value();
    }
    std::string answer() {
        const std::optional<Parameters> job = parameters();
        if (!job) return transformationFailure("Missing subtitle content URL.");
        return transformedSubtitle({job->contentUrl, job->format, job->timestamp}, downloads_);
    }
    void end() {
        store(std::nullopt);
        downloads_.end();
    }

private:
    mutable std::mutex mutex_;
    std::optional<Parameters> parameters_;
    BlockingDownloads downloads_;
};

SubtitlesTransformer::SubtitlesTransformer(std::weak_ptr<UrlSession> session,
                                           std::shared_ptr<AudioRoute> audioRoute, RandomBits randomBits)
    : job_(std::make_shared<Job>(std::move(session))),
      audioRoute_(std::move(audioRoute)),
      port_(drawPort(randomBits)) {
    start(randomBits);
}

SubtitlesTransformer::~SubtitlesTransformer() {
    server_->stop();
    job_->end();
}

void SubtitlesTransformer::start(const RandomBits& randomBits) {
    using http::SocketError;
    (*server_)[std::string(path)] = [job = job_](http::HttpRequest&) {
        return http::HttpResponse::ok(http::HttpResponseBody::text(job->answer()));
    };
    // A machine without IPv6 has an IPv4 loopback all the same, and so "localhost" finds it everywhere.
    const bool onLoopback = !audioRoute_;
    if (onLoopback) server_->listenAddressIPv4 = "127.0.0.1";
    while (true) {
        try {
            server_->start(port_, onLoopback, http::QualityOfService::background);
            return;
        } catch (const SocketError& error) {
            const bool isTaken =
                error.code() == SocketError::Code::bindFailed && error.message() == "Address already in use";
            logLine(
                {"[AVSubtitlesLoader] ERROR starting local server:", isTaken ? error.message() : error.what()});
            if (!isTaken || retryAttemptsLeft_ <= 0) return;
        }
        --retryAttemptsLeft_;
        port_ = drawPort(randomBits);
    }
}

std::string SubtitlesTransformer::host() const {
    constexpr std::string_view ownHost = "localhost";
    const std::vector<std::string> ports =
        audioRoute_ ? audioRoute_->outputPortTypes() : std::vector<std::string>();
    if (std::find(ports.begin(), ports.end(), AVAudioSessionPortAirPlay) == ports.end())
        return std::string(ownHost);
    return DeviceUtil::ipv4Address().value_or(std::string(ownHost));
}

std::string SubtitlesTransformer::urlFor(std::string contentUrl, TextTrackFormat format,
                                         std::optional<WebVttTimestamp> timestamp) {
    const auto components =
        URLComponents::parse("http://" + host() + ":" + std::to_string(port_) + std::string(path));
    if (!components) fatal("The address of the subtitle service is no URL.");
    const std::optional<URL> url = components->url();
    std::string result = url ? url->absoluteString() : contentUrl;
    job_->store(Parameters{std::move(contentUrl), format, std::move(timestamp)});
    return result;
}

std::optional<SubtitlesTransformer::Parameters> SubtitlesTransformer::parameters() const {
    return job_->parameters();
}

bool SubtitlesTransformer::setTimestamp(const WebVttTimestamp& timestamp) {
    return job_->setTimestamp(timestamp);
}

}  // namespace quorel
