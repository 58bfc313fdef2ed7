// Text tracks on virtual time, without GStreamer: what WebVTT files mean, and when cues enter and leave.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "engines/gstreamer/text_picture.h"
#include "engines/gstreamer/text_tracks.h"
#include "quorel/foundation/log.h"

namespace quorel::gstreamer {
namespace {

using namespace std::chrono_literals;

std::string describe(const std::optional<WebVTTFile>& file) {
    if (!file) return "none";
    std::string text;
    if (file->map) text += fmt::format("map {} {}; ", file->map->mpegts, file->map->local);
    for (const auto& cue : file->cues) {
        text += fmt::format("{}-{} '{}'", cue.start, cue.end, cue.payload);
        const CueSettings& set = cue.settings;
        if (set.line) text += fmt::format(" line {}{}", *set.line, set.lineIsPercentage ? "%" : "");
        if (set.position) text += fmt::format(" position {}", *set.position);
        if (set.size != 100) text += fmt::format(" size {}", set.size);
        if (set.align != CueSettings::Align::center) text += fmt::format(" align {}", static_cast<int>(set.align));
        text += "; ";
    }
    return text;
}

TEST(WebVTT, ReadsWhatTheStandardReadsAndABitMore) {
    const std::string nul(1, '\0');
    const std::pair<std::string, const char*> files[] = {
        {"", "none"},
        {"1\n00:00:01,000 --> 00:00:02,000\nan SRT file\n", "none"},
        {"WEBVTTX\n", "none"},
        {"Missing subtitle content URL.", "none"},
        {"\xEF\xBB\xBFWEBVTT - a title\r\n\r\n1\r\n00:01.000 --> 01:00:02.500\r\na\r\nb\r\n", "1-3602.5 'a\nb'; "},
        {"WEBVTT\nX-TIMESTAMP-MAP=MPEGTS:900000,LOCAL:00:00:01.500\n\n00:01.000-->00:02.000\na",
         "map 900000 1.5; 1-2 'a'; "},
        {"WEBVTT\rX-TIMESTAMP-MAP=LOCAL:00:00.000, MPEGTS:-135000.5\r\r00:01.000 --> 00:02.000\ra\r",
         "map -135000.5 0; 1-2 'a'; "},
        {"WEBVTT\nX-TIMESTAMP-MAP=MPEGTS:x,LOCAL:00:00:01.500\n00:01.000 --> 00:02.000\nbehind the header\n",
         "1-2 'behind the header'; "},
        {"WEBVTT\n\nNOTE --\na note\n\nSTYLE\n::cue { color: lime }\n\nREGION\nid:x\n\n7\n00:01.000 --> "
         "00:02.000\na",
         "1-2 'a'; "},
        // What makes no sense is passed over, and what follows it is read.
        {"WEBVTT\n\n00:61.000 --> 00:62.000\nx\n\n00:03.000 --> 00:02.000\nx\n\nx --> y\nx\n00:01,5 --> "
         "00:02,5\na",
         "1.5-2.5 'a'; "},
        {"WEBVTT\n\n00:05.000 --> 00:06.000\nlate\n00:01.000 --> 00:02.000\nearly\n\n00:01.000 --> 00:03.000\n",
         "1-3 ''; 1-2 'early'; 5-6 'late'; "},
        {"WEBVTT\n\n00:01.000 --> 00:02.000 line:84%,end position:10%,line-left size:50% align:start "
         "vertical:rl\na\n\n"
         "00:03.000 --> 00:04.000 line:-2 align:middle size:120% position:x region:r line\nb",
         "1-2 'a' line 84% position 10 size 50 align 0; 3-4 'b' line -2; "},
        {"WEBVTT\n\n00:01.000 --> 00:02.000\n\xFF" + nul + "\xC3\xA9\xE2\x82",
         "1-2 '\uFFFD\uFFFD\u00E9\uFFFD\uFFFD'; "},
    };
    for (const auto& [text, expected] : files) EXPECT_EQ(describe(WebVTTFile::parse(text)), expected) << text;
}

TEST(WebVTT, TakesTagsAndEntitiesApart) {
    const std::pair<const char*, const char*> payloads[] = {
        {"<v.loud Anna>Hi</v> <c.yellow><lang en>you</lang></c> <00:01.500>there", "[Hi you there]"},
        {"a<b>b<i>c</b>d</i>e<u>f", "[a][b:b][ib:c][i:d][e][u:f]"},
        {"<ruby>a<rt>b</rt></ruby></b><I>c</I><font color=\"red\">d</font><>e", "[ab][i:c][de]"},
        {"1 < 2 && 3 > 2 <3 <unclosed", "[1 < 2 && 3 > 2 <3 <unclosed]"},
        {"&lt;i&gt; &amp;amp; &nbsp;&quot;&#39;&#xe9;&#0;&#x110000;&bogus;&",
         "[<i> &amp; \u00A0\"'\u00E9\uFFFD\uFFFD&bogus;&]"},
    };
    for (const auto& [payload, expected] : payloads) {
        std::string text;
        for (const auto& run : styledText(payload)) {
            std::string style =
                std::string(run.italic ? "i" : "") + (run.bold ? "b" : "") + (run.underlined ? "u" : "");
            text += "[" + style + (style.empty() ? "" : ":") + run.text + "]";
        }
        EXPECT_EQ(text, expected);
    }
}

// RFC 8216 3.5, with a clock of 33 bits that begins anew each 95443.7 s.
TEST(WebVTT, RelatesTheCueClockToTheStream) {
    constexpr double wrap = 8589934592.0 / 90000;
    const auto map = [](double seconds, double local) { return TimestampMap{seconds * 90000, local}; };
    struct Case {
        std::optional<TimestampMap> map;
        std::optional<TimelineAnchor> anchor;
        double cue, expected, offset;
    };
    const Case cases[] = {
        {{}, {}, 5, 0, 0},
        {{}, TimelineAnchor{10, 0}, 5, 0, 0},
        {{}, TimelineAnchor{10, -8}, 5, 0, -8},  // live: 8 s before the viewer joined
        {map(10, 0), TimelineAnchor{10, 0}, 5, 0, 0},
        {map(0, 0), TimelineAnchor{10, 0}, 12, 0, -10},
        {map(16, 6), TimelineAnchor{10, 0}, 7, 6, 0},  // each segment with a map of its own
        {map(10, 3600), TimelineAnchor{10, 0}, 3601, 0, -3600},
        {map(10, 0), TimelineAnchor{10, -8}, 5, -3, -8},
        {map(5, 0), TimelineAnchor{wrap - 5, 0}, 1, 0, 10},          // the stream has wrapped since its beginning
        {map(wrap - 5, 0), TimelineAnchor{5, 0}, 10, 0, -10},        // and here its cues begin before
        {map(10, 0), TimelineAnchor{10, 0}, 2 * wrap, 2 * wrap, 0},  // a day and more of one map
        {map(10, 0), {}, 5, 0, 0},
    };
    for (const Case& c : cases) {
        EXPECT_NEAR(cueClockOffset(c.map, c.anchor, c.cue, c.expected), c.offset, 1e-6) << (&c - cases);
    }
}

// Tracks over a server that is a map of texts, on a loop whose time is a number.
class TextTracks : public ::testing::Test {
protected:
    void begin(std::vector<SubtitleRendition> renditions,
               std::optional<TimelineAnchor> anchor = TimelineAnchor{}) {
        tracks = std::make_shared<SubtitleTracks>(loop, GStreamerOptions::MissingTimestampMap::presentationStart,
                                                  [this](const SubtitleCues& cues) {
                                                      shown.clear();
                                                      for (const auto& cue : cues) shown += *cue->contentString();
                                                  });
        tracks->begin({std::move(renditions), fetch(), [anchor] { return anchor; }});
    }
    static SubtitleRendition rendition(const std::string& language, const std::string& uri) {
        SubtitleRendition made;
        made.name = made.language = language;
        made.uri = uri;
        return made;
    }
    std::shared_ptr<TextTrack> show(std::size_t index) {
        auto track = tracks->get(index);
        track->addEventListener(TextTrackEventTypes::ENTER_CUE, [this](const EnterCueEvent& event) {
            log += fmt::format("+{}@{:.2f} ", *event.cue->contentString(), position());
        });
        track->addEventListener(TextTrackEventTypes::EXIT_CUE, [this](const ExitCueEvent& event) {
            log += fmt::format("-{}@{:.2f} ", *event.cue->contentString(), position());
        });
        track->setMode(TextTrackMode::showing);
        loop.drain();
        return track;
    }
    Fetch fetch() {
        return [this](const std::string& uri, FetchCompletion completion) -> std::shared_ptr<FetchTask> {
            requests.push_back(uri);
            struct Task : FetchTask {};
            const auto task = std::make_shared<Task>();
            const auto reply = onRequest ? onRequest(uri) : std::optional(server[uri]);
            if (!reply) return task;  // hangs
            loop.post([weak = std::weak_ptr(task), completion = std::move(completion), uri, text = *reply] {
                if (weak.expired()) return;
                if (text.empty()) return completion("The address " + uri + " was not found (404).");
                completion(FetchedText{text, *URL::parse(uri)});
            });
            return task;
        };
    }
    // The media clock, told as the player does it.
    double position() const { return at + rate * secondsFromDuration(loop.now() - since); }
    void setClock(double to, double speed) {
        at = to;
        rate = speed;
        since = loop.now();
        tracks->setClock(to, speed);
    }
    void seek(double to) {
        tracks->jumpTo(to);
        setClock(to, 0);
        loop.drain();
    }
    void play(double seconds, double speed = 1) {
        for (double played = 0; played < seconds; played += 0.25) {
            setClock(position(), speed);
            loop.advance(durationFromSeconds(std::min(0.25, seconds - played)));
        }
        setClock(position(), 0);
        loop.drain();
    }
    std::string take() { return std::exchange(log, ""); }
    std::vector<std::string> takeRequests() { return std::exchange(requests, {}); }

