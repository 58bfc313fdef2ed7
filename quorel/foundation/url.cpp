#include "quorel/foundation/url.h"

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>

#include <algorithm>
#include <string>
#include <vector>

#include "quorel/foundation/text.h"

namespace quorel {
namespace {

#define QUOREL_URL_UNRESERVED "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~"
#define QUOREL_URL_REG_NAME QUOREL_URL_UNRESERVED "!$&'()*+,;="

// What may stand in each part beside escapes, for mending.
constexpr CharacterSet userInfoCharacters(QUOREL_URL_REG_NAME ":");
constexpr CharacterSet regNameCharacters(QUOREL_URL_REG_NAME ":");
constexpr CharacterSet pathCharacters(QUOREL_URL_REG_NAME ":@/");
constexpr CharacterSet firstSegmentCharacters(QUOREL_URL_REG_NAME "@/");
constexpr CharacterSet queryItemCharacters(QUOREL_URL_UNRESERVED "!$'()*+,;:@/?");

bool isHexDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}
int hexValue(char c) {
    return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
}

bool isEscape(std::string_view text, std::size_t at) {
    return text[at] == '%' && at + 2 < text.size() && isHexDigit(text[at + 1]) && isHexDigit(text[at + 2]);
}

enum class Escapes { keep, encode };

void appendEncoded(std::string& out, std::string_view text, const CharacterSet& allowed, Escapes escapes) {
    constexpr char digits[] = "0123456789ABCDEF";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (allowed.contains(c) || (escapes == Escapes::keep && isEscape(text, i))) {
            out += text[i];
        } else {
            out += '%';
            out += digits[c >> 4];
            out += digits[c & 15];
        }
    }
}

std::string decodedOrAsWritten(std::string_view text) {
    return removingPercentEncoding(text).value_or(std::string(text));
}

// The length of the scheme that the text begins with, without its colon (RFC 3986 3.1).
std::size_t schemeLength(std::string_view text) {
    const auto isAlpha = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    std::size_t length = 0;
    while (length < text.size() &&
           (isAlpha(text[length]) ||
            (length > 0 && ((text[length] >= '0' && text[length] <= '9') || text[length] == '+' ||
                            text[length] == '-' || text[length] == '.')))) {
        ++length;
    }
    return length < text.size() && text[length] == ':' ? length : 0;
}

void appendMendedAuthority(std::string& out, std::string_view authority) {
    // A password may hold an unescaped "@"; a host may not.
    if (const std::size_t at = authority.rfind('@'); at != std::string_view::npos) {
        appendEncoded(out, authority.substr(0, at), userInfoCharacters, Escapes::keep);
        out += '@';
        authority.remove_prefix(at + 1);
    }
    if (authority.starts_with('['))
        out += authority;
    else
        appendEncoded(out, authority, regNameCharacters, Escapes::keep);
}

// Percent-encodes what may not stand where it stands. The result need not be a URL.
std::string mended(std::string_view text) {
    std::string out;
    out.reserve(text.size() + 16);
    const std::size_t scheme = schemeLength(text);
    if (scheme > 0) {
        out.append(text, 0, scheme + 1);
        text.remove_prefix(scheme + 1);
    }
    const std::size_t pathEnd = std::min(text.find_first_of("?#"), text.size());
    std::string_view path = text.substr(0, pathEnd);
    std::string_view rest = text.substr(pathEnd);
    if (path.starts_with("//")) {
        const std::size_t authorityEnd = std::min(path.find('/', 2), path.size());
        out += "//";
        appendMendedAuthority(out, path.substr(2, authorityEnd - 2));
        path.remove_prefix(authorityEnd);
    } else if (scheme == 0) {
        // RFC 3986 4.2: a colon in the first segment of a relative path would be taken for a scheme's.
        const std::size_t segment = std::min(path.find('/'), path.size());
        appendEncoded(out, path.substr(0, segment), firstSegmentCharacters, Escapes::keep);
        path.remove_prefix(segment);
    }
    appendEncoded(out, path, pathCharacters, Escapes::keep);
    if (rest.starts_with('?')) {
        const std::size_t queryEnd = std::min(rest.find('#'), rest.size());
        out += '?';
        appendEncoded(out, rest.substr(1, queryEnd - 1), CharacterSet::urlQueryAllowed, Escapes::keep);
        rest.remove_prefix(queryEnd);
    }
    if (rest.starts_with('#')) {
        out += '#';
        appendEncoded(out, rest.substr(1), CharacterSet::urlFragmentAllowed, Escapes::keep);
    }
    return out;
}

