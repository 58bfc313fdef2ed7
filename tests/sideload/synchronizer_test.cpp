// Time maps as text, and the synchroniser on the simulated engine's clock.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engines/simulated/simulated_engine.h"
#include "quorel/foundation/log.h"
#include "quorel/sideload/subtitles_synchronizer.h"
#include "quorel/sideload/web_vtt_parser.h"

namespace quorel {
namespace {

using namespace std::chrono_literals;

TEST(TimestampStringUtils, ReadsAndReplacesMaps) {
    const std::vector<std::pair<std::string, std::string>> rows{
        {"WEBVTT\nX-TIMESTAMP-MAP=LOCAL:00:00:00.000,MPEGTS:900000\n", "900000 00:00:00.000"},
        {"X-TIMESTAMP-MAP=MPEGTS:1:2,x,LOCAL:1,LOCAL:0:3\r\n", "2 0:3"},
        {"X-TIMESTAMP-MAP=LOCAL,MPEGTS\n", "MPEGTS "},
        {"X-TIMESTAMP-MAP=MPEGTS:1\n", "none"},
        {"X-TIMESTAMP-MAP=LOCAL:0,MPEGTS:1", "none"},
        {"WEBVTT\n", "none"},
    };
    for (const auto& [text, expected] : rows) {
        const auto found = TimestampStringUtils::extract(text);
        EXPECT_EQ(found ? *found->pts + " " + *found->localTime : "none", expected) << text;
    }
    EXPECT_EQ(TimestampStringUtils::override("W\nX-TIMESTAMP-MAP=\r\n\nX-TIMESTAMP-MAP=a\n", "-1.0", "0:1"),
              "W\nX-TIMESTAMP-MAP=MPEGTS:-1.0,LOCAL:0:1\n\nX-TIMESTAMP-MAP=a\n");
    const LogCapture log;
    EXPECT_FALSE(TimestampStringUtils::override("X-TIMESTAMP-MAP=a", "1", "2"));
    EXPECT_EQ(log.text(), "[AVSubtitlesLoader] ERROR: Failed to override timestamp.\n");
}

TEST(WebVTTParser, GivesTheTextThatViewersRead) {
    const auto parser = makeWebVTTParser({});
    EXPECT_EQ(parser->cues("WEBVTT\n\n00:01.000 --> 00:02.500\n<i>Tom</i> &amp; <c.x>Ana&lt;3</c>\n"),
              (std::vector<WebVTTCue>{{"Tom & Ana<3", 1, 2.5}}));
    EXPECT_TRUE(parser->cues("1\n00:00:01,000 --> 00:00:02,000\nno WebVTT\n").empty());
    std::string failure;
    parser->getVttContent("https://s.test", [&](const std::string& content, std::exception_ptr error) {
        failure = content + localizedDescription(error);
    });
    EXPECT_EQ(failure, "The load was cancelled. (https://s.test)");
}

TEST(SSTextTrackDescription, DecodesAndFindsItsMap) {
    const auto track = SSTextTrackDescription::decode(
        parseJSON(R"({"src":"https://s.test/a","srclang":"pt","kind":"captions","format":"SRT","label":"L"})"));
    EXPECT_EQ(track.srcText() + track.srclang + *track.label, "https://s.test/aptL");
    EXPECT_EQ(track.kind, TextTrackKind::captions);
    EXPECT_EQ(track.format, TextTrackFormat::SRT);
    EXPECT_FALSE(track.automaticTimestampSyncEnabled || track.isDefault ||
                 track.vttTimestamp != WebVttTimestamp());
    EXPECT_THROW(SSTextTrackDescription::decode(parseJSON(R"({"src":"x"})")), JSONError);
    EXPECT_EQ(SSTextTrackDescription(*URL::parse(track.srcText()), "pt").src(), track.src());
}

// Gives the same file for every address, at once.
struct FileDouble : WebVTTParser {
    void getVttContent(const std::string& url,
                       std::function<void(std::string, std::exception_ptr)> completion) override {
        asked.push_back(url);
        completion(file, nullptr);
    }
    std::vector<WebVTTCue> cues(std::string_view content) const override {
        return makeWebVTTParser({})->cues(content);
    }
    std::string file;
    std::vector<std::string> asked;
};

struct JobDouble : SubtitlesSynchronizerDelegate {
    bool setTimestamp(const WebVttTimestamp& timestamp) override {
        maps.push_back(*timestamp.pts + " " + *timestamp.localTime);
        return hasJob;
    }
    std::vector<std::string> maps;
    bool hasJob = true;
};

class Synchronizer : public ::testing::Test {
protected:
    // The film's cues as the engine shows them: at the file's times, less `offset`.
    void start(double offset) {
        files->file = "WEBVTT\n\n";
        SimulatedScript script;
        script.tracks = {{.label = "Português", .language = "pt"}};
        for (int i = 0; i < 5; ++i) {
            const double begin = 11 + 2 * i;
            files->file += "00:" + std::to_string(11 + 2 * i) + ".000 --> 00:" + std::to_string(12 + 2 * i) +
                           ".000\nline " + std::to_string(i) + "\n\n";
            script.tracks[0].cues.push_back({begin - offset, begin + 1 - offset, "line " + std::to_string(i)});
        }
        factory.setDefaultScript(script);
        player = factory.makePlayer({}, {});
        player->textTracks().addEventListener(
            TextTrackListEventTypes::CHANGE, [this](const TrackChangeEvent& event) {
                modes.push_back(std::dynamic_pointer_cast<TextTrack>(event.track)->mode());
            });
        synchronizer = SubtitlesSynchronizer::make(player, files);
        synchronizer->setDelegate(job);
        player->setSource(
            SourceDescription{.source = {.src = "https://s.test/f.m3u8"}, .textTracks = {{description}}});
        loop->advance(1s);
        player->textTracks().get(0)->setMode(TextTrackMode::showing);
        modes.clear();
        player->play();
    }
    std::optional<SyncTaskStatus> status() const {
        const auto tasks = synchronizer->trackSyncMap();
        const auto task = tasks.find("Português");
        return task == tasks.end() ? std::nullopt : std::optional(task->second.status);
    }

    const std::shared_ptr<ManualRunLoop> loop = std::make_shared<ManualRunLoop>();
    SimulatedEngineFactory factory{loop};
    const std::shared_ptr<FileDouble> files = std::make_shared<FileDouble>();
    const std::shared_ptr<JobDouble> job = std::make_shared<JobDouble>();
    const std::shared_ptr<SSTextTrackDescription> description = std::make_shared<SSTextTrackDescription>(
        "https://s.test/a.vtt", "pt", true, TextTrackKind::subtitles, "Português");
    std::shared_ptr<THEOplayer> player;
    std::shared_ptr<SubtitlesSynchronizer> synchronizer;
    std::vector<TextTrackMode> modes;
};

using Modes = std::vector<TextTrackMode>;
using Maps = std::vector<std::string>;

TEST_F(Synchronizer, CorrectsAStreamThatStartsAtTenOnce) {
    description->automaticTimestampSyncEnabled = true;
    start(10);
    EXPECT_EQ(files->asked, Maps{"https://s.test/a.vtt"});
    EXPECT_EQ(status(), SyncTaskStatus::idle);
    loop->advance(1900ms);
    EXPECT_TRUE(job->maps.empty());
    loop->advance(200ms);
    EXPECT_EQ(job->maps, Maps{"900000.0 00:00:00.000"});
    EXPECT_EQ(modes, (Modes{TextTrackMode::disabled, TextTrackMode::showing}));
    EXPECT_EQ(player->textTracks().get(0)->mode(), TextTrackMode::showing);
    EXPECT_EQ(status(), SyncTaskStatus::resolved);
    EXPECT_EQ(synchronizer->correction("Português"), (WebVttTimestamp{"900000.0", "00:00:00.000"}));
    loop->advance(10s);
    EXPECT_EQ(job->maps.size(), 1u);
}

TEST_F(Synchronizer, CorrectsBackwardsFromTheLocalTimeThatIsGiven) {
    description->automaticTimestampSyncEnabled = true;
    description->vttTimestamp.localTime = "00:00:07.000";
    job->hasJob = false;
    start(-1.5);
    loop->advance(14s);
    EXPECT_EQ(job->maps, Maps{"-135000.0 00:00:07.000"});
    EXPECT_EQ(status(), SyncTaskStatus::resolved);
    EXPECT_FALSE(synchronizer->correction("Português")) << "there was no job to correct";
}

TEST_F(Synchronizer, LeavesGoodTracksAlone) {
    description->automaticTimestampSyncEnabled = true;
    for (const double offset : {0.0, 0.09375, -0.09375}) {
        start(offset);
        loop->advance(12500ms);
        // Nor does a seek away from a cue say anything of the file.
        player->setCurrentTime(13.5);
        loop->advance(100ms);
        player->setCurrentTime(40);
        loop->advance(1s);
        EXPECT_EQ(job->maps, Maps{}) << offset;
        EXPECT_EQ(status(), SyncTaskStatus::idle);
    }
    start(0.125);
    loop->advance(12500ms);
    EXPECT_EQ(job->maps, Maps{"11250.0 00:00:00.000"});
}

TEST_F(Synchronizer, WatchesOnlyTracksThatWantIt) {
    start(10);
    loop->advance(5s);
    EXPECT_EQ(files->asked, Maps{});
    EXPECT_EQ(status(), std::nullopt);
    EXPECT_EQ(job->maps, Maps{});
    // The listeners stay on the engine, for nobody.
    description->automaticTimestampSyncEnabled = true;
    const auto gone = std::weak_ptr(synchronizer);
    start(10);
    EXPECT_TRUE(gone.expired());
    synchronizer = nullptr;
    loop->advance(5s);
    EXPECT_EQ(job->maps, Maps{});
}

}  // namespace
}  // namespace quorel
