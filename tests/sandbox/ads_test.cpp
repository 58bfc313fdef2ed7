#include <gmock/gmock.h>

#include "sandbox/ad_server.h"
#include "tests/sandbox/sandbox_fixture.h"

namespace quorel::sandbox {
namespace {

using testing::HasSubstr;

TEST_F(SandboxTest, TheAdServerAnswersEveryTagAndKeepsWhatIsTracked) {
    for (const AdServer::Tag& tag : AdServer::tags()) {
        const std::string url = at("/ads/tag/" + std::string(tag.name));
        if (url.find("delay") != std::string::npos) continue;
        SCOPED_TRACE(url);
        if (tag.name == "redirects") {
            EXPECT_EQ(failure(url), URLError::Code::tooManyRedirects);
        } else if (url.ends_with("status=503")) {
            EXPECT_EQ(load(url).response.statusCode, 503);
        } else if (url.ends_with("broken=cut")) {
            failure(url);
        } else {
            EXPECT_THAT(load(url).data, HasSubstr(tag.name == "schedule" ? "<vmap:VMAP " : "<VAST version="));
        }
        EXPECT_THAT(load(at("/ads")).data, HasSubstr(std::string(tag.name)));
    }
    EXPECT_THAT(load(at("/ads/tag/endless?hop=7")).data, HasSubstr("endless?hop=8]]"));
    EXPECT_EQ(load(at("/ads/tag/none")).response.statusCode, 404);

    EXPECT_EQ(load(at("/ads/track/one/start")).response.statusCode, 204);
    load(at("/ads/track/one/error?code=405"));
    auto events = sandbox.adEvents();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_LE(events[0].received, events[1].received);
    for (AdEvent& event : events) event.received = 0;
    EXPECT_EQ(events, (std::vector<AdEvent>{{0, "one", "start", std::nullopt}, {0, "one", "error", "405"}}));
    EXPECT_THAT(load(at("/_control/ads")).data, HasSubstr(R"("event":"error","code":"405")"));
    EXPECT_EQ(load(at("/_control/ads"), HTTPHeaders(), "DELETE").data, "[]");
}

TEST_F(SandboxTest, DetailsOfTitlesCarryTheirAdsByAbsoluteAddresses) {
    const HTTPHeaders token = header("Authorization", "Bearer sandbox-token");
    const auto video = JSONDecoder().decode<VideoDetailModel>(load(at("/v1/videos/ads"), token).data);
    ASSERT_TRUE(video.ads && video.ads->vast && video.ads->googleIMA);
    EXPECT_EQ(video.ads->vast->at(0), (AdsModel{at("/ads/tag/inline"), std::nullopt}));
    EXPECT_EQ(video.ads->vast->at(1), (AdsModel{at("/ads/tag/pod"), "5"}));
    EXPECT_FALSE(video.googleDAI);
    const auto live =
        JSONDecoder().decode<LiveStreamDetailModel>(load(at("/v1/live-streams/ads-live"), token).data);
    EXPECT_EQ(live.ads->vast->at(0), video.ads->vast->at(0));
    EXPECT_THAT(load(at("/v1/videos/ads-inserted"), token).data, HasSubstr(R"("googleDAI":{"enabled":true)"));
}

}  // namespace
}  // namespace quorel::sandbox