// Of the text of a URL, which is known to parse.
boost::urls::url_view view(const std::string& text) {
    return boost::urls::parse_uri_reference(text).value();
}

std::string_view plain(boost::urls::string_view text) {
    return {text.data(), text.size()};
}

std::string composed(const URLComponents& parts) {
    std::string text;
    if (parts.scheme) text.append(*parts.scheme).append(":");
    if (parts.percentEncodedHost || parts.percentEncodedUserInfo || parts.port) {
        text += "//";
        if (parts.percentEncodedUserInfo) text.append(*parts.percentEncodedUserInfo).append("@");
        if (parts.percentEncodedHost) text += *parts.percentEncodedHost;
        if (parts.port) text.append(":").append(std::to_string(*parts.port));
    }
    text += parts.percentEncodedPath;
    if (parts.percentEncodedQuery) text.append("?").append(*parts.percentEncodedQuery);
    if (parts.percentEncodedFragment) text.append("#").append(*parts.percentEncodedFragment);
    return text;
}

// RFC 3986 5.2.3.
std::string merged(const URLComponents& base, std::string_view path) {
    if (base.percentEncodedHost && base.percentEncodedPath.empty()) return std::string("/").append(path);
    return base.percentEncodedPath.substr(0, base.percentEncodedPath.rfind('/') + 1).append(path);
}

// RFC 3986 5.2.4. (The library's resolve() leaves "/../g" as it is.)
std::string withoutDotSegments(std::string_view path) {
    const bool absolute = path.starts_with('/');
    if (absolute) path.remove_prefix(1);
    std::vector<std::string_view> kept;
    const std::vector<std::string_view> segments = split(path, '/');
    for (std::size_t i = 0; i < segments.size(); ++i) {
        const bool isUp = segments[i] == "..";
        if (isUp && !kept.empty()) kept.pop_back();
        if (!isUp && segments[i] != ".")
            kept.push_back(segments[i]);
        else if (i + 1 == segments.size())
            kept.push_back("");
    }
    std::string result = absolute ? "/" : "";
    for (std::size_t i = 0; i < kept.size(); ++i) result.append(i == 0 ? "" : "/").append(kept[i]);
    return result;
}

// The text of the URL with another path, which must be one that fits.
std::string replacingPath(const std::string& text, std::string_view path) {
    const boost::urls::url_view parts = view(text);
    const std::string_view old = plain(parts.encoded_path());
    const auto start = static_cast<std::size_t>(old.data() - text.data());
    return std::string(text, 0, start).append(path).append(text, start + old.size());
}

}  // namespace

constexpr CharacterSet CharacterSet::urlQueryAllowed(QUOREL_URL_REG_NAME ":@/?");
constexpr CharacterSet CharacterSet::urlPathAllowed(QUOREL_URL_UNRESERVED "!$&'()*+,=:@/");
constexpr CharacterSet CharacterSet::urlHostAllowed(QUOREL_URL_REG_NAME "[]:");
constexpr CharacterSet CharacterSet::urlFragmentAllowed(QUOREL_URL_REG_NAME ":@/?");
constexpr CharacterSet CharacterSet::unreserved(QUOREL_URL_UNRESERVED);

#undef QUOREL_URL_REG_NAME
#undef QUOREL_URL_UNRESERVED

std::string addingPercentEncoding(std::string_view text, const CharacterSet& allowed) {
    std::string out;
    out.reserve(text.size());
    appendEncoded(out, text, allowed, Escapes::encode);
    return out;
}

