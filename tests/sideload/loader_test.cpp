// The loader with its service, from the master playlist to the words, over real sockets; and the door to it all.
#include <filesystem>
#include <iterator>
#include <set>
#include <thread>

#include "engines/simulated/simulated_engine.h"
#include "quorel/foundation/device_util.h"
#include "quorel/sideload/sideload.h"
#include "quorel/sideload/source_validator.h"
#include "quorel/sideload/web_vtt_parser.h"
#include "tests/sideload/media_framework_fixture.h"

namespace quorel::testing {
namespace {

using Tracks = AVSubtitlesLoader::Subtitles;
using Loader = SideloadTest;

const std::string srt = "1\r\n00:00:01,000 --> 00:00:02,500\r\nOlá, %41migo\r\n\r\n";

std::shared_ptr<SSTextTrackDescription> described(const std::string& file, TextTrackFormat format) {
    return std::make_shared<SSTextTrackDescription>("https://origin.test/" + file, "pt", true,
                                                    TextTrackKind::subtitles, file, format);
}

TEST_F(Loader, WalksFromTheMasterToTheWords) {
    origin->redirect("/film.m3u8", "/v2/film.m3u8");
    origin->serve("/v2/film.m3u8", "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\n720/a.m3u8?t=1\n");
    origin->serve("/v2/720/a.m3u8", "#EXTM3U\n#EXTINF:60.25,\n0.ts\n#EXTINF:40.25,\n1.ts\n#EXT-X-ENDLIST\n");
    origin->serve("/a.srt", srt);
    origin->serve("/c.vtt",
                  "WEBVTT\r\nX-TIMESTAMP-MAP=LOCAL:00:00:00.000,MPEGTS:1\r\n\r\n00:01.000 --> 00:02.000\r\nc\r\n");
    const auto mapped = described("c.vtt", TextTrackFormat::WebVTT);
    mapped->vttTimestamp = {"900000", "00:00:01.000"};
    const Tracks tracks{
        std::make_shared<TextTrackDescription>("https://origin.test/a.srt", "pt", true, TextTrackKind::subtitles,
                                               "Português", TextTrackFormat::SRT),
        std::make_shared<TextTrackDescription>("https://origin.test/b.vtt", "en", true, TextTrackKind::subtitles,
                                               "English", std::nullopt),
        mapped,
    };
    const auto loader = AVSubtitlesLoader::make(tracks, nullptr, {.urlSession = session});
    EXPECT_EQ(loader->customScheme(), "interceptedm3u8://");

    const Loaded master = load(*loader, "interceptedm3u8://origin.test/film.m3u8");
    EXPECT_EQ(master.from, "https://origin.test/film.m3u8");
    const std::string subtitleURI = cut(master.body, "NAME=\"Português\"", "URI=\"", "\"");
    EXPECT_EQ(subtitleURI, "subtitlesm3u8://https://origin.test/a.srt");
    const std::string service =
        "http://localhost:" + std::to_string(loader->transformer().port()) + "/transformSubtitle";
    const auto playlist = [](const std::string& seconds, const std::string& segment) {
        return "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-MEDIA-SEQUENCE:0\n#EXT-X-PLAYLIST-TYPE:VOD\n#EXT-X-"
               "TARGETDURATION:" +
               seconds + "\n#EXTINF:" + seconds + ".000\n" + segment + "\n#EXT-X-ENDLIST";
    };
    EXPECT_EQ(load(*loader, subtitleURI).body, playlist("604800", service)) << "no variant has been loaded";

    const std::string variantURI = "variantm3u8://" + cut(master.body, "STREAM-INF", "variantm3u8://", "\n");
    EXPECT_EQ(variantURI, "variantm3u8://https://origin.test/v2/720/a.m3u8?t=1");
    EXPECT_EQ(load(*loader, variantURI).body,
              "#EXTM3U\n#EXTINF:60.25\nhttps://origin.test/v2/720/0.ts\n#EXTINF:40.25\n"
              "https://origin.test/v2/720/1.ts\n#EXT-X-ENDLIST");
    const Loaded words = load(*loader, subtitleURI);
    EXPECT_EQ(words.body, playlist("100", service));
    EXPECT_EQ(words.from, "https://origin.test/a.srt");
    EXPECT_EQ(fetch(*session, service), "WEBVTT\n\n\n00:00:01.000 --> 00:00:02.500\nOlá, Amigo\n\n");
    EXPECT_EQ(load(*loader, "subtitlesm3u8://https://origin.test/b.vtt").body,
              playlist("100", "https://origin.test/b.vtt"))
        << "goes to the origin by itself";
    EXPECT_EQ(load(*loader, "subtitlesm3u8://https://origin.test/unknown.srt").body,
              playlist("100", "https://origin.test/unknown.srt"));
    EXPECT_EQ(load(*loader, "subtitlesm3u8://https://origin.test/c.vtt").body, playlist("100", service));
    EXPECT_EQ(fetch(*session, service),
              "WEBVTT\nX-TIMESTAMP-MAP=MPEGTS:900000,LOCAL:00:00:01.000\n\n00:01.000 --> 00:02.000\nc\n");
}

TEST_F(Loader, ServesWhatBecomesOfAFile) {
    origin->serve("/empty.vtt", "");
    origin->serve("/no%20map.vtt", "WEBVTT\n\n100% A\n");
    origin->serve("/headless.vtt", "WEBVTT");
    origin->serve("/bad.srt", "1\nno time\n\n");
    origin->serve("/latin1.vtt", "WEBVTT\n\nol\xE1");
    const auto loader = AVSubtitlesLoader::make({}, nullptr, {.urlSession = session});
    SubtitlesTransformer& transformer = loader->transformer();
    const std::string service = "http://localhost:" + std::to_string(transformer.port()) + "/transformSubtitle";
    LogCapture log;
    std::string expectedLog = "[AVSubtitlesLoader] ERROR: Missing subtitle content URL.\n";
    EXPECT_EQ(fetch(*session, service), "Missing subtitle content URL.");

    using enum TextTrackFormat;
    const std::string origin_ = "https://origin.test/", missing = "Missing subtitle content";
    struct Row {
        std::string url;
        TextTrackFormat format;
        std::optional<WebVttTimestamp> timestamp;
        std::string body;
        std::string log;  // without what it begins with
    };
    const std::string undecodable = missing + ". Reason: Failed to encode content string.";
    const std::string unreachable = missing + ". Reason: URLs of this scheme are not supported. (x:y)";
    const std::vector<Row> rows{
        {origin_ + "%zz", SRT, {}, missing + " URL.", ": " + missing + " URL."},
        {"x:y", SRT, {}, unreachable, ": " + unreachable},
        {origin_ + "latin1.vtt", WebVTT, {}, undecodable, ": " + undecodable},
        {origin_ + "bad.srt", SRT, {}, "invalidTime(1)", ": Converting SRT to VTT invalidTime(1)"},
        {origin_ + "missing.srt", SRT, {}, "WEBVTT\n\n", ""},
        {origin_ + "empty.vtt", WebVTT, WebVttTimestamp{"1", {}}, "", ""},
        {origin_ + "no%20map.vtt", WebVTT, WebVttTimestamp{"1.0", "0"},
         "WEBVTT\nX-TIMESTAMP-MAP=MPEGTS:1.0,LOCAL:0\n\n100% A\n", ": Failed to override timestamp."},
        {origin_ + "headless.vtt", WebVTT, WebVttTimestamp{"1", "0"}, "WEBVTT",
         ": Failed to override timestamp.\n[AVSubtitlesLoader] ERROR: Failed to add timestamp."},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(transformer.urlFor(row.url, row.format, row.timestamp), service);
        EXPECT_EQ(fetch(*session, service), row.body) << row.url;
        if (!row.log.empty()) expectedLog += "[AVSubtitlesLoader] ERROR" + row.log + "\n";
    }
    EXPECT_EQ(log.text(), expectedLog);

    // The synchroniser's correction reaches the file that is served.
    origin->serve("/mapped.vtt", "WEBVTT\nX-TIMESTAMP-MAP=MPEGTS:1,LOCAL:2\n\n");
    transformer.urlFor(origin_ + "mapped.vtt", WebVTT, {});
    EXPECT_TRUE(transformer.setTimestamp({"-135000.0", "0:1"}));
    EXPECT_EQ(fetch(*session, service), "WEBVTT\nX-TIMESTAMP-MAP=MPEGTS:-135000.0,LOCAL:0:1\n\n");
    EXPECT_FALSE(AVSubtitlesLoader::make({}, nullptr, {.urlSession = session})->transformer().setTimestamp({}));
}

// What the track's file says of its clock, and the file as the synchroniser reads it.
TEST_F(Loader, ReadsAFilesOwnMap) {
    origin->serve("/map.vtt", "WEBVTT\nX-TIMESTAMP-MAP=MPEGTS:9,LOCAL:0:1\n");
    origin->serve("/none.vtt", "WEBVTT\n");
    origin->serve("/latin1.vtt", "X-TIMESTAMP-MAP=MPEGTS:9,LOCAL:0:1\n\xE1");
    const std::pair<const char*, const char*> rows[] = {
        {"https://origin.test/map.vtt", "9 0:1"},
        {"https://origin.test/none.vtt", "Could not find a timestamp in the WebVTT file."},
        {"https://origin.test/latin1.vtt", ""},
        {"x:y", "URLs of this scheme are not supported. (x:y)"},
        {"", ""},
    };
    for (const auto& [src, expected] : rows) {
        std::promise<std::string> told;
        SSTextTrackDescription(src, "pt").extractSourceTimestamp(
            *session, [&](const WebVttTimestamp& timestamp, std::exception_ptr error) {
                const std::string map = timestamp.pts ? *timestamp.pts + " " + *timestamp.localTime : "";
                told.set_value(error ? localizedDescription(error) : map);
            });
        EXPECT_EQ(told.get_future().get(), expected) << src;
    }
    for (const auto& [url, expected] : {std::pair("https://origin.test/none.vtt", "WEBVTT\n"), rows[3]}) {
        std::promise<std::string> told;
        makeWebVTTParser(session)->getVttContent(url, [&](const std::string& content, std::exception_ptr error) {
            told.set_value(error ? localizedDescription(error) : content);
        });
        EXPECT_EQ(told.get_future().get(), expected);
    }
}

TEST_F(Loader, ServesAMeasuredMapAtOnceAndFromThenOn) {
    origin->serve("/a.vtt", "WEBVTT\n\n00:11.000 --> 00:12.000\nline\n");
    const auto loop = std::make_shared<ManualRunLoop>();
    SimulatedEngineFactory factory(loop);
    SimulatedScript script;
    script.tracks = {{.label = "a.vtt", .language = "pt", .cues = {{1, 2, "line"}}}};
    factory.setDefaultScript(script);
    const auto player = factory.makePlayer({}, {});
    const auto track = described("a.vtt", TextTrackFormat::WebVTT);
    track->automaticTimestampSyncEnabled = true;
    const auto loader = AVSubtitlesLoader::make({track}, player, {.urlSession = session});
    const auto words = [&] {
        const Loaded playlist = load(*loader, "subtitlesm3u8://https://origin.test/a.vtt");
        return fetch(*session, cut(playlist.body, "#EXTINF", "\n", "\n"));
    };
    const std::string service =
        "http://localhost:" + std::to_string(loader->transformer().port()) + "/transformSubtitle";
    EXPECT_EQ(words(), "WEBVTT\n\n00:11.000 --> 00:12.000\nline\n");
    player->setSource(SourceDescription{.source = {.src = "https://s.test/f.m3u8"}, .textTracks = {{track}}});
    loop->advance(std::chrono::seconds(1));
    ASSERT_TRUE(loop->drainUntil([&] { return loader->synchronizer().trackSyncMap().contains("a.vtt"); }));
    player->textTracks().get(0)->setMode(TextTrackMode::showing);
    player->play();
    loop->advance(std::chrono::seconds(3));
    const std::string mapped =
        "WEBVTT\nX-TIMESTAMP-MAP=MPEGTS:900000.0,LOCAL:00:00:00.000\n\n00:11.000 --> 00:12.000\nline\n";
    EXPECT_EQ(fetch(*session, service), mapped);
    EXPECT_EQ(words(), mapped);
}

TEST_F(Loader, RefusesAndFailsAsEachSchemeDoes) {
    origin->serve("/page.m3u8", "<html>");
    const auto loader = AVSubtitlesLoader::make({}, nullptr, {.urlSession = session});
    const LogCapture log;
    using enum URLError::Code;
    const std::vector<std::tuple<std::string, bool, std::optional<URLError::Code>>> rows{
        {"", false, {}},
        {"relative", false, {}},
        {"https://origin.test/page.m3u8", false, {}},
        {"interceptedm3u8:/x", false, {}},
        {"interceptedm3u8://origin.test/page.m3u8", true, cannotParseResponse},
        {"variantm3u8://", false, unsupportedURL},
        {"variantm3u8://https://origin.test/missing.m3u8", true, cannotParseResponse},
        {"subtitlesm3u8://", false, {}},
    };
    for (const auto& [url, handled, error] : rows) {
        const Loaded loaded = load(*loader, url);
        EXPECT_EQ(loaded.handled, handled) << url;
        EXPECT_EQ(loaded.error, error) << url;
        EXPECT_EQ(loaded.body, "");
    }
    EXPECT_EQ(log.text(),
              "[AVSubtitlesLoader] ERROR: Couldn't find manifest data\n"
              "[AVSubtitlesLoader] ERROR: Variant manifest is invalid\n"
              "[AVSubtitlesLoader] ERROR: Couldn't find variant data\n"
              "[AVSubtitlesLoader] ERROR: Failed to revert subtitle URL!\n");
    origin->serve("/long.m3u8", "#EXTM3U\n#EXTINF:1" + std::string(19, '0') + ",\n");
    ASSERT_TRUE(load(*loader, "variantm3u8://https://origin.test/long.m3u8").handled);
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(load(*loader, "subtitlesm3u8://https://origin.test/a.srt"), "no number of seconds");
}

TEST_F(Loader, DumpsWhatItGivesWhenAsked) {
    origin->serve("/a.m3u8", "#EXTM3U");
    origin->serve("/a.vtt", "WEBVTT");
    const auto loader =
        AVSubtitlesLoader::make({described("a.vtt", TextTrackFormat::WebVTT)}, nullptr, {.urlSession = session});
    LogCapture log;
    SideloadedSubtitleConnector::SHOW_DEBUG_LOGS = true;
    load(*loader, "interceptedm3u8://origin.test/a.m3u8");
    load(*loader, "variantm3u8://https://origin.test/a.m3u8");
    const Loaded subtitles = load(*loader, "subtitlesm3u8://https://origin.test/a.vtt");
    fetch(*session, cut(subtitles.body, "#EXTINF", "\n", "\n"));
    const auto renewal = std::make_shared<LoadingRequest>(URL::parse("x://y"));
    EXPECT_FALSE(loader->shouldWaitForRenewalOfRequestedResource(renewal));
    SideloadedSubtitleConnector::SHOW_DEBUG_LOGS = false;
    const std::string p = "[AVSubtitlesLoader] ";
    EXPECT_EQ(log.text(),
              p + "loadingRequest interceptedm3u8://origin.test/a.m3u8\n" + p + "MASTER: +++++++\n#EXTM3U\n" +
                  R"(#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID="THEOsubs",NAME="a.vtt",)" +
                  "URI=\"subtitlesm3u8://https://origin.test/a.vtt\",LANGUAGE=\"pt\"\n" + p + "MASTER: ------\n" +
                  p + "loadingRequest variantm3u8://https://origin.test/a.m3u8\n" + p +
                  "VARIANT: +++++++\n#EXTM3U\n" + p + "VARIANT: ------\n" + p +
                  "loadingRequest subtitlesm3u8://https://origin.test/a.vtt\n" + p + "SUBTITLE: +++++++\n" +
                  subtitles.body + "\n" + p + "SUBTITLE: ------\n" + p + "Transformed subtitle WEBVTT\n" + p +
                  "renewalRequest x://y\n");
}

TEST(SubtitlesTransformer, DrawsPortsEvenlyAndTriesTen) {
    std::map<std::uint16_t, std::uint16_t> bitsByPort;
    for (unsigned bits = 0; bits < 65536; ++bits) {
        bool asked = false, rejected = false;
        const std::uint16_t port = SubtitlesTransformer::drawPort([&]() -> std::uint16_t {
            if (std::exchange(asked, true)) rejected = true;
            return static_cast<std::uint16_t>(rejected ? 65535 : bits);
        });
        EXPECT_TRUE(rejected || bitsByPort.emplace(port, bits).second) << port;
    }
    EXPECT_EQ(bitsByPort.size(), 41151u);
    EXPECT_EQ(bitsByPort.begin()->first, 8000);
    EXPECT_EQ(bitsByPort.rbegin()->first, 49150);

    std::vector<std::shared_ptr<http::Socket>> sockets;
    do {
        sockets.push_back(http::Socket::tcpSocketForListen(0, true, 1, "127.0.0.1"));
    } while (!bitsByPort.contains(sockets.back()->port()));
    const std::uint16_t taken = bitsByPort.at(sockets.back()->port());
    const std::string line = "[AVSubtitlesLoader] ERROR starting local server: Address already in use\n";
    LogCapture log;
    const SubtitlesTransformer down({}, nullptr, [taken] { return taken; });
    EXPECT_EQ(down.retryAttemptsLeft(), 0);
    std::string lines;
    for (int i = 0; i < 10; ++i) lines += line;
    EXPECT_EQ(log.text(), lines);
    bool isFirst = true;
    const SubtitlesTransformer up({}, nullptr, [&] {
        return std::exchange(isFirst, false) ? taken : SubtitlesTransformer::systemRandomBits();
    });
    EXPECT_LE(up.retryAttemptsLeft(), 8);
    EXPECT_NE(up.port(), sockets.back()->port());
    UrlSession session;
    const std::string base = "http://localhost:" + std::to_string(up.port());
    EXPECT_EQ(fetch(session, base + "/transformSubtitle?x=y"), "Missing subtitle content URL.");
    EXPECT_EQ(fetch(session, base + "/other"), "");
}

struct AirPlay : AudioRoute {
    std::vector<std::string> outputPortTypes() const override { return {"Speaker", "AirPlay"}; }
};

TEST(SubtitlesTransformer, NamesTheDeviceForReceiversOnTheNetwork) {
    const std::string address = DeviceUtil::ipv4Address("en0").value_or("localhost");
    SubtitlesTransformer transformer({}, std::make_shared<AirPlay>());
    EXPECT_EQ(transformer.urlFor("https://s.test/a", TextTrackFormat::SRT, {}),
              "http://" + address + ":" + std::to_string(transformer.port()) + "/transformSubtitle");
}

std::size_t entries(const char* folder) {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator()));
}

