#include "engines/simulated/simulated_engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <thread>

namespace quorel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace std::chrono_literals;

const std::string filmUrl = "https://cdn.example/film.m3u8";

class SimulatedEngineTest : public ::testing::Test {
protected:
    SimulatedEngineTest() {
        factory.makePlayer(std::nullopt, {}).swap(held);
        player = factory.latest().get();
    }
    void load(SimulatedScript script, const SourceDescription& source = filmSource()) {
        factory.setDefaultScript(std::move(script));
        player->setSource(source);
        loop->advance(100ms);
    }
    static SourceDescription filmSource() {
        SourceDescription source;
        source.source.src = filmUrl;
        return source;
    }
    // Of the picture's flat colour, which lies below the blocks.
    int blueBelow() const {
        const auto frame = player->videoFrames()->latestFrame();
        return std::to_integer<int>(frame->pixels.get()[35 * frame->stride]);
    }
    // The log since the last call, without what every load tells.
    std::vector<std::string> news() {
        auto lines = player->log().lines();
        player->log().clear();
        std::erase_if(lines, [](const auto& line) {
            return line == "canplay" || line == "canplaythrough" || line == "loadedmetadata" ||
                   line.starts_with("readystate") || line.starts_with("durationchange");
        });
        return lines;
    }

    std::shared_ptr<ManualRunLoop> loop = std::make_shared<ManualRunLoop>();
    SimulatedEngineFactory factory{loop};
    std::shared_ptr<THEOplayer> held;
    SimulatedEngine* player = nullptr;
};

TEST_F(SimulatedEngineTest, LogsAWholeFilmWithAStall) {
    load({.canPlayAfter = 0.4, .duration = 3, .stalls = {{.at = 1, .lasts = 2}}});
    player->play();
    loop->advance(10s);
    EXPECT_THAT(player->log().lines(),
                ElementsAre("readystatechange(haveMetadata)", "durationchange(3)", "loadedmetadata",
                            "readystatechange(haveEnoughData)", "canplay", "canplaythrough", "play", "playing",
                            "readystatechange(haveCurrentData)", "waiting", "readystatechange(haveEnoughData)",
                            "canplay", "canplaythrough", "playing", "pause", "ended"));
    std::vector<double> times;
    for (const auto& event : player->log().events()) times.push_back(event.time);
    EXPECT_THAT(times,
                ElementsAre(0.1, 0.1, 0.1, 0.5, 0.5, 0.5, 0.5, 0.5, 1.5, 1.5, 3.5, 3.5, 3.5, 3.5, 5.5, 5.5));
    EXPECT_EQ(player->log().count("timeupdate"), 12u);
}

TEST_F(SimulatedEngineTest, StallsRunOnWhilePausedAndEndWithASeek) {
    load({.stalls = {{.at = 2, .lasts = 5}, {.at = 1, .lasts = 5}}});
    player->play();
    loop->advance(2s);
    player->pause();
    player->play();
    loop->advance(1s);
    EXPECT_THAT(news(), ElementsAre("play", "playing", "waiting", "pause", "play")) << "one WAITING is enough";
    EXPECT_EQ(player->currentTime(), 1);
    player->pause();
    loop->advance(5s);
    player->simulateStall(1);
    EXPECT_THAT(news(), ElementsAre("pause"));
    player->play();
    EXPECT_THAT(news(), ElementsAre("play", "waiting"));
    loop->advance(2500ms);
    EXPECT_THAT(news(), ElementsAre("playing", "waiting"));
    EXPECT_EQ(player->currentTime(), 2);
    player->setCurrentTime(10);
    loop->advance(1s);
    EXPECT_THAT(news(), ElementsAre("playing"));
    EXPECT_EQ(player->currentTime(), 11);
    const auto ready = player->log().count("canplay");
    loop->advance(5s);
    EXPECT_EQ(player->log().count("canplay"), ready) << "the stall is over for good";
    player->setCurrentTime(11);
    player->simulateStall(9);
    loop->drain();
    player->simulateStall(1);
    player->simulateStall(11);
    player->simulateStall(2);
    loop->advance(10900ms);
    EXPECT_THAT(news(), ElementsAre("waiting"));
    loop->advance(100ms);
    EXPECT_THAT(news(), ElementsAre("playing"));
    player->setCurrentTime(2);
    loop->advance(1s);
    EXPECT_EQ(player->currentTime(), 2) << "it stalls where it is sought to";
    load({.stalls = {{.at = 1}}, .seekTakes = 1});
    player->play();
    news();
    loop->advance(1s);
    EXPECT_THAT(news(), ElementsAre("playing", "waiting")) << "another source has its own";
    loop->advance(1s);
    player->setCurrentTime(5);
    EXPECT_EQ(player->readyState(), ReadyState::haveMetadata);
    loop->advance(1500ms);
    EXPECT_THAT(news(), ElementsAre("playing", "waiting", "playing"));
    EXPECT_EQ(player->currentTime(), 5.5);
}

