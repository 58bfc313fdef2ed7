// One line of an HLS playlist (RFC 8216 4.1), taken apart into a tag and its attributes, and written back.
//
//   HLSLine line("#EXT-X-MEDIA:TYPE=AUDIO,URI=\"a.m3u8\"");
//   line.paramsObject.set("URI", "\"https://cdn.example/a.m3u8\"");
//   out += line.toString();              // #EXT-X-MEDIA:TYPE=AUDIO,URI="https://cdn.example/a.m3u8"
//
// A line refers to the text it was made from, which must outlive it; it copies no more than it changes. Parsing never
// fails, and takes time in proportion to the line, whatever stands in it. One thread at a time.
#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "quorel/sideload/export.h"

namespace quorel {

// Attributes in the order of their first appearance; a later value of a key replaces the earlier one.
class QUOREL_SIDELOAD_API HLSAttributes {
public:
    using Entry = std::pair<std::string_view, std::string_view>;

    bool empty() const { return entries_.empty(); }
    std::size_t size() const { return entries_.size(); }
    std::vector<Entry>::const_iterator begin() const { return entries_.begin(); }
    std::vector<Entry>::const_iterator end() const { return entries_.end(); }

    // As written, with its quotes.
    std::optional<std::string_view> value(std::string_view key) const;
    // `key` must outlive the line.
    void set(std::string_view key, std::string value);

private:
    friend class HLSLine;
    static constexpr std::size_t fewEntries = 16;  // a plain search is quicker up to here

    void clear();
    void put(std::string_view key, std::string_view value);
    std::size_t indexOf(std::string_view key) const;  // size() when there is none
    std::string_view keep(std::string text) { return kept_.emplace_back(std::move(text)); }

    std::vector<Entry> entries_;
    std::unordered_map<std::string_view, std::size_t> indices_;  // beyond a few entries
    std::deque<std::string> kept_;                               // texts that are not the line's own
};

class QUOREL_SIDELOAD_API HLSLine {
public:
    HLSLine() = default;
    // `line` as it is trimmed by the caller.
    explicit HLSLine(std::string_view line) { parse(line); }
    HLSLine(const HLSLine&) = delete;
    HLSLine& operator=(const HLSLine&) = delete;

    // Takes another line, so that a loop over lines needs no memory of its own for each.
    void parse(std::string_view line);

    std::string_view lineString;
    // Of a line that begins with "#" and holds a ":", what stands before the first ":". Of any other line, all of it.
    std::string_view tag;
    // What follows the tag's ":", without any further occurrence of the tag and ":".
    std::string paramsString() const;
    // Of a tag line: the pieces between commas that are not in quotes, as far as they hold a "=". Keys in upper case
    // (ASCII), values trimmed. A key's name and "=" is taken out of the value wherever it occurs in this spelling,
    // so that a key written in lower case stays inside its value.
    HLSAttributes paramsObject;

    // In the parameters, as they were written, and in the attribute URI. `absolute` is the new URI without quotes.
    void replaceURI(std::string_view unquoted, std::string absolute);

    // The tag, ":" unless the parameters are blank, and the attributes, or the parameters as they stand where there
    // are none. One "," at the end is dropped, also that of "#EXTINF:9.009,": deliberate, readers do not need it.
    std::string toString() const;
    void appendTo(std::string& out) const;

private:
    void parseAttributes();
    void addAttribute(std::string_view piece);

    std::string_view params_;  // of the line, or of ownParams_
    std::string ownParams_;
    // A replacement in the parameters, made only when somebody reads them: what is short may become long many times.
    std::optional<std::pair<std::string, std::string>> replacement_;
    std::string needle_;
};

}  // namespace quorel
