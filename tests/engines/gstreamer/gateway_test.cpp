// The way of the playlists: what the gateway makes of them, and what it asks of a manifest interceptor.
#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <mutex>
#include <thread>

#include "engines/gstreamer/engine_thread.h"
#include "engines/gstreamer/playlist_gateway.h"
#include "engines/gstreamer/playlist_rewriting.h"
#include "engines/gstreamer/resource_loader.h"
#include "tests/engines/gstreamer/gstreamer_harness.h"

namespace quorel::testing {
namespace {

using Request = std::shared_ptr<AVAssetResourceLoadingRequest>;
using P = PlayerEventTypes;

TEST(PlaylistRewriting, MakesEveryAddressAbsolute) {
    const auto base = URL::parse("https://cdn.example/a/b/index.m3u8?token=1");
    const auto rewritten = [&](std::string_view text) {
        return gstreamer::rewritePlaylist(text, *base, [](const std::string& uri, gstreamer::ResourceKind kind) {
            static const char* const names[] = {"P", "K", "I", "M"};
            return std::string(names[static_cast<int>(kind)]) + "(" + uri + ")";
        });
    };
    const auto master = rewritten(
        "\xEF\xBB\xBF#EXTM3U\r\n"
        "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\",NAME=\"TYPE=SUBTITLES, URI=\",URI=\"../audio.m3u8?x=1\"\r\n"
        "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"s\",NAME=\"Português, BR\",LANGUAGE=\"pt-BR\",DEFAULT=YES,"
        "AUTOSELECT=YES,FORCED=NO,CHARACTERISTICS=\"a,b\",URI=\"pt.m3u8\"\r\n"
        "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"s2\",NAME=\"Português, BR\",LANGUAGE=\"pt-BR\",URI=\"pt2.m3u8\"\n"
        "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"s\",NAME=\"En\",URI=\"subtitlesm3u8://https://x.example/a.srt\"\n"
        "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"s\",NAME=\"None\"\n"
        "#EXT-X-MEDIA:TYPE=CLOSED-CAPTIONS,GROUP-ID=\"c\",NAME=\"CC\",INSTREAM-ID=\"CC1\"\n"
        "#EXT-X-I-FRAME-STREAM-INF:BANDWIDTH=1,URI=\"keys.m3u8\"\n"
        "#EXT-X-SESSION-DATA:DATA-ID=\"x\",VALUE=\"relative.m3u8\"\n"
        "#EXT-X-STREAM-INF:BANDWIDTH=1,SUBTITLES=\"s\",AUDIO=\"a\"\n"
        "#a comment\n"
        "v/1.m3u8\n"
        "#EXT-X-STREAM-INF:BANDWIDTH=2,CODECS=\"a,b\",SUBTITLES=\"s\"\n"
        "variantm3u8://https://cdn.example/../2.m3u8?a=b%20c\n"
        "\n"
        "#EXT-X-STREAM-INF:SUBTITLES=\"s\"\n"
        "//other.example/3.m3u8");
    ASSERT_TRUE(master);
    EXPECT_EQ(master->text,
              "#EXTM3U\n"
              "#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID=\"a\",NAME=\"TYPE=SUBTITLES, URI=\","
              "URI=\"P(https://cdn.example/a/audio.m3u8?x=1)\"\n"
              "#EXT-X-MEDIA:TYPE=CLOSED-CAPTIONS,GROUP-ID=\"c\",NAME=\"CC\",INSTREAM-ID=\"CC1\"\n"
              "#EXT-X-SESSION-DATA:DATA-ID=\"x\",VALUE=\"relative.m3u8\"\n"
              "#EXT-X-STREAM-INF:BANDWIDTH=1,AUDIO=\"a\"\n"
              "#a comment\n"
              "P(https://cdn.example/a/b/v/1.m3u8)\n"
              "#EXT-X-STREAM-INF:BANDWIDTH=2,CODECS=\"a,b\"\n"
              "P(variantm3u8://https://cdn.example/../2.m3u8?a=b%20c)\n"
              "#EXT-X-STREAM-INF:\n"
              "P(https://other.example/3.m3u8)\n");
    using Kind = gstreamer::SubtitleRendition::Kind;
    const std::vector<gstreamer::SubtitleRendition> renditions{
        {Kind::subtitles, "Português, BR", "pt-BR", "s", "a,b", "", "https://cdn.example/a/b/pt.m3u8", true, true,
         false},
        {Kind::subtitles, "En", "", "s", "", "", "subtitlesm3u8://https://x.example/a.srt", false, false, false},
        {Kind::closedCaptions, "CC", "", "c", "", "CC1", "", false, false, false}};
    EXPECT_TRUE(master->renditions == renditions);

    const auto media = rewritten(
        "#EXTM3U\n#EXT-X-KEY:METHOD=AES-128,URI=\"key.bin\",IV=0x1\n#EXT-X-MAP:URI=\"init.mp4\",BYTERANGE=\"9@"
        "0\"\n"
        "#EXTINF:2,URI=\"no tag of ours\"\nseg "
        "1.ts\n#EXT-X-MAP:URI=\"b.mp4\"\n#EXTINF:2,\n./seg2.ts?a#b\n#EXTINF:2,\n"
        "#EXT-X-KEY:METHOD=SAMPLE-AES,URI=\"skd://drm\"\nhttp://else.example/w/../x\n#EXTINF:2,\nblob://"
        "1\n#EXT-X-ENDLIST\n");
    ASSERT_TRUE(media);
    EXPECT_EQ(media->text,
              "#EXTM3U\n#EXT-X-KEY:METHOD=AES-128,URI=\"K(https://cdn.example/a/b/key.bin)\",IV=0x1\n"
              "#EXT-X-MAP:URI=\"https://cdn.example/a/b/init.mp4\",BYTERANGE=\"9@0\"\n"
              "#EXTINF:2,URI=\"no tag of ours\"\nhttps://cdn.example/a/b/seg%201.ts\n"
              "#EXT-X-MAP:URI=\"I(https://cdn.example/a/b/b.mp4)\"\n#EXTINF:2,\n"
              "https://cdn.example/a/b/seg2.ts?a#b\n#EXTINF:2,\n"
              "#EXT-X-KEY:METHOD=SAMPLE-AES,URI=\"K(skd://drm)\"\nhttp://else.example/x\n#EXTINF:2,\nM(blob://1)\n"
              "#EXT-X-ENDLIST\n");
    for (const char* odd : {"", "EXTM3U", "<html>"}) EXPECT_FALSE(rewritten(odd));
    for (const char* odd :
         {"#EXTM3U", "#EXTM3U\n#EXT-X-MEDIA:TYPE", "#EXTM3U\n#EXT-X-KEY:URI=\"", "#EXTM3U\n#EXT-X-MAP:=,="}) {
        EXPECT_EQ(rewritten(odd)->text.find("#EXTM3U\n"), 0u);
    }
}

// Answers by the longest beginning of the address that it knows.
class Interceptor final : public ManifestInterceptor {
public:
    using Answer = std::function<bool(const Request&)>;
    explicit Interceptor(std::vector<std::pair<std::string, Answer>> answers) : answers_(std::move(answers)) {}

