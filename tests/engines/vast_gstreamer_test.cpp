// The whole player over the engine that plays, with the ad service, against the sandbox's ad server. In real time.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "engines/gstreamer/gstreamer_engine.h"
#include "engines/vast/vast_ad_service.h"
#include "quorel/foundation/log.h"
#include "quorel/foundation/timer.h"
#include "quorel/player/controller.h"
#include "sandbox/sandbox.h"

namespace quorel::testing {
namespace {

using Lines = std::vector<std::string>;

struct Listener final : QuorelPlayerListener {
    void onEvent(const QuorelPlayerEvent& event) override {
        const std::string name(eventName(event));
        if (const auto* update = event.getIf<QuorelPlayerEvent::timeUpdate>()) {
            position = update->time;
        } else if (const auto* failure = event.getIf<struct QuorelPlayerEvent::error>()) {
            events.push_back("error: " + failure->error);
        } else if (name.starts_with("ad") || name == "ended") {
            events.push_back(name == "adBreakBegin" ? name + " at " + std::to_string(std::lround(position)) + " s"
                                                    : name);
        }
    }
    Lines events;
    double position = 0;
};

class AdsOnRealStreams : public ::testing::Test {
protected:
    void play(const std::string& id, double startTime, AdServiceOptions options = {}) {
        sandbox.start();
        PlatformServices services = PlatformServices::standard(loop, nullptr);
        services.urlSession->registerProtocol(sandbox.makeProtocol());
        services.vendorIdentifier = std::make_shared<InstallationIdentifier>("");
        const auto ads = VastAdService::make(
            loop, services.urlSession,
            makeGStreamerEngineFactory(loop, {.audio = GStreamerOptions::Audio::none, .diagnosisTimeout = 2}),
            options);
        services.engineFactory = ads->engineFactory();
        services.imaFactory = ads->imaFactory();
        services.imaIntegrationFactory = ads->integrationFactory();
        session.install(std::move(services));
        session.initialize(sandbox.token(), std::nullopt, false);
        api.emplace(session);
        player = QuorelPlayerViewController::make(session, *api);
        player->registerPlayerListener(listener);
        player->layoutIn({0, 0, 640, 360});
        player->setup(id, true, startTime, std::nullopt, {});
    }
    bool until(const std::function<bool()>& done) {
        const auto turn = Timer::scheduled(*loop, 0.02, Timer::Repeats::yes, [](Timer&) {});
        const bool result = loop->runUntil(done, std::chrono::seconds(120));
        turn->invalidate();
        return result;
    }
    bool untilOver() {
        return until([&] {
            const Lines& events = listener->events;
            return !events.empty() && (events.back() == "ended" || events.back().starts_with("error"));
        });
    }
    sandbox::Title titleOf(const std::string& id) const {
        const auto titles = sandbox.titles();
        return *std::find_if(titles.begin(), titles.end(), [&](const auto& title) { return title.id == id; });
    }
    // "<ad> <event>", with the code of an error, in the order of arrival.
    Lines tracked() const {
        Lines lines;
        for (const sandbox::AdEvent& one : sandbox.adEvents()) {
            lines.push_back(one.ad + " " + one.event + (one.code ? " " + *one.code : ""));
        }
        return lines;
    }
    // How many lines begin as the keys do.
    std::map<std::string, long> counts(std::map<std::string, long> keys) const {
        const Lines all = tracked();
        for (auto& [begin, count] : keys) {
            count = std::count_if(all.begin(), all.end(),
                                  [&key = begin](const auto& line) { return line.starts_with(key); });
        }
        return keys;
    }
    ~AdsOnRealStreams() override {
        if (player) player->unmount();
        const std::weak_ptr<QuorelPlayerViewController> ending = player;
        player = nullptr;
        until([&] { return ending.expired(); });
        session.install({});
    }

    const LogCapture log;
    const std::shared_ptr<RealRunLoop> loop = std::make_shared<RealRunLoop>();
    sandbox::Sandbox sandbox;
    Quorel session;
    std::optional<QuorelAPI> api;
    const std::shared_ptr<Listener> listener = std::make_shared<Listener>();
    std::shared_ptr<QuorelPlayerViewController> player;
};

TEST_F(AdsOnRealStreams, APrerollAMidrollAndAPostrollArePlayedAndTracked) {
    sandbox::Title title = titleOf("ads");
    title.ads.vast->at(1).offset = "28";
    sandbox.setTitle(title);
    play("ads", 26.5);
    ASSERT_TRUE(untilOver());
    EXPECT_EQ(listener->events,
              (Lines{"adBreakBegin at 0 s", "adBegin", "adEnd", "adBreakEnd",  //
                     "adBreakBegin at 28 s", "adBegin", "adEnd", "adBegin", "adEnd", "adBreakEnd",
                     "adBreakBegin at 30 s", "adBegin", "adEnd", "adBreakEnd", "ended"}));
    const std::map<std::string, long> expected = {
        {"one impression", 3},           {"two complete", 1}, {"one complete", 3}, {"outer-wrapper complete", 1},
        {"inner-wrapper impression", 1}, {"one midpoint", 3}};
    EXPECT_TRUE(until([&] { return counts(expected) == expected; })) << ::testing::PrintToString(tracked());
}

TEST_F(AdsOnRealStreams, TheContentPlaysWhateverTheAdServerDoes) {
    sandbox::Title title = titleOf("ads-trouble");
    double place = 21;
    for (AdsModel& ad : *title.ads.vast) {
        if (ad.offset) ad.offset = std::to_string(place += 0.5);
    }
    sandbox.setTitle(title);
    AdServiceOptions impatient;
    impatient.requestTimeout = 1;
    impatient.tagTimeout = 1.5;
    impatient.stallTimeout = 1.5;
    play("ads-trouble", 20.5, impatient);
    ASSERT_TRUE(untilOver());
    EXPECT_EQ(listener->events.back(), "ended");
    // A slow machine may give up on a file (402) before it knows what is wrong with it (405).
    const std::map<std::string, long> expected = {
        {"loop error 302", 1},        {"endless error 302", 6},  // of its wrappers
        {"missing-file error 40", 1}, {"undecodable error 40", 1}, {"undecodable impression", 0},
        {"stalls start", 1},          {"stalls error 405", 1},     {"no-video error 403", 1}};
    EXPECT_EQ(counts(expected), expected);
}

TEST_F(AdsOnRealStreams, WithoutAnInsertionServiceAnErrorSaysSo) {
    play("ads-inserted", 0);
    ASSERT_TRUE(untilOver());
    EXPECT_EQ(listener->events, Lines{"error: This engine cannot play streams of an ad insertion service."});
}

}  // namespace
}  // namespace quorel::testing
