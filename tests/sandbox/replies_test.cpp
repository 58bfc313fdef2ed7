#include <gmock/gmock.h>

#include "quorel/foundation/text.h"
#include "quorel/session/quorel_api.h"
#include "sandbox/sandbox_protocol.h"
#include "tests/sandbox/sandbox_fixture.h"

namespace quorel::sandbox {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// Runs a task of the backend client on a loop of its own.
template <class Model>
std::optional<Model> fetched(ManualRunLoop& loop, Task<Model> task, std::string& error) {
    std::optional<Model> model;
    bool done = false;
    const auto wait = [](Task<Model> awaited, std::optional<Model>& to, std::string& text,
                         bool& end) -> Task<void> {
        try {
            to = co_await std::move(awaited);
        } catch (const Error& thrown) {
            text = thrown.what();
        }
        end = true;
    };
    startTask(loop, wait(std::move(task), model, error, done));
    EXPECT_TRUE(loop.drainUntil([&] { return done; }));
    return model;
}

TEST_F(SandboxTest, TheSDKsClientReadsEveryReplyThroughTheServicesHost) {
    const auto loop = std::make_shared<ManualRunLoop>();
    Quorel quorel(PlatformServices::standard(loop, nullptr));
    quorel.services().urlSession->registerProtocol(sandbox.makeProtocol());
    const QuorelAPI api(quorel);
    const std::string base = sandbox.baseURL();
    std::string error;

    quorel.initialize("not the token", std::nullopt, false);
    EXPECT_FALSE(fetched(*loop, api.fetchVideoDetail("sample"), error));
    EXPECT_EQ(error, "Authorization error");
    quorel.initialize(sandbox.token(), std::nullopt, false);
    EXPECT_FALSE(fetched(*loop, api.fetchPlayerConfig("no such film"), error));
    EXPECT_EQ(error, "Unknown content");

    for (const Title& title : sandbox.titles()) {
        SCOPED_TRACE(title.id);
        EXPECT_EQ(fetched(*loop, api.fetchPlayerConfig(title.id), error), configReply(title, base));
        if (title.isLive()) {
            EXPECT_EQ(fetched(*loop, api.fetchLiveStreamDetails(title.id), error), liveStreamReply(title, base));
            const auto status = fetched(*loop, api.fetchLiveStatus(title.id), error);
            ASSERT_TRUE(status);
            EXPECT_EQ(*status, statusReply(title, base, status->serverTime));
        } else {
            const auto detail = fetched(*loop, api.fetchVideoDetail(title.id), error);
            ASSERT_EQ(detail, videoReply(title, base));
            using Files = std::map<std::string, std::string>;
            for (const auto& [language, url] : detail->assets.availableSrt.value_or(Files())) {
                EXPECT_THAT(load(url).data, HasSubstr("00:00:15,000 --> 00:00:17,500")) << language;
            }
        }
    }
}

TEST_F(SandboxTest, RefusesWhatItShould) {
    const HTTPHeaders good = header("Authorization", "Bearer sandbox-token");
    const struct {
        const char* path;
        HTTPHeaders headers;
        const char* method;
        int status;
    } cases[] = {
        {"/v1/videos/sample", good, "GET", 200},
        {"/v1/videos/sample", good, "HEAD", 200},
        {"/v1/videos/sample", {}, "GET", 401},
        {"/v1/videos/sample", header("Authorization", "Bearer Sandbox-Token"), "GET", 401},
        {"/v1/videos/sample", header("Authorization", "sandbox-token"), "GET", 401},
        {"/v1/videos/no%20such", {}, "GET", 401},  // a stranger does not learn what exists
        {"/v1/videos/no%20such", good, "GET", 404},
        {"/v1/videos/live", good, "GET", 404},
        {"/v1/live-streams/sample/status", good, "GET", 404},
        {"/v1/videos/sample/more", good, "GET", 404},
        {"/v1/videos/sample", good, "DELETE", 405},
        {"/media/sample/master.m3u8", {}, "POST", 405},
        {"/media/complete/x", {}, "GET", 404},
        {"/media/sample", {}, "GET", 404},
        {"/media/..%2Fmedia/sample/master.m3u8", {}, "GET", 404},
        {"/elsewhere", {}, "GET", 404},
        {"/_control/requests", {}, "PUT", 405},
        {"/", {}, "GET", 200},
    };
    for (const auto& one : cases) {
        const auto reply = load(at(one.path), one.headers, one.method);
        EXPECT_EQ(reply.response.statusCode, one.status) << one.method << " " << one.path;
        EXPECT_EQ(reply.data.empty(), std::string_view(one.method) == "HEAD") << one.path;
    }
    EXPECT_EQ(load(at("/v1/videos/x")).response.headers.value("WWW-Authenticate"), "Bearer realm=\"sandbox\"");
}

TEST_F(SandboxTest, KeepsWhatArrived) {
    load(at("/v1/videos/sample?x=1"), header("Authorization", "Bearer wrong"));
    load(at("/media/sample/360/playlist.m3u8"), header("Range", "bytes=0-1"));
    EXPECT_THAT(
        sandbox.requests(),
        ElementsAre(RequestRecord{"GET", "/v1/videos/sample", "Bearer wrong", std::nullopt, 401},
                    RequestRecord{"GET", "/media/sample/360/playlist.m3u8", std::nullopt, "bytes=0-1", 206}));
    EXPECT_EQ(JSONDecoder().decode<std::vector<RequestRecord>>(load(at("/_control/requests")).data),
              sandbox.requests());
    load(at("/_control/requests"), HTTPHeaders(), "DELETE");
    EXPECT_TRUE(sandbox.requests().empty());
    for (std::size_t i = 0; i < RequestLog::capacity + 3; ++i) load(at("/" + std::to_string(i)));
    EXPECT_EQ(sandbox.requests().size(), RequestLog::capacity);
    EXPECT_EQ(sandbox.requests().front().path, "/3");
}

TEST_F(SandboxTest, TitlesCanBeAddedAndChanged) {
    Title title = sandbox.titles().front();
    title.id = "new & <odd>";
    title.subtitles.clear();
    sandbox.setTitle(title);
    const HTTPHeaders good = header("Authorization", "Bearer sandbox-token");
    const std::string path = "/v1/videos/new%20&%20%3Codd%3E";
    const auto detail = JSONDecoder().decode<VideoDetailModel>(load(at(path), good).data);
    EXPECT_EQ(detail.videoId, title.id);
    EXPECT_FALSE(detail.assets.availableSrt);
    EXPECT_THAT(load(at("/")).data, HasSubstr("<code>new &amp; &lt;odd&gt;</code>"));
    title.state = Title::State::paused;
    sandbox.setTitle(title);
    EXPECT_EQ(load(at(path), good).response.statusCode, 404);
}

TEST_F(SandboxTest, TheProtocolTakesItsHostsOnly) {
    const auto network = std::make_shared<UrlSession>();
    const auto protocol = std::make_shared<SandboxProtocol>(*URL::parse(sandbox.baseURL() + "/media/"), network,
                                                            std::vector<std::string>{"cdn.example"});
    session.registerProtocol(protocol);
    const auto reply = load("https://CDN.example:444/sample-aes/key.bin?a=b");
    EXPECT_EQ(reply.data, "quorel-sandbox-k");
    EXPECT_EQ(reply.response.url.absoluteString(), "https://CDN.example:444/sample-aes/key.bin?a=b");
    EXPECT_FALSE(protocol->canInit(URLRequest(*URL::parse("https://other.example/"))));
    EXPECT_FALSE(protocol->canInit(URLRequest(*URL::parse("variantm3u8://cdn.example/"))));
    // The SDK asks the live desk's second name with TLS, which the sandbox does not speak.
    const std::string other =
        replacingAll(at("/media/sample-aes/key.bin"), "http://127.0.0.1", "https://localhost");
    EXPECT_EQ(load(other).data, "quorel-sandbox-k");
    sandbox.stop();
    EXPECT_EQ(failure("https://cdn.example/sample-aes/key.bin"), URLError::Code::cannotConnectToHost);
}

TEST(SandboxErrors, SayWhatIsMissing) {
    try {
        Sandbox sandbox({.mediaDirectory = "/no/such/directory"});
        FAIL();
    } catch (const SandboxError& error) {
        EXPECT_EQ(error.code(), SandboxError::Code::noMedia);
        EXPECT_THAT(error.what(), HasSubstr("/no/such/directory"));
    }
    Sandbox first;
    first.start();
    Sandbox second;
    const auto port = URL::parse(first.baseURL())->port();
    try {
        second.start(*port);
        FAIL();
    } catch (const SandboxError& error) {
        EXPECT_EQ(error.code(), SandboxError::Code::cannotListen);
    }
}

}  // namespace
}  // namespace quorel::sandbox
