// Private to this room: a walk over the lines of a playlist, without copies.
#pragma once

#include <optional>
#include <string_view>

#include "quorel/foundation/text.h"

namespace quorel {

// Lines are cut at "\n", which gives one more than there are of these, and trimmed.
class LineCursor {
public:
    explicit LineCursor(std::string_view text) : rest_(text) {}

    std::optional<std::string_view> next() {
        if (!rest_) return std::nullopt;
        const std::size_t end = rest_->find('\n');
        const std::string_view line = rest_->substr(0, end);
        if (end == std::string_view::npos)
            rest_.reset();
        else
            rest_->remove_prefix(end + 1);
        return trimmedWhitespaceAndNewlines(line);
    }

private:
    std::optional<std::string_view> rest_;
};

}  // namespace quorel
