#include <gmock/gmock.h>

#include "engines/simulated/simulated_engine.h"
#include "quorel/foundation/text.h"
#include "quorel/player/controller.h"
#include "sandbox/live_channel.h"
#include "tests/sandbox/sandbox_fixture.h"

namespace quorel::sandbox {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(LiveChannel, GoesOnByTheClock) {
    const Recording recording =
        Recording::parse("#EXTM3U\r\n#EXTINF:2.000000,\r\na.ts\r\n#EXTINF:1.5,\r\nb.ts\r\n#EXT-X-ENDLIST\r\n");
    EXPECT_EQ(recording, (Recording{{{"a.ts", 2}, {"b.ts", 1.5}}}));
    LiveChannel channel(recording);
    const auto at = [](double seconds) { return LiveChannel::epoch + seconds; };
    const auto nowhere = [](const std::string&) { return std::string("nowhere"); };

    const std::pair<double, std::int64_t> edges[] = {{-1, -1},   {0, -1},           {1.999, -1}, {2, 0},
                                                     {3.499, 0}, {3.5, 1},          {5.5, 2},    {7, 3},
                                                     {70, 39},   {3.5e8, 199999999}};
    for (const auto& [elapsed, last] : edges) EXPECT_EQ(channel.lastSequence(at(elapsed)), last) << elapsed;
    EXPECT_EQ(
        channel.playlist(nowhere, at(8)),
        "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-SEQUENCE:0\n"
        "#EXT-X-DISCONTINUITY-SEQUENCE:0\n#EXT-X-INDEPENDENT-SEGMENTS\n"
        "#EXT-X-PROGRAM-DATE-TIME:2023-11-14T22:13:20.000Z\n#EXTINF:2.000000,\n0.ts\n#EXTINF:1.500000,\n1.ts\n"
        "#EXT-X-DISCONTINUITY\n"
        "#EXT-X-PROGRAM-DATE-TIME:2023-11-14T22:13:23.500Z\n#EXTINF:2.000000,\n2.ts\n#EXTINF:1.500000,\n3.ts\n");

    // A window that slides: what leaves it counts, a segment keeps its number and its discontinuity sequence.
    std::string last;
    for (double elapsed = 53; elapsed < 130; elapsed += 0.5) {
        const std::string playlist = channel.playlist(nowhere, at(elapsed));
        EXPECT_EQ(channel.playlist(nowhere, at(elapsed)), playlist);
        const std::int64_t first = channel.lastSequence(at(elapsed)) - LiveChannel::windowLength + 1;
        EXPECT_THAT(playlist, HasSubstr("#EXT-X-MEDIA-SEQUENCE:" + std::to_string(first) + "\n"));
        EXPECT_THAT(playlist, HasSubstr("#EXT-X-DISCONTINUITY-SEQUENCE:" + std::to_string(first / 2) + "\n"));
        std::int64_t turn = first / 2;
        std::int64_t sequence = first;
        for (const std::string_view line : split(playlist, '\n', EmptyPieces::drop)) {
            if (line == "#EXT-X-DISCONTINUITY") ++turn;
            if (line.starts_with('#')) continue;
            EXPECT_EQ(line, std::to_string(sequence) + ".ts");
            EXPECT_EQ(turn, sequence++ / 2);
        }
        EXPECT_EQ(sequence, first + LiveChannel::windowLength);
    }

    const struct {
        const char* name;
        std::optional<std::string> file;
    } files[] = {
        {"39.ts", "b.ts"}, {"38.ts", "a.ts"}, {"40.ts", {}}, {"0.ts", "a.ts"}, {"-1.ts", {}},
        {"39", {}},        {"39.mp4", {}},    {"x.ts", {}},  {"", {}},         {"99999999999999999999.ts", {}}};
    for (const auto& file : files) EXPECT_EQ(channel.recordedFile(file.name, at(70)), file.file) << file.name;
    EXPECT_FALSE(channel.recordedFile("0.ts", at(200)));

