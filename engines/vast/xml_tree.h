// Private to this room. A small XML document as a tree, read with limits: documents come from ad servers.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorel::vast {

// An element by its name without namespace: ad servers declare them as they please.
struct XmlElement {
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::string text;  // its own character data, without white space at its ends
    std::vector<XmlElement> children;

    const XmlElement* child(std::string_view childName) const;
    std::vector<const XmlElement*> all(std::string_view childName) const;
    std::optional<std::string> attribute(std::string_view attributeName) const;
};

// Throws VastError (notXML, tooLarge). A document type declaration is refused, so that there are no entities beyond
// XML's own; what lies deeper than ad documents go is read over.
XmlElement parseXml(std::string_view document);

}  // namespace quorel::vast
