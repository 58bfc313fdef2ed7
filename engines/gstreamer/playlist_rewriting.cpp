#include "engines/gstreamer/playlist_rewriting.h"

#include <algorithm>
#include <utility>

#include "engines/gstreamer/attribute_list.h"
#include "engines/gstreamer/failure.h"
#include "quorel/foundation/text.h"

namespace quorel::gstreamer {
namespace {

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// The scheme of a reference (RFC 3986 3.1), without the colon; empty for a relative one.
std::string_view schemeOf(std::string_view reference) {
    const std::size_t colon = reference.find_first_of(":/?#");
    if (colon == std::string_view::npos || reference[colon] != ':') return {};
    const std::string_view scheme = reference.substr(0, colon);
    const auto allowed = [](char c) {
        return isLetter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
    };
    if (scheme.empty() || !isLetter(scheme.front()) || !std::all_of(scheme.begin(), scheme.end(), allowed)) {
        return {};
    }
    return scheme;
}

// What may be put behind a directory's address as it stands: no other way of resolving it gives another result.
bool isPlainPath(std::string_view reference) {
    if (reference.empty() || reference.front() == '/' || reference.find("./") != std::string_view::npos)
        return false;
    return reference.back() != '.' && std::all_of(reference.begin(), reference.end(), [](char c) {
               return isLetter(c) || (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.' || c == '/';
           });
}

std::string text(std::string_view line, std::string_view attribute) {
    return std::string(findAttribute(line, attribute).value);
}

class Rewriter {
public:
    Rewriter(const URL& base, const GatewayAddress& address)
        : base_(base), directory_(base.absoluteString()), address_(address) {
        directory_.resize(std::min(directory_.size(), directory_.find_first_of("?#")));
        const std::size_t authority = directory_.find("://");
        const std::size_t slash = directory_.rfind('/');
        const bool hasPath = authority != std::string::npos && slash != std::string::npos && slash > authority + 2;
        directory_.resize(hasPath ? slash + 1 : 0);
    }

    void take(std::string_view line) {
        if (line.empty()) return;
        if (line.front() != '#') {
            add(absolute(line,
                         std::exchange(variantFollows_, false) ? ResourceKind::playlist : ResourceKind::media));
        } else if (!line.starts_with("#EXT-X-")) {
            add(line);
        } else if (isTag(line, "#EXT-X-STREAM-INF")) {
            variantFollows_ = true;
            addWithoutSubtitles(line);
        } else if (isTag(line, "#EXT-X-MEDIA")) {
            const std::string_view type = findAttribute(line, "TYPE").value;
            const bool subtitles = type == "SUBTITLES";
            if (subtitles || type == "CLOSED-CAPTIONS") keep(line, subtitles);
            if (!subtitles) addTag(line, ResourceKind::playlist);
        } else if (isTag(line, "#EXT-X-KEY") || isTag(line, "#EXT-X-SESSION-KEY")) {
            addTag(line, ResourceKind::key);
        } else if (isTag(line, "#EXT-X-MAP") && !findAttribute(line, "BYTERANGE")) {
            addTag(line, ResourceKind::initialisation);
        } else if (!isTag(line, "#EXT-X-I-FRAME-STREAM-INF")) {
            addTag(line, ResourceKind::media);
        }
    }
    RewrittenPlaylist result() && { return std::move(out_); }

private:
    void add(std::string_view line) { out_.text.append(line).append("\n"); }

    void addTag(std::string_view line, ResourceKind kind) {
        const bool mayHaveOne = line.find("URI=\"") != std::string_view::npos;
        const Attribute uri = mayHaveOne ? findAttribute(line, "URI") : Attribute{};
        if (!uri) return add(line);
        out_.text.append(line.substr(0, uri.valueBegin)).append(absolute(uri.value, kind));
        add(line.substr(uri.valueBegin + uri.value.size()));
    }

    void addWithoutSubtitles(std::string_view line) {
        const Attribute subtitles = findAttribute(line, "SUBTITLES");
        if (!subtitles) return add(line);
        std::string_view before = line.substr(0, subtitles.begin);
        std::string_view after = line.substr(subtitles.end);
        if (!after.empty()) {
            after.remove_prefix(1);
        } else if (before.ends_with(',')) {
            before.remove_suffix(1);
        }
        out_.text.append(before);
        add(after);
    }

    // Groups exist so that variants can differ in them; to a viewer, the members of the same name are one rendition.
    void keep(std::string_view line, bool subtitles) {
        using Kind = SubtitleRendition::Kind;
        SubtitleRendition rendition;
        rendition.kind = subtitles ? Kind::subtitles : Kind::closedCaptions;
        rendition.name = text(line, "NAME");
        rendition.language = text(line, "LANGUAGE");
        rendition.groupId = text(line, "GROUP-ID");
        rendition.characteristics = text(line, "CHARACTERISTICS");
        rendition.instreamId = text(line, "INSTREAM-ID");
        rendition.isDefault = findAttribute(line, "DEFAULT").value == "YES";
        rendition.autoselect = findAttribute(line, "AUTOSELECT").value == "YES";
        rendition.forced = findAttribute(line, "FORCED").value == "YES";
        const auto isTheSame = [&](const SubtitleRendition& other) {
            return other.groupId != rendition.groupId && other.kind == rendition.kind &&
                   other.name == rendition.name && other.language == rendition.language &&
                   other.instreamId == rendition.instreamId;
        };
        if (std::any_of(out_.renditions.begin(), out_.renditions.end(), isTheSame)) return;
        if (const Attribute uri = findAttribute(line, "URI")) {
            const auto resolved = schemeOf(uri.value).empty() ? base_.resolving(uri.value) : std::nullopt;
            rendition.uri = resolved ? resolved->absoluteString() : std::string(uri.value);
        } else if (subtitles) {
            return;
        }
        out_.renditions.push_back(std::move(rendition));
    }

    std::string absolute(std::string_view reference, ResourceKind kind) const {
        std::string uri(reference);
        if (schemeOf(reference).empty()) {
            if (!directory_.empty() && isPlainPath(reference)) {
                uri.insert(0, directory_);
            } else if (const auto resolved = base_.resolving(reference)) {
                uri = resolved->absoluteString();
            }
        } else if (goesOverHttp(reference) && reference.find("/.") != std::string_view::npos) {
            // RFC 3986 5.2.2: dot segments go from these too, and not every server does it for us.
            if (const auto resolved = base_.resolving(reference)) uri = resolved->absoluteString();
        }
        if (asciiEqualsIgnoringCase(schemeOf(uri), "data")) return uri;
        return kind != ResourceKind::media || !goesOverHttp(uri) ? address_(uri, kind) : uri;
    }

    const URL& base_;
    std::string directory_;  // of the base, up to its last slash; empty when it has no path
    const GatewayAddress& address_;
    RewrittenPlaylist out_;
    bool variantFollows_ = false;
};

}  // namespace

bool goesOverHttp(std::string_view uri) {
    const std::string_view scheme = schemeOf(uri);
    return asciiEqualsIgnoringCase(scheme, "http") || asciiEqualsIgnoringCase(scheme, "https");
}

std::optional<RewrittenPlaylist> rewritePlaylist(std::string_view text, const URL& base,
                                                 const GatewayAddress& address) {
    if (!isPlaylist(text)) return {};
    text.remove_prefix(text.find('#'));  // a byte order mark
    Rewriter rewriter(base, address);
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        rewriter.take(trimmedWhitespaceAndNewlines(text.substr(0, end)));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return std::move(rewriter).result();
}

}  // namespace quorel::gstreamer
