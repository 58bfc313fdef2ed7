#include "quorel/engine/null_services.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace quorel {
namespace {

struct Delegate final : IMAAdsLoaderDelegate {
    void adsLoaderAdsLoadedWithData(IMAAdsLoader&, const IMAAdsLoadedData&) override { ADD_FAILURE(); }
    void adsLoaderFailedWithErrorData(IMAAdsLoader&, const IMAAdLoadingErrorData& data) override {
        messages.push_back(data.adError.message.value_or("(none)"));
    }
    std::vector<std::string> messages;
};

TEST(NullServices, AnswerEachAdRequestLaterAndOnceUnlessTheLoaderIsGone) {
    ManualRunLoop loop;
    const auto factory = makeNullIMAFactory(loop);
    const auto delegate = std::make_shared<Delegate>();
    auto loader = factory->makeAdsLoader({});
    loader->setDelegate(delegate);
    loader->requestAdsWithRequest({});
    EXPECT_TRUE(delegate->messages.empty());
    loop.drain();
    EXPECT_THAT(delegate->messages, ::testing::ElementsAre("No ad service is installed."));
    loader->requestAdsWithRequest({});
    loader = nullptr;
    loop.drain();
    EXPECT_EQ(delegate->messages.size(), 1u);
}

}  // namespace
}  // namespace quorel
