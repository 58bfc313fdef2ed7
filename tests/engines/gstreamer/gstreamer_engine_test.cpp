// What the GStreamer engine promises beyond the contract: its pictures, its errors, and that it leaves nothing behind.
#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <mutex>

#include "tests/engines/gstreamer/gstreamer_harness.h"

namespace quorel::testing {
namespace {

using http::HttpResponse;
using P = PlayerEventTypes;

// A start time is asked for as metadata and picture come, as the player core does it: the first moment that is told
// and the first picture that is seen while playing are those of the start time.
TEST(GStreamerEngine, StartsExactlyAtTheStartTime) {
    GStreamerHarness harness;
    const auto player = harness.makePlayer();
    const auto frames = player->videoFrames();
    std::vector<double> times;
    std::shared_ptr<const ui::VideoFrame> firstPicture;
    player->addEventListener(P::LOADED_META_DATA, [&](const auto&) { player->setCurrentTime(7.5); });
    player->addEventListener(P::CAN_PLAY, [&](const auto&) { player->setCurrentTime(7.5); });
    player->addEventListener(P::PLAYING, [&](const auto&) { firstPicture = frames->latestFrame(); });
    player->addEventListener(P::TIME_UPDATE, [&](const auto& event) { times.push_back(event.currentTime); });
    player->setSource(harness.sourceAt("master.m3u8"));
    player->play();
    ASSERT_TRUE(harness.waitUntil([&] { return player->currentTime() > 8.2; }));
    EXPECT_NEAR(times.front(), 7.5, 0.1);
    EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
    ASSERT_TRUE(firstPicture);
    EXPECT_NEAR(firstPicture->time, 7.5, 0.1);
    EXPECT_NEAR(secondShown(*firstPicture), 7, 0.6);
}

// Pictures come while paused and while playing, are numbered upwards, stay readable for as long as they are held, and
// are gone with the source. The picture's view is behind the others, and leaves with its engine.
TEST(GStreamerEngine, GivesPictures) {
    GStreamerHarness harness;
    auto player = harness.makePlayer();
    const auto screen = ui::View::make();
    screen->setFrame({0, 0, 640, 360});
    screen->addSubview(ui::View::make());
    player->addAsSubview(screen);
    EXPECT_TRUE(std::dynamic_pointer_cast<ui::VideoView>(screen->subviews().front()));
    EXPECT_EQ(player->frame(), screen->bounds());

    const auto frames = player->videoFrames();
    std::atomic<int> told = 0;
    std::atomic<bool> upwards = true;
    frames->setFrameCallback([&, last = std::uint64_t{0}]() mutable {
        const auto frame = frames->latestFrame();
        if (frame) upwards = upwards && frame->number > std::exchange(last, frame->number);
        ++told;
    });
    player->setSource(harness.vodSource());
    ASSERT_TRUE(harness.waitUntil([&] { return told > 0; }));
    const auto first = frames->latestFrame();
    EXPECT_EQ(first->width, 320);
    EXPECT_EQ(first->height, 180);
    EXPECT_GE(first->stride, 4 * 320);
    player->setCurrentTime(12.5);
    player->play();
    ASSERT_TRUE(harness.waitUntil([&] { return frames->latestFrame()->time > 13; }));
    EXPECT_NEAR(secondShown(*frames->latestFrame()), 13, 0.6);
    EXPECT_TRUE(upwards);
    player->setSource(std::nullopt);
    EXPECT_EQ(frames->latestFrame(), nullptr);
    player = nullptr;
    EXPECT_NEAR(secondShown(*first), 0, 0.6);
    EXPECT_EQ(screen->subviews().size(), 1u);
    frames->setFrameCallback({});
}

// The streams have B-frames, whose first picture is decoded before it is due. The clock is the picture's all the same,
// from the beginning and after a seek: the picture changes when a second is full.
TEST(GStreamerEngine, KeepsThePictureOnTheClock) {
    GStreamerHarness harness;
    for (const char* const stream : {"ts/index.m3u8", "fmp4/index.m3u8"}) {
        const auto player = harness.makePlayer();
        const auto frames = player->videoFrames();
        std::mutex mutex;
        std::vector<std::pair<double, double>> changes;  // when, and to which second
        frames->setFrameCallback([&, last = -1.0]() mutable {
            const auto frame = frames->latestFrame();
            if (!frame) return;
            const double second = std::round(secondShown(*frame));
            if (std::exchange(last, second) == second) return;
            const std::lock_guard lock(mutex);
            changes.emplace_back(frame->time, second);
        });
        player->setSource(harness.sourceAt(stream));
        player->play();
        EXPECT_TRUE(harness.waitUntil([&] { return player->currentTime() > 1.1; }));
        player->setCurrentTime(4.8);
        EXPECT_TRUE(harness.waitUntil([&] { return player->currentTime() > 5.1; }));
        frames->setFrameCallback({});
        EXPECT_GE(changes.size(), 4u) << stream;
        for (const auto& [time, second] : changes) {
            // The first picture comes before the clock is known, and in the middle of second 4 is where the seek went.
            if (second == 0 || second == 4) continue;
            EXPECT_NEAR(time, second, 0.001) << stream;
        }
    }
}

struct Trouble {
    const char* name;
    const char* path;
    std::function<std::optional<HttpResponse>(MediaServer& server, const std::string& path)> script;
    std::vector<std::string> told;  // what the text of the ERROR holds
};

const Trouble troubles[] = {
    {"NoManifest", "gone.m3u8", {}, {"/gone.m3u8 was not found (404)"}},
    {"Forbidden",
     "ts/index.m3u8",
     [](auto&, auto&) { return MediaServer::status(403); },
     {"/ts/index.m3u8 is forbidden to this viewer (403)"}},
    {"ServerFault",
     "ts/index.m3u8",
     [](auto&, auto&) { return MediaServer::status(500); },
     {"/ts/index.m3u8", "its server has a fault (500)"}},
    {"WebPage",
     "ts/index.m3u8",
     [](auto&, auto&) { return MediaServer::body("<!DOCTYPE html><html><body>Please log in</body></html>"); },
     {"/ts/index.m3u8 cannot be played", "a web page", "<!DOCTYPE html>"}},
    {"Text",
     "ts/index.m3u8",
     [](auto&, auto&) { return MediaServer::body("the stream moved\nto another place\n"); },
     {"no playlist", "the stream moved"}},
    {"Empty", "ts/index.m3u8", [](auto&, auto&) { return MediaServer::body(""); }, {"reply is empty"}},
    {"NoSegments",
     "ts/index.m3u8",
     [](auto&, auto&) { return MediaServer::body("#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-ENDLIST\n"); },
     {"lists no segments"}},
    {"NoMediaPlaylist",
     "master.m3u8",
     [](auto&, auto& path) {
         return path == "/master.m3u8" ? std::nullopt : std::optional(MediaServer::status(404));
     },
     {"The playlist", "/ts/index.m3u8 of the stream", "/master.m3u8 was not found (404)"}},
    {"NoFirstSegment",
     "ts/index.m3u8",
     [](auto&, auto& path) {
         return path == "/ts/seg00.ts" ? std::optional(MediaServer::status(404)) : std::nullopt;
     },
     {"/ts/seg00.ts of the stream", "was not found (404)"}},
    {"NoFourthSegment",
     "ts/index.m3u8",
     [](auto&, auto& path) {
         return path == "/ts/seg03.ts" ? std::optional(MediaServer::status(410)) : std::nullopt;
     },
     {"/ts/seg03.ts of the stream", "is gone for good (410)"}},
    {"NoFragment",
     "fmp4/index.m3u8",
     [](auto&, auto& path) {
         return path.find("01.m4s") != path.npos ? std::optional(MediaServer::body(std::string(250'000, '?')))
                                                 : std::nullopt;
     },
     {"/fmp4/index.m3u8", "did not deliver anything for 3 seconds"}},
    {"UnknownCodec", "unknown/index.m3u8", {}, {"no installed decoder can play", "zzz1"}},
    {"SilentManifest",
     "ts/index.m3u8",
     [](auto& server, auto&) { return server.hang(); },
     {"/ts/index.m3u8 could not be loaded", "timed out"}},
    {"SilentSegment",
     "ts/index.m3u8",
     [](auto& server, auto& path) { return path == "/ts/seg02.ts" ? std::optional(server.hang()) : std::nullopt; },
     {"/ts/seg02.ts of the stream", "timed out"}},
};

class GStreamerTrouble : public ::testing::TestWithParam<Trouble> {};

// Each trouble of a server is one ERROR that says what is wrong and where, and the engine is good for the next source.
TEST_P(GStreamerTrouble, IsOneClearError) {
    MediaServer* server = nullptr;
    GStreamerHarness harness(
        [&](const std::string& path) -> std::optional<HttpResponse> {
            if (!GetParam().script) return {};
            return GetParam().script(*server, path);
        },
        3);
    server = &harness.server;
    GStreamerHarness good;
    const auto player = harness.makePlayer();
    std::vector<std::string> errors;
    player->addEventListener(P::ERROR, [&](const auto& event) { errors.push_back(event.error); });
    player->setSource(harness.sourceAt(GetParam().path));
    player->play();
    ASSERT_TRUE(harness.waitUntil([&] { return !errors.empty(); }));
    for (const std::string& part : GetParam().told)
        EXPECT_NE(errors[0].find(part), std::string::npos) << errors[0];
    EXPECT_TRUE(player->paused());

    player->setSource(good.vodSource());
    player->play();
    EXPECT_TRUE(harness.waitUntil([&] { return player->currentTime() > 0.2; }));
    EXPECT_EQ(errors.size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Servers, GStreamerTrouble, ::testing::ValuesIn(troubles),
                         [](const auto& trouble) { return trouble.param.name; });

// The demuxer refuses to go to the very end, and begins at 0 once more for each sink that hears of it. Whether that is
// loaded before the next one takes its turn is chance.
TEST(GStreamerEngine, LoadsNothingAgainForASeekToTheEnd) {
    for (int i = 0; i < 4; ++i) {
        GStreamerHarness harness;
        const auto player = harness.makePlayer();
        bool ended = false;
        player->addEventListener(P::ENDED, [&](const auto&) { ended = true; });
        player->setSource(harness.vodSource());
        player->play();
        ASSERT_TRUE(harness.waitUntil([&] { return player->currentTime() > 0.2; }));
        player->setCurrentTime(1e9);
        ASSERT_TRUE(harness.waitUntil([&] { return ended; }));
        EXPECT_EQ(harness.server.requestsFor("/ts/seg00.ts"), 1u);
    }
}

// A server that dies while it streams: what is buffered is played, then comes ERROR.
TEST(GStreamerEngine, SurvivesADeadServer) {
    GStreamerHarness harness({}, 3);
    GStreamerHarness good;
    const auto player = harness.makePlayer();
    std::vector<std::string> errors;
    player->addEventListener(P::ERROR, [&](const auto& event) { errors.push_back(event.error); });
    player->setSource(harness.liveSource());
    player->play();
    ASSERT_TRUE(harness.waitUntil([&] { return player->currentTime() > 0.3; }));
    harness.server.die();
    ASSERT_TRUE(harness.waitUntil([&] { return !errors.empty(); }));
    EXPECT_NE(errors[0].find("/live/index.m3u8"), std::string::npos) << errors[0];
    EXPECT_NE(errors[0].find("Could not connect to the server"), std::string::npos) << errors[0];
    EXPECT_GT(player->currentTime(), 1);
    player->setSource(good.vodSource());
    player->play();
    EXPECT_TRUE(harness.waitUntil([&] { return player->currentTime() > 0.2; }));
    EXPECT_EQ(errors.size(), 1u);
}

// An initialisation section the demuxer would load again, take both parts for one, and end the process; at a segment it
// gives up after the fourth time, and is begun again.
TEST(GStreamerEngine, OutlivesABeginningThatIsCut) {
    for (const auto& [part, times] : {std::pair{"init.mp4", 1}, std::pair{"seg00.m4s", 4}}) {
        std::atomic<int> asked = 0;
        GStreamerHarness harness(
            [&, part = part, times = times](const std::string& path) -> std::optional<http::HttpResponse> {
                if (!path.ends_with(part) || asked++ >= times) return std::nullopt;
                return MediaServer::cut(path);
            });
        const auto player = harness.makePlayer();
        std::string error;
        player->addEventListener(P::ERROR, [&](const auto& event) { error = event.error; });
        player->setSource(harness.otherVodSource());
        player->play();
        EXPECT_TRUE(harness.waitUntil([&] { return player->currentTime() > 0.2 || !error.empty(); }));
        EXPECT_EQ(error, "");
        EXPECT_GT(asked, times) << part;
    }
}

// Live: 0 is where playback joined, and the window's past can be reached, but no more than that.
TEST(GStreamerEngine, JoinsALiveStreamAtZero) {
    GStreamerHarness harness;
    const auto player = harness.makePlayer();
    player->addEventListener(P::LOADED_META_DATA, [&](const auto&) { player->setCurrentTime(0); });
    player->setSource(harness.liveSource());
    player->play();
    ASSERT_TRUE(harness.waitUntil([&] { return player->currentTime() > 0.3; }));
    EXPECT_EQ(harness.server.requestsFor("/ts/seg04.ts"), 0u) << "went back to the window's beginning";
    bool done = false;
    player->setCurrentTime(-1000, [&] { done = true; });
    ASSERT_TRUE(harness.waitUntil([&] { return done; }));
    EXPECT_LT(player->currentTime(), 0);
    EXPECT_GT(player->currentTime(), -20);
    const double there = player->currentTime();
    EXPECT_TRUE(harness.waitUntil([&] { return player->currentTime() > there + 0.3; }));
}

// What is allocated; how much of it is resident says more about the allocator's arenas.
std::size_t allocatedKilobytes() {
    const struct mallinfo2 info = mallinfo2();
    return (info.uordblks + info.hblkhd) / 1024;
}

// A segment that is asked for and never comes keeps neither its connection nor the demuxer it is for, whether anything
// came before it or not.
TEST(GStreamerEngine, LetsGoOfASegmentThatNeverComes) {
    for (const std::string segment : {"/ts/seg00.ts", "/ts/seg01.ts"}) {
        MediaServer* server = nullptr;
        GStreamerHarness harness([&](const std::string& path) -> std::optional<http::HttpResponse> {
            return path == segment ? std::optional(server->hang()) : std::nullopt;
        });
        server = &harness.server;
        const auto leave = [&](std::size_t times) {
            const auto player = harness.makePlayer();
            player->setSource(harness.vodSource());
            player->play();
            EXPECT_TRUE(harness.waitUntil([&] { return server->requestsFor(segment) == times; }));
        };
        leave(1);  // what stays of the first one is GLib's, and the server's end of the connection
        harness.step(2);
        const std::size_t descriptors = entries("/proc/self/fd");
        leave(2);
        EXPECT_TRUE(harness.waitUntil([&] { return entries("/proc/self/fd") <= descriptors + 1; }))
            << descriptors << " became " << entries("/proc/self/fd") << " by " << segment;
    }
}

// Many sources in a row, each left at another stage of its life.
TEST(GStreamerEngine, LeavesNothingBehindOfManySources) {
    GStreamerHarness harness;
    const auto round = [&](int sources) {
        const auto player = harness.makePlayer();
        bool loaded = false;
        player->addEventListener(P::LOADED_META_DATA, [&](const auto&) { loaded = true; });
        player->addEventListener(P::ERROR, [&](const auto& event) { ADD_FAILURE() << event.error; });
        for (int i = 0; i < sources && !::testing::Test::HasFailure(); ++i) {
            loaded = false;
            player->setSource(i % 2 == 0 ? harness.vodSource() : harness.otherVodSource());
            player->play();
            if (i % 8 == 0) harness.step(0.01);
            const auto reaches = [&](const std::function<bool()>& done) {
                EXPECT_TRUE(harness.waitUntil([&] { return done() || ::testing::Test::HasFailure(); })) << i;
            };
            if (i % 4 == 1) reaches([&] { return loaded; });
            if (i % 16 == 5) reaches([&] { return player->currentTime() > 0.1; });
            if (i % 4 == 3) player->setCurrentTime(3);
        }
        bool stopped = false;
        player->stop([&] { stopped = true; });
        EXPECT_TRUE(harness.waitUntil([&] { return stopped; }));
    };
    const auto settled = [&](const char* directory, std::size_t most) {
        return harness.waitUntil([&] { return entries(directory) <= most; });
    };
    // The first ones make what stays: GLib's thread pools, the registry, the allocator's arenas.
    round(QUOREL_TEST_SOURCES / 4);
    harness.step(0.2);
    const std::size_t threads = entries("/proc/self/task");
    const std::size_t descriptors = entries("/proc/self/fd");
    const std::size_t memory = allocatedKilobytes();
    round(QUOREL_TEST_SOURCES);
    EXPECT_TRUE(settled("/proc/self/task", threads + 2)) << threads << " became " << entries("/proc/self/task");
    EXPECT_TRUE(settled("/proc/self/fd", descriptors + 2))
        << descriptors << " became " << entries("/proc/self/fd");
    const std::size_t grown = allocatedKilobytes() - std::min(memory, allocatedKilobytes());
    std::cout << "grown by " << grown << " kB of " << memory << " kB\n";
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_LT(grown, 8'000u);
#endif
}

}  // namespace
}  // namespace quorel::testing
