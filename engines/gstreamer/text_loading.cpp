#include "engines/gstreamer/text_loading.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "quorel/foundation/log.h"
#include "quorel/foundation/text.h"

namespace quorel::gstreamer {
namespace {

using namespace std::chrono_literals;

constexpr double wrap = 8589934592.0 / 90000;  // seconds that 33 bits count at 90 kHz

constexpr std::size_t fewSegments = 12;  // are loaded at once
constexpr double lookAhead = 60;         // seconds
constexpr double lookBehind = 10;
constexpr double keepBehind = 60;            // of a live stream
constexpr std::size_t mostBytes = 8u << 20;  // of files kept, unless the position needs more

constexpr int playlistTries = 3;
constexpr int segmentTries = 2;
constexpr double retryAfter = 10;  // seconds
// How long a delegate may take to see for which playlist a file is asked.
constexpr auto laneLimit = 1s;

std::string beginning(std::string_view text) {
    std::string shown;
    for (const char c : text.substr(0, std::min<std::size_t>(60, text.find_first_of("\r\n")))) {
        shown += c >= ' ' && c < 127 ? c : '?';
    }
    return shown;
}

}  // namespace

double cueClockOffset(const std::optional<TimestampMap>& map, const std::optional<TimelineAnchor>& anchor,
                      double cue, double expected) {
    const TimelineAnchor origin = anchor.value_or(TimelineAnchor{});
    if (!map || !anchor) return origin.playerTime;
    const double stamp = map->mpegts / 90000 + cue - map->local;
    const double position = origin.playerTime + stamp - origin.mediaTimestamp;
    return position - std::round((position - expected) / wrap) * wrap - cue;
}

void LoadingLane::ask(const std::shared_ptr<SubtitleLoader>& loader, bool urgent) {
    if (urgent) {
        waiting_.push_front(loader);
    } else {
        waiting_.push_back(loader);
    }
    next();
}

void LoadingLane::leave(const SubtitleLoader* loader) {
    if (holder_ != loader) return;
    holder_ = nullptr;
    next();
}

void LoadingLane::next() {
    while (holder_ == nullptr && !waiting_.empty()) {
        const auto loader = waiting_.front().lock();
        waiting_.pop_front();
        if (!loader) continue;
        holder_ = loader.get();
        loader->enterLane(std::exchange(last_, loader->uri()) == loader->uri());
    }
}

SubtitleLoader::SubtitleLoader(Environment environment, SubtitleRendition rendition, bool urgent,
                               Listener listener)
    : environment_(std::move(environment)),
      rendition_(std::move(rendition)),
      urgent_(urgent),
      listener_(std::move(listener)) {}

SubtitleLoader::~SubtitleLoader() {
    stop();
}

void SubtitleLoader::stop() {
    stopped_ = true;
    task_ = nullptr;
    environment_.loop.cancel(timer_);
    leaveLane();
}

bool SubtitleLoader::isPrivate() const {
    return !rendition_.uri.starts_with("http://") && !rendition_.uri.starts_with("https://");
}

void SubtitleLoader::start(double position, std::optional<LoadedPlaylist> known) {
    position_ = position;
    if (isPrivate()) current_ = std::move(known);
    if (current_ && !current_->playlist.segments.empty()) {
        firstPeriod_ = current_->playlist.segments.front().discontinuity;
    }
    proceed();
}

void SubtitleLoader::moveTo(double position) {
    position_ = position;
    if (!task_ && !waitsForLane_) proceed();
}

std::optional<LoadedPlaylist> SubtitleLoader::completePlaylist() const {
    return current_ && current_->playlist.isComplete ? current_ : std::nullopt;
}

void SubtitleLoader::wakeIn(double seconds) {
    environment_.loop.cancel(timer_);
    timer_ = environment_.loop.schedule(durationFromSeconds(seconds), [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (self && !self->task_ && !self->waitsForLane_) self->proceed();
    });
}

// Decides what comes next, when nothing is on its way.
void SubtitleLoader::proceed() {
    if (stopped_) return;
    const Duration now = environment_.loop.now();
    const bool changes = !current_ || !current_->playlist.isComplete;
    const bool needsPlaylist = changes && now >= playlistDue_ && playlistFailures_ < playlistTries;
    if (isPrivate() && !hadLane_ && (current_ || needsPlaylist)) {
        waitsForLane_ = true;
        return environment_.lane->ask(shared_from_this(), urgent_);
    }
    if (needsPlaylist) return fetchPlaylist();
    if (const Segment* const segment = nextWanted()) return fetchSegment(*segment);
    leaveLane();
    if (changes && playlistFailures_ < playlistTries) wakeIn(secondsFromDuration(playlistDue_ - now));
}

void SubtitleLoader::enterLane(bool again) {
    waitsForLane_ = false;
    inLane_ = hadLane_ = true;
    if (stopped_) return leaveLane();
    if (!again) current_.reset();
    proceed();
}

void SubtitleLoader::leaveLane() {
    environment_.loop.cancel(std::exchange(laneTimer_, 0));
    if (std::exchange(inLane_, false)) environment_.lane->leave(this);
}

void SubtitleLoader::fetchPlaylist() {
    task_ = environment_.fetch(rendition_.uri, [this](FetchResult result) { takePlaylist(std::move(result)); });
}

void SubtitleLoader::takePlaylist(FetchResult result) {
    const auto keep = shared_from_this();
    task_ = nullptr;
    const Duration now = environment_.loop.now();
    std::string problem;
    std::optional<SubtitlePlaylist> playlist;
    if (auto* const text = std::get_if<FetchedText>(&result)) {
        playlist = SubtitlePlaylist::parse(text->data);
        if (!playlist) problem = fmt::format("their playlist begins with \"{}\"", beginning(text->data));
        if (playlist && !playlist->unsupported.empty()) problem = playlist->unsupported;
    } else {
        problem = std::get<std::string>(result);
    }
    if (!problem.empty()) {
        complain(problem);
        ++playlistFailures_;
        hadLane_ = current_.has_value();
        playlistDue_ = now + durationFromSeconds(retryAfter);
        return proceed();
    }
    playlistFailures_ = 0;
    const bool grew = !current_ || current_->playlist.segments.size() != playlist->segments.size() ||
                      (!playlist->segments.empty() &&
                       current_->playlist.segments.back().number != playlist->segments.back().number);
    // RFC 8216 6.3.4.
    const double pause = std::clamp(playlist->targetDuration, 1.0, 60.0) * (grew ? 1 : 0.5);
    playlistDue_ = now + durationFromSeconds(pause);
    const auto before =
        std::exchange(current_, LoadedPlaylist{std::move(*playlist), std::get<FetchedText>(result).url});
    if (before && !before->playlist.segments.empty() && !current_->playlist.segments.empty() &&
        current_->playlist.segments.back().number < before->playlist.segments.front().number) {
        forget();  // the server has begun to count anew
    }
    if (!before && !current_->playlist.segments.empty()) {
        firstPeriod_ = current_->playlist.segments.front().discontinuity;
    }
    placeOnClock(before);
    trim();
    proceed();
}

// A film's playlist begins at 0. A live one goes on where the one before it did; the first one ends where the stream
// does, which is three target durations behind where a viewer joins.
void SubtitleLoader::placeOnClock(const std::optional<LoadedPlaylist>& before) {
    const auto& segments = current_->playlist.segments;
    if (current_->playlist.isComplete && !before) {
        start_ = 0;
        return;
    }
    if (before && !segments.empty()) {
        for (const Segment& old : before->playlist.segments) {
            if (old.number < segments.front().number) continue;
            const std::size_t index = old.number - segments.front().number;
            if (index < segments.size()) start_ += old.start - segments[index].start;
            if (index < segments.size()) return;
            break;
        }
    }
    const double sinceJoining = secondsFromDuration(environment_.loop.now() - environment_.joined);
    start_ = sinceJoining + 3 * current_->playlist.targetDuration - current_->playlist.duration();
}

// The segment at the position, then those ahead, then those just behind.
const SubtitlePlaylist::Segment* SubtitleLoader::nextWanted() const {
    if (!current_) return nullptr;
    const auto& segments = current_->playlist.segments;
    const Duration now = environment_.loop.now();
    const auto isMissing = [&](const Segment& segment) {
        if (held_.contains(segment.number)) return false;
        const auto trouble = troubles_.find(segment.number);
        return trouble == troubles_.end() ||
               (trouble->second.count < segmentTries && now >= trouble->second.again);
    };
    const bool all = current_->playlist.isComplete && segments.size() <= fewSegments && !isLarge_;
    const double position = position_ - start_;
    const auto here = std::partition_point(segments.begin(), segments.end(),
                                           [&](const Segment& segment) { return segment.end() <= position; });
    for (auto at = here; at != segments.end() && (all || at->start < position + lookAhead); ++at) {
        if (isMissing(*at)) return &*at;
    }
    for (auto at = here; at != segments.begin();) {
        --at;
        if (!all && at->end() < position - lookBehind) break;
        if (isMissing(*at)) return &*at;
    }
    return nullptr;
}

void SubtitleLoader::fetchSegment(Segment segment) {
    const auto url = current_->url.resolving(segment.uri);
    if (!url) {
        failSegment(segment, fmt::format("{} is no address", segment.uri), false);
        return proceed();
    }
    if (inLane_) {
        laneTimer_ = environment_.loop.schedule(laneLimit, [weak = weak_from_this()] {
            if (const auto self = weak.lock()) self->leaveLane();
        });
    }
    const std::string address = url->absoluteString();
    task_ = environment_.fetch(address, [this, segment = std::move(segment)](FetchResult result) {
        takeSegment(segment, std::move(result));
    });
}

void SubtitleLoader::takeSegment(const Segment& requested, FetchResult result) {
    const auto keep = shared_from_this();
    const Segment segment = requested;  // which the task owns
    task_ = nullptr;
    leaveLane();
    if (auto* const text = std::get_if<FetchedText>(&result)) {
        auto file = WebVTTFile::parse(text->data);
        if (file) {
            troubles_.erase(segment.number);
            held_[segment.number] = {segment.start + start_, segment.end() + start_, text->data.size()};
            bytes_ += text->data.size();
            place(segment, *file);
            listener_.loaded(segment.number, std::move(file->cues));
            if (!stopped_) trim();
        } else if (text->data.empty()) {
            // What some packagers give where nobody speaks.
            held_[segment.number] = {segment.start + start_, segment.end() + start_, 0};
        } else {
            failSegment(segment,
                        fmt::format("{} is no WebVTT, it begins with \"{}\"", text->url.absoluteString(),
                                    beginning(text->data)),
                        false);
        }
    } else {
        failSegment(segment, std::get<std::string>(result), true);
    }
    proceed();
}

// Brings the file's cues to the player's clock.
void SubtitleLoader::place(const Segment& segment, WebVTTFile& file) {
    if (file.cues.empty()) return;
    if (!file.map && environment_.missingMap == GStreamerOptions::MissingTimestampMap::rfc8216) {
        file.map = TimestampMap{};
    }
    const auto anchor = environment_.anchor();
    const double first = file.cues.front().start;
    double offset = cueClockOffset(file.map, anchor, first, start_ + segment.start);
    if (file.map && anchor) offset += correction(segment, *file.map, offset, first);
    for (WebVTTCueBlock& cue : file.cues) {
        cue.start += offset;
        cue.end += offset;
    }
}

// What has to be added to the offset that the anchor gives, because the anchor is of another period of the stream: after
// a discontinuity the time stamps begin anew.
double SubtitleLoader::correction(const Segment& segment, const TimestampMap& map, double offset, double first) {
    const auto known = periods_.find(segment.discontinuity);
    if (known != periods_.end()) return known->second;
    const auto& playlist = current_->playlist;
    const double expected = start_ + segment.start;
    const auto isFar = [&](double position) { return std::abs(position - expected) > 2 * segment.duration + 5; };
    if (!isFar(offset + first)) return 0;
    const double off = offset + first - expected;
    const bool isFirstPeriod = segment.discontinuity == firstPeriod_;
    if (!playlist.isComplete && isFirstPeriod && std::abs(off) < playlist.duration() + 60) {
        start_ += off;  // was a guess
        return 0;
    }
    if (playlist.isComplete && isFirstPeriod) return 0;
    // As a rule the map of a period's first file says where the period begins; otherwise the cue does.
    const double byMap = expected - map.local - offset;
    const double period = isFar(offset + first + byMap) ? -off : byMap;
    periods_.emplace(segment.discontinuity, period);
    return period;
}

void SubtitleLoader::failSegment(const Segment& segment, const std::string& sentence, bool mayPass) {
    Trouble& trouble = troubles_[segment.number];
    trouble.count = mayPass ? trouble.count + 1 : segmentTries;
    trouble.again = environment_.loop.now() + durationFromSeconds(retryAfter);
    if (trouble.count < segmentTries) wakeIn(retryAfter);
    complain(sentence);
}

void SubtitleLoader::forget() {
    for (const auto& [number, held] : std::exchange(held_, {})) listener_.dropped(number);
    troubles_.clear();
    bytes_ = 0;
}

// Lets go of what has left a live playlist, and of what is far away when there is much.
void SubtitleLoader::trim() {
    const auto let = [this](std::map<std::uint64_t, Held>::iterator at) {
        const std::uint64_t number = at->first;
        bytes_ -= at->second.bytes;
        held_.erase(at);
        listener_.dropped(number);
    };
    const auto& playlist = current_->playlist;
    if (!playlist.isComplete) {
        while (!held_.empty() && !playlist.segments.empty() &&
               held_.begin()->first < playlist.segments.front().number &&
               held_.begin()->second.end < position_ - keepBehind) {
            let(held_.begin());
        }
        while (!troubles_.empty() && !playlist.segments.empty() &&
               troubles_.begin()->first < playlist.segments.front().number) {
            troubles_.erase(troubles_.begin());
        }
    }
    while (bytes_ > mostBytes && held_.size() > 1) {
        const auto distance = [this](const Held& held) {
            return std::max({held.start - position_, position_ - held.end, 0.0});
        };
        const auto first = held_.begin();
        const auto last = std::prev(held_.end());
        const auto farthest = distance(first->second) > distance(last->second) ? first : last;
        // What the position wants now would only be loaded again.
        if (distance(farthest->second) <= lookAhead) return;
        isLarge_ = true;
        let(farthest);
    }
}

void SubtitleLoader::complain(const std::string& sentence) {
    if (std::exchange(complained_, true)) return;
    const std::string name = rendition_.name.empty() ? rendition_.language : rendition_.name;
    logLine(fmt::format("The subtitles \"{}\" cannot be shown: {}", name, sentence));
}

}  // namespace quorel::gstreamer
