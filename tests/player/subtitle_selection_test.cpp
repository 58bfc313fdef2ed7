#include "tests/player/player_fixture.h"

namespace quorel::testing {
namespace {

constexpr TextTrackMode off = TextTrackMode::disabled, hidden = TextTrackMode::hidden,
                        showing = TextTrackMode::showing;

class SubtitleSelection : public PlayerTest {
protected:
    void loadWithTracks(const std::optional<std::string>& subtitle, const std::vector<SimulatedTrack>& tracks) {
        SimulatedScript script;
        script.tracks = tracks;
        factory->setDefaultScript(script);
        load("film", 0, subtitle);
        loop->advance(std::chrono::milliseconds(100));
    }
    // What was selected since the last call.
    Lines told() {
        Lines result;
        for (const std::string& line : recorder->take()) {
            const std::string start = "subtitleSelected(subtitle: ";
            if (line.starts_with(start))
                result.push_back(line.substr(start.size(), line.size() - start.size() - 1));
        }
        return result;
    }
    std::vector<TextTrackMode> modes() const {
        std::vector<TextTrackMode> result;
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
        std::vector<TextTrackMode> modes;
        Lines told;
    };
    const std::vector<Row> rows{
        {"PT-BR", three, {off, showing, off}, {"pt-br"}},
        {std::nullopt, three, {off, off, off}, {}},
        {"de", three, {off, off, off}, {}},
        {"PT-BR", {{.language = "PT-BR"}}, {off}, {}},
        {"en", {{.kind = "captions", .language = "en"}}, {hidden}, {"none"}},
        // The second pushes the first away, which counts as switched off; then its own change selects it.
        {"en", {{.language = "en"}, {.language = "en"}}, {hidden, showing}, {"en", "none", "en", "en"}},
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
    EXPECT_EQ(told(), Lines{"en"});
    struct Row {
        std::optional<std::string> subtitle;
        std::vector<TextTrackMode> modes;
        Lines told;
    };
    for (const Row& row : std::vector<Row>{{"PT-br", {hidden, showing, hidden}, {"none", "pt-br"}},
                                           {"pt-br", {hidden, showing, hidden}, {}},
                                           {"en", {showing, hidden, hidden}, {"none", "en"}},
                                           {std::nullopt, {hidden, hidden, hidden}, {"none"}},
                                           {"de", {hidden, hidden, hidden}, {}}}) {
        controller->selectSubtitle(row.subtitle);
        EXPECT_EQ(modes(), row.modes) << row.subtitle.value_or("-");
        EXPECT_EQ(told(), row.told) << row.subtitle.value_or("-");
    }
    // From elsewhere, as from the engine's own menu.
    const auto track = controller->player()->textTracks().get(2);
    track->setMode(showing);
    controller->player()->textTracks().get(0)->setMode(off);
    track->setMode(off);
    track->setMode(hidden);
    EXPECT_EQ(told(), (Lines{"es", "none"}));
}

}  // namespace
}  // namespace quorel::testing
