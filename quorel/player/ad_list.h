// From what the backend says of a content's advertising to what the engine and the ad player are asked to play. Pure
// functions, but for a log line of mergeQueryParameter(); any thread.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "quorel/engine/source_description.h"
#include "quorel/player/export.h"
#include "quorel/session/models.h"

namespace quorel {

// The tags of all three groups, VMAP first, then VAST, then IMA; all alike. An entry without a URL is skipped, one
// without an offset counts as "start". `customImaParams` are merged into each tag's "cust_params"; a tag that is no URL
// stays as it is written.
QUOREL_PLAYER_API std::vector<GoogleImaAdDescription> makeAds(
    const std::optional<AdsGroupModel>& group, const std::map<std::string, std::string>& customImaParams);

// How the insertion service is asked for the content's stream; absent when it is switched off, or when what names the
// stream is missing, which leaves the plain stream. The model's `type` is deliberately not looked at.
QUOREL_PLAYER_API std::optional<ServerSideAdInsertion> liveAdInsertion(const std::optional<GoogleDAIModel>& model);
QUOREL_PLAYER_API std::optional<ServerSideAdInsertion> onDemandAdInsertion(
    const std::optional<GoogleDAIModel>& model);

}  // namespace quorel
