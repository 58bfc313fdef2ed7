#include "engines/gstreamer/attribute_list.h"

#include <algorithm>

#include "quorel/foundation/text.h"

namespace quorel::gstreamer {

Attribute attributeAt(std::string_view line, std::size_t from) {
    while (from < line.size() && (line[from] == ',' || line[from] == ' ' || line[from] == '\t')) ++from;
    const std::size_t equals = line.find('=', from);
    if (equals == std::string_view::npos) return {};
    Attribute attribute;
    attribute.name = trimmedBlanks(line.substr(from, equals - from));
    attribute.begin = from;
    attribute.valueBegin = equals + 1;
    if (attribute.valueBegin < line.size() && line[attribute.valueBegin] == '"') {
        const std::size_t close = std::min(line.find('"', ++attribute.valueBegin), line.size());
        attribute.value = line.substr(attribute.valueBegin, close - attribute.valueBegin);
        attribute.end = std::min(close + 1, line.size());
    } else {
        attribute.end = std::min(line.find(',', attribute.valueBegin), line.size());
        attribute.value = trimmedBlanks(line.substr(attribute.valueBegin, attribute.end - attribute.valueBegin));
    }
    return attribute;
}

Attribute findAttribute(std::string_view line, std::string_view name) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) return {};
    std::size_t from = colon + 1;
    while (const Attribute attribute = attributeAt(line, from)) {
        if (attribute.name == name) return attribute;
        from = attribute.end;
    }
    return {};
}

bool isTag(std::string_view line, std::string_view tag) {
    return line.starts_with(tag) && (line.size() == tag.size() || line[tag.size()] == ':');
}

}  // namespace quorel::gstreamer
