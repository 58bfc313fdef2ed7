#include "quorel/player/source_assembly.h"
#include "tests/player/player_fixture.h"
#include "tests/presentation/drawn.h"

namespace quorel::testing {
namespace {

using Loading = PlayerTest;

TEST_F(Loading, OnDemandContentPlaysFromItsStartTime) {
    controller->mute();
    load("film", 12.5);
    EXPECT_EQ(backend->paths(), (Lines{"players/configuration/film", "videos/film"}));
    const auto engine = factory->latest();
    SourceDescription expected;
    expected.source.src = "https://cdn.test/film.m3u8";
    expected.source.type = "application/x-mpegurl";
    expected.ads = std::vector<AdDescription>();
    expected.metadata = ChromecastMetadataDescription();
    expected.metadata->images = {{"https://cdn.test/t.png", 420, 240}};
    expected.metadata->title = "Title of film";
    EXPECT_EQ(engine->source(), expected);
    EXPECT_TRUE(engine->muted());
    EXPECT_FALSE(engine->autoplay());
    EXPECT_EQ(engine->integrations().size(), 1u);

    loop->advance(std::chrono::milliseconds(400));
    Lines events = recorder->take();
    EXPECT_EQ(events.back(), "timeUpdate(time: 12.75)");
    std::erase_if(events, [](const std::string& line) { return line.starts_with("timeUpdate(time: 12."); });
    EXPECT_EQ(events, (Lines{"durationUpdate(time: 60)", "metadataLoaded(isLive: false, duration: 60)", "play",
                             "playing"}));
}

TEST_F(Loading, LiveContentWaitsForPlay) {
    load("show");
    EXPECT_EQ(backend->paths(),
              (Lines{"players/configuration/show", "live-streams/show", "live-streams/show/status"}));
    loop->advance(std::chrono::seconds(1));
    const Lines events = recorder->take();
    EXPECT_EQ(Lines(events.begin(), events.begin() + 2),
              (Lines{"durationUpdate(time: inf)", "metadataLoaded(isLive: true, duration: inf)"}));
    EXPECT_TRUE(factory->latest()->paused());
    EXPECT_EQ(factory->latest()->log().count("play"), 0u);
    EXPECT_EQ(factory->latest()->source()->source.src, "https://cdn.test/show.m3u8");
    controller->layoutIn({0, 0, 640, 360});
    const auto badge = controller->view()->subviews().back();
    EXPECT_TRUE(badge->isHidden()) << "as nobody shows it again";
    badge->setHidden(false);
    EXPECT_TRUE(drawn(controller->view(), loop->now())
                    .ends_with("16,16 48x24 on 100/1 round 4\n16,16 48x24 'Live' Poppins-Bold14 centre\n"));
    load("film");
    EXPECT_FALSE(factory->latest()->paused()) << "what was known of the live content is forgotten";
}

TEST_F(Loading, SubtitleFilesBecomeTextTracks) {
    backend->reply("videos/film", 200,
                   videoBody(R"(,"availableSrt":{"zh":"https://s.test/zh","PT-BR":"https://s.test/pt b"})"));
    load("film");
    EXPECT_EQ(recorder->take(), (Lines{"subtitlesAvailable(subtitles: [PT-BR, zh])"}));
    const auto& tracks = factory->latest()->source()->textTracks;
    ASSERT_TRUE(tracks && tracks->size() == 2);
    EXPECT_EQ((*tracks)[0]->srcText(), "https://s.test/pt b");
    EXPECT_EQ((*tracks)[0]->srclang, "PT-BR");
    EXPECT_EQ((*tracks)[0]->label, "Português");
    for (const auto& track : *tracks) {
        EXPECT_EQ(track->isDefault, true);
        EXPECT_EQ(track->kind, TextTrackKind::subtitles);
        EXPECT_EQ(track->format, TextTrackFormat::SRT);
    }

    // Those with an address that can be had are sideloaded.
    const auto interceptor = [this] { return factory->latest()->developerSettings()->manifestInterceptor(); };
    ASSERT_TRUE(interceptor());
    EXPECT_EQ(interceptor()->customScheme(), "interceptedm3u8://");

    backend->reply("videos/other", 200, videoBody(R"(,"availableSrt":{})"));
    load("other");
    EXPECT_FALSE(interceptor());
    EXPECT_EQ(recorder->take().back(), "subtitlesAvailable(subtitles: [])");
}

TEST(SourceAssembly, LanguagesHavePortugueseNames) {
    Lines labels;
    for (const char* code : {"PT-BR", "en", "Es", "fr", "zh", "De"}) labels.push_back(languageLabel(code));
    EXPECT_EQ(labels, (Lines{"Português", "Inglês", "Espanhol", "Francês", "Chinês", "De"}));
}

struct FailureRow {
    const char* id;
    const char* path;  // of the request that fails
    int status;        // 0: not HTTP; negative: a transport error
    const char* text;  // what the listener hears
    bool canTryAgain;  // whether setup() with the same id loads again
};

TEST_F(Loading, FailuresAreToldOnceAndLeaveTheEngineWithoutASource) {
    const std::string timedOut = URLError(URLError::Code::timedOut).localizedDescription();
    const std::vector<FailureRow> rows{
        {"film", "players/configuration/film", 401, "Authorization error", true},
        {"film", "players/configuration/film", 0, "Authorization error", true},
        {"film", "players/configuration/film", 404, "Unknown content", true},
        {"film", "players/configuration/film", 200, "Decode error", true},
        {"film", "players/configuration/film", -1, timedOut.c_str(), true},
        {"film", "videos/film", 500, "Unknown content", false},
        {"show", "live-streams/show", 200, "Decode error", false},
        {"show", "live-streams/show/status", 401, "Authorization error", false},
    };
    for (const FailureRow& row : rows) {
        const auto failing = std::make_shared<ScriptedBackend>("https://backend.test/v1/" + std::string(row.path));
        if (row.status < 0) {
            failing->fail("", URLError::Code::timedOut);
        } else if (row.status == 0) {
            failing->replyWithoutHTTP("", "{}");
        } else {
            failing->reply("", row.status, "{}");
        }
        session.services().urlSession->registerProtocol(failing);
        controller = QuorelPlayerViewController::make(session, api);
        controller->registerPlayerListener(recorder);
        load(row.id);
        session.services().urlSession->unregisterProtocol(failing);

        SCOPED_TRACE(std::string(row.path) + " " + std::to_string(row.status));
        EXPECT_EQ(recorder->take(), (Lines{"error(error: \"" + std::string(row.text) + "\", canRetry: false)"}));
        const auto engine = controller->player();
        EXPECT_FALSE(engine->source());
        EXPECT_FALSE(controller->playerUI()->isHidden());

        load(row.id);
        EXPECT_EQ(controller->player() != engine, row.canTryAgain);
        EXPECT_EQ(controller->player()->source().has_value(), row.canTryAgain);
        recorder->take();
    }
}

TEST_F(Loading, WithoutATokenTheListenerHearsItAndNothingIsSent) {
    Quorel fresh(session.services());
    QuorelAPI freshApi(fresh, "https://backend.test/v1/");
    controller = QuorelPlayerViewController::make(fresh, freshApi);
    controller->registerPlayerListener(recorder);
    load("film");
    EXPECT_EQ(recorder->take(), (Lines{"error(error: \"Missing token error\", canRetry: false)"}));
    EXPECT_TRUE(backend->paths().empty());
}

TEST_F(Loading, AnotherIdTakesTheOldEnginesPlace) {
    load("film");
    loop->advance(std::chrono::seconds(1));
    const auto old = factory->latest();
    recorder->take();
    controller->setup("other", true, 7, std::nullopt, {});
    EXPECT_EQ(recorder->take(), (Lines{"pause"}));
    EXPECT_EQ(controller->player(), nullptr);
    EXPECT_EQ(old->listenerCount() + old->textTracks().listenerCount() + old->ads().listenerCount(), 8u)
        << "only the overlay's are left";
    // The configuration of the old content is there, so this is taken for a repetition.
    controller->setup("other", false, 9, std::nullopt, {});
    finishLoads();
    loop->advance(std::chrono::seconds(1));
    EXPECT_NE(factory->latest(), old);
    EXPECT_EQ(factory->players().size(), 2u);
    EXPECT_TRUE(controller->playerUI()->isHidden());
    EXPECT_GE(factory->latest()->currentTime(), 7);
    EXPECT_LT(factory->latest()->currentTime(), 9);
}

TEST_F(Loading, OfTwoLoadsAtOnceTheLaterFinisherWins) {
    backend->hold("players/configuration/film");
    controller->setup("film", false, 0, std::nullopt, {});
    controller->setup("other", false, 0, std::nullopt, {});
    drainUntilAsked("players/configuration/film");
    ASSERT_TRUE(loop->drainUntil([&] { return controller->player()->source().has_value(); }));
    EXPECT_EQ(controller->player()->source()->source.src, "https://cdn.test/other.m3u8");
    backend->release("players/configuration/film");
    finishLoads();
    EXPECT_EQ(controller->player()->source()->source.src, "https://cdn.test/film.m3u8");
    EXPECT_EQ(factory->players().size(), 1u) << "the first load's engine is kept";
}

TEST_F(Loading, TheOverlayKnowsOfCastAndOfNavigationBars) {
    controller->navigationItem().rightBarItems = {{ui::View::make()}};
    load("film");
    EXPECT_EQ(controller->playerUI()->components(), std::vector<PlayerComponent>{});
    EXPECT_EQ(controller->navigationItem().rightBarItems.size(), 1u);

    const auto stack = std::make_shared<ui::NavigationController>();
    stack->addChild(controller);
    session.initialize("token", "", false);
    controller->setup("other", false, 0, std::nullopt, {});
    ASSERT_TRUE(loop->drainUntil([&] { return controller.use_count() == 2; }));
    EXPECT_EQ(controller->playerUI()->components(), std::vector<PlayerComponent>{PlayerComponent::cast});
    EXPECT_EQ(controller->navigationItem().rightBarItems.size(), 2u) << "settings and Cast";
}

}  // namespace
}  // namespace quorel::testing
