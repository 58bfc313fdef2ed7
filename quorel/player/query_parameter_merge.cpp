#include "quorel/player/query_parameter_merge.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "quorel/foundation/log.h"
#include "quorel/foundation/text.h"

namespace quorel {
namespace {

using Parameters = std::map<std::string, std::string>;

Parameters parametersOf(const std::string& value) {
    Parameters parameters;
    for (const std::string_view piece : split(value, '&')) {
        const auto parts = split(piece, '=', EmptyPieces::drop);
        // Deliberately: "a=b=c", "a=" and "a" are dropped.
        if (parts.size() == 2) parameters.insert_or_assign(std::string(parts[0]), std::string(parts[1]));
    }
    return parameters;
}

std::string joined(const Parameters& parameters) {
    std::string text;
    for (const auto& [key, value] : parameters) {
        if (!text.empty()) text += '&';
        text.append(key).append("=").append(value);
    }
    return text;
}

}  // namespace

URL mergeQueryParameter(const URL& url, const std::map<std::string, std::string>& params,
                        const std::string& name) {
    if (params.empty()) return url;
    URLComponents components(url);
    std::vector<URLQueryItem> items = components.queryItems().value_or(std::vector<URLQueryItem>());
    const auto named = [&](const URLQueryItem& item) { return item.name == name; };
    const auto found = std::find_if(items.begin(), items.end(), named);
    Parameters merged = params;
    if (found != items.end()) {
        logLine(found->value ? found->name + "=" + *found->value : found->name);
        if (found->value) merged.merge(parametersOf(*found->value));
        std::erase_if(items, named);
    }
    items.push_back({name, joined(merged)});
    components.setQueryItems(items);
    return components.url().value_or(url);
}

}  // namespace quorel