    std::string customScheme() const override { return "interceptedm3u8://"; }
    bool shouldWaitForLoadingOfRequestedResource(const Request& request) override {
        const std::string address = request->request() ? request->request()->absoluteString() : "";
        {
            const std::lock_guard lock(mutex_);
            asked_.push_back(address);
            onOwnThread_ = onOwnThread_ && std::this_thread::get_id() != main_;
        }
        const auto known = std::find_if(answers_.begin(), answers_.end(),
                                        [&](const auto& entry) { return address.starts_with(entry.first); });
        return known != answers_.end() && known->second(request);
    }
    bool shouldWaitForRenewalOfRequestedResource(const Request& request) override {
        return shouldWaitForLoadingOfRequestedResource(request);
    }
    std::vector<std::string> asked() const {
        const std::lock_guard lock(mutex_);
        return asked_;
    }
    bool onOwnThread() const { return onOwnThread_; }

    static bool give(const Request& request, std::string_view body, int status = 200) {
        request->setResponse({*request->request(), status, {}});
        request->dataRequest()->respondWithData(body.substr(0, body.size() / 2));
        request->dataRequest()->respondWithData(body.substr(body.size() / 2));
        request->finishLoading();
        return true;
    }

private:
    const std::vector<std::pair<std::string, Answer>> answers_;
    const std::thread::id main_ = std::this_thread::get_id();
    mutable std::mutex mutex_;
    std::vector<std::string> asked_;
    bool onOwnThread_ = true;
};

class Interception : public ::testing::Test {
protected:
    std::string withoutScheme(const std::string& path) { return harness.server.url(path).substr(7); }
    // A media playlist of the test's stream, with its segments where they are.
    std::string variant() {
        std::string text = MediaServer::file("ts/index.m3u8");
        for (std::size_t at = text.find("seg"); at != std::string::npos; at = text.find("seg", at + 40)) {
            text.insert(at, harness.server.url("ts/"));
        }
        return text;
    }
    std::shared_ptr<Interceptor> intercept(std::vector<std::pair<std::string, Interceptor::Answer>> answers) {
        auto interceptor = std::make_shared<Interceptor>(std::move(answers));
        player->developerSettings()->setManifestInterceptor(interceptor);
        player->setSource(harness.sourceAt("secret/master.m3u8"));
        player->play();
        return interceptor;
    }

