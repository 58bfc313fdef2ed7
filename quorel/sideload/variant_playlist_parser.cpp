#include "quorel/sideload/variant_playlist_parser.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <limits>
#include <utility>

#include "quorel/foundation/log.h"
#include "quorel/sideload/connector.h"
#include "quorel/sideload/hls_line.h"
#include "quorel/sideload/line_cursor.h"
#include "quorel/sideload/uri_resolution.h"

namespace quorel {
namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

std::optional<double> decimalNumber(const char* begin, const char* end) {
    double value = 0;
    const auto [last, error] = std::from_chars(begin, end, value, std::chars_format::fixed);
    if (last != end || error == std::errc::invalid_argument) return std::nullopt;
    if (error == std::errc()) return value;
    const bool isLarge = std::find_if(begin, end, [](char c) { return c != '0'; }) < std::find(begin, end, '.');
    return isLarge ? std::numeric_limits<double>::infinity() : 0;
}

// All digits and points of the line, read as one number.
std::optional<double> durationOf(std::string_view line) {
    const auto counts = [](char c) { return (c >= '0' && c <= '9') || c == '.'; };
    std::array<char, 64> few{};
    std::size_t length = 0;
    for (const char c : line) {
        if (!counts(c)) continue;
        if (length < few.size()) few[length] = c;
        ++length;
    }
    if (length <= few.size()) return decimalNumber(few.data(), few.data() + length);
    std::string many;
    many.reserve(length);
    for (const char c : line) {
        if (counts(c)) many += c;
    }
    return decimalNumber(many.data(), many.data() + many.size());
}

}  // namespace

std::shared_ptr<VariantPlaylistParser> VariantPlaylistParser::make(URL manifestURL,
                                                                   std::weak_ptr<UrlSession> session) {
    return std::shared_ptr<VariantPlaylistParser>(
        new VariantPlaylistParser(std::move(manifestURL), std::move(session)));
}

void VariantPlaylistParser::parse(std::function<void(std::shared_ptr<VariantPlaylistParser> parsed)> completion) {
    auto self = std::static_pointer_cast<VariantPlaylistParser>(shared_from_this());
    fetch([self = std::move(self), completion = std::move(completion)](bool accepted) {
        if (!accepted) return completion(nullptr);
        self->rewrite();
        if (SideloadedSubtitleConnector::SHOW_DEBUG_LOGS) {
            logLine("[AVSubtitlesLoader] VARIANT: +++++++");
            logLine(*self->manifestData());
            logLine("[AVSubtitlesLoader] VARIANT: ------");
        }
        completion(self);
    });
}

void VariantPlaylistParser::rewrite() {
    if (!manifestData_) return;
    std::string constructedManifestArray;  // in one piece; no line of it is empty
    constructedManifestArray.reserve(manifestData_->size() * 2 + manifestURL().absoluteString().size());
    HLSLine line;
    LineCursor lines(*manifestData_);
    bool isFirst = true;
    while (const auto text = lines.next()) {
        // The mark has to stay in front of its line, not to make a segment of it.
        const bool isMarked = std::exchange(isFirst, false) && text->starts_with(byteOrderMark);
        const std::size_t before = constructedManifestArray.size();
        if (before > 0) constructedManifestArray += '\n';
        if (text->starts_with('#') || (isMarked && text->substr(byteOrderMark.size()).starts_with('#'))) {
            line.parse(*text);
            absolutizeURIParameter(line);
            if (line.tag == "#EXTINF") {
                const std::optional<double> duration = durationOf(*text);
                if (!duration) {
                    constructedManifestArray.resize(before);
                    break;
                }
                totalPlayListDuration_ += *duration;
            }
            line.appendTo(constructedManifestArray);
        } else if (!resolution().append(*text, constructedManifestArray)) {
            constructedManifestArray.resize(before);
        }
    }
    manifestData_ = std::move(constructedManifestArray);
}

}  // namespace quorel
