#include "engines/gstreamer/pipeline.h"

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "engines/gstreamer/elements.h"

namespace quorel::gstreamer {
namespace {

using namespace std::chrono_literals;

constexpr auto tickInterval = 250ms;
constexpr auto seekGrace = 250ms;     // how long a seek may take before it counts as waiting
constexpr auto drainedAfter = 750ms;  // how long playback stands still before what was buffered counts as used up

// How far a picture's presentation may lie behind its decoding: six pictures at 24 a second. More is a gap.
constexpr GstClockTime longestReordering = GST_SECOND / 4;

// Of engines at work and pipelines on their way out, before a change of source waits for the old one.
constexpr std::size_t mostAtOnce = 12;

double seconds(GstClockTime time) {
    return static_cast<double>(time) / GST_SECOND;
}

// Each loading and decoding thread has an arena of the C library's, which keeps what was freed in it: after some titles
// more than a player needs.
void giveMemoryBack() {
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

}  // namespace

Pipeline::Pipeline(GMainContext* context, ThreadPark& park, PlaylistGateway& gateway,
                   const GStreamerOptions& options, std::shared_ptr<FrameStore> frames, Reporter reporter)
    : context_(context),
      park_(park),
      gateway_(gateway),
      options_(options),
      frames_(std::move(frames)),
      reporter_(std::move(reporter)) {}

Pipeline::~Pipeline() {
    unload();
}

void Pipeline::report(decltype(Report::what) what) {
    reporter_({session_, std::move(what)});
}

void Pipeline::load(std::uint64_t session, GatewaySource source) {
    unload();
    if (session != expected_.load()) return;
    session_ = session;
    isSecondTry_ = wantPlaying_ = sought_ = false;
    wanted_.reset();
    lastSeek_ = 0;
    begin(std::move(source));
}

void Pipeline::begin(GatewaySource source) {
    prerolled_ = hasStreams_ = ended_ = sourceEnded_ = running_ = reportedFed_ = false;
    wasFed_ = false;
    buffering_ = 100;
    origin_ = startsAt_ = 0;
    duration_.reset();
    inFlight_.reset();
    rateInUse_ = 1;
    restingAt_.reset();
    missingFormats_.clear();
    held_.reset();
    lastPosition_ = 0;
    noteProgress();
    movedAt_ = progressAt_;
    requested_ = GST_STATE_NULL;
    source_ = source;

    std::string uri = source.address;
    if (PlaylistGateway::takes(source)) {
        source.onRenditions = [reporter = reporter_,
                               session = session_](std::vector<SubtitleRendition> renditions) {
            reporter({session, Renditions{std::move(renditions)}});
        };
        playlists_ = gateway_.open(std::move(source));
        // Without it a source may be lucky, but not one that an interceptor has to see.
        if (!playlists_) {
            fail({.kind = Failure::Kind::setup,
                  .message =
                      "The engine could not open a port on 127.0.0.1, through which it loads playlists. Does the "
                      "system have descriptors left, and may this process listen on loopback?"});
            return;
        }
        uri = playlists_->address();
    }
    std::string problem;
    playbin_ = makePlaybin(uri, options_.audio, frames_, session_, problem);
    if (playbin_ == nullptr) {
        fail({.kind = Failure::Kind::setup, .message = problem});
        return;
    }
    g_object_set(playbin_, "volume", volume_, "mute", static_cast<gboolean>(muted_), nullptr);
    guard_ = DownloadGuard::watch(playbin_);
    ends_ = EndBarrier::watch(playbin_);
    watchBus();
    updateTicks();
    applyState();
}

// A short stream may be loaded to its end before the thread has run on which hlsdemux2 makes its pads; then it gives up
// ("Couldn't download fragments", status 200), though no request has failed. The second time goes well.
bool Pipeline::tryAgain(const Failure& failure) {
    const bool mayHelp = failure.kind == Failure::Kind::source && failure.httpStatus < 400 && !prerolled_ &&
                         playlists_ && !playlists_->explanation();
    if (!mayHelp || std::exchange(isSecondTry_, true)) return false;
    GatewaySource source = source_;
    unload();
    begin(std::move(source));
    return true;
}

void Pipeline::unload() {
    source_ = {};
    stop(ticks_);
    stop(seekWait_);
    stop(busWatch_);
    if (playbin_ == nullptr) {
        if (const auto playlists = std::exchange(playlists_, nullptr)) playlists->close();
        return;
    }
    // Silent at once; the rest takes longer.
    if (requested_ == GST_STATE_PLAYING) gst_element_set_state(playbin_, GST_STATE_PAUSED);
    const auto tearDown = [playbin = std::exchange(playbin_, nullptr), guard = std::exchange(guard_, nullptr),
                           ends = std::exchange(ends_, nullptr), playlists = std::exchange(playlists_, nullptr),
                           ended = sourceEnded_, trims = options_.giveMemoryBack] {
        if (playlists) playlists->close();
        ends->open();
        guard->stopDownloads(playbin, ended || !playlists);
        gst_element_set_state(playbin, GST_STATE_NULL);
        gst_object_unref(playbin);
        if (trims) giveMemoryBack();
    };
    // A new source need not wait for the old one, but who changes sources without end does.
    if (park_.running() < mostAtOnce) {
        park_.run(tearDown);
    } else {
        tearDown();
    }
}

GSource* Pipeline::attachTimer(std::chrono::milliseconds interval, void (Pipeline::*function)()) {
    struct Closure {
        Pipeline* self;
        void (Pipeline::*function)();
    };
    GSource* const timer = g_timeout_source_new(static_cast<guint>(interval.count()));
    g_source_set_callback(
        timer,
        [](gpointer own) -> gboolean {
            const auto closure = *static_cast<Closure*>(own);
            ((*closure.self).*closure.function)();
            return G_SOURCE_CONTINUE;
        },
        new Closure{this, function}, [](gpointer own) { delete static_cast<Closure*>(own); });
    g_source_attach(timer, context_);
    return timer;
}

void Pipeline::stop(GSource*& source) {
    if (source == nullptr) return;
    g_source_destroy(source);
    g_source_unref(std::exchange(source, nullptr));
}

// Seeks are sent while paused, and PLAYING is asked for only when they are done: a pipeline that is sent back to
// PAUSED on its way to PLAYING forgets that the flush has reset its clock, and jumps ahead by the time it has run.
void Pipeline::applyState() {
    if (playbin_ == nullptr) return;
    // What is left of a source that has broken is played without waiting for more, which will not come.
    const bool fed = buffering_ >= 100 || held_;
    const bool run = prerolled_ && wantPlaying_ && fed && !inFlight_ && !ended_;
    const GstState state = run ? GST_STATE_PLAYING : GST_STATE_PAUSED;
    if (std::exchange(requested_, state) == state) return;
    if (run) {
        restingAt_.reset();
    } else {
        running_ = false;
    }
    if (gst_element_set_state(playbin_, state) == GST_STATE_CHANGE_FAILURE && !held_) {
        // The reason follows on the bus, as a rule; a later tick looks whether it did.
        held_ = Failure{.message = "The pipeline refused to start."};
    }
}

void Pipeline::setPlaying(bool wanted, std::uint64_t play) {
    if (playbin_ == nullptr) return;
    play_ = play;
    wantPlaying_ = wanted;
    if (wanted) noteProgress();
    movedAt_ = Clock::now();
    updateTicks();
    if (wanted && running_) {
        onRunning();
    } else {
        applyState();
    }
}

void Pipeline::setVolume(double volume, bool muted) {
    volume_ = volume;
    muted_ = muted;
    if (playbin_ != nullptr)
        g_object_set(playbin_, "volume", volume, "mute", static_cast<gboolean>(muted), nullptr);
}

std::optional<GstClockTime> Pipeline::streamPosition() const {
    gint64 position = -1;
    if (!gst_element_query_position(playbin_, GST_FORMAT_TIME, &position) || position < 0) return {};
    const auto time = static_cast<GstClockTime>(position);
    return sought_ ? time : std::max(time, startsAt_);
}

double Pipeline::playerTime(GstClockTime streamTime) const {
    return seconds(streamTime) - seconds(origin_);
}

std::optional<double> Pipeline::queryDuration() const {
    gint64 duration = -1;
    if (gst_element_query_duration(playbin_, GST_FORMAT_TIME, &duration) && duration > 0) {
        return seconds(static_cast<GstClockTime>(duration));
    }
    return std::numeric_limits<double>::infinity();
}

// hlsdemux2 puts the decoding time of the first picture at the beginning of its clock, and with B-frames that is
// earlier than the moment of its presentation, by two pictures or so. What people call 0 is when they see it.
// A live stream's own clock begins where its first playlist did, which says nothing to anybody.
TimelineAnchor Pipeline::findOrigin(GstClockTime position) {
    const bool isLive = duration_ == std::numeric_limits<double>::infinity();
    const auto firstSeconds = frames_->firstTime(session_);
    const GstClockTime first =
        firstSeconds ? static_cast<GstClockTime>(std::llround(*firstSeconds * GST_SECOND)) : position;
    startsAt_ = first > position && first - position <= longestReordering ? first : position;
    origin_ = isLive ? startsAt_ : startsAt_ - position;
    return {.playerTime = playerTime(first)};
}

void Pipeline::onPrerolled() {
    if (!missingFormats_.empty()) {
        fail({.kind = Failure::Kind::format, .formats = missingFormats_});
        return;
    }
    if (!hasStreams_) {
        fail({.kind = Failure::Kind::noMedia});
        return;
    }
    prerolled_ = true;
    duration_ = queryDuration();
    const TimelineAnchor start = findOrigin(streamPosition().value_or(0));
    frames_->setOrigin(session_, seconds(origin_));
    restingAt_ = lastPosition_ = startsAt_;
    const auto timestamp = guard_->firstTimestamp();
    report(Prerolled{duration_,
                     timestamp ? std::optional(TimelineAnchor{*timestamp, start.playerTime}) : std::nullopt});
    if (rate_ != 1 && !wanted_) wanted_ = Target{};
    if (wanted_) {
        startSeek();
    } else {
        reportFed();
    }
    updateTicks();
}

bool Pipeline::isFed() const {
    return prerolled_ && !inFlight_ && (buffering_ >= 100 || held_);
}

// Want of data is not worth telling while a seek is fresh: it has emptied every buffer, and most are full at once.
void Pipeline::reportFed() {
    const bool fed = isFed();
    if (fed && !std::exchange(wasFed_, true)) updateTicks();
    if (fed == reportedFed_ || (!fed && Clock::now() - seekSentAt_ < seekGrace)) return;
    reportedFed_ = fed;
    report(Fed{fed});
}

void Pipeline::onRunning() {
    if (requested_ != GST_STATE_PLAYING) return;
    running_ = true;
    if (wantPlaying_) report(Running{play_, playerTime(streamPosition().value_or(lastPosition_))});
}

void Pipeline::onEnded() {
    if (held_) {
        fail(*std::exchange(held_, std::nullopt));
        return;
    }
    ended_ = true;
    updateTicks();
    report(Ended{lastSeek_, playerTime(streamPosition().value_or(lastPosition_))});
    applyState();
}

// Until a source, or the place that was sought, has enough to be played it is waited for, though nobody may have asked to
// play yet: hlsdemux2 says nothing when it gives up a fragment that is none.
void Pipeline::updateTicks() {
    const bool needed = playbin_ != nullptr && !ended_ && (wantPlaying_ || !wasFed_);
    if (!needed) {
        stop(ticks_);
    } else if (ticks_ == nullptr) {
        ticks_ = attachTimer(tickInterval, &Pipeline::tick);
    }
}

void Pipeline::tick() {
    const auto now = Clock::now();
    if (running_ && !inFlight_) {
        if (const auto position = streamPosition()) {
            if (*position != lastPosition_) {
                lastPosition_ = *position;
                movedAt_ = progressAt_ = now;
            }
            report(Position{playerTime(*position), lastSeek_});
        }
    }
    reportFed();
    if (held_ && now - movedAt_ > drainedAfter) {
        fail(*std::exchange(held_, std::nullopt));
        return;
    }
    // A live stream that played is worth waiting for: its server may come back.
    const bool isLive = prerolled_ && duration_ == std::numeric_limits<double>::infinity();
    const double patience = options_.stallTimeout * (isLive ? 3 : 1);
    if (now - progressAt_ > std::chrono::duration<double>(patience)) {
        fail({.kind = Failure::Kind::stalled, .seconds = patience});
    }
}

}  // namespace quorel::gstreamer
