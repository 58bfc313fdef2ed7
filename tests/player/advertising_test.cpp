#include <memory>

#include "quorel/foundation/log.h"
#include "quorel/player/query_parameter_merge.h"
#include "tests/player/player_fixture.h"

namespace quorel::testing {
namespace {

// An ad service that answers when the test says so.
struct ScriptedAds final : IMAFactory {
    struct Manager final : IMAAdsManager {
        void setDelegate(std::weak_ptr<IMAAdsManagerDelegate> to) override { delegate = std::move(to); }
        void initializeWithAdsRenderingSettings(const IMAAdsRenderingSettings&) override {
            calls.push_back("initialize");
        }
        void start() override { calls.push_back("start"); }
        void resume() override { calls.push_back("resume"); }
        void destroy() override { calls.push_back("destroy"); }
        void tell(int type) { delegate.lock()->adsManagerDidReceiveAdEvent(*this, {type}); }
        std::weak_ptr<IMAAdsManagerDelegate> delegate;
        Lines calls;
    };
    struct Loader final : IMAAdsLoader {
        void setDelegate(std::weak_ptr<IMAAdsLoaderDelegate> to) override { delegate = std::move(to); }
        void requestAdsWithRequest(const IMAAdsRequest& request) override { requests.push_back(request); }
        void fail(std::optional<std::string> message) {
            delegate.lock()->adsLoaderFailedWithErrorData(*this, {{std::move(message)}});
        }
        std::shared_ptr<Manager> load() {
            auto manager = std::make_shared<Manager>();
            delegate.lock()->adsLoaderAdsLoadedWithData(*this, {manager});
            return manager;
        }
        std::weak_ptr<IMAAdsLoaderDelegate> delegate;
        std::vector<IMAAdsRequest> requests;
    };
    std::shared_ptr<IMAAdsLoader> makeAdsLoader(const IMASettings& settings) override {
        EXPECT_EQ(settings.language, "pt-BR");
        return loader = std::make_shared<Loader>();
    }
    std::shared_ptr<Loader> loader;
};

class Advertising : public PlayerTest {
protected:
    Advertising() {
        PlatformServices services = session.services();
        services.imaFactory = ads;
        session.install(std::move(services));
    }
    // `more` is JSON behind the assets, as in "\"ads\":{...}".
    void loadFilm(const std::string& more, const std::map<std::string, std::string>& params = {}) {
        backend->reply(
            "videos/film", 200,
            R"({"assets":{"iframe":"","player":"","thumbnail":"","endScreen":""},)" + more + R"(,"videoId":"v"})");
        controller->setup("film", true, 0, std::nullopt, params);
        finishLoads();
    }
    void loadPreroll() { loadFilm(R"("ads":{"vast":[{"url":"https://ads.test/a%3Fb"}]})"); }
    Lines tags() const {
        Lines texts;
        for (const AdDescription& ad : *controller->player()->source()->ads) {
            const auto& tag = std::get<GoogleImaAdDescription>(ad);
            texts.push_back(*tag.timeOffset + " " + tag.srcText());
        }
        return texts;
    }
    std::shared_ptr<ScriptedAds> ads = std::make_shared<ScriptedAds>();
};

TEST_F(Advertising, TagsComeGroupByGroupAndTheFirstAtTheStartIsThePreroll) {
    loadFilm(
        R"("ads":{"googleIMA":[{"url":"https://ads.test/ima","offset":"start"}],)"
        R"("vast":[{"offset":"5"},{"url":"https://ads.test/v?x=1"},{"url":"https://[broken","offset":"end"}],)"
        R"("vmap":[{"url":"https://ads.test/ten","offset":"10"}]})",
        {{"b", "2"}, {"a", "1"}});
    const std::string params = "cust_params=a%3D1%26b%3D2";
    EXPECT_EQ(tags(), (Lines{"10 https://ads.test/ten?" + params, "start https://ads.test/v?x=1&" + params,
                             "end https://[broken", "start https://ads.test/ima?" + params}));
    ASSERT_EQ(ads->loader->requests.size(), 1u);
    EXPECT_EQ(ads->loader->requests[0].adTagUrl, "https://ads.test/v?x=1&cust_params=a=1&b=2");
    EXPECT_TRUE(factory->latest()->paused());

    loadFilm(R"("ads":{"vast":[{"url":"https://ads.test/later","offset":"30"}]})");
    EXPECT_EQ(ads->loader->requests.size(), 1u) << "the same content is not loaded again";
    controller = QuorelPlayerViewController::make(session, api);
    loadFilm(R"("ads":{"vast":[{"url":"https://ads.test/later","offset":"30"}]})");
    EXPECT_EQ(tags(), (Lines{"30 https://ads.test/later"}));
    EXPECT_FALSE(controller->player()->paused()) << "no preroll, no waiting";
}

TEST_F(Advertising, APrerollHoldsTheContentBackUntilItEnds) {
    controller->layoutIn({0, 0, 640, 360});
    loadPreroll();
    EXPECT_EQ(recorder->take(), (Lines{"adBreakBegin", "adBegin"}));
    EXPECT_EQ(ads->loader->requests[0].adTagUrl, "https://ads.test/a?b");
    const auto picture = ads->loader->requests[0].adDisplayContainer.adContainer;
    EXPECT_EQ(picture->frame(), (ui::Rect{0, 0, 640, 360}));
    EXPECT_EQ(picture->backgroundColor(), ui::Color::black());
    const auto screen = picture->superview();
    EXPECT_EQ(controller->view()->subviews().back(), screen);
    EXPECT_EQ(controller->children().size(), 1u);

    const auto manager = ads->loader->load();
    loop->advance(std::chrono::seconds(1));
    EXPECT_EQ(recorder->take(), Lines{}) << "metadata and times are not told in an ad break";
    controller->play();
    loop->advance(std::chrono::seconds(1));
    EXPECT_EQ(recorder->take(), (Lines{"play", "playing", "pause"}));

    manager->tell(4);
    manager->tell(13);
    EXPECT_EQ(manager->calls, (Lines{"initialize", "start"}));
    EXPECT_EQ(recorder->take(), Lines{});
    manager->tell(6);
    EXPECT_EQ(manager->calls.back(), "destroy");
    EXPECT_EQ(recorder->take(), (Lines{"adEnd", "adBreakEnd", "play"}));
    EXPECT_EQ(screen->superview(), nullptr);
    EXPECT_TRUE(controller->children().empty());
    EXPECT_FALSE(controller->playerUI()->isHidden()) << "shown, though the host asked for a hidden one";
    loop->advance(std::chrono::seconds(1));
    const Lines told = recorder->take();
    EXPECT_EQ(told.front(), "playing");
    EXPECT_TRUE(told.back().starts_with("timeUpdate")) << "times are told again";
}

TEST_F(Advertising, WhateverFailsTheContentPlays) {
    const struct {
        const char* what;
        std::function<void(ScriptedAds::Loader&)> happens;
        const char* log;
    } rows[] = {
        {"no ads", [](auto& loader) { loader.fail("no \"ads\"\r\n"); },
         "Ad failed to load: Optional(\"no \\\"ads\\\"\\r\\n\")\n"},
        {"no reason", [](auto& loader) { loader.fail(std::nullopt); }, "Ad failed to load: nil\n"},
        {"an ad breaks",
         [](auto& loader) {
             const auto manager = loader.load();
             manager->delegate.lock()->adsManagerDidReceiveAdError(*manager, {"it broke"});
         },
         "Ad error: Optional(\"it broke\")\n"},
        {"given up", [](auto& loader) { loader.load()->tell(8); }, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        controller = QuorelPlayerViewController::make(session, api);
        controller->registerPlayerListener(recorder);
        loadPreroll();
        recorder->take();
        const LogCapture log;
        row.happens(*ads->loader);
        EXPECT_EQ(log.text(), row.log);
        EXPECT_EQ(recorder->take(), (Lines{"adEnd", "adBreakEnd"}));
        loop->advance(std::chrono::seconds(1));
        EXPECT_GT(controller->player()->currentTime(), 0);
    }
}

TEST_F(Advertising, ATagThatDoesNotDecodeEndsThePrerollBeforeItBegins) {
    for (const char* tag : {"https://ads.test/%FF", "https://[broken"}) {
        controller = QuorelPlayerViewController::make(session, api);
        controller->registerPlayerListener(recorder);
        loadFilm(R"("ads":{"vast":[{"url":")" + std::string(tag) + R"("}]})");
        EXPECT_EQ(recorder->take(), (Lines{"adEnd", "adBreakEnd", "adBreakBegin", "adBegin"}));
        EXPECT_TRUE(controller->playerUI()->isHidden());
        EXPECT_TRUE(controller->player()->paused());
        EXPECT_TRUE(ads->loader->requests.empty());
    }
}

TEST_F(Advertising, APrerollComesBackWithTheApplicationAndGoesWithTheEngine) {
    const auto comeBack = [&] {
        session.services().notificationCenter->post(ApplicationDidBecomeActive);
        loop->drain();
    };
    loadPreroll();
    comeBack();
    const auto manager = ads->loader->load();
    manager->tell(13);
    comeBack();
    EXPECT_TRUE(controller->player()->paused());
    recorder->take();
    controller->unmount();
    controller->unmount();
    comeBack();
    EXPECT_EQ(manager->calls, (Lines{"initialize", "start", "resume", "destroy"}));
    EXPECT_TRUE(controller->children().empty());
    EXPECT_EQ(controller->view()->subviews().size(), 2u) << "the picture and the live badge";
    EXPECT_EQ(recorder->take(), Lines{});
}

TEST_F(Advertising, APrerollEndsWhenThatOfAnotherContentBegins) {
    loadPreroll();
    const auto manager = ads->loader->load();
    const auto screen = ads->loader->requests[0].adDisplayContainer.adContainer->superview();
    backend->reply("videos/other", 200,
                   R"({"assets":{"iframe":"","player":"","thumbnail":"","endScreen":""},"videoId":"v",)"
                   R"("ads":{"vast":[{"url":"https://ads.test/b"}]}})");
    load("other");
    EXPECT_EQ(manager->calls, (Lines{"initialize", "destroy"}));
    EXPECT_EQ(screen->superview(), nullptr) << "it would lie over the controls for good";
    EXPECT_EQ(controller->children().size(), 1u);
    EXPECT_EQ(recorder->take(), (Lines{"adBreakBegin", "adBegin", "adBreakBegin", "adBegin"}));
}

TEST_F(Advertising, APrerollThatOutlivesThePlayerDoesNothing) {
    loadPreroll();
    const auto manager = ads->loader->load();
    const auto screen = ads->loader->delegate.lock();
    controller = nullptr;
    recorder->take();
    manager->tell(8);
    EXPECT_EQ(recorder->take(), Lines{});
}

TEST_F(Advertising, InsertedStreamsTakeThePlaceOfThePlainOne) {
    const std::string preroll = R"(,"ads":{"vast":[{"url":"https://ads.test/a"}]})";
    const struct {
        std::string model;
        std::optional<ServerSideAdInsertion> expected;
    } rows[] = {
        {R"({"enabled":true,"type":"LIVE","videoId":"v","contentSourceId":"c","apiKey":"k"})",
         GoogleDAIVodConfiguration{.videoID = "v", .contentSourceID = "c", .apiKey = "k"}},
        {R"({"enabled":true,"videoId":"v","contentSourceId":"c"})",
         GoogleDAIVodConfiguration{.videoID = "v", .contentSourceID = "c"}},
        {R"({"enabled":false,"videoId":"v","contentSourceId":"c"})", std::nullopt},
        {R"({"enabled":true,"videoId":"v"})", std::nullopt},
        {R"({"enabled":true,"contentSourceId":"c","assetKey":"a"})", std::nullopt},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.model);
        controller = QuorelPlayerViewController::make(session, api);
        ads->loader = nullptr;
        loadFilm("\"googleDAI\":" + row.model + preroll);
        const SourceDescription& source = *controller->player()->source();
        EXPECT_EQ(source.source.ssai, row.expected);
        EXPECT_EQ(source.source.src.empty(), row.expected.has_value());
        EXPECT_EQ(source.ads.has_value(), !row.expected);
        EXPECT_EQ(source.metadata->title, "Title of film");
        EXPECT_TRUE(ads->loader) << "the preroll is played all the same";
    }
    backend->reply("live-streams/show", 200,
                   R"({"assets":{"thumbnail":"","startSoonScreen":"","pauseScreen":"","endingScreen":""},)"
                   R"("isPaused":false,"googleDAI":{"enabled":true,"assetKey":"key","apiKey":"k"}})");
    load("show");
    EXPECT_EQ(controller->player()->source()->source.ssai,
              ServerSideAdInsertion(GoogleDAILiveConfiguration{.assetKey = "key", .apiKey = "k"}));
    EXPECT_TRUE(controller->player()->paused());
}

TEST(MergeQueryParameter, KeepsToItsRules) {
    using Params = std::map<std::string, std::string>;
    const struct {
        const char* url;  // behind "https://t.test/p"
        Params params;
        const char *merged, *log;
    } rows[] = {
        {"?q=1&q", {}, "?q=1&q", ""},
        {"", {{"b", "2"}, {"a", "1"}}, "?q=a%3D1%26b%3D2", ""},
        {"?z=1#f", {{"a", "1"}}, "?z=1&q=a%3D1#f", ""},
        {"?", {{"a", "1"}}, "?q=a%3D1", ""},
        // New ones win over old ones, of which those that are not encoded end at the first "&".
        {"?q=a%3D9%26c%3D3&z=1", {{"a", "1"}}, "?z=1&q=a%3D1%26c%3D3", "q=a=9&c=3\n"},
        {"?q=a=9&c=3", {{"b", "1"}}, "?c=3&q=a%3D9%26b%3D1", "q=a=9\n"},
        // Only pairs count, and the later of two.
        {"?q=a%3Db%3Dc%26d%3D%26e%26%3Df%26g%3D%3Dh", {{"x", "1"}}, "?q=g%3Dh%26x%3D1", "q=a=b=c&d=&e&=f&g==h\n"},
        {"?q=a%3D1%26a%3D2", {{"x", "1"}}, "?q=a%3D2%26x%3D1", "q=a=1&a=2\n"},
        {"?q", {{"a", "1"}}, "?q=a%3D1", "q\n"},
        // The first of many is read, all are replaced; names are compared as they are.
        {"?q=a%3D1&m=2&q=b%3D2", {{"x", "1"}}, "?m=2&q=a%3D1%26x%3D1", "q=a=1\n"},
        {"?Q=a%3D1", {{"x", "1"}}, "?Q=a%3D1&q=x%3D1", ""},
        {"?%71=a%3D1", {{"x", "1"}}, "?q=a%3D1%26x%3D1", "q=a=1\n"},
        {"", {{"k", "ç d%"}, {"l", "1+1"}}, "?q=k%3D%C3%A7%20d%25%26l%3D1+1", ""},
        {"", {{"k", "a&b=c"}}, "?q=k%3Da%26b%3Dc", ""},  // not to be told apart later
    };
    const std::string base = "https://t.test/p";
    for (const auto& row : rows) {
        const LogCapture log;
        EXPECT_EQ(mergeQueryParameter(*URL::parse(base + row.url), row.params, "q").absoluteString(),
                  base + row.merged);
        EXPECT_EQ(log.text(), row.log);
    }
}

}  // namespace
}  // namespace quorel::testing
