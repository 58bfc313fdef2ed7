#include "tools/quorel-play/playback.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstddef>
#include <exception>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engines/vast/options.h"
#include "engines/vast/vast_ad_service.h"
#include "quorel/foundation/log.h"
#include "quorel/foundation/task.h"
#include "quorel/foundation/timer.h"
#include "quorel/foundation/url.h"
#include "quorel/foundation/url_error.h"
#include "quorel/foundation/url_protocol.h"
#include "quorel/foundation/url_request.h"
#include "quorel/foundation/url_session.h"
#include "quorel/foundation/uuid.h"
#include "quorel/player/content_state.h"
#include "quorel/player/controller.h"
#include "quorel/player/events.h"
#include "quorel/session/models.h"
#include "quorel/session/platform_services.h"
#include "quorel/session/quorel.h"
#include "quorel/session/quorel_api.h"
#include "quorel/sideload/connector.h"
#include "quorel/telemetry/network_interceptor.h"
#include "quorel/ui/display_list.h"
#include "quorel/ui/view.h"
#include "sandbox/sandbox.h"
#include "sandbox/sandbox_protocol.h"
#include "sandbox/titles.h"
#include "tools/quorel-play/observed_engine.h"
#include "tools/quorel-play/snapshot.h"

namespace quorel::play {

namespace {

// After the first picture; a title may have none.
constexpr double longestWaitForTracks = 2;  // seconds

volatile std::sig_atomic_t interrupted = 0;

// A first signal ends the run in good order, a second one of its kind ends the process.
void catchSignals() {
    struct sigaction action {};
    action.sa_handler = [](int) { interrupted = 1; };
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

// Watches one title from setup() to the end. Everything runs on the loop's thread, but for the frame callback.
class Run final : public QuorelPlayerListener, public std::enable_shared_from_this<Run> {
public:
    Run(const Arguments& arguments, RealRunLoop& loop, Reporter& reporter)
        : arguments_(arguments), loop_(loop), reporter_(reporter) {
        summary_.contentId = arguments.contentId;
    }

    void start() {
        begin_ = loop_.now();
        lastProgress_ = begin_;
        load();
        watch_ = Timer::scheduled(loop_, 0.05, Timer::Repeats::yes, [weak = weak_from_this()](Timer& timer) {
            if (const auto run = weak.lock())
                run->check();
            else
                timer.invalidate();
        });
    }

    void engineMade(const std::shared_ptr<THEOplayer>& engine) {
        frames_ = engine->videoFrames();
        if (frames_) {
            frames_->setFrameCallback([this, weak = weak_from_this(), frames = std::weak_ptr(frames_)] {
                const auto run = weak.lock();
                const auto source = frames.lock();
                if (run && source && firstFrameAt_.load() < 0 && source->latestFrame()) {
                    firstFrameAt_ = secondsFromDuration(loop_.now());
                }
            });
        }
        engine_ = engine;
        engine->textTracks().addEventListener(TextTrackListEventTypes::ADD_TRACK, [weak = weak_from_this()](
                                                                                      const AddTrackEvent& event) {
            if (!event.track) return;
            event.track->addEventListener(TextTrackEventTypes::ENTER_CUE, [weak](const EnterCueEvent& entered) {
                if (const auto run = weak.lock()) run->cueEntered(entered);
            });
        });
    }

    void onEvent(const QuorelPlayerEvent& event) override {
        if (done_) return;
        ++summary_.events[std::string(eventName(event))];
        if (const auto* update = event.getIf<QuorelPlayerEvent::timeUpdate>()) return moved(update->time);
        reporter_.event(elapsed(), event);
        followAds(event);
        if (const auto* loaded = event.getIf<QuorelPlayerEvent::metadataLoaded>()) metadata(loaded->metadata);
        if (const auto* update = event.getIf<QuorelPlayerEvent::durationUpdate>()) setDuration(update->time);
        if (const auto* error = event.getIf<struct QuorelPlayerEvent::error>()) fail(error->error);
        if (event.getIf<QuorelPlayerEvent::ended>() != nullptr) finish(Outcome::ended, 0);
    }

    bool done() const { return done_; }
    std::shared_ptr<QuorelPlayerViewController> takePlayer() { return std::exchange(player_, nullptr); }

    // What was seen, with the picture as it is now.
    Summary finished() {
        if (watch_) watch_->invalidate();
        const auto frame = shownFrame();
        if (frame) {
            summary_.width = frame->width;
            summary_.height = frame->height;
            summary_.frameTime = frame->time;
        }
        if (firstFrameAt_ >= 0) summary_.firstFrame = firstFrameAt_ - secondsFromDuration(begin_);
        if (arguments_.snapshot) takeSnapshot(frame.get(), *arguments_.snapshot);
        if (frames_) frames_->setFrameCallback({});
        return summary_;
    }

private:
    void load() {
        player_ = QuorelPlayerViewController::make();
        if (arguments_.mute) player_->mute();
        player_->registerPlayerListener(shared_from_this());
        player_->layoutIn({0, 0, 1280, 720});
        player_->setup(arguments_.contentId, /*hideUI=*/true, arguments_.start, arguments_.subtitle, {});
    }

    double elapsed() const { return secondsFromDuration(loop_.now() - begin_); }

    void finish(Outcome outcome, int exitCode) {
        if (done_) return;
        done_ = true;
        summary_.outcome = outcome;
        summary_.exitCode = exitCode;
    }

    void fail(std::string error) {
        summary_.error = std::move(error);
        finish(Outcome::failed, 1);
    }

    void metadata(const VideoMetadata& loaded) {
        setDuration(loaded.duration);
        const auto player = player_;
        if (!player) return;
        if (arguments_.rate != 1) player->setPlaybackRate(arguments_.rate);
        // Live content waits for its host.
        if (loaded.isLive) player->play();
    }

    void followAds(const QuorelPlayerEvent& event) {
        if (event.getIf<QuorelPlayerEvent::adBreakBegin>() != nullptr) adsAreOn_ = true;
        if (event.getIf<QuorelPlayerEvent::adBreakEnd>() != nullptr) adsAreOn_ = false;
        if (event.getIf<QuorelPlayerEvent::adBegin>() != nullptr) adPictureWanted_ = true;
    }

    // The picture in front: an ad's while there is one, else the content's.
    std::shared_ptr<const ui::VideoFrame> shownFrame() const {
        std::shared_ptr<const ui::VideoFrame> shown;
        for (const ui::DisplayItem& item : ui::displayList(player_->view(), loop_.now())) {
            const auto* video = dynamic_cast<const ui::VideoView*>(item.view.get());
            auto frame = video != nullptr ? video->source()->latestFrame() : nullptr;
            if (frame) shown = std::move(frame);
        }
        return shown;
    }

    // One picture of each ad, a second from its beginning, beside that of the end: "play.png" has "play-ad-1.png".
    void takeAdSnapshot() {
        if (!adPictureWanted_ || !arguments_.snapshot) return;
        const auto frame = shownFrame();
        const bool ofAd = frame && frames_ && frame != frames_->latestFrame();
        if (!ofAd || frame->time < 1) return;
        adPictureWanted_ = false;
        std::filesystem::path path = *arguments_.snapshot;
        path.replace_filename(
            fmt::format("{}-ad-{}{}", path.stem().string(), ++adPictures_, path.extension().string()));
        takeSnapshot(frame.get(), path.string());
    }

    void setDuration(double duration) {
        if (duration > 0) summary_.duration = duration;
    }

    void moved(double position) {
        if (!summary_.firstPosition) summary_.firstPosition = position;
        if (summary_.position != position) lastProgress_ = loop_.now();
        summary_.position = position;
        reporter_.timeUpdate(elapsed(), position, summary_.duration);
        if (arguments_.seconds && position >= *summary_.firstPosition + *arguments_.seconds) {
            finish(Outcome::stopped, 0);
        }
    }

    void cueEntered(const EnterCueEvent& event) {
        const auto track = event.cue ? event.cue->track() : nullptr;
        if (!track || track->mode() != TextTrackMode::showing) return;
        ++summary_.subtitleLines;
        reporter_.subtitle(elapsed(), event.cue->contentString().value_or(""));
    }

    void check() {
        const bool picture = firstFrameAt_ >= 0;
        if (interrupted != 0) return finish(Outcome::interrupted, picture ? 0 : 3);
        if (arguments_.listTracks && picture &&
            (hasTracks() || secondsFromDuration(loop_.now()) > firstFrameAt_ + longestWaitForTracks)) {
            return listTracks();
        }
        lookAtScreen();
        takeAdSnapshot();
        if (adsAreOn_) lastProgress_ = loop_.now();  // which end by themselves
        const double still = secondsFromDuration(loop_.now() - lastProgress_);
        if (still < arguments_.timeout) return;
        if (picture) return fail(fmt::format("no progress for {} s", arguments_.timeout));
        summary_.error = fmt::format("nothing to see after {} s", arguments_.timeout);
        finish(Outcome::noPicture, 3);
    }

    bool hasTracks() const {
        const auto engine = engine_.lock();
        return engine && engine->textTracks().count() > 0;
    }

    void listTracks() {
        const auto engine = engine_.lock();
        for (std::size_t i = 0; engine && i < engine->textTracks().count(); ++i) {
            const auto track = engine->textTracks().get(i);
            reporter_.track(*track, track->mode() == TextTrackMode::showing);
        }
        finish(Outcome::stopped, 0);
    }

    // A player does not follow its title: whoever waits for it to come on air asks, and makes a new player.
    void lookAtScreen() {
        const std::string_view state = screenName(player_->contentState());
        if (state.empty()) return;
        std::string countdown;
        for (const auto& view : player_->view()->subviews()) {
            const auto label = std::dynamic_pointer_cast<ui::Label>(view);
            if (label && label->accessibilityName() == "Countdown") countdown = label->text();
        }
        if (std::pair(state, countdown) != screen_) {
            screen_ = {state, countdown};
            reporter_.screen(elapsed(), state, countdown);
            lastProgress_ = loop_.now();
        }
        if (isAsking_ || loop_.now() < nextQuestion_) return;
        isAsking_ = true;
        nextQuestion_ = loop_.now() + std::chrono::seconds(1);
        startTask(loop_, askWhetherOnAir(shared_from_this()));
    }

    static std::string_view screenName(ContentState state) {
        switch (state) {
            case ContentState::startSoon:
                return "startSoon";
            case ContentState::paused:
                return "paused";
            case ContentState::shutdown:
                return "shutdown";
            case ContentState::idle:
            case ContentState::live:
                break;
        }
        return "";
    }

    static Task<void> askWhetherOnAir(std::shared_ptr<Run> run) {
        bool onAir = false;
        try {
            const PlayerStatus status = co_await QuorelAPI::shared().fetchLiveStatus(run->arguments_.contentId);
            onAir = status.isLive && !status.isPaused && !status.isShutdown;
        } catch (const Error&) {
            // Asked again in a second.
        }
        run->isAsking_ = false;
        if (!onAir || !run->player_) co_return;
        run->player_->unmount();
        run->load();
    }

    void takeSnapshot(const ui::VideoFrame* frame, const std::string& path) {
        if (frame == nullptr) return;
        try {
            writePNG(*frame, path);
            summary_.snapshot = path;
        } catch (const SnapshotError& error) {
            summary_.error = error.what();
            summary_.outcome = Outcome::failed;
            summary_.exitCode = 1;
        }
    }

    const Arguments& arguments_;
    RealRunLoop& loop_;
    Reporter& reporter_;
    std::shared_ptr<QuorelPlayerViewController> player_;
    std::weak_ptr<THEOplayer> engine_;
    std::shared_ptr<ui::VideoFrameSource> frames_;
    std::shared_ptr<Timer> watch_;
    Duration begin_{0};
    Duration lastProgress_{0};
    std::atomic<double> firstFrameAt_ = -1;  // seconds on the loop's clock; written by the engine's thread
    Summary summary_;
    bool done_ = false;
    std::pair<std::string_view, std::string> screen_;  // as it was reported
    bool isAsking_ = false;
    Duration nextQuestion_{0};
    bool adsAreOn_ = false;
    bool adPictureWanted_ = false;
    int adPictures_ = 0;
};

// Sends the SDK's log lines to the reporter while it lives. What is logged later, by what the loop holds to the very
// end, is nobody's business.
class LogToReporter {
public:
    explicit LogToReporter(Reporter& reporter) {
        setLogSink([&reporter](std::string_view line) { reporter.logged(line); });
    }
    ~LogToReporter() {
        setLogSink([](std::string_view) {});
    }
    LogToReporter(const LogToReporter&) = delete;
    LogToReporter& operator=(const LogToReporter&) = delete;
};

// Answers every request with an error.
class Refusal final : public UrlProtocol {
public:
    bool canInit(const URLRequest&) const override { return true; }
    void startLoading(const URLRequest&, std::shared_ptr<UrlProtocolClient> client) override {
        client->didFail(URLError(URLError::Code::cancelled));
    }
};

// A load that is under way keeps the player, and needs the loop and the executor that it lives on. It ends when
// its requests do: the old URL session cancels them as it goes, the new one gives no others.
void letGo(std::shared_ptr<QuorelPlayerViewController> player, RealRunLoop& loop) {
    UrlSession::Configuration refusing;
    refusing.protocols.push_back(std::make_shared<Refusal>());
    PlatformServices services = Quorel::shared().services();
    services.urlSession = std::make_shared<UrlSession>(std::move(refusing));
    Quorel::shared().install(std::move(services));

    const std::weak_ptr<QuorelPlayerViewController> ending = player;
    // A countdown keeps its player, and the loop keeps the countdown.
    const long holders = player->contentState() == ContentState::startSoon ? 1 : 0;
    player.reset();
    loop.runUntil([&] { return ending.use_count() <= holders; }, std::chrono::seconds(5));
    Quorel::shared().install({});
    // Whatever the engine posted last holds on to what it speaks of.
    loop.runUntil([] { return false; }, std::chrono::milliseconds(10));
}

// The title starts soon, and comes on air `after` seconds later.
void announce(sandbox::Sandbox& backend, const std::string& id, double after, RealRunLoop& loop) {
    for (sandbox::Title title : backend.titles()) {
        if (title.id != id || !title.isLive()) continue;
        title.state = sandbox::Title::State::startsSoon;
        title.eventDate = loop.secondsSince1970();
        backend.setTitle(title);
        Timer::scheduled(loop, after, Timer::Repeats::no, [&backend, title](Timer&) mutable {
            title.state = sandbox::Title::State::onAir;
            backend.setTitle(title);
        });
    }
}

}  // namespace

int play(const Arguments& arguments, const std::shared_ptr<RealRunLoop>& loop,
         std::shared_ptr<EngineFactory> engines, Reporter& reporter) {
    catchSignals();
    SideloadedSubtitleConnector::SHOW_DEBUG_LOGS = arguments.debug;
    const LogToReporter logging(reporter);

    std::optional<sandbox::Sandbox> backend;
    if (arguments.sandbox) {
        backend.emplace();
        backend->start();
        if (arguments.onAirAfter) announce(*backend, arguments.contentId, *arguments.onAirAfter, *loop);
    }

    const auto network = std::make_shared<UrlSession>();  // to the backend that is named, or to the sandbox
    const auto run = std::make_shared<Run>(arguments, *loop, reporter);
    auto services = PlatformServices::standard(loop, nullptr);
    AdServiceOptions adOptions;
    adOptions.muted = arguments.mute;
    const auto ads = VastAdService::make(loop, services.urlSession, std::move(engines), std::move(adOptions));
    services.imaFactory = ads->imaFactory();
    services.imaIntegrationFactory = ads->integrationFactory();
    services.engineFactory = std::make_shared<ObservedEngineFactory>(
        ads->engineFactory(), [weak = std::weak_ptr(run)](const std::shared_ptr<THEOplayer>& engine) {
            if (const auto watching = weak.lock()) watching->engineMade(engine);
        });
    if (arguments.traceNetwork) {
        for (UrlSession* session : {services.urlSession.get(), network.get()}) {
            session->registerProtocol(std::make_shared<NetworkInterceptor>());
        }
    }
    const auto server = backend ? URL::parse(backend->baseURL()) : arguments.backend;
    if (server) {
        services.urlSession->registerProtocol(std::make_shared<sandbox::SandboxProtocol>(*server, network));
    }
    Quorel::shared().install(std::move(services));
    Quorel::shared().initialize(arguments.token.value_or(backend ? backend->token() : ""), std::nullopt, false);
    Quorel::shared().setSessionId(UUID::random().string());

    run->start();
    constexpr Duration forever = std::chrono::hours(24 * 365);
    loop->runUntil([&] { return run->done(); }, forever);
    const Summary summary = run->finished();

    auto player = run->takePlayer();
    player->unmount();
    letGo(std::move(player), *loop);
    loop->clear();  // a countdown that is still counting
    reporter.summary(summary);
    return summary.exitCode;
}

}  // namespace quorel::play