TEST_F(SimulatedEngineTest, BreaksForAdsAndGoesOnWhereItWas) {
    load({.duration = 10, .adBreaks = {{0, {2}}, {4.5, {1, 1.5}}, {99, {}}}});
    const std::vector<std::string> oneAd = {"adbreakbegin", "adbegin", "adend", "adbreakend"};
    player->play();
    loop->advance(1s);
    EXPECT_THAT(news(), ElementsAre("play", "adbreakbegin", "adbegin"));
    EXPECT_EQ(blueBelow(), std::lround(simulatedAdColor.blue * 255));
    player->pause();
    loop->advance(60s);
    player->play();
    loop->advance(900ms);
    EXPECT_THAT(news(), ElementsAre("pause", "play")) << "pause() holds the ad";
    loop->advance(4100ms);
    EXPECT_THAT(news(), ElementsAre("adend", "adbreakend", "playing"));
    EXPECT_DOUBLE_EQ(player->currentTime(), 4);

    player->log().clear();
    loop->advance(2500ms);
    EXPECT_EQ(player->log().count("timeupdate"), 2u) << "none while ads play";
    EXPECT_EQ(player->currentTime(), 4.5);
    int sought = 0;
    player->setCurrentTime(7, [&] { ++sought; });
    loop->advance(400ms);
    EXPECT_EQ(sought, 0);
    loop->advance(1100ms);
    EXPECT_THAT(news(),
                ElementsAre("adbreakbegin", "adbegin", "adend", "adbegin", "adend", "adbreakend", "playing"));
    EXPECT_EQ(sought, 1);
    EXPECT_DOUBLE_EQ(player->currentTime(), 8);
    loop->advance(2s);
    EXPECT_THAT(news(), ElementsAre("adbreakbegin", "adbreakend", "pause", "ended"));

    player->play();
    loop->advance(1s);
    EXPECT_THAT(news(), ElementsAre("play", "playing")) << "each break once";
    player->simulateAdBreak({.ads = {30}});
    loop->advance(1s);
    player->setSource(std::nullopt);
    EXPECT_THAT(news(), ElementsAre("adbreakbegin", "adbegin", "adend", "adbreakend", "pause"));
    EXPECT_EQ(loop->pendingTimers(), 0u);
}

TEST_F(SimulatedEngineTest, BreaksDown) {
    load({.error = SimulatedError{.at = 2.5, .text = "Lost."}});
    player->play();
    loop->advance(10s);
    EXPECT_THAT(news(), ElementsAre("play", "playing", "pause", "error(Lost.)"));
    EXPECT_EQ(player->currentTime(), 2.5);
    player->simulateError("again");
    load({.error = SimulatedError{.at = 2.5}});
    player->setCurrentTime(3);
    player->play();
    loop->advance(2s);
    EXPECT_THAT(news(), ElementsAre("play", "playing")) << "it lies behind";
    player->pause();
    news();
    load({.neverLoads = true});
    loop->advance(24h);
    EXPECT_THAT(news(), IsEmpty());
    player->simulateError("Gave up.");
    EXPECT_THAT(news(), ElementsAre("error(Gave up.)"));
    load({}, SourceDescription{});
    EXPECT_THAT(news(), ElementsAre("error(The source has no address to load from.)"));
    EXPECT_EQ(loop->pendingTimers(), 0u);
}

