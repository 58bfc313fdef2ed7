#include "quorel/sideload/uri_resolution.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "quorel/foundation/fatal.h"
#include "quorel/foundation/text.h"

namespace quorel {
namespace {

// Beyond these, a text is left to the URL type: escapes that are left over, letters beyond ASCII, controls, "#", "[".
constexpr CharacterSet plainCharacters(
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~!$&'()*+,;=:@/? ");
constexpr CharacterSet hostCharacters("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-.");
constexpr std::size_t longestPlainText = 8192;

URL directoryOf(const URL& manifestURL) {
    URLComponents parts(manifestURL);
    parts.percentEncodedQuery.reset();
    parts.percentEncodedFragment.reset();
    return parts.url().value_or(manifestURL).deletingLastPathComponent();
}

bool isPlain(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return plainCharacters.contains(static_cast<unsigned char>(c)); });
}

// Of a text that begins with "http://" or "https://": whether it is a URL that needs no mending.
bool isPlainAbsolute(std::string_view text) {
    if (text.find(' ') != std::string_view::npos) return false;
    const std::string_view authority = text.substr(text.find("//") + 2);
    std::size_t end = 0;
    while (end < authority.size() && hostCharacters.contains(static_cast<unsigned char>(authority[end]))) ++end;
    if (end == 0) return false;
    if (end < authority.size() && authority[end] == ':') {
        const std::size_t port = ++end;
        while (end < authority.size() && authority[end] >= '0' && authority[end] <= '9') ++end;
        if (end == port || end - port > 4) return false;
    }
    return end == authority.size() || authority[end] == '/' || authority[end] == '?';
}

URLQueryItem queryItem(std::string_view piece) {
    const std::vector<std::string_view> parts = split(piece, '=', 1, EmptyPieces::drop);
    URLQueryItem item;
    if (!parts.empty()) item.name = parts[0];
    if (parts.size() > 1) item.value = std::string(parts[1]);
    return item;
}

// What a path may not hold is all that plainCharacters has beyond it.
void appendPath(std::string_view path, std::string& out) {
    for (std::size_t at; (at = path.find_first_of(" ;")) != std::string_view::npos; path.remove_prefix(at + 1)) {
        out.append(path.substr(0, at)).append(path[at] == ' ' ? "%20" : "%3B");
    }
    out += path;
}

void appendValue(std::string_view value, std::string& out) {
    for (std::size_t at; (at = value.find('=')) != std::string_view::npos; value.remove_prefix(at + 1)) {
        out.append(value.substr(0, at)).append("%3D");
    }
    out += value;
}

// Gives false for the few forms that it leaves to the general way.
bool appendQuery(std::string_view query, std::string& out) {
    out += '?';
    bool first = true;
    while (!query.empty()) {
        const std::size_t end = std::min(query.find('&'), query.size());
        const std::string_view piece = query.substr(0, end);
        query.remove_prefix(std::min(end + 1, query.size()));
        if (piece.empty()) continue;
        if (piece.front() == '=' || piece.find(' ') != std::string_view::npos) return false;
        if (!first) out += '&';
        first = false;
        const std::size_t equals = piece.find('=');
        out += piece.substr(0, equals);
        if (equals == std::string_view::npos || equals + 1 == piece.size()) continue;
        out += '=';
        appendValue(piece.substr(equals + 1), out);
    }
    return true;
}

}  // namespace

URIResolution::URIResolution(const URL& manifestURL) : directory_(directoryOf(manifestURL)) {
    const std::string example = directory_.appendingPathComponent("x").absoluteString();
    const bool hierarchical = directory_.scheme() && directory_.host();
    if (hierarchical && example.ends_with("/x")) prefix_ = example.substr(0, example.size() - 1);
}

std::optional<URL> URIResolution::resolve(std::string_view text) const {
    const std::optional<std::string> decoded = removingPercentEncoding(trimmedWhitespaceAndNewlines(text));
    if (!decoded) return std::nullopt;
    std::optional<URL> url = URL::parse(*decoded);
    if (!url || url->scheme()) return url;

    // A second time, since playlists are often encoded twice.
    const std::optional<std::string> plain = removingPercentEncoding(*decoded);
    if (!plain) return url;
    const std::vector<std::string_view> pieces = split(*plain, '?', EmptyPieces::drop);
    const URL absolute = directory_.appendingPathComponent(pieces.empty() ? std::string_view() : pieces[0]);
    if (pieces.size() < 2) return absolute;

    std::vector<URLQueryItem> items;
    for (const std::string_view piece : split(pieces[1], '&', EmptyPieces::drop))
        items.push_back(queryItem(piece));
    URLComponents parts(absolute);
    parts.setQueryItems(items);
    std::optional<URL> result = parts.url();
    if (!result) fatal("A URL with other query items is no URL: " + absolute.absoluteString());
    return result;
}

bool URIResolution::append(std::string_view text, std::string& out) const {
    text = trimmedWhitespaceAndNewlines(text);
    const std::size_t before = out.size();
    if (appendPlain(text, out)) return true;
    out.resize(before);
    const std::optional<URL> url = resolve(text);
    if (!url) return false;
    out += url->absoluteString();
    return true;
}

bool URIResolution::appendPlain(std::string_view text, std::string& out) const {
    if (prefix_.empty() || text.empty() || text.size() > longestPlainText) return false;
    std::string decoded;
    if (text.find('%') != std::string_view::npos) {
        std::optional<std::string> once = removingPercentEncoding(text);
        if (!once) return false;
        decoded = std::move(*once);
        text = decoded;
    }
    if (!isPlain(text)) return false;
    if (text.starts_with("http://") || text.starts_with("https://")) {
        if (!isPlainAbsolute(text)) return false;
        out += text;
        return true;
    }
    const std::size_t pathEnd = std::min(text.find('?'), text.size());
    std::string_view path = text.substr(0, pathEnd);
    if (path.empty() || path.starts_with("//") || path.find(':') != std::string_view::npos) return false;
    while (path.starts_with('/')) path.remove_prefix(1);
    out += prefix_;
    appendPath(path, out);
    if (pathEnd + 1 >= text.size()) return true;
    const std::string_view query = text.substr(pathEnd + 1);
    return query.find('?') == std::string_view::npos && appendQuery(query, out);
}

}  // namespace quorel