    channel.switchCDN("other", at(70));
    const std::string switched =
        channel.playlist([](const std::string& host) { return "http://" + host + "/p/"; }, at(74));
    EXPECT_THAT(switched, HasSubstr(",\n39.ts\n#EXT-X-DISCONTINUITY\n"));
    EXPECT_THAT(switched, HasSubstr(",\nhttp://other/p/40.ts\n"));
    channel.end(at(74));
    EXPECT_EQ(channel.playlist(nowhere, at(1000)), channel.playlist(nowhere, at(74)));
    EXPECT_TRUE(channel.playlist(nowhere, at(1000)).ends_with("#EXT-X-ENDLIST\n"));
    channel.goOn();
    EXPECT_EQ(channel.playlist(nowhere, at(1000)).find("#EXT-X-ENDLIST"), std::string::npos);
}

TEST_F(SandboxTest, ALiveTitlesStreamIsThere) {
    const std::string playlist = load(at("/live/live/360/playlist.m3u8")).data;
    std::string segment;
    for (const std::string_view line : split(playlist, '\n', EmptyPieces::drop)) {
        if (!line.starts_with('#')) segment = line;
    }
    const struct {
        std::string path;
        int status;
    } rows[] = {
        {"/live/live/master.m3u8", 200},    {"/live/live/720/playlist.m3u8", 200},
        {"/live/live/360/" + segment, 200}, {"/live/live/361/playlist.m3u8", 404},
        {"/live/sample/master.m3u8", 404},  {"/live/live/360/1.ts", 404},
        {"/live/live/playlist.m3u8", 404},  {"/live/none/360/playlist.m3u8", 404},
        {"/live/live/360/x.m3u8", 404},     {"/live/live-over/master.m3u8", 200},
    };
    for (const auto& row : rows) EXPECT_EQ(load(at(row.path)).response.statusCode, row.status) << row.path;
    EXPECT_EQ(load(at("/live/live/360/" + segment)).data[0], '\x47');
    EXPECT_THAT(load(at("/live/live-over/360/playlist.m3u8")).data, HasSubstr("#EXT-X-ENDLIST"));
}

TEST_F(SandboxTest, LiveTitlesAreSwitchedFromOutside) {
    const auto post = [&](const char* body) { return load(at("/_control/live"), HTTPHeaders(), "POST", body); };
    const auto status = [&] {
        return JSONDecoder().decode<PlayerStatus>(
            load(at("/v1/live-streams/live/status"), header("Authorization", "Bearer sandbox-token")).data);
    };
    const PlayerStatus before = status();
    EXPECT_TRUE(before.isLive);
    EXPECT_EQ(before.cdn, (CDN{sandbox.baseURL(), true, 1}));

    EXPECT_EQ(post(R"({"id":"live","state":"startsSoon","eventDate":5,"cdn":"localhost"})").response.statusCode,
              200);
    const PlayerStatus after = status();
    EXPECT_FALSE(after.isLive || after.isPaused || after.isShutdown);
    EXPECT_EQ(after.eventDate, 5);
    EXPECT_EQ(after.cdn, (CDN{replacingAll(sandbox.baseURL(), "127.0.0.1", "localhost"), true, 2}));
    post(R"({"id":"live","state":"paused","eventIn":100,"cdn":"localhost"})");
    EXPECT_TRUE(status().isPaused);
    EXPECT_NEAR(status().eventDate, status().serverTime + 100, 60);
    EXPECT_EQ(status().cdn.lastUpdate, 2) << "the same server is no change";
    post(R"({"id":"live","state":"over"})");
    const auto playlist = [&] { return load(at("/live/live/360/playlist.m3u8")).data; };
    EXPECT_THAT(playlist(), HasSubstr("#EXT-X-ENDLIST"));
    post(R"({"id":"live","state":"onAir"})");
    EXPECT_THAT(playlist(), testing::Not(HasSubstr("#EXT-X-ENDLIST")));

    for (const char* bad :
         {"", "[]", R"({"id":1})", R"({"id":"live","state":"gone"})", R"({"id":"live","cdn":"example.com"})",
          R"({"id":"live","colour":1})", R"({"id":"live","eventDate":"soon"})"}) {
        EXPECT_EQ(post(bad).response.statusCode, 400) << bad;
    }
    EXPECT_EQ(post(R"({"id":"sample","state":"over"})").response.statusCode, 404);
    EXPECT_THAT(load(at("/_control/live")).data, HasSubstr(R"({"id":"live","state":"onAir","eventDate":)"));
    EXPECT_THAT(load(at("/control")).data, HasSubstr("<h1>Live control</h1>"));
}

TEST_F(SandboxTest, PingsAreHeldAgainstTheirTable) {
    const std::string good =
        R"({"eventos":[{"evento":"ping","video_nome":"show","dados":{"evento":"ping","video_nome":"show",)"
        R"("usuario_id":"6F9619FF-8B86-4D01-B42D-00CF4FC964FF","fazendo_rebuffer":false,"tamanho_buffer":0,)"
        R"("player_fullscreen":true,"player_autoplay":false,"player_pausado":true,)"
        R"("video_src":"https://cdn.test/show.m3u8","video_altura":360.5,"video_largura":640,"versao_theo":"",)"
        R"("current_time":9.9,"host":"cdn.test","sequencia":3}}]})";
    HTTPHeaders headers = header("x-quorel-ssid", "s");
    headers.set("Content-Type", "application/json");
    const struct {
        const char* from;
        const char* to;
        const char* problem;
    } rows[] = {
        {"", "", nullptr},
        {R"("show","dados")", R"("other","dados")", R"("video_nome" of "dados" is "show", not "other")"},
        {"6F9619FF", "6f9619ff", R"("usuario_id" of "dados" is no UUID in upper case)"},
        {R"("tamanho_buffer":0)", R"("tamanho_buffer":0.5)", R"("tamanho_buffer" of "dados" is 0.5, not 0)"},
        {R"("player_fullscreen":true)", R"("player_fullscreen":false)", "is false, not true"},
        {R"("player_pausado":true,)", "", R"("player_pausado" of "dados" is missing)"},
        {R"("player_pausado":true)", R"("player_pausado":1)", "is an integer, not a boolean"},
        {R"("versao_theo":"")", R"("versao_theo":"1")", R"(is "1", not "")"},
        {R"("host":"cdn.test")", R"("host":"")", R"("host" of "dados" is "", not "cdn.test")"},
        {R"("sequencia":3)", R"("sequencia":-3)", "is no integer from 0 on"},
        {R"("sequencia":3)", R"("sequencia":3.5)", "is no integer from 0 on"},
        {R"("sequencia":3)", R"("sequencia":3,"more":1)", R"("more" does not belong into "dados")"},
        {R"({"eventos":[)", R"({"eventos":[1,)", "is no array with one element"},
        {"}}]}", "}}]", "the body is no JSON"},
    };
    for (const auto& row : rows) {
        sandbox.clearPings();
        const auto reply = load(at("/e"), headers, "POST", replacingAll(good, row.from, row.to));
        const auto pings = sandbox.pings();
        ASSERT_EQ(pings.size(), 1u);
        EXPECT_EQ(reply.response.statusCode, row.problem == nullptr ? 204 : 400) << row.from;
        if (row.problem == nullptr) {
            EXPECT_THAT(pings[0].problems, IsEmpty());
        } else {
            EXPECT_THAT(pings[0].problems, ElementsAre(HasSubstr(row.problem)));
        }
    }
    sandbox.clearPings();
    EXPECT_EQ(load(at("/e"), header("Authorization", "x"), "POST", good).response.statusCode, 400);
    EXPECT_THAT(sandbox.pings().back().problems,
                ElementsAre("the header x-quorel-ssid is missing", "there is an Authorization header",
                            "the Content-Type is missing"));
    EXPECT_EQ(load(at("/e")).response.statusCode, 405);
    EXPECT_THAT(load(at("/_control/pings")).data, HasSubstr("there is an Authorization header"));
}

// The whole road, with nothing between the player and the endpoint but the network.
TEST_F(SandboxTest, TheEndpointFindsNothingWrongWithThePlayersPings) {
    const auto loop = std::make_shared<ManualRunLoop>();
    const auto engines = std::make_shared<SimulatedEngineFactory>(loop);
    engines->setDefaultScript(SimulatedScript::live());
    PlatformServices services = PlatformServices::standard(loop, engines);
    services.urlSession->registerProtocol(sandbox.makeProtocol());
    services.vendorIdentifier = std::make_shared<InstallationIdentifier>("");  // nothing is kept
    Quorel quorel(std::move(services));
    QuorelAPI api(quorel);
    quorel.initialize(sandbox.token(), std::nullopt, false);
    quorel.setSessionId("session of the test");

    auto player = QuorelPlayerViewController::make(quorel, api);
    player->layoutIn({0, 0, 1280, 720});
    player->setup("live", true, 0, {}, {});
    ASSERT_TRUE(loop->drainUntil([&] { return player.use_count() == 1; }));
    player->play();
    for (std::size_t tick = 1; tick <= 3; ++tick) {
        if (tick == 2) player->pause();
        loop->advance(std::chrono::seconds(10));
        ASSERT_TRUE(loop->drainUntil([&] { return sandbox.pings().size() == tick; }));
    }
    player->stopAnalytics();
    std::int64_t sequence = 0;
    for (const PingRecord& ping : sandbox.pings()) {
        EXPECT_THAT(ping.problems, IsEmpty());
        EXPECT_EQ(ping.ssid, "session of the test");
        const JSONValue& data = ping.payload["eventos"][0]["dados"];
        EXPECT_EQ(data["video_nome"].asString(), "live");
        EXPECT_EQ(data["video_src"].asString(), at("/live/live/master.m3u8"));
        EXPECT_EQ(data["video_altura"].asDouble(), 720);
        EXPECT_EQ(data["player_pausado"].asBool(), sequence >= 1);
        EXPECT_EQ(data["sequencia"].asInt(), sequence++);
    }
}

}  // namespace
}  // namespace quorel::sandbox