std::optional<std::string> removingPercentEncoding(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out += text[i];
        } else if (isEscape(text, i)) {
            out += static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2]));
            i += 2;
        } else {
            return std::nullopt;
        }
    }
    if (!isValidUTF8(out)) return std::nullopt;
    return out;
}

std::optional<URL> URL::parse(std::string_view text) {
    for (const char c : text) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) return std::nullopt;
    }
    if (!isValidUTF8(text)) return std::nullopt;
    return parseStrict(mended(text));
}

std::optional<URL> URL::parseStrict(std::string_view text) {
    if (text.empty() || text.size() > BOOST_URL_MAX_SIZE) return std::nullopt;
    const auto parsed = boost::urls::parse_uri_reference(boost::urls::string_view(text.data(), text.size()));
    if (parsed.has_error()) return std::nullopt;
    const boost::urls::url_view parts = parsed.value();
    // The library reads "http://h:8o/" as a path "o/" behind port 8, and lets "@" pass in the user's part.
    const bool joined = parts.has_authority() && !parts.encoded_path().empty() && !parts.is_path_absolute();
    if (joined || plain(parts.encoded_userinfo()).find('@') != std::string_view::npos) return std::nullopt;
    std::string_view port = plain(parts.port());
    while (port.size() > 1 && port.starts_with('0')) port.remove_prefix(1);
    if (port.size() > 5 || (port.size() == 5 && port > "65535")) return std::nullopt;
    return URL(std::string(text));
}

std::optional<std::string> URL::scheme() const {
    const boost::urls::url_view parts = view(text_);
    if (!parts.has_scheme()) return std::nullopt;
    return std::string(plain(parts.scheme()));
}

std::optional<std::string> URL::host() const {
    const boost::urls::url_view parts = view(text_);
    if (!parts.has_authority()) return std::nullopt;
    std::string_view host = plain(parts.encoded_host());
    if (host.starts_with('[')) return std::string(host.substr(1, host.size() - 2));
    return decodedOrAsWritten(host);
}

std::optional<std::uint16_t> URL::port() const {
    const boost::urls::url_view parts = view(text_);
    if (!parts.has_port() || parts.port().empty()) return std::nullopt;
    return parts.port_number();
}

std::string URL::path() const {
    return decodedOrAsWritten(plain(view(text_).encoded_path()));
}

std::optional<std::string> URL::query() const {
    const boost::urls::url_view parts = view(text_);
    if (!parts.has_query()) return std::nullopt;
    return std::string(plain(parts.encoded_query()));
}

std::optional<std::string> URL::fragment() const {
    const boost::urls::url_view parts = view(text_);
    if (!parts.has_fragment()) return std::nullopt;
    return std::string(plain(parts.encoded_fragment()));
}

std::string URL::pathExtension() const {
    std::string component = path();
    while (component.ends_with('/')) component.pop_back();
    component.erase(0, component.rfind('/') + 1);
    const std::size_t dot = component.rfind('.');
    if (dot == std::string::npos || dot == 0) return {};
    return component.substr(dot + 1);
}

URL URL::appendingPathComponent(std::string_view component) const {
    const boost::urls::url_view parts = view(text_);
    const bool hadRoot = parts.is_path_absolute() || parts.has_authority();
    std::string path(plain(parts.encoded_path()));
    while (path.ends_with('/')) path.pop_back();
    while (component.starts_with('/')) component.remove_prefix(1);
    if (hadRoot || !path.empty()) path += '/';
    const bool mayLookLikeScheme = path.empty() && !parts.has_scheme();
    const std::size_t segment = mayLookLikeScheme ? std::min(component.find('/'), component.size()) : 0;
    appendEncoded(path, component.substr(0, segment), firstSegmentCharacters, Escapes::encode);
    appendEncoded(path, component.substr(segment), CharacterSet::urlPathAllowed, Escapes::encode);
    return URL(replacingPath(text_, path));
}