    GStreamerHarness harness;
    std::shared_ptr<THEOplayer> player = harness.makePlayer();
};

// Master, variant and a segment under schemes of the interceptor's own; everything else comes from its origin.
TEST_F(Interception, BringsPrivateSchemesToTheDelegate) {
    const std::string master =
        "#EXTM3U\n#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"s\",NAME=\"Português\",LANGUAGE=\"pt\","
        "URI=\"subtitlesm3u8://https://subs.example/a.srt\"\n"
        "#EXT-X-STREAM-INF:BANDWIDTH=200000,SUBTITLES=\"s\"\nvariantm3u8://https://cdn.example/720.m3u8\n";
    std::string text = variant();
    const std::string segment = harness.server.url("ts/seg01.ts");
    const std::string content = MediaServer::file("ts/seg01.ts");
    text.replace(text.find(segment), segment.size(),
                 "#EXT-X-BYTERANGE:" + std::to_string(content.size()) + "@5\nblob://one");
    std::vector<std::jthread> threads;
    const auto interceptor = intercept({
        {"interceptedm3u8://", [&](auto& request) { return Interceptor::give(request, master); }},
        {"variantm3u8://",
         [&](auto& request) {
             threads.emplace_back([request, &text] { Interceptor::give(request, text); });
             return true;
         }},
        {"blob://", [&](auto& request) { return Interceptor::give(request, "12345" + content + "67890"); }},
    });
    EXPECT_TRUE(harness.waitUntil([&] { return player->currentTime() > 0.2; }));
    player->setCurrentTime(2.5);
    EXPECT_TRUE(harness.waitUntil([&] { return player->currentTime() > 2.7; }));
    ASSERT_EQ(player->textTracks().count(), 1u);
    EXPECT_EQ(player->textTracks().get(0)->language(), "pt");
    const auto asked = interceptor->asked();
    ASSERT_GE(asked.size(), 3u);
    EXPECT_EQ(asked[0], "interceptedm3u8://" + withoutScheme("secret/master.m3u8"));
    EXPECT_EQ(asked[1], "variantm3u8://https://cdn.example/720.m3u8");
    EXPECT_EQ(asked[2], "blob://one");
    EXPECT_TRUE(interceptor->onOwnThread());
    EXPECT_EQ(harness.server.requestsFor("/secret/master.m3u8"), 0u);
    EXPECT_EQ(harness.server.requestsFor("/ts/seg01.ts"), 0u);
}

TEST_F(Interception, FollowsARedirectOfTheDelegate) {
    intercept({{"interceptedm3u8://", [&](auto& request) {
                    URLResponse response{*request->request(), 302, {}};
                    response.headers.set("Location", harness.server.url("master.m3u8"));
                    request->setResponse(response);
                    request->finishLoading();
                    return true;
                }}});
    EXPECT_TRUE(harness.waitUntil([&] { return player->currentTime() > 0.2; }));
}

// The demuxer would end where a playlist cannot be loaded again. A film's playlist is not asked for twice.
TEST(Gateway, GivesTheLastWindowOfALiveStreamWhileItsServerIsAway) {
    int asked = 0;
    const auto interceptor =
        std::make_shared<Interceptor>(std::vector<std::pair<std::string, Interceptor::Answer>>{
            {"interceptedm3u8://", [&](auto& request) {
                 if (++asked != 2) {
                     return Interceptor::give(
                         request, "#EXTM3U\n#EXTINF:2,\nhttp://cdn.example/" + std::to_string(asked) + ".ts\n");
                 }
                 request->finishLoadingWithError(URLError(URLError::Code::cannotConnectToHost));
                 return true;
             }}});
    UrlSession session;
    gstreamer::ThreadPark threads;
    gstreamer::PlaylistGateway gateway;
    const auto opened =
        gateway.open({.address = "http://cdn.example/live.m3u8",
                      .type = "",
                      .loader = std::make_shared<gstreamer::ResourceLoader>(session, threads, interceptor)});
    const auto playlist = [&] {
        std::promise<std::string> body;
        session
            .dataTask(URLRequest(*URL::parse(opened->address())),
                      [&](UrlSession::Result result) { body.set_value(std::get<DataAndResponse>(result).data); })
            ->resume();
        return body.get_future().get();
    };
    const std::string first = playlist();
    EXPECT_NE(first.find("/1.ts"), std::string::npos);
    EXPECT_EQ(playlist(), first);
    EXPECT_TRUE(opened->explanation()) << "why, should what there is run out";
    EXPECT_NE(playlist().find("/3.ts"), std::string::npos);
    EXPECT_FALSE(opened->explanation());
    opened->close();
}

// What goes wrong at the delegate is one ERROR that says so, and the player is good for a source without it.
TEST_F(Interception, TellsWhatTheDelegateRefused) {
    const std::string toVariant =
        "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\nvariantm3u8://https://cdn.example/1.m3u8\n";
    const auto master = [&](auto& request) { return Interceptor::give(request, toVariant); };
    const auto failing = [](URLError::Code code) {
        return [code](auto& request) {
            request->finishLoadingWithError(URLError(code));
            return true;
        };
    };
    const auto refuses = failing(URLError::Code::cannotConnectToHost);
    const auto fails = failing(URLError::Code::cannotParseResponse);  // says nothing: the server is asked
    struct Case {
        Interceptor::Answer master, variant;
        std::vector<std::string> told;
    };
    const Case cases[] = {
        {[](auto&) { return false; },
         {},
         {"The stream http://", "/secret/master.m3u8", "does not handle this address"}},
        {fails, {}, {"The stream http://", "/secret/master.m3u8 was not found (404)"}},
        {refuses, {}, {"The stream http://", URLError(URLError::Code::cannotConnectToHost).what()}},
        {[](auto&) { return true; }, {}, {"The stream http://", "without an answer"}},
        {[](auto& request) { return Interceptor::give(request, "nothing", 403); }, {}, {"forbidden", "(403)"}},
        {[](auto& request) { return Interceptor::give(request, "oh no"); }, {}, {"no playlist", "oh no"}},
        {[](auto&) -> bool { throw std::runtime_error("out of tape"); }, {}, {"out of tape"}},
        {master, refuses, {"The playlist variantm3u8://https://cdn.example/1.m3u8 of the stream http://"}},
        {master, [](auto&) { return false; }, {"/1.m3u8 of the stream http://", "does not handle this address"}},
    };
    std::vector<std::string> errors;
    player->addEventListener(P::ERROR, [&](const auto& event) { errors.push_back(event.error); });
    for (const Case& each : cases) {
        errors.clear();
        intercept({{"interceptedm3u8://", each.master}, {"variantm3u8://", each.variant}});
        ASSERT_TRUE(harness.waitUntil([&] { return !errors.empty(); }));
        for (const auto& part : each.told)
            EXPECT_NE(errors[0].find(part), std::string::npos) << part << ": " << errors[0];
    }
    EXPECT_EQ(errors.size(), 1u);
    player->developerSettings()->setManifestInterceptor(nullptr);
    player->setSource(harness.vodSource());
    player->play();
    EXPECT_TRUE(harness.waitUntil([&] { return player->currentTime() > 0.1; }));
}

// A request that is never answered holds up neither the next source nor the end of everything.
TEST_F(Interception, LeavesASilentDelegateBehind) {
    std::vector<Request> kept;
    const auto silent = intercept({{"interceptedm3u8://", [&](auto& request) {
                                        kept.push_back(request);
                                        return true;
                                    }}});
    ASSERT_TRUE(harness.waitUntil([&] { return !silent->asked().empty(); }));
    player->developerSettings()->setManifestInterceptor(nullptr);
    player->setSource(harness.vodSource());
    player->play();
    EXPECT_TRUE(harness.waitUntil([&] { return player->currentTime() > 0.1; }));
    Interceptor::give(kept.at(0), "#EXTM3U\n");
    intercept({{"interceptedm3u8://", [&](auto& request) {
                    kept.push_back(request);
                    return true;
                }}});
    harness.step(0.2);
    player = nullptr;
}

}  // namespace
}  // namespace quorel::testing