TEST(LoaderLifetime, TwoHundredLoadersLeaveNeitherThreadNorDescriptor) {
    const auto count = [] { return std::pair(entries("/proc/self/task"), entries("/proc/self/fd")); };
    // The process's first session and server start what stays.
    { const auto warm = AVSubtitlesLoader::make({}, nullptr, {}); }
    const auto before = count();
    LogCapture log;
    {
        const auto origin = std::make_shared<Origin>();
        const auto session = std::make_shared<UrlSession>();
        session->registerProtocol(origin);
        std::weak_ptr<AVSubtitlesLoader> last;
        for (int i = 1; i <= 200; ++i) {
            auto loader = AVSubtitlesLoader::make({}, nullptr, {.urlSession = session});
            EXPECT_TRUE(last.expired());
            last = loader;
            const std::string url =
                loader->transformer().urlFor("https://origin.test/hang/a.srt", TextTrackFormat::SRT, {});
            session->dataTask(URLRequest(*URL::parse(url)), [](const UrlSession::Result&) {})->resume();
            const auto request =
                std::make_shared<LoadingRequest>(URL::parse("variantm3u8://https://origin.test/hang/v.m3u8"));
            EXPECT_TRUE(loader->shouldWaitForLoadingOfRequestedResource(request));
            origin->waitForHanging(2 * i);
            loader = nullptr;
            ASSERT_NO_FATAL_FAILURE(origin->waitForAbandonment());
            EXPECT_EQ(request->wait(true).error, URLError::Code::cannotParseResponse);
        }
    }
    const auto isBack = [&] { return count().first <= before.first && count().second <= before.second; };
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!isBack() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
    EXPECT_TRUE(isBack()) << "threads " << count().first << ", descriptors " << count().second;
    EXPECT_EQ(log.text().find("Missing"), std::string::npos) << "what nobody waits for any more is no error";
}

