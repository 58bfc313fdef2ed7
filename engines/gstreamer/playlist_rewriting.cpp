#include "engines/gstreamer/playlist_rewriting.h"

#include <utility>

#include "engines/gstreamer/failure.h"
#include "quorel/foundation/text.h"

namespace quorel::gstreamer {
namespace {

bool startsWith(std::string_view line, std::string_view tag) {
    return line.starts_with(tag) && (line.size() == tag.size() || line[tag.size()] == ':');
}

bool goesOverHttp(const URL& url) {
    const std::string scheme = asciiLowercased(url.scheme().value_or(""));
    return scheme == "http" || scheme == "https";
}

// Where the value of the quoted attribute `name` stands in the line, without its quotes.
std::optional<std::pair<std::size_t, std::size_t>> quotedValue(std::string_view line, std::string_view name) {
    const std::string start = std::string(name) + "=\"";
    for (std::size_t at = line.find(start); at != std::string_view::npos; at = line.find(start, at + 1)) {
        if (at == 0 || (line[at - 1] != ',' && line[at - 1] != ':')) continue;
        const std::size_t from = at + start.size();
        const std::size_t end = line.find('"', from);
        if (end == std::string_view::npos) return {};
        return std::pair(from, end - from);
    }
    return {};
}

std::string withoutSubtitles(std::string_view streamInf) {
    std::string line(streamInf);
    if (const auto value = quotedValue(line, "SUBTITLES")) {
        const std::size_t from = value->first - std::string_view("SUBTITLES=\"").size();
        const std::size_t length = value->first + value->second + 1 - from;
        // With one of the commas around it.
        if (line[from - 1] == ',') {
            line.erase(from - 1, length + 1);
        } else {
            line.erase(from, length + (from + length < line.size() ? 1 : 0));
        }
    }
    return line;
}

class Rewriter {
public:
    Rewriter(const URL& base, const GatewayAddress& address) : base_(base), address_(address) {}

    void take(std::string_view line) {
        if (line.empty()) return;
        if (line.front() != '#') {
            const bool isPlaylist = std::exchange(variantFollows_, false);
            add(absolute(line, isPlaylist ? std::optional(ResourceKind::playlist) : std::nullopt));
        } else if (startsWith(line, "#EXT-X-STREAM-INF")) {
            variantFollows_ = true;
            add(withoutSubtitles(line));
        } else if (startsWith(line, "#EXT-X-MEDIA")) {
            if (line.find("TYPE=SUBTITLES") == std::string_view::npos) addTag(line, ResourceKind::playlist);
        } else if (startsWith(line, "#EXT-X-KEY") || startsWith(line, "#EXT-X-SESSION-KEY")) {
            addTag(line, ResourceKind::key);
        } else if (!startsWith(line, "#EXT-X-I-FRAME-STREAM-INF")) {
            addTag(line, std::nullopt);
        }
    }
    std::string result() && { return std::move(out_); }

private:
    void add(std::string_view line) { out_.append(line).append("\n"); }

    void addTag(std::string_view line, std::optional<ResourceKind> kind) {
        const auto uri = quotedValue(line, "URI");
        if (!uri) return add(line);
        std::string text(line);
        text.replace(uri->first, uri->second, absolute(line.substr(uri->first, uri->second), kind));
        add(text);
    }

    std::string absolute(std::string_view reference, std::optional<ResourceKind> kind) const {
        const auto url = base_.resolving(reference);
        if (!url) return std::string(reference);
        return kind && goesOverHttp(*url) ? address_(*url, *kind) : url->absoluteString();
    }

    const URL& base_;
    const GatewayAddress& address_;
    std::string out_;
    bool variantFollows_ = false;
};

}  // namespace

std::optional<std::string> rewritePlaylist(std::string_view text, const URL& base, const GatewayAddress& address) {
    if (!isPlaylist(text)) return {};
    text.remove_prefix(text.find('#'));  // a byte order mark
    Rewriter rewriter(base, address);
    for (const std::string_view line : split(text, '\n')) rewriter.take(trimmedWhitespaceAndNewlines(line));
    return std::move(rewriter).result();
}

}  // namespace quorel::gstreamer
