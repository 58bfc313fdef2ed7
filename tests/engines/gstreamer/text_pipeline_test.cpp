// Subtitles with everything real: sockets, playlists, GStreamer, and the letters in the picture.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <map>

#include "quorel/foundation/log.h"
#include "quorel/sideload/sideload.h"
#include "sandbox/sandbox_protocol.h"
#include "tests/engines/gstreamer/gstreamer_harness.h"

namespace quorel::testing {
namespace {

using http::HttpResponse;

// The first picture of the test streams has this time stamp, in 1/90000 s: 1.48 s.
constexpr int firstStamp = 133'200;

// Whether there are letters in the lower third, small as they are.
bool hasText(const ui::VideoFrame& frame) {
    const std::byte light{static_cast<unsigned char>(std::min(255, greyOf(frame) + 60))};
    for (int y = frame.height * 2 / 3; y < frame.height; ++y) {
        const std::byte* const row = frame.pixels.get() + static_cast<std::ptrdiff_t>(y) * frame.stride;
        for (int x = 0; x < frame.width; ++x) {
            if (row[4 * x] > light) return true;
        }
    }
    return false;
}

std::string master(const std::string& video, const std::vector<std::string>& languages) {
    std::string text = "#EXTM3U\n";
    for (const auto& language : languages) {
        text += "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"s\",NAME=\"" + language + "\",LANGUAGE=\"" + language +
                "\",URI=\"/s/" + language + ".m3u8\"\n";
    }
    return text + "#EXT-X-STREAM-INF:BANDWIDTH=200000,SUBTITLES=\"s\"\n" + video + "\n";
}

std::string wholeFile(const std::string& language) {
    return "#EXTM3U\n#EXT-X-TARGETDURATION:20\n#EXTINF:20\n" + language + ".vtt\n#EXT-X-ENDLIST\n";
}

// A cue in each odd second, that of second 5 with an overlap.
std::string cues(const std::string& name, const std::string& map = "", int shift = 0) {
    std::string text = "WEBVTT\n" + map + "\n";
    for (int second = 1; second < 20; second += 2) {
        const auto time = [&](double t) {
            char written[16];
            std::snprintf(written, sizeof(written), "00:%06.3f", t + shift);
            return std::string(written);
        };
        text += time(second) + " --> " + time(second + 1) + "\n" + name + std::to_string(second) + "\n\n";
        if (second == 5) text += time(5.2) + " --> " + time(5.8) + "\n" + name + "too\n\n";
    }
    return text;
}

class Subtitles : public ::testing::Test {
protected:
    void load(std::map<std::string, std::string> files, const std::string& path = "/m.m3u8") {
        files_ = std::move(files);
        player = harness.makePlayer();
        watch();
        player->setSource(harness.sourceAt(path.substr(1)));
        ASSERT_TRUE(harness.waitUntil([&] { return loaded; }));
    }
    void watch() {
        player->addEventListener(PlayerEventTypes::CAN_PLAY_THROUGH, [&](const auto&) { loaded = true; });
        player->addEventListener(PlayerEventTypes::ERROR, [&](const auto& event) { errors += event.error; });
    }
    std::shared_ptr<TextTrack> show(const std::string& language) {
        auto& tracks = player->textTracks();
        for (std::size_t i = 0; i < tracks.count(); ++i) {
            auto track = tracks.get(i);
            if (track->language() != language) continue;
            track->setMode(TextTrackMode::showing);
            track->addEventListener(TextTrackEventTypes::ENTER_CUE, [this](const EnterCueEvent& event) {
                log += "+" + event.cue->contentString().value_or("") + " ";
                lateness.push_back(player->currentTime() - event.cue->startTime());
            });
            track->addEventListener(TextTrackEventTypes::EXIT_CUE, [this](const ExitCueEvent& event) {
                log += "-" + event.cue->contentString().value_or("") + " ";
                lateness.push_back(player->currentTime() - event.cue->endTime());
            });
            return track;
        }
        return nullptr;
    }
    // Seeks, and waits until exactly these cues are active and seen.
    bool isShownAt(double position, const TextTrack& track, const std::vector<std::string>& texts) {
        bool done = false;
        player->setCurrentTime(position, [&] { done = true; });
        const bool reached = harness.waitUntil([&] {
            std::vector<std::string> active;
            for (const auto& cue : track.activeCues()) active.push_back(cue->contentString().value_or(""));
            const auto frame = player->videoFrames()->latestFrame();
            return done && active == texts && frame && hasText(*frame) == !texts.empty();
        });
        const auto frame = player->videoFrames()->latestFrame();
        return reached && std::abs(secondShown(*frame) - std::floor(position)) < 0.6;
    }