TEST_F(SimulatedEngineTest, CuesEnterAndLeaveAtTheirTimes) {
    load(
        {.tracks = {{.label = "Late", .language = "es", .addAfter = 1, .cues = {{0, 60, "todo"}}},
                    {.label = "English", .language = "en", .cues = {{3, 5, "c"}, {1, 2.1, "a"}, {2, 4.2, "b"}}}}});
    const auto english = player->textTracks().get(0);
    double exitAt = 0;
    english->addEventListener(TextTrackEventTypes::EXIT_CUE, [&](const auto& e) {
        exitAt = player->currentTime() - e.cue->endTime();
        EXPECT_EQ(e.cue->track(), english);
    });
    english->setMode(TextTrackMode::hidden);
    player->play();
    loop->advance(4500ms);
    EXPECT_THAT(news(), ElementsAre("addtrack(en disabled)", "change(en hidden)", "play", "playing",
                                    "addtrack(es disabled)", "entercue(a)", "entercue(b)", "exitcue(a)",
                                    "entercue(c)", "exitcue(b)"));
    EXPECT_EQ(exitAt, 0);
    player->pause();
    player->setCurrentTime(3.5);
    loop->drain();
    player->setCurrentTime(1.5);
    loop->drain();
    player->setCurrentTime(40);
    loop->drain();
    EXPECT_THAT(news(),
                ElementsAre("pause", "entercue(b)", "exitcue(b)", "exitcue(c)", "entercue(a)", "exitcue(a)"));

    const auto late = player->textTracks().get(1);
    late->setMode(TextTrackMode::showing);
    ASSERT_EQ(late->activeCues().size(), 1u);
    const auto cue = late->activeCues()[0];
    late->setMode(TextTrackMode::disabled);
    EXPECT_THAT(late->activeCues(), IsEmpty());
    late->setMode(TextTrackMode::hidden);
    EXPECT_THAT(news(), ElementsAre("change(es showing)", "entercue(todo)", "change(es disabled)",
                                    "change(es hidden)", "entercue(todo)"));
    player->simulateTrack({.kind = "captions", .language = "fr"});
    held->setSource(std::nullopt);
    late->setMode(TextTrackMode::showing);
    EXPECT_THAT(news(), ElementsAre("addtrack(fr disabled)", "removetrack(en hidden)", "removetrack(es hidden)",
                                    "removetrack(fr disabled)"));
}

// A listener that reacts to a cue by restarting its track, or to a change by showing another track, ends
// somewhere.
TEST_F(SimulatedEngineTest, ListenersMayTurnTheTracksAround) {
    load(
        {.tracks = {{.language = "a", .cues = {{1, 2, "x"}, {1, 3, "y"}}}, {.language = "b"}, {.language = "c"}}});
    auto& tracks = player->textTracks();
    const auto a = tracks.get(0), b = tracks.get(1), c = tracks.get(2);
    a->setMode(TextTrackMode::showing);
    a->addEventListener(TextTrackEventTypes::ENTER_CUE, [&](const auto& e) {
        if (e.cue->contentString() == "x") a->setMode(TextTrackMode::disabled), player->setCurrentTime(50);
    });
    player->play();
    loop->advance(2s);
    EXPECT_EQ(player->currentTime(), 51);
    a->setMode(TextTrackMode::showing);
    news();
    tracks.addEventListener(TextTrackListEventTypes::CHANGE, [&](const auto& e) {
        if (e.track == a) c->setMode(TextTrackMode::showing);
    });
    b->setMode(TextTrackMode::showing);
    EXPECT_THAT(news(),
                ElementsAre("change(a hidden)", "change(c showing)", "change(c hidden)", "change(b showing)"));

    load({.tracks = {{.language = "d", .cues = {{1, 2, "x"}, {1, 3, "y"}}}}});
    const auto d = tracks.get(0);
    d->addEventListener(TextTrackEventTypes::ENTER_CUE, [&](const auto&) { player->setSource(std::nullopt); });
    d->setMode(TextTrackMode::hidden);
    player->play();
    news();
    loop->advance(2s);
    EXPECT_THAT(news(), ElementsAre("playing", "entercue(x)", "pause", "removetrack(d hidden)"));
}

TEST_F(SimulatedEngineTest, LivePositionsEndAtTheEdge) {
    load(SimulatedScript::live(30));
    EXPECT_EQ(player->currentTime(), 30);
    player->setPlaybackRate(4);
    player->play();
    loop->advance(5s);
    EXPECT_NEAR(player->currentTime(), 35, 1e-6) << "nothing is ahead of the edge";
    player->setCurrentTime(10);
    loop->advance(1s);
    EXPECT_NEAR(player->currentTime(), 14, 1e-6);
    player->setCurrentTime(1e9);
    loop->drain();
    EXPECT_NEAR(player->currentTime(), 36, 1e-6);
    player->simulateDuration(40);
    loop->advance(5s);
    EXPECT_EQ(player->log().names().back(), "ended");
    player->simulateDuration(20);
    EXPECT_EQ(player->currentTime(), 20) << "nothing is left to stand on";
    player->simulateDuration(SimulatedScript::infinite);
    player->play();
    loop->advance(5s);
    EXPECT_NEAR(player->currentTime(), 25, 1e-6) << "the edge is where playback was";
    load({.duration = std::nullopt});
    EXPECT_EQ(player->duration(), std::nullopt);
    player->setCurrentTime(1e6);
    loop->drain();
    EXPECT_EQ(player->currentTime(), 1e6);
}

