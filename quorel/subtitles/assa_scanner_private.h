// The two patterns of SubStation Alpha scripts, matched by hand. Private to this room.
#pragma once

#include <optional>
#include <string_view>

namespace quorel::detail {

// The capture of AdvancedSSA::sectionPattern in a line that it matches exactly once.
std::optional<std::string_view> soleBracketedStretch(std::string_view line);

struct KeyValue {
    std::string_view key;
    std::string_view value;
};
// The captures of AdvancedSSA::keyValuePattern.
std::optional<KeyValue> matchKeyValue(std::string_view line);

}  // namespace quorel::detail