    std::map<std::string, std::string> files_;
    GStreamerHarness harness{[this](const std::string& path) -> std::optional<HttpResponse> {
        const auto file = files_.find(path);
        if (file == files_.end()) return {};
        if (file->second == "hang") return harness.server.hang();
        return MediaServer::body(file->second);
    }};
    std::shared_ptr<THEOplayer> player;
    bool loaded = false;
    std::string errors, log;
    std::vector<double> lateness;
};

struct Variety {
    const char* name;
    const char* video;
    std::string file;
};

class SubtitleVarieties : public Subtitles, public ::testing::WithParamInterface<Variety> {};

TEST_P(SubtitleVarieties, AreShownWhereTheyBelong) {
    load({{"/m.m3u8", master(GetParam().video, {"pt"})},
          {"/s/pt.m3u8", wholeFile("pt")},
          {"/s/pt.vtt", GetParam().file}});
    const auto track = show("pt");
    ASSERT_TRUE(track);
    EXPECT_TRUE(isShownAt(5.5, *track, {"a5", "atoo"})) << log;
    EXPECT_TRUE(isShownAt(6.5, *track, {})) << log;
    EXPECT_TRUE(isShownAt(3.8, *track, {"a3"})) << log;
    EXPECT_TRUE(isShownAt(1.04, *track, {"a1"})) << log;
    log.clear();
    lateness.clear();
    player->play();
    ASSERT_TRUE(harness.waitUntil([&] { return player->currentTime() > 3.2; }));
    EXPECT_EQ(log, "-a1 +a3 ");
    for (const double late : lateness) EXPECT_GT(late, -0.02) << "before its time";
    EXPECT_EQ(errors, "");
}

INSTANTIATE_TEST_SUITE_P(
    GStreamer, SubtitleVarieties,
    ::testing::Values(
        Variety{"WithoutMap", "/ts/index.m3u8", cues("a")},
        Variety{"WithMap", "/ts/index.m3u8",
                cues("a", "X-TIMESTAMP-MAP=MPEGTS:" + std::to_string(firstStamp) + ",LOCAL:00:00:10.000\n", 10)},
        Variety{"Wrapped", "/ts/index.m3u8",
                cues("a",
                     "X-TIMESTAMP-MAP=LOCAL:00:00:20.000,MPEGTS:" +
                         std::to_string((std::int64_t{1} << 33) + firstStamp + 10 * 90000) + "\n",
                     10)},
        Variety{"Fmp4", "/fmp4/index.m3u8", cues("a", "X-TIMESTAMP-MAP=MPEGTS:900000,LOCAL:00:00:10.000\n")}),
    [](const auto& variety) { return variety.param.name; });

// A file that is missing, a server that hangs and one that gives nonsense: the film goes on, and the others are shown.
TEST_F(Subtitles, NeverDisturbTheFilm) {
    const LogCapture lines;
    load({{"/m.m3u8", master("/ts/index.m3u8", {"gone", "hang", "odd", "en", "es"})},
          {"/s/hang.m3u8", wholeFile("hang")},
          {"/s/hang.vtt", "hang"},
          {"/s/odd.m3u8", "<html>"},
          {"/s/en.m3u8", wholeFile("en")},
          {"/s/en.vtt", cues("e")},
          {"/s/es.m3u8", wholeFile("es")},
          {"/s/es.vtt", cues("s")}});
    ASSERT_EQ(player->textTracks().count(), 5u);
    player->play();
    for (const char* language : {"gone", "hang", "odd"}) show(language);
    ASSERT_TRUE(harness.waitUntil([&] { return player->currentTime() > 0.5; }));
    player->pause();
    const auto english = show("en"), spanish = show("es");
    EXPECT_TRUE(isShownAt(7.5, *spanish, {"s7"}));
    EXPECT_EQ(english->activeCues().size(), 1u) << "hidden, with somebody listening";
    english->setMode(TextTrackMode::showing);
    spanish->setMode(TextTrackMode::disabled);
    EXPECT_TRUE(isShownAt(9.5, *english, {"e9"}));
    EXPECT_EQ(errors, "");
    EXPECT_NE(lines.text().find("\"gone\" cannot be shown: "), std::string::npos) << lines.text();
    EXPECT_NE(lines.text().find("\"odd\" cannot be shown: "), std::string::npos) << lines.text();
    player->setSource(std::nullopt);
    EXPECT_EQ(player->textTracks().count(), 0u);
}

// A window that moves on: what is shown is the cue of the segment that is seen.
TEST_F(Subtitles, FollowALiveWindow) {
    const auto begun = std::chrono::steady_clock::now();
    GStreamerHarness live([&](const std::string& path) -> std::optional<HttpResponse> {
        if (path == "/m.m3u8") return MediaServer::body(master("/live/index.m3u8", {"pt"}));
        if (path == "/s/pt.m3u8") {
            const std::chrono::duration<double> since = std::chrono::steady_clock::now() - begun;
            const int last = 8 + static_cast<int>(since.count() / 2);
            std::string text =
                "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-SEQUENCE:" + std::to_string(last - 4) + "\n";
            for (int n = last - 4; n <= last; ++n) {
                if (n % 10 == 0) text += "#EXT-X-DISCONTINUITY\n";
                text += "#EXTINF:2\n" + std::to_string(n) + ".vtt\n";
            }
            return MediaServer::body(text);
        }
        if (!path.starts_with("/s/")) return {};
        const int n = std::stoi(path.substr(3));
        return MediaServer::body(
            "WEBVTT\nX-TIMESTAMP-MAP=MPEGTS:" + std::to_string(firstStamp + n % 10 * 180'000) +
            ",LOCAL:00:00:00.000\n\n00:00.200 --> 00:01.800\n" + std::to_string(n) + "\n");
    });
    player = live.makePlayer();
    watch();
    player->setSource(live.sourceAt("m.m3u8"));
    ASSERT_TRUE(live.waitUntil([&] { return loaded; }));
    const auto track = show("pt");
    ASSERT_TRUE(track);
    std::vector<double> off;
    track->addEventListener(TextTrackEventTypes::ENTER_CUE, [&](const EnterCueEvent& event) {
        const int n = std::stoi(event.cue->contentString().value_or(""));
        const auto frame = player->videoFrames()->latestFrame();
        if (frame && n < 10) off.push_back(secondShown(*frame) - 2 * n);
    });
    player->play();
    EXPECT_TRUE(live.waitUntil([&] { return off.size() >= 3; })) << log << errors;
    for (const double second : off) EXPECT_TRUE(second > -0.6 && second < 1.6) << second << " " << log;
    EXPECT_GE(live.server.requestsFor("/s/pt.m3u8"), 2u);
    EXPECT_EQ(errors, "");
    player = nullptr;
}

// An SRT file from another server becomes words in the picture of an HLS stream that knows nothing of it.
class Sideloaded : public Subtitles {
protected:
    Sideloaded() {
        std::string srt;
        for (int second = 1; second < 20; second += 2) {
            const std::string two = (second < 10 ? "0" : "") + std::to_string(second);
            srt += std::to_string(second) + "\r\n00:00:" + two + ",000 --> 00:00:" + two + ",900\r\nAção " + two +
                   "\r\n\r\n";
        }
        files_ = {{"/m.m3u8", master("/ts/index.m3u8", {})},
                  {"/f.m3u8", master("/fmp4/index.m3u8", {})},
                  {"/pt.srt", srt},
                  {"/es.srt", "no subtitles"},
                  {"/ha.srt", "hang"}};
        // Sideloading asks for masters with https, which the test's server does not speak.
        const URL server = *URL::parse(harness.server.url(""));
        session->registerProtocol(std::make_shared<sandbox::SandboxProtocol>(server, network));
    }
    void play(const std::shared_ptr<THEOplayer>& on, const std::string& path,
              const std::vector<std::string>& languages) {
        SourceDescription source = harness.sourceAt(path);
        source.textTracks.emplace();
        for (const std::string& language : languages) {
            source.textTracks->push_back(std::make_shared<TextTrackDescription>(
                harness.server.url(language.substr(0, 2) + ".srt"), language, std::nullopt,
                TextTrackKind::subtitles, language, TextTrackFormat::SRT));
        }
        setSourceWithSubtitles(on, source, {.urlSession = session});
    }

    std::shared_ptr<UrlSession> network = std::make_shared<UrlSession>();
    std::shared_ptr<UrlSession> session = std::make_shared<UrlSession>();
};

TEST_F(Sideloaded, SubtitlesAreShown) {
    player = harness.makePlayer();
    watch();
    play(player, "m.m3u8", {"pt-br", "es", "gone"});
    ASSERT_TRUE(harness.waitUntil([&] { return loaded; })) << errors;
    const auto track = show("pt-br");
    ASSERT_TRUE(track);
    show("es"), show("gone"), track->setMode(TextTrackMode::showing);
    EXPECT_TRUE(isShownAt(5.5, *track, {"Ação 05"}));
    log.clear();
    lateness.clear();
    player->play();
    ASSERT_TRUE(harness.waitUntil([&] { return player->currentTime() > 8; }));
    EXPECT_EQ(log, "-Ação 05 +Ação 07 -Ação 07 ");
    for (const double late : lateness) EXPECT_GT(late, -0.02) << "before its time";
    EXPECT_EQ(errors, "");
    setSourceWithSubtitles(player, std::nullopt, {});
    player = nullptr;
}

// Each left while something of it is loaded, beside a player that goes on undisturbed.
TEST_F(Sideloaded, ManySourcesLeaveNothingBehind) {
    player = harness.makePlayer();
    watch();
    play(player, "m.m3u8", {"pt-br"});
    ASSERT_TRUE(harness.waitUntil([&] { return loaded; })) << errors;
    const auto track = show("pt-br");
    player->play();
    const auto round = [&](int sources) {
        const auto other = harness.makePlayer();
        other->addEventListener(PlayerEventTypes::ERROR, [&](const auto& event) { errors += event.error; });
        other->textTracks().addEventListener(TextTrackListEventTypes::ADD_TRACK, [](const AddTrackEvent& event) {
            const auto added = std::dynamic_pointer_cast<TextTrack>(event.track);
            if (added) added->setMode(TextTrackMode::showing);
        });
        for (int i = 0; i < sources; ++i) {
            play(other, i % 2 == 0 ? "m.m3u8" : "f.m3u8", {"pt-br", "es", i % 3 == 0 ? "hang" : "gone"});
            other->play();
            if (i % 4 == 1) harness.step(0.02);
            if (i % 4 == 2) {
                EXPECT_TRUE(harness.waitUntil([&] { return other->textTracks().count() == 3; })) << i;
            }
            if (player->currentTime() > 15) player->setCurrentTime(0);
        }
        setSourceWithSubtitles(other, std::nullopt, {});
    };
    round(QUOREL_TEST_SOURCES / 3);
    harness.step(0.5);
    const std::size_t threads = entries("/proc/self/task");
    const std::size_t descriptors = entries("/proc/self/fd");
    round(QUOREL_TEST_SOURCES);
    EXPECT_TRUE(harness.waitUntil([&] { return entries("/proc/self/task") <= threads + 2; }))
        << threads << " became " << entries("/proc/self/task");
    EXPECT_TRUE(harness.waitUntil([&] { return entries("/proc/self/fd") <= descriptors + 4; }))
        << descriptors << " became " << entries("/proc/self/fd");
    EXPECT_TRUE(isShownAt(9.5, *track, {"Ação 09"}));
    EXPECT_EQ(errors, "");
    player = nullptr;
}

}  // namespace
}  // namespace quorel::testing
