#include "engines/gstreamer/diagnosis.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "quorel/foundation/text.h"

namespace quorel::gstreamer {
namespace {

// How many playlists, and how many segments, are asked for at the most.
constexpr std::size_t mostParts = 16;

}  // namespace

bool Diagnosis::canHelp(const Failure& failure) {
    if (!failure.explanation.empty() && !failure.isVague) return false;
    switch (failure.kind) {
        case Failure::Kind::stalled:
        case Failure::Kind::noMedia:
        case Failure::Kind::source:
        case Failure::Kind::other:
            return true;
        default:
            return false;
    }
}

Diagnosis::Diagnosis(RunLoop& loop, UrlSession& session, Failure failure, URL url, double limit,
                     Completion completion)
    : loop_(&loop),
      session_(&session),
      failure_(std::move(failure)),
      url_(std::move(url)),
      limit_(limit),
      completion_(std::move(completion)) {}

std::shared_ptr<Diagnosis> Diagnosis::start(RunLoop& loop, UrlSession& session, Failure failure, URL url,
                                            double limit, Completion completion) {
    auto diagnosis = std::make_shared<Diagnosis>(loop, session, std::move(failure), std::move(url), limit,
                                                 std::move(completion));
    diagnosis->deadline_ = loop.schedule(durationFromSeconds(limit), [weak = std::weak_ptr(diagnosis)] {
        const auto alive = weak.lock();
        if (alive) alive->finish(describe(alive->failure_, alive->url_.absoluteString()));
    });
    startTask(loop, diagnosis->run(diagnosis));
    return diagnosis;
}

void Diagnosis::abandon() {
    if (!std::exchange(completion_, nullptr)) return;
    loop_->cancel(deadline_);
    if (running_) std::exchange(running_, nullptr)->cancel();
}

void Diagnosis::finish(const std::string& error) {
    if (!completion_) return;
    const auto self = shared_from_this();
    const Completion completion = completion_;
    abandon();
    completion(error);
}

Task<void> Diagnosis::run(std::shared_ptr<Diagnosis> self) {
    const auto reason = co_await findReason();
    self->finish(reason.value_or(describe(failure_, url_.absoluteString())));
}

Task<std::optional<std::string>> Diagnosis::findReason() {
    const Reply reply = co_await fetch(url_, false);
    if (reply.tooLong) co_return std::nullopt;
    if (auto reason = complaint("The stream " + url_.absoluteString(), reply)) co_return reason;
    const auto manifest = Manifest::parse(reply.body);
    if (!manifest) {
        const bool isText = reply.body.substr(0, 512).find('\0') == std::string::npos;
        const bool shouldBePlaylist = asciiEqualsIgnoringCase(url_.pathExtension(), "m3u8");
        if (isText || shouldBePlaylist)
            co_return describeNoPlaylist("The stream " + url_.absoluteString(), reply.body);
        co_return std::nullopt;
    }
    if (!manifest->isMaster) co_return co_await checkPlaylist(*manifest, url_);

    std::optional<std::pair<Manifest, URL>> first;
    for (std::size_t i = 0; i < manifest->playlists.size() && i < mostParts && completion_; ++i) {
        const auto url = url_.resolving(manifest->playlists[i]);
        if (!url)
            co_return fmt::format("The stream {} names a playlist that is no URL: {}", url_.absoluteString(),
                                  manifest->playlists[i]);
        const Reply media = co_await fetch(*url, false);
        if (auto reason = complaint(part("playlist", *url), media)) co_return reason;
        auto parsed = Manifest::parse(media.body);
        if (!parsed) co_return describeNoPlaylist(part("playlist", *url), media.body);
        if (!first) first.emplace(std::move(*parsed), *url);
    }
    if (!first) co_return fmt::format("The stream {} names no playlists to play.", url_.absoluteString());
    co_return co_await checkPlaylist(first->first, first->second);
}

Task<std::optional<std::string>> Diagnosis::checkPlaylist(const Manifest& manifest, URL url) {
    if (manifest.segments.empty())
        co_return fmt::format("The playlist {} lists no segments.", url.absoluteString());
    std::vector<std::string> uris = manifest.prerequisites;
    if (uris.size() > mostParts) uris.resize(mostParts);
    // A live playlist has moved on since, and its beginning is where a new viewer would start.
    std::size_t from = failure_.hadPlayed && manifest.isComplete ? manifest.segmentAt(failure_.position) : 0;
    for (std::size_t i = 0; from < manifest.segments.size() && i < mostParts; ++i, ++from) {
        uris.push_back(manifest.segments[from].uri);
    }
    for (const std::string& uri : uris) {
        if (!completion_) co_return std::nullopt;
        const auto partUrl = url.resolving(uri);
        if (!partUrl)
            co_return fmt::format("The playlist {} names a part that is no URL: {}", url.absoluteString(), uri);
        const Reply reply = co_await fetch(*partUrl, true);
        if (auto reason = complaint(part("part", *partUrl), reply)) co_return reason;
    }
    co_return std::nullopt;
}

Task<Diagnosis::Reply> Diagnosis::fetch(URL url, bool onlyItsBeginning) {
    if (!completion_) co_return Reply{};
    URLRequest request(std::move(url));
    // Half of the whole, so that a part that hangs can still be named.
    request.timeoutInterval = limit_ / 2;
    if (onlyItsBeginning) request.headers.set("Range", "bytes=0-0");
    Reply reply;
    try {
        DataAndResponse data = co_await completionOf<DataAndResponse>([&](auto complete) {
            running_ = session_->dataTask(request, complete);
            running_->resume();
        });
        reply.status = data.response.statusCode.value_or(0);
        reply.body = std::move(data.data);
    } catch (const URLError& error) {
        reply.error = error.what();
        reply.tooLong = error.code() == URLError::Code::dataLengthExceedsMaximum;
    }
    running_ = nullptr;
    co_return reply;
}

std::optional<std::string> Diagnosis::complaint(const std::string& what, const Reply& reply) const {
    // A part that is merely larger than expected is there.
    if (reply.tooLong) return {};
    if (!reply.error.empty()) return fmt::format("{} could not be loaded. {}", what, reply.error);
    if (reply.status >= 400) return describeStatus(what, reply.status);
    return {};
}

std::string Diagnosis::part(const std::string& kind, const URL& url) const {
    return fmt::format("The {} {} of the stream {}", kind, url.absoluteString(), url_.absoluteString());
}

}  // namespace quorel::gstreamer
