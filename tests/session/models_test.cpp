#include <gtest/gtest.h>

#include "quorel/session/models.h"

namespace quorel {
namespace {

// What a body decodes to, written again; or the place of what is wrong with it.
template <class Model>
std::string again(std::string_view body) {
    try {
        return JSONEncoder().encode(JSONDecoder().decode<Model>(body));
    } catch (const JSONError& error) {
        return (error.code() == JSONError::Code::missingKey ? "missing " : "wrong ") + error.path();
    }
}

const std::string screens =
    R"("assets":{"thumbnail":"t","startSoonScreen":"s","pauseScreen":"p","endingScreen":"e")";

// Required keys are held by the player's tests, which decode whole replies.
TEST(Models, OptionalPartsComeBackAsTheyWere) {
    const std::string live =
        "{" + screens +
        R"(},"eventDate":17,"isShutdown":false,"isPaused":true,"isLive":false,"ads":{"vmap":)"
        R"([{"url":"u","offset":"start"}],"googleIMA":[{}],"vast":[]},"googleDAI":{"enabled":)"
        R"(true,"type":"t","apiKey":"k","assetKey":"a","contentSourceId":"c","videoId":"v"}})";
    EXPECT_EQ(again<LiveStreamDetailModel>(live), live);
    const std::string video = R"({"assets":{"iframe":"i","player":"p","thumbnail":"t","endScreen":"e","hls":"h",)"
                              R"("availableSrt":{"en":"1"}},"videoId":"v","subtitlesLanguages":["en"]})";
    EXPECT_EQ(again<VideoDetailModel>(video), video);
}

TEST(Models, OnlyOptionalFieldsMayBeMissing) {
    const std::string live = "{" + screens + "}";
    EXPECT_EQ(again<LiveStreamDetailModel>(live + R"(,"isPaused":false,"isLive":null,"more":[1]})"),
              live + R"(,"isPaused":false})");
    EXPECT_EQ(again<LiveStreamDetailModel>(live + R"(,"isLive":true})"), "missing isPaused");
    EXPECT_EQ(again<LiveStreamDetailModel>(live + R"(,"isPaused":false,"eventDate":1.5})"), "wrong eventDate");
    EXPECT_EQ(again<AdsGroupModel>(R"({"vast":[{},{"url":3}]})"), "wrong vast[1].url");
    EXPECT_EQ(again<GoogleDAIModel>(R"({"enabled":false})"), R"({"enabled":false})");
    EXPECT_EQ(again<GoogleDAIModel>("{}"), "missing enabled");
}

}  // namespace
}  // namespace quorel
