// Merges targeting parameters into one query item of an ad tag's URL. Pure functions; any thread.
//
//   mergeQueryParameter(*URL::parse("https://ads.example/tag?cust_params=a%3D9%26c%3D3"), {{"a", "1"}}, "cust_params")
//   // https://ads.example/tag?cust_params=a%3D1%26c%3D3
#pragma once

#include <map>
#include <string>

#include "quorel/foundation/url.h"
#include "quorel/player/export.h"

namespace quorel {

// The item's plain value is "key=value" pieces joined by "&", in the order of the keys. What the URL has there already
// stays, unless `params` has the key too; of it, only pieces with exactly one key and one value count. The item goes
// behind all others, and takes the place of every item of its name; without `params` the URL stays as it is. An item
// that was there is written to the log.
QUOREL_PLAYER_API URL mergeQueryParameter(const URL& url, const std::map<std::string, std::string>& params,
                                          const std::string& name);

}  // namespace quorel