    ManualRunLoop loop;
    std::map<std::string, std::string> server;
    std::function<std::optional<std::string>(const std::string&)> onRequest;
    std::vector<std::string> requests;
    std::shared_ptr<SubtitleTracks> tracks;
    std::string log, shown;
    double at = 0, rate = 0;
    Duration since{0};
};

const std::string film = "http://h/s/film.m3u8";
const std::string filmPlaylist = "#EXTM3U\n#EXT-X-TARGETDURATION:60\n#EXTINF:60\nfilm.vtt\n#EXT-X-ENDLIST\n";

TEST_F(TextTracks, LetCuesEnterAndLeaveOnTheMediaClock) {
    server[film] = filmPlaylist;
    server["http://h/s/film.vtt"] =
        "WEBVTT\n\n00:01.000 --> 00:03.000\na\n\n00:02.000 --> 00:04.000\nb\n\n00:02.500 --> 00:02.510\nc\n\n"
        "00:04.000 --> 00:05.000\nd\n\n00:30.000 --> 00:31.000\ne\n";
    begin({rendition("en", film)});
    const auto track = show(0);
    EXPECT_EQ(takeRequests(), (std::vector{film, std::string("http://h/s/film.vtt")}));
    play(4.5);
    EXPECT_EQ(take(), "+a@1.00 +b@2.00 +c@2.50 -c@2.51 -a@3.00 -b@4.00 +d@4.00 ");
    EXPECT_EQ(shown, "d");
    seek(2.2);
    EXPECT_EQ(take(), "-d@2.20 +a@2.20 +b@2.20 ");
    EXPECT_EQ(shown, "ab");
    EXPECT_EQ(track->activeCues().size(), 2u);
    loop.advance(10s);  // paused
    play(1, 0.5);
    EXPECT_EQ(take(), "+c@2.50 -c@2.51 ");
    play(0.5, 4);
    EXPECT_EQ(take(), "-a@3.00 -b@4.00 +d@4.00 ");
    // A clock that is corrected by a little is not a seek: a cue does not enter twice for it.
    seek(29.9);
    take();
    play(0.11);
    setClock(29.99, 1);
    play(1.2);
    EXPECT_EQ(take(), "+e@30.00 -e@31.00 ");
    track->setMode(TextTrackMode::disabled);
    seek(30.5);
    EXPECT_EQ(take() + shown, "");
    EXPECT_TRUE(track->activeCues().empty());
    track->setMode(TextTrackMode::showing);
    loop.drain();
    EXPECT_EQ(take() + shown, "+e@30.50 e");
    EXPECT_EQ(takeRequests(), (std::vector{film, std::string("http://h/s/film.vtt")}));
    tracks->removeAll();
    EXPECT_EQ(shown, "");
    play(2);
    EXPECT_EQ(take(), "");
    EXPECT_EQ(loop.pendingTimers(), 0u);
}

// A long rendition is loaded around the position, and a cue that crosses a border of segments is one cue.
TEST_F(TextTracks, LoadSegmentsAroundThePosition) {
    std::string playlist = "#EXTM3U\n#EXT-X-TARGETDURATION:10\n";
    for (int i = 0; i < 360; ++i) {
        playlist += fmt::format("#EXTINF:10,\nseg{}.vtt\n", i);
        const auto time = [](double s) { return fmt::format("00:{:02}:{:06.3f}", int(s / 60), std::fmod(s, 60)); };
        server[fmt::format("http://h/s/seg{}.vtt", i)] = fmt::format(
            "WEBVTT\nX-TIMESTAMP-MAP=MPEGTS:{},LOCAL:00:00:00.000\n\n{} --> {}\nx{}\n\n{} --> {}\nx{}\n",
            900000 + i % 2, time(i * 10), time(i * 10 + 1), i, time(i * 10 + 9), time(i * 10 + 11), i + 1);
    }
    server[film] = playlist + "#EXT-X-ENDLIST\n";
    begin({rendition("en", film)}, TimelineAnchor{10, 0});
    seek(1805.5);
    show(0);
    EXPECT_EQ(takeRequests().size(), 1u + 7 + 1) << "a minute ahead and what is just behind";
    play(6);
    EXPECT_EQ(take(), "+x181@1809.00 +x181@1810.00 -x181@1811.00 -x181@1811.00 ");
    seek(0);
    EXPECT_EQ(takeRequests().size(), 6u + 1) << "those of the new place, and the next one while playing";
    play(12);
    EXPECT_EQ(take(), "+x0@0.00 -x0@1.00 +x1@9.00 +x1@10.00 -x1@11.00 -x1@11.00 ");
}

TEST_F(TextTracks, FollowALivePlaylist) {
    // A window of five segments of 2 s, number n at stamp 100 + 2n; the viewer joins at 12 s of it, three behind the end.
    const auto playlist = [](int last) {
        std::string text = fmt::format("#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-SEQUENCE:{}\n", last - 4);
        for (int n = last - 4; n <= last; ++n) text += fmt::format("#EXTINF:2,\nl{}.vtt\n", n);
        return text;
    };
    onRequest = [&](const std::string& uri) -> std::optional<std::string> {
        const int now = static_cast<int>(secondsFromDuration(loop.now()) / 2);
        if (uri == film) return playlist(8 + now);
        const int n = std::stoi(uri.substr(uri.find("/l") + 2));
        if (n % 5 == 3) return "WEBVTT\n";
        return fmt::format("WEBVTT\nX-TIMESTAMP-MAP=MPEGTS:{},LOCAL:00:00:00.000\n\n00:00.500 --> 00:01.500\n{}\n",
                           (100 + 2 * n) * 90000, n);
    };
    begin({rendition("en", film)}, TimelineAnchor{108, -4});  // of segment 4
    show(0);
    play(10);
    EXPECT_EQ(take(), "+6@0.50 -6@1.50 +7@2.50 -7@3.50 +9@6.50 -9@7.50 +10@8.50 -10@9.50 ");
    const auto seen = takeRequests();
    EXPECT_EQ(std::count(seen.begin(), seen.end(), film), 6);
    EXPECT_EQ(std::count(seen.begin(), seen.end(), "http://h/s/l9.vtt"), 1);
}

TEST_F(TextTracks, TellOneLineOfWhatCannotBeLoaded) {
    const LogCapture lines;
    server[film] = filmPlaylist;
    server["http://h/s/film.vtt"] = "<!DOCTYPE html>\n";
    server["http://h/keys.m3u8"] = "#EXTM3U\n#EXT-X-KEY:METHOD=AES-128,URI=\"k\"\n#EXTINF:1\na\n#EXT-X-ENDLIST\n";
    begin({rendition("pt", "http://h/none.m3u8"), rendition("en", film), rendition("es", "http://h/keys.m3u8")});
    for (int i = 0; i < 3; ++i) show(static_cast<std::size_t>(i)), loop.advance(60s);
    loop.advance(600s);
    play(3);
    EXPECT_EQ(lines.text(),
              "The subtitles \"pt\" cannot be shown: The address http://h/none.m3u8 was not found (404).\n"
              "The subtitles \"en\" cannot be shown: http://h/s/film.vtt is no WebVTT, it begins with \"<!DOCTYPE "
              "html>\"\n"
              "The subtitles \"es\" cannot be shown: they are encrypted\n");
    EXPECT_EQ(std::count(requests.begin(), requests.end(), "http://h/none.m3u8"), 3);
}

// A delegate's service that works for one job at a time: its file is that of the playlist it gave last.
TEST_F(TextTracks, AskOneJobAtATimeOfADelegate) {
    std::string job;
    std::map<std::string, int> given;
    onRequest = [&](const std::string& uri) -> std::optional<std::string> {
        if (uri.starts_with("subs://")) {
            job = uri.substr(7);
            return "#EXTM3U\n#EXT-X-TARGETDURATION:604800\n#EXTINF:604800.000\nhttp://localhost:1/"
                   "file\n#EXT-X-ENDLIST";
        }
        if (job == "silent") return {};
        return fmt::format("WEBVTT\n\n00:01.000 --> 00:02.000\n{}{}\n", job, ++given[job]);
    };
    begin({rendition("silent", "subs://silent"), rendition("pt", "subs://pt"), rendition("en", "subs://en")});
    show(0), show(1);
    const auto english = show(2);
    loop.advance(3s);
    play(3);
    EXPECT_EQ(take(), "+pt1@1.00 +en1@1.00 -pt1@2.00 -en1@2.00 ");
    // The job of the service is another one by now; then it is this one, and asking for the playlist again would make
    // the service forget what it was told since.
    const std::string file = "http://localhost:1/file";
    for (const auto& asked : {std::vector<std::string>{"subs://en", file}, {file}}) {
        seek(0);
        takeRequests();
        english->setMode(TextTrackMode::disabled);
        english->setMode(TextTrackMode::showing);
        play(0.5);
        EXPECT_EQ(takeRequests(), asked);
    }
    play(1);
    EXPECT_EQ(take(), "+pt1@1.00 +en3@1.00 ");
}

// What a listener does to the list ends what was being told.
TEST_F(TextTracks, EndInAnyListener) {
    server[film] = filmPlaylist;
    server["http://h/s/film.vtt"] = "WEBVTT\n\n00:01.000 --> 00:03.000\na\n\n00:01.000 --> 00:02.000\nb\n";
    begin({rendition("en", film)});
    const auto track = show(0);
    track->addEventListener(TextTrackEventTypes::ENTER_CUE, [&](const auto&) {
        tracks->close();
        tracks = nullptr;
    });
    setClock(0.5, 1);
    loop.advance(2s);
    EXPECT_EQ(take(), "+a@1.00 ");
    EXPECT_EQ(track->mode(), TextTrackMode::showing);
    EXPECT_EQ(loop.pendingTimers(), 0u);
}

}  // namespace
}  // namespace quorel::gstreamer
