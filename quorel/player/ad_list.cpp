#include "quorel/player/ad_list.h"

#include "quorel/player/query_parameter_merge.h"

namespace quorel {

std::vector<GoogleImaAdDescription> makeAds(const std::optional<AdsGroupModel>& group,
                                            const std::map<std::string, std::string>& customImaParams) {
    std::vector<GoogleImaAdDescription> ads;
    if (!group) return ads;
    for (const auto* entries : {&group->vmap, &group->vast, &group->googleIMA}) {
        if (!*entries) continue;
        for (const AdsModel& entry : **entries) {
            if (!entry.url) continue;
            const auto url = URL::parse(*entry.url);
            ads.emplace_back(
                url ? mergeQueryParameter(*url, customImaParams, "cust_params").absoluteString() : *entry.url,
                entry.offset.value_or("start"));
        }
    }
    return ads;
}

std::optional<ServerSideAdInsertion> liveAdInsertion(const std::optional<GoogleDAIModel>& model) {
    if (!model || !model->enabled || !model->assetKey) return std::nullopt;
    GoogleDAILiveConfiguration configuration;
    configuration.assetKey = *model->assetKey;
    configuration.apiKey = model->apiKey.value_or("");
    return configuration;
}

std::optional<ServerSideAdInsertion> onDemandAdInsertion(const std::optional<GoogleDAIModel>& model) {
    if (!model || !model->enabled || !model->videoId || !model->contentSourceId) return std::nullopt;
    GoogleDAIVodConfiguration configuration;
    configuration.videoID = *model->videoId;
    configuration.contentSourceID = *model->contentSourceId;
    configuration.apiKey = model->apiKey.value_or("");
    return configuration;
}

}  // namespace quorel
