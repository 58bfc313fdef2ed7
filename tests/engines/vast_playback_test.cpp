#include <algorithm>
#include <cmath>

#include "engines/simulated/simulated_engine.h"
#include "engines/vast/vast_ad_service.h"
#include "quorel/foundation/log.h"
#include "quorel/ui/control.h"
#include "quorel/ui/view.h"
#include "tests/engines/vast_fixture.h"

namespace quorel::testing {
namespace {

using std::chrono::seconds;

Lines withPrefix(const std::string& id, Lines events) {
    for (std::string& event : events) event = id + "/" + event;
    return events;
}
Lines joined(std::vector<Lines> parts) {
    Lines all;
    for (const Lines& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}
const Lines wholeAd{"impression", "creativeView",  "start",   "firstQuartile",
                    "midpoint",   "thirdQuartile", "complete"};

class AdPlayback : public AdServerTest {
protected:
    AdPlayback() {
        engines->setScript("https://cdn.test/film.m3u8", {.duration = 60.0});
        engines->setDefaultScript({.duration = 8.0});
        engines->setScript("https://media.test/broken.mp4", {.error = SimulatedError{{}, "No such file."}});
        engines->setScript("https://media.test/silent.mp4", {.neverLoads = true});
        engines->setScript("https://media.test/stalls.mp4", {.duration = 8.0, .stalls = {{.at = 3, .lasts = 60}}});
        engines->setScript("https://media.test/limps.mp4",
                           {.duration = 8.0, .stalls = {{1, 3.5}, {2, 3.5}, {3, 3.5}, {3.5, 3.5}}});
        engines->setScript("https://media.test/breaks.mp4", {.duration = 8.0, .error = SimulatedError{.at = 3}});
        engines->setScript("https://media.test/nothing.mp4", {.duration = 0.0});
        engines->setScript("https://media.test/short.mp4", {.duration = 0.1});
        engines->setScript("https://media.test/endless.mp4", SimulatedScript::live());
    }
    const std::shared_ptr<SimulatedEngineFactory> engines = std::make_shared<SimulatedEngineFactory>(loop);
    const std::shared_ptr<VastAdService> service = VastAdService::make(loop, session, engines);
};

// Starts the ads as soon as they are ready, and writes down what it hears.
struct PrerollHost final : IMAAdsLoaderDelegate, IMAAdsManagerDelegate, std::enable_shared_from_this<PrerollHost> {
    void adsLoaderAdsLoadedWithData(IMAAdsLoader&, const IMAAdsLoadedData& data) override {
        manager = data.adsManager;
        manager->setDelegate(shared_from_this());
        manager->initializeWithAdsRenderingSettings({});
    }
    void adsLoaderFailedWithErrorData(IMAAdsLoader&, const IMAAdLoadingErrorData& data) override {
        heard.push_back("no ads: " + data.adError.message.value_or("nil"));
    }
    void adsManagerDidReceiveAdEvent(IMAAdsManager&, const IMAAdEvent& event) override {
        heard.push_back(std::to_string(event.type));
        if (event.type == 13) manager->start();
    }
    void adsManagerDidReceiveAdError(IMAAdsManager&, const IMAAdError& error) override {
        heard.push_back("error: " + error.message.value_or("nil"));
    }
    void adsManagerDidRequestContentPause(IMAAdsManager&) override { heard.push_back("pause"); }
    void adsManagerDidRequestContentResume(IMAAdsManager&) override { heard.push_back("resume"); }
    Lines heard;
    std::shared_ptr<IMAAdsManager> manager;
};

class Preroll : public AdPlayback {
protected:
    Preroll() { screen->setFrame({0, 0, 640, 360}); }
    void request(const std::string& answer) {
        reply("tag", answer);
        loader = service->imaFactory()->makeAdsLoader({"pt-BR"});
        host->heard.clear();
        loader->setDelegate(host);
        loader->requestAdsWithRequest({"https://ads.test/tag", {screen, {}, {}}, nullptr});
    }
    // Until the ads are over, however that comes about; gives what was tracked since the last time.
    Lines play(const std::string& answer, std::size_t expected) {
        const std::size_t before = trackers->paths().size();
        request(answer);
        EXPECT_TRUE(clock.until([&] {
            return !host->heard.empty() && host->heard.back() != "13" && host->heard.back() != "pause" &&
                   host->heard.back() != "resume";
        }));
        const Lines all = tracked(before + expected);
        EXPECT_TRUE(screen->subviews().empty()) << "nothing is left of the picture";
        return {all.begin() + static_cast<std::ptrdiff_t>(before), all.end()};
    }
    const std::shared_ptr<ui::View> screen = ui::View::make();
    const std::shared_ptr<PrerollHost> host = std::make_shared<PrerollHost>();
    std::shared_ptr<IMAAdsLoader> loader;
};

TEST_F(Preroll, PodsPlayInOrderAndAreTrackedOnceEach) {
    const Lines seen = play(vast(inlineAd("b", "sequence=\"2\"") + inlineAd("a", "sequence=\"1\"")), 14);
    EXPECT_EQ(host->heard, (Lines{"13", "pause", "resume", "6"}));
    EXPECT_EQ(seen, joined({withPrefix("a", wholeAd), withPrefix("b", wholeAd)}));
    EXPECT_EQ(
        play(vmap(adBreak("00:00:10", vmapAds(inlineAd("m"))) + adBreak("start", vmapAds(inlineAd("v")))), 9),
        joined({{"break/start"}, withPrefix("v", wholeAd), {"break/end"}}));
}

TEST_F(Preroll, AdsThatFailAreReportedAndPassedOver) {
    const auto bad = [](const std::string& id, const std::string& media, const std::string& place = "") {
        return inlineAd(id, place, "", file("https://media.test/" + media));
    };
    const Lines played{"13", "pause", "resume", "6"};
    const auto failing = [](const char* error) { return Lines{"13", "pause", "resume", error}; };
    const struct {
        const char* what;
        std::string answer;
        Lines heard, tracked;
    } rows[] = {
        {"cannot be decoded", vast(bad("x", "broken.mp4")), failing("error: No such file."), {"x/error/405"}},
        {"breaks in its middle",
         vast(bad("x", "breaks.mp4")),
         played,
         {"x/impression", "x/creativeView", "x/start", "x/firstQuartile", "x/error/405"}},
        {"never loads",
         vast(bad("x", "silent.mp4")),
         failing("error: The ad did not load in time."),
         {"x/error/402"}},
        {"stands still",
         vast(bad("x", "stalls.mp4")),
         played,
         {"x/impression", "x/creativeView", "x/start", "x/firstQuartile", "x/error/405"}},
        {"stands still again and again",
         vast(bad("x", "limps.mp4")),
         played,
         {"x/impression", "x/creativeView", "x/start", "x/firstQuartile", "x/error/405"}},
        {"shows nothing", vast(bad("x", "nothing.mp4")), failing("error: The ad shows nothing."), {"x/error/405"}},
        {"is over at once", vast(bad("x", "short.mp4")), played, withPrefix("x", wholeAd)},
        {"has no end but says how long it is", vast(bad("x", "endless.mp4")), played, withPrefix("x", wholeAd)},
        {"another file of one of a pod",
         vast(inlineAd("x", "sequence=\"1\"", "",
                       file("https://media.test/broken.mp4", "width=\"640\" height=\"360\"") +
                           file("https://media.test/x.mp4", "width=\"1\" height=\"1\"")) +
              inlineAd("y", "sequence=\"2\"")),
         played, joined({withPrefix("x", wholeAd), withPrefix("y", wholeAd)})},
        {"two of a pod that have one substitute",
         vast(bad("x", "broken.mp4", "sequence=\"1\"") + bad("y", "broken.mp4", "sequence=\"2\"") + inlineAd("s")),
         played, joined({{"x/error/405"}, withPrefix("s", wholeAd), {"y/error/405"}})},
        {"a break without ads",
         vmap(adBreak("start", vmapAds(""))),
         {"no ads: The ad server has no ads."},
         {"break/error"}},
        {"no break at the start",
         vmap(adBreak("end", vmapAds(inlineAd("v")))),
         {"no ads: The ad server's schedule has no break at the start."},
         {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(play(row.answer, row.tracked.size()), row.tracked);
        EXPECT_EQ(host->heard, row.heard);
    }
    EXPECT_TRUE(engines->players().empty());
}

TEST_F(Preroll, TheViewerMaySkipWhenTheAdSaysSo) {
    for (const bool isLast : {true, false}) {
        trackers->forgetRequests();
        request(vast(inlineAd("a", "sequence=\"1\"", "skipoffset=\"00:00:03\"") +
                     (isLast ? "" : inlineAd("b", "sequence=\"2\""))));
        std::vector<std::shared_ptr<ui::Control>> buttons;
        ASSERT_TRUE(clock.until([&] {
            const auto stage = screen->subviews().empty() ? screen : screen->subviews().front();
            for (const auto& view : stage->subviews()) {
                if (auto control = std::dynamic_pointer_cast<ui::Control>(view)) buttons.push_back(control);
            }
            return !buttons.empty();
        }));
        EXPECT_NEAR(engines->latest()->currentTime(), 3, 0.3);
        EXPECT_EQ(buttons.front()->accessibilityName(), "Pular anúncio");
        clock.advance(0.5);
        EXPECT_EQ(screen->subviews().front()->subviews().back(), buttons.front()) << "one is enough";
        buttons.front()->sendActions(ui::ControlEvent::touchUpInside);
        ASSERT_TRUE(clock.until([&] { return host->heard.back() != "pause"; }));
        EXPECT_EQ(host->heard.back(), isLast ? "8" : "6");
        const Lines skipped{"a/impression", "a/creativeView", "a/start", "a/firstQuartile", "a/skip"};
        EXPECT_EQ(tracked(isLast ? 5 : 12), joined({skipped, isLast ? Lines() : withPrefix("b", wholeAd)}));
    }
}

TEST_F(Preroll, NothingComesAfterDestroy) {
    request(vast(inlineAd("a")));
    ASSERT_TRUE(clock.until([&] { return engines->latest() && engines->latest()->currentTime() > 1; }));
    host->manager->destroy();
    EXPECT_TRUE(engines->players().empty());
    const Lines before = host->heard;
    clock.advance(20);
    EXPECT_EQ(host->heard, before);
    EXPECT_TRUE(screen->subviews().empty());
}

// The content's engine behind the ad service, and what it tells.
class Breaks : public AdPlayback {
protected:
    Breaks() {
        player->addIntegration(service->integrationFactory()->createIntegration(player, {}));
        const auto note = [this](const auto& type, EventDispatcher& emitter) {
            using Event = typename std::decay_t<decltype(type)>::Event;
            emitter.addEventListener(
                type, [this, name = std::string(type.name)](const Event&) { told.push_back(name); });
        };
        note(PlayerEventTypes::PLAY, *player);
        note(PlayerEventTypes::PLAYING, *player);
        note(PlayerEventTypes::PAUSE, *player);
        note(PlayerEventTypes::ENDED, *player);
        note(PlayerEventTypes::ERROR, *player);
        player->ads().addEventListener(AdsEventTypes::AD_BREAK_BEGIN,
                                       [this](const AdBreakBeginEvent&) { told.push_back(fmtPlace("break")); });
        note(AdsEventTypes::AD_BEGIN, player->ads());
        note(AdsEventTypes::AD_END, player->ads());
        player->ads().addEventListener(AdsEventTypes::AD_BREAK_END,
                                       [this](const AdBreakEndEvent&) { told.push_back(fmtPlace("over")); });
    }
    std::string fmtPlace(const std::string& what) const {
        return what + " at " + std::to_string(std::lround(player->currentTime() * 10)) + "/10 s";
    }
    void setSource(const std::vector<std::pair<std::string, std::string>>& tags) {
        SourceDescription source;
        source.source = {.src = "https://cdn.test/film.m3u8", .type = "application/x-mpegurl"};
        source.ads.emplace();
        for (const auto& [offset, tag] : tags) {
            source.ads->push_back(GoogleImaAdDescription("https://ads.test/" + tag, offset));
        }
        told.clear();
        player->setSource(source);
    }
    bool heard(const std::string& what) const { return std::find(told.begin(), told.end(), what) != told.end(); }

    const std::shared_ptr<THEOplayer> player = service->engineFactory()->makePlayer(std::nullopt, {});
    Lines told;
};

TEST_F(Breaks, ComeAtTheirPlacesAndLeaveTheContentWhereItWas) {
    reply("mid", vast(inlineAd("m")));
    reply("half", vast(inlineAd("h1", "sequence=\"1\"") + inlineAd("h2", "sequence=\"2\"")));
    reply("last", vast(inlineAd("l")));
    setSource({{"00:00:59.950", "last"}, {"50%", "half"}, {"00:00:10", "mid"}, {"start", "somebody elses"}});
    player->setPlaybackRate(2);
    player->play();
    clock.advance(1);
    player->pause();
    player->play();
    ASSERT_TRUE(clock.until([&] { return heard("ended"); }));
    EXPECT_EQ(::testing::PrintToString(told),
              R"({ "play", "playing", "pause", "play", "playing", )"
              R"("break at 100/10 s", "adbegin", "adend", "over at 100/10 s", "playing", )"
              R"("break at 300/10 s", "adbegin", "adend", "adbegin", "adend", "over at 300/10 s", "playing", )"
              R"("break at 600/10 s", "adbegin", "adend", "over at 600/10 s", "pause", "ended" })");
    EXPECT_EQ(tracked(28), joined({withPrefix("m", wholeAd), withPrefix("h1", wholeAd), withPrefix("h2", wholeAd),
                                   withPrefix("l", wholeAd)}));
    told.clear();
    player->play();
    ASSERT_TRUE(clock.until([&] { return heard("ended"); }));
    EXPECT_EQ(told, (Lines{"play", "playing", "pause", "ended"})) << "each break is played once";
}

TEST_F(Breaks, SchedulesBringBreaksToo) {
    reply("first",
          vmap(adBreak("start", vmapAds(inlineAd("mine"))) + adBreak("00:00:05", vmapAds(inlineAd("m")))));
    reply("second", vmap(adBreak("start", vmapTag("https://ads.test/pre")) +
                         adBreak("end", vmapTag("https://ads.test/no"))));
    reply("pre", vast(inlineAd("p")));
    ads->hold("second");
    for (const bool isFirst : {true, false}) {
        trackers->forgetRequests();
        setSource({{"start", "first"}, {"start", "second"}});
        player->play();
        if (isFirst) {
            clock.advance(2);
            EXPECT_EQ(told, Lines{"play"}) << "the start is waited for";
            ads->release("second");
        }
        ASSERT_TRUE(clock.until([&] { return heard("ended"); }));
        EXPECT_EQ(told,
                  (Lines{"play", "break at 0/10 s", "adbegin", "adend", "over at 0/10 s", "playing",
                         "break at 50/10 s", "adbegin", "adend", "over at 50/10 s", "playing", "pause", "ended"}));
        EXPECT_EQ(tracked(19), joined({{"break/start"},
                                       withPrefix("p", wholeAd),
                                       {"break/end", "break/start"},
                                       withPrefix("m", wholeAd),
                                       {"break/end", "break/error"}}));
    }
    ads->hold("first");
    setSource({{"start", "first"}, {"start", "second"}});
    setSource({});
    ads->release("first");
    player->play();
    clock.advance(10);
    EXPECT_EQ(told, (Lines{"play", "playing"})) << "the breaks of another source";
}

TEST_F(Breaks, TheContentPlaysWhateverTheAdServersDo) {
    reply("broken", "<VAST>");
    reply("bad", vast(inlineAd("b", "", "", file("https://media.test/broken.mp4"))));
    reply("stalls", vast(inlineAd("s", "", "", file("https://media.test/stalls.mp4"))));
    ads->hold("never");
    setSource({{"start", "x"},
               {"start", "never"},
               {"5", "missing"},
               {"10", "broken"},
               {"15", "never"},
               {"20", "bad"},
               {"25", "stalls"},
               {"soon", "ignored"},
               {"end", "never"}});
    const LogCapture log;
    player->play();
    ASSERT_TRUE(clock.until([&] { return heard("ended"); }));
    EXPECT_EQ(log.text(),
              "Ad break failed to load: The ad server answered with status 404.\n"
              "Ad break failed to load: The ad server's answer cannot be read: line 1: no element found.\n"
              "Ad break failed to load: The ad server ads.test did not answer in time.\n"
              "Ad break failed to load: The ad server ads.test did not answer in time.\n"
              "Ad break error: No such file.\n"
              "Ad break error: The ad stands still.\n"
              "Ad break failed to load: The ad server ads.test did not answer in time.\n");
    EXPECT_EQ(told,
              (Lines{"play", "playing", "break at 200/10 s", "over at 200/10 s", "playing", "break at 250/10 s",
                     "adbegin", "adend", "over at 250/10 s", "playing", "pause", "ended"}));
}

TEST_F(Breaks, WhatTheHostDoesMeanwhileIsDoneAfterwards) {
    reply("mid", vast(inlineAd("m")));
    ads->hold("mid");
    setSource({{"2", "mid"}, {"30", "mid"}, {"50", "mid"}});
    player->setMuted(true);
    player->play();
    clock.advance(3);
    player->pause();
    ads->release("mid");
    ASSERT_TRUE(clock.until([&] { return heard("break at 20/10 s"); }));
    clock.advance(20);
    EXPECT_EQ(told, (Lines{"play", "playing", "pause", "break at 20/10 s"})) << "the ad waits, however long";
    player->play();
    ASSERT_TRUE(clock.until([&] { return heard("adbegin"); }));
    EXPECT_TRUE(engines->latest()->muted());
    player->setVolume(0.5);
    EXPECT_EQ(engines->latest()->volume(), 0.5);
    player->setMuted(false);
    player->setMuted(true);
    clock.advance(2);
    told.clear();
    EXPECT_FALSE(player->paused());
    player->pause();
    const double adAt = engines->latest()->currentTime();
    clock.advance(20);
    EXPECT_EQ(engines->latest()->currentTime(), adAt);
    EXPECT_TRUE(player->paused());
    bool sought = false;
    player->setCurrentTime(40, [&] { sought = true; });
    EXPECT_EQ(player->currentTime(), 40);
    player->play();
    player->play();
    ASSERT_TRUE(clock.until([&] { return heard("playing"); }));
    EXPECT_EQ(told, (Lines{"pause", "play", "adend", "over at 400/10 s", "playing"}));
    EXPECT_EQ(tracked(11),
              withPrefix("m", {"impression", "creativeView", "start", "unmute", "mute", "firstQuartile", "pause",
                               "resume", "midpoint", "thirdQuartile", "complete"}));
    EXPECT_TRUE(sought);
    EXPECT_GE(player->currentTime(), 40);
    player->setCurrentTime(25);
    ASSERT_TRUE(clock.until([&] { return heard("break at 300/10 s"); }))
        << "a break that was passed over is still to come";
    sought = false;
    player->setCurrentTime(40, [&] { sought = true; });
    player->setSource(std::nullopt);
    clock.advance(1);
    EXPECT_TRUE(sought);
    EXPECT_EQ(player->currentTime(), 0);
    EXPECT_EQ(told.back(), "pause");
    EXPECT_EQ(std::count(told.begin(), told.end(), "over at 300/10 s") +
                  std::count(told.begin(), told.end(), "over at 0/10 s"),
              1);
    EXPECT_TRUE(player->paused());
}

// A touch leads where the ad says, with what the wrapper wants to know; a tracker that hangs holds up no other for good.
TEST_F(Breaks, AdsAreTouchedAndTellTheirProgress) {
    Lines visited;
    AdServiceOptions options;
    options.onClickThrough = [&](const std::string& url) { visited.push_back(url); };
    const auto touched = VastAdService::make(loop, session, engines, options);
    const auto content = touched->engineFactory()->makePlayer(std::nullopt, {});
    const auto view = ui::View::make(), overlay = ui::View::make();
    view->addSubview(overlay);
    content->addAsSubview(view);
    EXPECT_EQ(view->subviews().back(), overlay) << "what lies over the picture lies over the ads";
    std::string progressing = inlineAd("m");
    progressing.insert(progressing.find("<Tracking "),
                       "<Tracking event=\"progress\" offset=\"00:00:01\">https://t.test/progress</Tracking>");
    reply("mid", vast(wrapperAd("w", "https://ads.test/inner")));
    reply("inner", vast(progressing));
    trackers->hold("m/start");
    SourceDescription source;
    source.source = {.src = "https://cdn.test/film.m3u8", .type = "application/x-mpegurl"};
    source.ads = {{GoogleImaAdDescription("https://ads.test/mid", "10")}};
    content->setSource(source);
    content->play();
    clock.advance(15);
    EXPECT_TRUE(trackers->paths().empty()) << "without the integration there are no ads";
    content->addIntegration(touched->integrationFactory()->createIntegration(content, {}));
    content->setSource(source);
    content->play();
    ASSERT_TRUE(clock.until([&] { return trackers->paths().size() == 5; }));
    view->subviews()[1]->subviews().front()->tapRecognizers().front()();
    EXPECT_EQ(visited, Lines{"https://shop.test/m"});
    clock.advance(10);
    EXPECT_EQ(tracked(12),
              (Lines{"w/impression", "m/impression", "m/creativeView", "w/start", "m/start", "w/click", "m/click",
                     "progress", "m/firstQuartile", "m/midpoint", "m/thirdQuartile", "m/complete"}));
}

TEST_F(Breaks, OfALiveStreamAreThoseThatAreStillToCome) {
    engines->setScript("https://cdn.test/film.m3u8", SimulatedScript::live(30));
    reply("mid", vast(inlineAd("m")));
    setSource({{"1", "mid"}, {"50%", "mid"}, {"end", "mid"}});
    player->play();
    clock.advance(20);
    EXPECT_EQ(told, (Lines{"play", "playing"}));
    const double here = player->currentTime();
    setSource({{std::to_string(std::lround(here) + 5), "mid"}});
    player->play();
    ASSERT_TRUE(clock.until([&] { return std::count(told.begin(), told.end(), "playing") == 2; }));
    EXPECT_TRUE(heard("adend"));
}

TEST_F(Breaks, ABrokenContentEndsItsBreakFirst) {
    reply("mid", vast(inlineAd("m")));
    setSource({{"10", "mid"}});
    player->play();
    const auto content = engines->latest();
    ASSERT_TRUE(clock.until([&] { return heard("adbegin"); }));
    told.clear();
    content->simulateError("It broke.");
    EXPECT_EQ(told, (Lines{"adend", "over at 100/10 s", "pause", "error"}));
}

}  // namespace
}  // namespace quorel::testing