// Scripts are looked up by what is to be played; what they leave open comes from the source description.
TEST_F(SimulatedEngineTest, FindsTheScriptOfASource) {
    factory.setScript(filmUrl, {.duration = 1});
    factory.setScript("asset", {.duration = 2});
    factory.setScript("video", {.duration = 3});
    SourceDescription live, vod;
    live.source = GoogleDAITypedSource(GoogleDAILiveConfiguration{"asset", "", {}, {}, {}});
    vod.source = GoogleDAITypedSource(GoogleDAIVodConfiguration{"video", "content", "", {}, {}, {}});
    vod.textTracks = {std::make_shared<TextTrackDescription>("https://x.example/a.srt", "pt-br", true,
                                                             TextTrackKind::captions, "Português")};
    const std::pair<SourceDescription, double> cases[] = {{filmSource(), 1}, {live, 2}, {vod, 3}};
    for (const auto& [source, duration] : cases) {
        load({}, source);
        EXPECT_EQ(player->duration(), duration);
    }
    ASSERT_EQ(player->textTracks().count(), 1u);
    EXPECT_EQ(player->textTracks().get(0)->kind(), "captions");
    EXPECT_EQ(player->textTracks().get(0)->label(), "Português");
}

struct Interceptor final : ManifestInterceptor {
    using Answer = std::function<bool(const std::shared_ptr<AVAssetResourceLoadingRequest>&)>;
    explicit Interceptor(Answer how) : answer(std::move(how)) {}
    std::string customScheme() const override { return "interceptedm3u8://"; }
    bool shouldWaitForLoadingOfRequestedResource(
        const std::shared_ptr<AVAssetResourceLoadingRequest>& request) override {
        EXPECT_EQ(request->request()->absoluteString(), "interceptedm3u8://cdn.example/film.m3u8");
        return answer(request);
    }
    bool shouldWaitForRenewalOfRequestedResource(const std::shared_ptr<AVAssetResourceLoadingRequest>&) override {
        return false;
    }
    Answer answer;
};

TEST_F(SimulatedEngineTest, AsksTheManifestInterceptor) {
    const std::string asked =
        "error(The manifest interceptor was asked for interceptedm3u8://cdn.example/film.m3u8 and ";
    const auto inAThread = [](auto& request) {
        std::thread([request] {
            request->setResponse({*request->request(), 200, {}});
            request->dataRequest()->respondWithData("#EXT");
            request->dataRequest()->respondWithData("M3U");
            request->finishLoading();
            request->finishLoadingWithError(URLError(URLError::Code::timedOut));
        }).join();
        return true;
    };
    const std::pair<Interceptor::Answer, std::string> cases[] = {
        {inAThread, ""},
        {[](auto&) { return false; }, asked + "refused it.)"},
        {[](auto&) { return true; }, asked + "let go of it without an answer.)"},
        {[](auto& request) { return request->finishLoading(), true; }, asked + "answered without any data.)"},
        {[](auto& request) {
             request->finishLoadingWithError(URLError(URLError::Code::cannotParseResponse));
             return true;
         },
         asked + "failed: "},
    };
    for (const auto& [answer, expected] : cases) {
        player->log().clear();
        player->developerSettings()->setManifestInterceptor(std::make_shared<Interceptor>(answer));
        load({});
        const auto lines = player->log().lines();
        if (expected.empty()) {
            EXPECT_EQ(player->duration(), 60);
            EXPECT_EQ(player->interceptedManifest(), "#EXTM3U");
        } else {
            EXPECT_TRUE(lines.back().starts_with(expected)) << lines.back();
        }
    }
    // The answer to a question about an earlier source is nobody's any more.
    std::shared_ptr<AVAssetResourceLoadingRequest> kept;
    player->developerSettings()->setManifestInterceptor(std::make_shared<Interceptor>([&](auto& request) {
        kept = request;
        return true;
    }));
    load({});
    player->developerSettings()->setManifestInterceptor(nullptr);
    load({.neverLoads = true});
    EXPECT_EQ(player->interceptedManifest(), "");
    kept->finishLoadingWithError(URLError(URLError::Code::timedOut));
    kept = nullptr;
    news();
    loop->advance(1s);
    EXPECT_THAT(news(), IsEmpty());
}

