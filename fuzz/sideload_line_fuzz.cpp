// Any line: taken apart as the rules say it, read slowly, and written back to what is taken apart to the same again.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quorel/foundation/fatal.h"
#include "quorel/foundation/text.h"
#include "quorel/sideload/hls_line.h"

using namespace quorel;

namespace {

using Attributes = std::vector<std::pair<std::string, std::string>>;

// The commas outside quotes become a text, and the line is cut at that text.
Attributes attributesOf(std::string_view params) {
    const std::string sentinel = "<SomeStringThatYouDoNotExpectToOccurInSelf>";
    std::string marked;
    for (std::size_t i = 0; i < params.size(); ++i) {
        std::size_t quotes = 0;
        for (const char c : params.substr(i)) quotes += c == '"' ? 1 : 0;
        if (params[i] == ',' && quotes % 2 == 0)
            marked += sentinel;
        else
            marked += params[i];
    }
    Attributes attributes;
    for (std::size_t start = 0; start <= marked.size();) {
        const std::size_t end = std::min(marked.find(sentinel, start), marked.size());
        const std::string piece = marked.substr(start, end - start);
        start = end + (end < marked.size() ? sentinel.size() : 1);
        if (piece.find('=') == std::string::npos) continue;
        std::string key = piece.substr(0, piece.find('='));
        for (char& c : key) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
        const std::string value = replacingAll(piece, key + "=", "");
        const std::string trimmed(trimmedWhitespaceAndNewlines(value));
        bool isNew = true;
        for (auto& entry : attributes) {
            if (entry.first != key) continue;
            entry.second = trimmed;
            isNew = false;
        }
        if (isNew) attributes.emplace_back(key, trimmed);
    }
    return attributes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text =
        trimmedWhitespaceAndNewlines({reinterpret_cast<const char*>(data), std::min<std::size_t>(size, 2000)});
    HLSLine line(text);
    const std::size_t colon = text.find(':');
    Attributes expected;
    if (text.starts_with('#') && colon != std::string_view::npos) {
        const std::string tag(text.substr(0, colon));
        const std::string params = replacingAll(text, tag + ":", "");
        if (line.tag != tag || line.paramsString() != params) fatal("tag or parameters are wrong");
        expected = attributesOf(params);
    } else if (line.tag != text || !line.paramsString().empty()) {
        fatal("a line without parameters is all tag");
    }
    if (Attributes(line.paramsObject.begin(), line.paramsObject.end()) != expected) fatal("attributes are wrong");
    std::string out(line.tag);
    if (!trimmedWhitespaceAndNewlines(line.paramsString()).empty()) out += ':';
    if (expected.empty()) out += line.paramsString();
    for (const auto& [key, value] : expected) out.append(key).append("=").append(value).append(",");
    if (out.ends_with(',')) out.pop_back();
    if (line.toString() != out) fatal("the line is written wrongly");
    line.paramsObject.set("URI", "x");
    if (line.paramsObject.value("URI") != "x") fatal("an attribute that is set is not there");
    return 0;
}