struct CacheDouble : Cache, DeveloperSettings {
    std::shared_ptr<CachingTask> createTask(const SourceDescription& source, const CachingParameters&) override {
        created.push_back(source.source.src);
        return task;
    }
    DeveloperSettings* developerSettings() override { return this; }
    std::shared_ptr<ManifestInterceptor> manifestInterceptor() const override { return interceptor; }
    void setManifestInterceptor(std::shared_ptr<ManifestInterceptor> given) override {
        interceptor = std::move(given);
    }

    std::shared_ptr<CachingTask> task = std::make_shared<CachingTask>();
    std::shared_ptr<ManifestInterceptor> interceptor;
    std::vector<std::string> created;
};

TEST_F(Loader, IsInstalledForSourcesWithFitTracks) {
    origin->serve("/film.m3u8", "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\na.m3u8");
    const auto loop = std::make_shared<ManualRunLoop>();
    SimulatedEngineFactory factory(loop);
    const auto player = factory.makePlayer({}, {});
    const auto engine = factory.latest();
    const SideloadServices services{.urlSession = session};
    const auto track = [](std::string src, std::optional<TextTrackKind> kind) {
        return std::make_shared<TextTrackDescription>(std::move(src), "pt", true, kind, "Português",
                                                      TextTrackFormat::SRT);
    };
    const std::string unable =
        "[AVSubtitlesLoader] Unable to find a valid TextTrackDescription for sideloading.\n";
    SourceDescription film{.source = {.src = "http://origin.test/film.m3u8"}};
    LogCapture log;
    setSourceWithSubtitles(player, film, services);
    EXPECT_EQ(log.text(), unable);
    film.textTracks = Tracks{track("https://s.test/a", TextTrackKind::captions), track("https://s.test/a", {})};
    EXPECT_FALSE(SourceValidator::validatedTracks(film));
    EXPECT_EQ(log.text(), unable + unable);

    const auto good = track("https://origin.test/a.srt", TextTrackKind::subtitles);
    film.textTracks = Tracks{good, track("a.srt", TextTrackKind::subtitles), track("", TextTrackKind::subtitles),
                             track("file:///a.srt", TextTrackKind::subtitles),
                             track("https://s.test/a b", TextTrackKind::subtitles)};
    const auto invalid = [](const std::string& reason, const std::string& url) {
        return "[AVSubtitlesLoader] URL " + reason + ".\n[AVSubtitlesLoader] The provided subtitle source " + url +
               " is invalid.\n";
    };
    setSourceWithSubtitles(player, film, services);
    EXPECT_EQ(log.text(), unable + unable + invalid("scheme is invalid or missing", "a.srt") +
                              invalid("scheme is invalid or missing", "") +
                              invalid("host is invalid or missing", "file:///a.srt") +
                              invalid("contains invalid characters", "https://s.test/a%20b"));
    EXPECT_EQ(player->source(), film);
    std::weak_ptr<ManifestInterceptor> first = player->developerSettings()->manifestInterceptor();
    ASSERT_TRUE(loop->drainUntil([&] {
        loop->advance(std::chrono::milliseconds(200));
        return player->duration().has_value();
    }));
    EXPECT_EQ(cut(engine->interceptedManifest(), "TYPE=SUBTITLES", "URI=\"", "\""),
              "subtitlesm3u8://https://origin.test/a.srt");

    setSourceWithSubtitles(player, film, services);
    EXPECT_TRUE(first.expired());
    EXPECT_TRUE(player->developerSettings()->manifestInterceptor());
    setSourceWithSubtitles(player, std::nullopt, services);
    EXPECT_FALSE(player->developerSettings()->manifestInterceptor());
    EXPECT_FALSE(player->source());

    CacheDouble cache;
    EXPECT_EQ(createTaskWithSubtitles(cache, film, {}, services), cache.task);
    EXPECT_TRUE(cache.interceptor);
    film.textTracks.reset();
    createTaskWithSubtitles(cache, film, {}, services);
    EXPECT_FALSE(cache.interceptor);
    EXPECT_EQ(cache.created, (std::vector<std::string>{film.source.src, film.source.src}));
}

}  // namespace
}  // namespace quorel::testing