URL URL::deletingLastPathComponent() const {
    std::string path(plain(view(text_).encoded_path()));
    if (path.empty()) return *this;
    while (path.size() > 1 && path.ends_with('/')) path.pop_back();
    path.erase(path.rfind('/') + 1);
    return URL(replacingPath(text_, path.empty() ? "./" : path));
}

std::optional<URL> URL::resolving(std::string_view reference) const {
    const std::optional<URL> parsed = parse(reference);
    if (!parsed) return std::nullopt;
    const URLComponents base(*this);
    URLComponents target(*parsed);
    if (!target.scheme) {
        if (!base.scheme) return std::nullopt;
        target.scheme = base.scheme;
        if (!target.percentEncodedHost) {
            target.percentEncodedUserInfo = base.percentEncodedUserInfo;
            target.percentEncodedHost = base.percentEncodedHost;
            target.port = base.port;
            if (target.percentEncodedPath.empty()) {
                target.percentEncodedPath = base.percentEncodedPath;
                if (!target.percentEncodedQuery) target.percentEncodedQuery = base.percentEncodedQuery;
            } else if (!target.percentEncodedPath.starts_with('/')) {
                target.percentEncodedPath = merged(base, target.percentEncodedPath);
            }
        }
    }
    target.percentEncodedPath = withoutDotSegments(target.percentEncodedPath);
    return target.url();
}

URLComponents::URLComponents(const URL& url) {
    const boost::urls::url_view parts = view(url.absoluteString());
    scheme = url.scheme();
    if (parts.has_userinfo()) percentEncodedUserInfo = plain(parts.encoded_userinfo());
    if (parts.has_authority()) percentEncodedHost = plain(parts.encoded_host());
    port = url.port();
    percentEncodedPath = plain(parts.encoded_path());
    percentEncodedQuery = url.query();
    percentEncodedFragment = url.fragment();
}

std::optional<URLComponents> URLComponents::parse(std::string_view text) {
    const std::optional<URL> url = URL::parse(text);
    if (!url) return std::nullopt;
    return URLComponents(*url);
}

std::string URLComponents::path() const {
    return decodedOrAsWritten(percentEncodedPath);
}

void URLComponents::setPath(std::string_view plainPath) {
    const bool mayLookLikeScheme = !scheme && !percentEncodedHost;
    const std::size_t segment = mayLookLikeScheme ? std::min(plainPath.find('/'), plainPath.size()) : 0;
    percentEncodedPath.clear();
    appendEncoded(percentEncodedPath, plainPath.substr(0, segment), firstSegmentCharacters, Escapes::encode);
    appendEncoded(percentEncodedPath, plainPath.substr(segment), CharacterSet::urlPathAllowed, Escapes::encode);
}

std::optional<std::vector<URLQueryItem>> URLComponents::queryItems() const {
    if (!percentEncodedQuery) return std::nullopt;
    std::vector<URLQueryItem> items;
    if (percentEncodedQuery->empty()) return items;
    for (const std::string_view piece : split(*percentEncodedQuery, '&')) {
        const std::size_t equals = piece.find('=');
        URLQueryItem& item = items.emplace_back();
        item.name = decodedOrAsWritten(piece.substr(0, equals));
        if (equals != std::string_view::npos) item.value = decodedOrAsWritten(piece.substr(equals + 1));
    }
    return items;
}

void URLComponents::setQueryItems(const std::optional<std::vector<URLQueryItem>>& items) {
    percentEncodedQuery.reset();
    if (!items) return;
    std::string& query = percentEncodedQuery.emplace();
    for (const URLQueryItem& item : *items) {
        if (&item != &items->front()) query += '&';
        appendEncoded(query, item.name, queryItemCharacters, Escapes::encode);
        if (!item.value) continue;
        query += '=';
        appendEncoded(query, *item.value, queryItemCharacters, Escapes::encode);
    }
}

std::optional<URL> URLComponents::url() const {
    std::optional<URL> url = URL::parseStrict(composed(*this));
    // Parts that hold another part's delimiter would come back as other parts.
    if (url && URLComponents(*url) != *this) url.reset();
    return url;
}

}  // namespace quorel
