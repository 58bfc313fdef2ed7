#include "tests/player/player_fixture.h"

namespace quorel::testing {
namespace {

using Mode = TextTrackMode;

class SubtitleSelection : public PlayerTest {
protected:
    void loadWithTracks(const std::optional<std::string>& subtitle, const std::vector<SimulatedTrack>& tracks) {
        SimulatedScript script;
        script.tracks = tracks;
        factory->setDefaultScript(script);
        load("film", 0, subtitle);
        loop->advance(std::chrono::milliseconds(100));
    }
    // What was told of subtitles since the last call.
    Lines told() {
        Lines lines = recorder->take();
        std::erase_if(lines, [](const std::string& line) { return !line.starts_with("subtitleSelected"); });
        return lines;
    }
    std::vector<Mode> modes() const {
        std::vector<Mode> result;
        TextTrackList& tracks = controller->player()->textTracks();
        for (std::size_t i = 0; i < tracks.count(); ++i) result.push_back(tracks.get(i)->mode());
        return result;
    }

    const std::vector<SimulatedTrack> three{{.language = "en"}, {.language = "pt-br"}, {.language = "es"}};
};

TEST_F(SubtitleSelection, TheWantedTrackIsShownWhenItComes) {
    struct Row {
        std::optional<std::string> subtitle;
        std::vector<SimulatedTrack> tracks;
        std::vector<Mode> modes;
        Lines told;
    };
    const std::string kind = "captions";
    const std::vector<Row> rows{
        {"PT-BR", three, {Mode::disabled, Mode::showing, Mode::disabled}, {"subtitleSelected(subtitle: pt-br)"}},
        {std::nullopt, three, {Mode::disabled, Mode::disabled, Mode::disabled}, {}},
        {"de", three, {Mode::disabled, Mode::disabled, Mode::disabled}, {}},
        {"PT-BR", {{.language = "PT-BR"}}, {Mode::disabled}, {}},
        {"en", {{.kind = kind, .language = "en"}, {.kind = kind, .language = "fr"}}, {Mode::hidden, Mode::hidden},
         {"subtitleSelected(subtitle: none)"}},
        // The second pushes the first away, which counts as switched off; then its own change selects it.
        {"en", {{.language = "en"}, {.language = "en"}}, {Mode::hidden, Mode::showing},
         {"subtitleSelected(subtitle: en)", "subtitleSelected(subtitle: none)", "subtitleSelected(subtitle: en)",
          "subtitleSelected(subtitle: en)"}},
    };
    for (const Row& row : rows) {
        controller = QuorelPlayerViewController::make(session, api);
        controller->registerPlayerListener(recorder);
        loadWithTracks(row.subtitle, row.tracks);
        EXPECT_EQ(modes(), row.modes) << row.subtitle.value_or("-");
        EXPECT_EQ(told(), row.told) << row.subtitle.value_or("-");
    }
}

TEST_F(SubtitleSelection, SelectingWorksThroughTheEnginesChanges) {
    loadWithTracks("en", three);
    EXPECT_EQ(told(), Lines{"subtitleSelected(subtitle: en)"});

    controller->selectSubtitle("PT-br");
    EXPECT_EQ(modes(), (std::vector{Mode::hidden, Mode::showing, Mode::hidden}));
    EXPECT_EQ(told(), (Lines{"subtitleSelected(subtitle: none)", "subtitleSelected(subtitle: pt-br)"}));

    controller->selectSubtitle("pt-br");
    EXPECT_EQ(told(), Lines{});

    // An earlier track is shown first: the engine hides the old one before that.
    controller->selectSubtitle("en");
    EXPECT_EQ(told(), (Lines{"subtitleSelected(subtitle: none)", "subtitleSelected(subtitle: en)"}));

    controller->selectSubtitle(std::nullopt);
    EXPECT_EQ(modes(), (std::vector{Mode::hidden, Mode::hidden, Mode::hidden}));
    EXPECT_EQ(told(), Lines{"subtitleSelected(subtitle: none)"});

    controller->selectSubtitle("de");
    EXPECT_EQ(told(), Lines{});
}

TEST_F(SubtitleSelection, ChangesFromElsewhereAreFollowed) {
    loadWithTracks(std::nullopt, three);
    TextTrackList& tracks = controller->player()->textTracks();
    tracks.get(2)->setMode(Mode::hidden);
    EXPECT_EQ(told(), Lines{});
    tracks.get(2)->setMode(Mode::showing);
    EXPECT_EQ(told(), Lines{"subtitleSelected(subtitle: es)"});
    tracks.get(0)->setMode(Mode::hidden);
    EXPECT_EQ(told(), Lines{});
    tracks.get(2)->setMode(Mode::disabled);
    EXPECT_EQ(told(), Lines{"subtitleSelected(subtitle: none)"});
}

TEST_F(SubtitleSelection, HidesTracksOfEveryKindAndIgnoresWhatIsNoTextTrack) {
    loadWithTracks("en", {{.language = "en"}, {.kind = "metadata", .language = "x"}});
    controller->selectSubtitle(std::nullopt);
    EXPECT_EQ(modes(), (std::vector{Mode::hidden, Mode::hidden}));
    recorder->take();
    TextTrackList& tracks = controller->player()->textTracks();
    tracks.dispatchEvent(TextTrackListEventTypes::ADD_TRACK, {nullptr});
    tracks.dispatchEvent(TextTrackListEventTypes::CHANGE, {nullptr});
    controller->unmount();
    controller->selectSubtitle("en");
    EXPECT_EQ(told(), Lines{});
}

}  // namespace
}  // namespace quorel::testing