TEST_F(SimulatedEngineTest, PaintsThePosition) {
    const auto frames = player->videoFrames();
    int told = 0;
    frames->setFrameCallback([&] { ++told; });
    EXPECT_EQ(frames->latestFrame(), nullptr);
    load({});
    player->setCurrentTime(12.345);
    loop->drain();
    const auto frame = frames->latestFrame();
    EXPECT_EQ(told, 2);
    EXPECT_EQ(positionInPicture(*frame), 12.345);
    EXPECT_EQ(blueBelow(), std::lround(simulatedContentColor.blue * 255));

    player->setCurrentTime(0.001);
    loop->drain();
    EXPECT_EQ(positionInPicture(*frames->latestFrame()), 0.001);

    // Three times as wide and twice as high, as on a screenshot.
    ui::VideoFrame scaled{64 * 3, 36 * 2, 64 * 3 * 4, 0, 0, nullptr};
    const auto pixels = std::make_shared<std::vector<std::byte>>(std::size_t{64} * 3 * 4 * 36 * 2);
    for (int y = 0; y < scaled.height; ++y) {
        for (int x = 0; x < scaled.stride; ++x) {
            (*pixels)[static_cast<std::size_t>(y) * static_cast<std::size_t>(scaled.stride) +
                      static_cast<std::size_t>(x)] =
                frame->pixels.get()[y / 2 * frame->stride + x / 12 * 4 + x % 4];
        }
    }
    scaled.pixels = std::shared_ptr<const std::byte>(pixels, pixels->data());
    EXPECT_EQ(positionInPicture(scaled), 12.345);
    std::fill(pixels->begin(), pixels->end(), std::byte{128});
    EXPECT_EQ(positionInPicture(scaled), std::nullopt);

    player->setSource(std::nullopt);
    EXPECT_EQ(frames->latestFrame(), nullptr);
    EXPECT_EQ(positionInPicture(*frame), 12.345) << "a held frame stays";
}

TEST_F(SimulatedEngineTest, StandsBehindWhatTheViewHolds) {
    const auto holder = ui::View::make(), overlay = ui::View::make();
    holder->setFrame({0, 0, 640, 360});
    holder->addSubview(overlay);
    player->addAsSubview(holder);
    EXPECT_EQ(holder->subviews()[1], overlay);
    EXPECT_EQ(player->frame(), holder->bounds());
    player->setFrame({10, 10, 100, 50});
    player->addAsSubview(holder);
    EXPECT_EQ(player->bounds(), (ui::Rect{0, 0, 100, 50}));
    load({});
    const auto frames = player->videoFrames();
    held = nullptr;
    EXPECT_EQ(frames->latestFrame(), nullptr);
    EXPECT_THAT(holder->subviews(), ElementsAre(overlay));
    EXPECT_THAT(factory.players(), IsEmpty());
    EXPECT_EQ(factory.latest(), nullptr);
    EXPECT_EQ(loop->pendingTimers(), 0u);
}

// Numbers that make no sense neither hang the loop nor move it backwards.
TEST_F(SimulatedEngineTest, SurvivesAScriptOfNonsense) {
    for (const double odd : {std::nan(""), -1.0, SimulatedScript::infinite, -SimulatedScript::infinite}) {
        for (const double duration : {odd, 60.0}) {
            load({.metadataAfter = -odd,
                  .canPlayAfter = odd > 1 ? 0 : odd,
                  .duration = duration,
                  .liveEdge = odd,
                  .stalls = {{odd, odd > 1 ? 0 : odd}, {0.5, odd}},
                  .error = {},
                  .tracks = {{.addAfter = odd, .cues = {{odd, odd, ""}}}},
                  .adBreaks = {{odd, {odd}}},
                  .timeUpdateInterval = odd,
                  .seekTakes = odd});
            player->play();
            loop->advance(3s);
            player->setCurrentTime(1);
            player->simulateStall(odd);
            player->simulateDuration(odd);
            player->simulateAdBreak({odd, {odd, odd}});
            loop->advance(3s);
            EXPECT_TRUE(std::isfinite(player->currentTime()) && player->currentTime() >= 0) << odd;
        }
    }
}

}  // namespace
}  // namespace quorel
