// Private to this room. The attributes of a playlist's tag (RFC 8216 4.2), as views of its line.
#pragma once

#include <cstddef>
#include <string_view>

namespace quorel::gstreamer {

struct Attribute {
    std::string_view name;   // empty when there is none
    std::string_view value;  // without its quotes
    std::size_t begin = 0;   // of the name, in the line
    std::size_t end = 0;     // behind the value, its closing quote included
    std::size_t valueBegin = 0;

    explicit operator bool() const { return !name.empty(); }
};

// The attribute that begins at `from`, which stands behind the tag's colon or behind an attribute's comma. A quote
// that is not closed reaches to the end of the line.
Attribute attributeAt(std::string_view line, std::size_t from);

// The attribute of that name in a tag's line.
Attribute findAttribute(std::string_view line, std::string_view name);

// Whether the line is that tag, with or without attributes: "#EXT-X-KEY".
bool isTag(std::string_view line, std::string_view tag);

}  // namespace quorel::gstreamer
