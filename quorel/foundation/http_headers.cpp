#include "quorel/foundation/http_headers.h"

#include <algorithm>

#include "quorel/foundation/text.h"

namespace quorel {
namespace {

auto hasName(std::string_view name) {
    return [name](const HTTPHeaders::Field& field) { return asciiEqualsIgnoringCase(field.first, name); };
}

}  // namespace

std::optional<std::string> HTTPHeaders::value(std::string_view name) const {
    std::optional<std::string> joined;
    for (const Field& field : fields_) {
        if (!asciiEqualsIgnoringCase(field.first, name)) continue;
        if (joined)
            joined->append(", ").append(field.second);
        else
            joined = field.second;
    }
    return joined;
}

void HTTPHeaders::set(std::string_view name, std::string_view value) {
    const auto first = std::ranges::find_if(fields_, hasName(name));
    if (first == fields_.end()) {
        add(name, value);
        return;
    }
    *first = Field(name, value);
    fields_.erase(std::remove_if(first + 1, fields_.end(), hasName(name)), fields_.end());
}

void HTTPHeaders::add(std::string_view name, std::string_view value) {
    fields_.emplace_back(name, value);
}

void HTTPHeaders::remove(std::string_view name) {
    std::erase_if(fields_, hasName(name));
}

}  // namespace quorel
