// URLs, their components and query items, and percent encoding (RFC 3986).
//
//   auto url = URL::parse("https://api.example/v1/")->appendingPathComponent("videos/film-1");
//   URLComponents parts(*url);
//   parts.setQueryItems({{"token", "a&b"}});      // the item's "&" goes out as %26
//   url = parts.url();
//
// All of it are values; any thread. Nothing throws: what cannot be made is an absent value.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/foundation/export.h"

namespace quorel {

// The characters that stay as they are when a text is percent-encoded for a place in a URL. All other bytes of
// the UTF-8 text become %XX with upper-case digits. None of the sets holds "%".
class QUOREL_FOUNDATION_API CharacterSet {
public:
    // RFC 3986 3.4: query = *( pchar / "/" / "?" ), so also "!$&'()*+,;=:@-._~".
    static const CharacterSet urlQueryAllowed;
    // RFC 3986 3.3: pchar and "/", without ";".
    static const CharacterSet urlPathAllowed;
    // RFC 3986 3.2.2: reg-name characters and "[", "]", ":".
    static const CharacterSet urlHostAllowed;
    // RFC 3986 3.5.
    static const CharacterSet urlFragmentAllowed;
    // RFC 3986 2.3.
    static const CharacterSet unreserved;

    // Whether the byte stays as it is. False beyond ASCII.
    constexpr bool contains(unsigned char c) const { return c < 128 && ((bits_[c >> 6] >> (c & 63)) & 1) != 0; }
    // The ASCII characters of `members`; others are passed over.
    constexpr explicit CharacterSet(std::string_view members) {
        for (const char c : members) {
            const auto u = static_cast<unsigned char>(c);
            if (u < 128) bits_[u >> 6] |= std::uint64_t{1} << (u & 63);
        }
    }

private:
    std::uint64_t bits_[2] = {0, 0};
};

// Every byte that is not in `allowed` as %XX.
QUOREL_FOUNDATION_API std::string addingPercentEncoding(std::string_view text, const CharacterSet& allowed);
// Absent when a "%" is not followed by two hexadecimal digits, or when the result is not valid UTF-8. "+" stays.
QUOREL_FOUNDATION_API std::optional<std::string> removingPercentEncoding(std::string_view text);

// One "name=value" of a query.
struct QUOREL_VISIBLE URLQueryItem {
    std::string name;                  // as plain text, percent encoding removed
    std::optional<std::string> value;  // absent for "name" without "="

    bool operator==(const URLQueryItem&) const = default;
};

// A URL as text that is known to parse, with its parts.
class QUOREL_FOUNDATION_API URL {
public:
    // RFC 3986 URI-reference, so relative references parse too. As the platforms that this SDK grew up on do,
    // characters that may not stand in a URL (blanks, quotes, "<", "|", letters beyond ASCII, a "%" that begins
    // no escape) are percent-encoded rather than refused. Absent for an empty text, for a control character, for
    // text that is not UTF-8 and for what no encoding can mend (a port that is no number up to 65535, an
    // unclosed "[").
    static std::optional<URL> parse(std::string_view text);
    // The same without mending: absent for any character that RFC 3986 does not allow where it stands.
    static std::optional<URL> parseStrict(std::string_view text);

    const std::string& absoluteString() const { return text_; }
    // Where percent encoding is removed and the result would not be UTF-8, the part is given as it is written.
    std::optional<std::string> scheme() const;    // as written
    std::optional<std::string> host() const;      // percent encoding removed, without the brackets of an IPv6 one
    std::optional<std::uint16_t> port() const;    // as written; no default of the scheme
    std::string path() const;                     // percent encoding removed; "" when there is none
    std::optional<std::string> query() const;     // as written, encoded
    std::optional<std::string> fragment() const;  // as written, encoded
    // Of the last path component that is not empty, without the dot. "" when there is none, as for ".profile"
    // and for "film.".
    std::string pathExtension() const;

    // One "/" stands between the path and the component, whatever slashes they had at the seam. The component is
    // plain text: "?" , "#" and "%" in it are encoded, "/" stays and makes further segments, ".." is appended
    // like any other text. Query and fragment stay behind the new path. Text that is not UTF-8 is encoded byte
    // for byte.
    URL appendingPathComponent(std::string_view component) const;
    // "/a/b.m3u8" gives "/a/", "/a/" and "/" give "/", a relative "b.m3u8" gives "./"; an empty path stays empty.
    // Query and fragment stay.
    URL deletingLastPathComponent() const;
    // RFC 3986 5.2: `reference`, parsed as by parse(), resolved against this URL. Absent when it does not parse,
    // or when neither has a scheme.
    std::optional<URL> resolving(std::string_view reference) const;

    bool operator==(const URL& other) const { return text_ == other.text_; }
    std::strong_ordering operator<=>(const URL& other) const { return text_ <=> other.text_; }

private:
    friend class URLComponents;
    explicit URL(std::string text) : text_(std::move(text)) {}

    std::string text_;
};

// A URL taken apart to be changed and put together again. The encoded forms are what stands in the URL; the
// plain ones are encoded and decoded on the way.
class QUOREL_FOUNDATION_API URLComponents {
public:
    URLComponents() = default;
    // The parts of that URL.
    explicit URLComponents(const URL& url);
    static std::optional<URLComponents> parse(std::string_view text);  // as URL::parse

    std::optional<std::string> scheme;
    std::optional<std::string> percentEncodedUserInfo;
    std::optional<std::string> percentEncodedHost;
    std::optional<std::uint16_t> port;  // 0 to 65535
    std::string percentEncodedPath;
    std::optional<std::string> percentEncodedQuery;
    std::optional<std::string> percentEncodedFragment;

    std::string path() const;  // as URL::path
    // Encodes what may not stand in a path, and ":" where it would make the path's first segment a scheme.
    void setPath(std::string_view plain);

    // Absent when there is no query; no items for an empty one ("?"). Split at "&", each piece at its first "=",
    // percent encoding removed ("+" stays). What does not decode is given as it is written.
    std::optional<std::vector<URLQueryItem>> queryItems() const;
    // An absent list removes the query, an empty one leaves "?" alone. Names and values are encoded so that
    // "&", "=", "#" and "%" in them survive.
    void setQueryItems(const std::optional<std::vector<URLQueryItem>>& items);

    // Absent when the parts give no URL: a path that does not begin with "/" behind a host, a path that begins
    // with "//" without one (RFC 3986 3.3), a user or a port without a host, no part at all, and any part that
    // holds what may not stand in it.
    std::optional<URL> url() const;

    bool operator==(const URLComponents&) const = default;
};

}  // namespace quorel

template <>
struct std::hash<quorel::URL> {
    std::size_t operator()(const quorel::URL& url) const noexcept {
        return std::hash<std::string>()(url.absoluteString());
    }
};
