#include <gtest/gtest.h>

#include "quorel/session/models.h"

namespace quorel {
namespace {

JSONDecoder decoder() {
    JSONDecoder result;
    result.dateFormatter = DateFormatter("yyyy-MM-dd'T'HH:mm:ssZ");
    return result;
}

// What a body decodes to, written again; or the code and path of what is wrong with it.
template <class Model>
std::string roundTrip(std::string_view body) {
    try {
        JSONEncoder encoder;
        encoder.dateFormatter = decoder().dateFormatter;
        return encoder.encode(decoder().decode<Model>(body));
    } catch (const JSONError& error) {
        return (error.code() == JSONError::Code::missingKey ? "missing " : "wrong ") + error.path();
    }
}

constexpr const char* liveAssets =
    R"("assets":{"thumbnail":"t","startSoonScreen":"s","pauseScreen":"p","endingScreen":"e"})";

TEST(Models, CompleteBodiesComeBackAsTheyWere) {
    const std::string group = R"({"vmap":[{"url":"u","offset":"start"}],"googleIMA":[{}],"vast":[]})";
    const std::string dai =
        R"({"enabled":true,"type":"t","apiKey":"k","assetKey":"a","contentSourceId":"c","videoId":"v"})";
    const std::string config =
        R"({"title":"Film","broadcasting":false,"videoOnDemand":true,"assets":{"hls":"h","thumbnail":"t",)"
        R"("endScreen":"e","playerColor":"#fff"},"createdAt":"2024-01-02T03:04:05+0000"})";
    const std::string status =
        R"({"assets":{"thumbnail":"t","startSoonScreen":"s","pauseScreen":"p","endingScreen":"e","playerColor":"c"},)"
        R"("isLive":true,"isPaused":false,"isShutdown":false,"serverTime":1.5,"eventDate":1700000000.5,)"
        R"("cdn":{"cdn":"https://a.example","autoCdn":true,"lastUpdate":-3}})";
    const std::string live = std::string("{") + liveAssets +
                             R"(,"eventDate":1700000000,"isShutdown":false,"isPaused":true,"isLive":false,"ads":)" +
                             group + R"(,"googleDAI":)" + dai + "}";
    const std::string video =
        R"({"assets":{"iframe":"i","player":"p","thumbnail":"t","endScreen":"e","hls":"h",)"
        R"("availableSrt":{"en":"u1","pt-br":"u2"}},"videoId":"v","subtitlesLanguages":["en"],"ads":)" +
        group + R"(,"googleDAI":)" + dai + "}";
    EXPECT_EQ(roundTrip<PlayerConfigModel>(config), config);
    EXPECT_EQ(roundTrip<PlayerStatus>(status), status);
    EXPECT_EQ(roundTrip<LiveStreamDetailModel>(live), live);
    EXPECT_EQ(roundTrip<VideoDetailModel>(video), video);
}

TEST(Models, OnlyOptionalFieldsMayBeMissing) {
    const std::string open = std::string("{") + liveAssets;
    EXPECT_EQ(roundTrip<LiveStreamDetailModel>(open + R"(,"isPaused":false,"isLive":null,"more":[1]})"),
              open + R"(,"isPaused":false})");
    EXPECT_EQ(roundTrip<LiveStreamDetailModel>(open + R"(,"isLive":true})"), "missing isPaused");
    EXPECT_EQ(roundTrip<LiveStreamDetailModel>(open + R"(,"isPaused":false,"eventDate":1700000000.5})"),
              "wrong eventDate");
    EXPECT_EQ(roundTrip<LiveStreamDetailModel>(open + R"(,"isPaused":false,"ads":{"vast":[{},{"url":3}]}})"),
              "wrong ads.vast[1].url");
    EXPECT_EQ(roundTrip<GoogleDAIModel>(R"({"enabled":false})"), R"({"enabled":false})");
    EXPECT_EQ(roundTrip<GoogleDAIModel>("{}"), "missing enabled");
    const std::string assets = R"({"iframe":"","player":"","thumbnail":"","endScreen":"")";
    EXPECT_EQ(roundTrip<VideoDetailAssets>(assets + R"(,"availableSrt":{}})"), assets + R"(,"availableSrt":{}})");
    EXPECT_EQ(roundTrip<VideoDetailAssets>(assets + "}"), assets + "}");
}

}  // namespace
}  // namespace quorel
