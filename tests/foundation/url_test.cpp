#include "quorel/foundation/url.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "quorel/foundation/text.h"

namespace quorel {
namespace {

// The rows of a table, each on its line or two blanks from the next.
std::vector<std::string_view> rows(std::string_view table) {
    std::vector<std::string_view> result;
    for (const std::string_view line : split(table, '\n', EmptyPieces::drop)) {
        for (std::size_t at = 0; (at = line.find_first_not_of(' ', at)) != std::string_view::npos;) {
            result.push_back(line.substr(at, std::min(line.find("  ", at), line.size()) - at));
            at += result.back().size();
        }
    }
    return result;
}

// Rows of the form "input -> expected".
std::vector<std::pair<std::string, std::string>> pairs(std::string_view table) {
    std::vector<std::pair<std::string, std::string>> result;
    for (const std::string_view row : rows(table)) {
        const std::size_t arrow = row.find(" -> ");
        result.emplace_back(row.substr(0, arrow), row.substr(arrow + 4));
    }
    return result;
}

std::string textOf(const std::optional<URL>& url) {
    return url ? url->absoluteString() : "none";
}

TEST(URL, ParsingMendsWhatMayNotStandInAUrl) {
    for (const std::string_view good : rows(R"(
            https://api.example/v1/  HTTP://[2001:db8::1]:8080/a?b=c#d  //host/path  seg1.ts?x=1  ?  ../a;b,c=d
            mailto:a@b.example  http://h/%C3%A9  http://h:65535  http://h:00080/  http://h:/)")) {
        EXPECT_EQ(textOf(URL::parse(good)), good);
        EXPECT_TRUE(URL::parseStrict(good)) << good;
    }
    for (const auto& [text, mended] : pairs(R"(
            http://h/a b"<>|^`{}\ -> http://h/a%20b%22%3C%3E%7C%5E%60%7B%7D%5C
            http://h/ação?é#ü -> http://h/a%C3%A7%C3%A3o?%C3%A9#%C3%BC
            http://münchen.example/ -> http://m%C3%BCnchen.example/  a b:c/d:e -> a%20b%3Ac/d:e
            http://h/100%?a=%zz&b=%4 -> http://h/100%25?a=%25zz&b=%254  http://u:p@ss@h/ -> http://u:p%40ss@h/
            http://h/a[1]?b[]=2#c#d -> http://h/a%5B1%5D?b%5B%5D=2#c%23d  12:30.ts -> 12%3A30.ts)")) {
        EXPECT_EQ(textOf(URL::parse(text)), mended);
        EXPECT_EQ(textOf(URL::parse(mended)), mended) << "mended twice";
        EXPECT_FALSE(URL::parseStrict(text)) << text;
    }
    auto bad = rows("http://h:65536/  http://h:99999999999999999999/  http://h:8o/  http://[::1/  http://[::1]x/");
    bad.insert(bad.end(),
               {"", "http://a:b:80/", "http://h/\n", "http://h/\x7F", {"http://h/\0", 10}, "http://h/\xFF"});
    for (const std::string_view text : bad) {
        EXPECT_EQ(textOf(URL::parse(text)), "none") << text;
        EXPECT_FALSE(URL::parseStrict(text)) << text;
    }
}

TEST(URL, PartsAreDecodedWhereTheyArePlainAndKeptWhereTheyAreNot) {
    // scheme|host|port|path|query|fragment|extension, "-" for what is absent
    for (const auto& [text, expected] : pairs(R"(
            https://u:p@Host.example:8443/a%20b/c.m3u8?q=%20#f%20 -> https|Host.example|8443|/a b/c.m3u8|q=%20|f%20|m3u8
            http://[::1]:0/ -> http|::1|0|/|-|-|  http://m%C3%BCnchen: -> http|münchen|-||-|-|
            a/b.tar.gz/? -> -|-|-|a/b.tar.gz/||-|gz  file:///.profile# -> file||-|/.profile|-||
            /a/%FF. -> -|-|-|/a/%FF.|-|-|)")) {
        const URL url = *URL::parse(text);
        const auto port = url.port() ? std::optional(std::to_string(*url.port())) : std::nullopt;
        std::string parts;
        for (const auto& part :
             {url.scheme(), url.host(), port, std::optional(url.path()), url.query(), url.fragment()}) {
            parts += part.value_or("-") + "|";
        }
        EXPECT_EQ(parts + url.pathExtension(), expected) << text;
    }
}

TEST(URL, PathComponentsAreAppendedEncodedAndDeletedWhole) {
    const struct {
        const char* component;
        const char* base;
        const char* expected;
    } table[] = {
        {"videos/film-1", "https://api.example/v1/", "https://api.example/v1/videos/film-1"},
        {"/a/b/", "https://h/v1", "https://h/v1/a/b/"},
        {"//x", "https://h//", "https://h/x"},
        {"x", "https://h", "https://h/x"},
        {"", "https://h/a", "https://h/a/"},
        {"50% ?#;ü", "https://h/a?q=1#f", "https://h/a/50%25%20%3F%23%3B%C3%BC?q=1#f"},
        {"../b", "https://h/a/", "https://h/a/../b"},
        {"1:2/3:4", "?q", "1%3A2/3:4?q"},
        {"1:2", "urn:", "urn:1:2"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(URL::parse(row.base)->appendingPathComponent(row.component).absoluteString(), row.expected);
    }
    for (const auto& [text, expected] : pairs(R"(
            https://h/a/b.m3u8?q#f -> https://h/a/?q#f  https://h/a/ -> https://h/  https://h/a// -> https://h/
            https://h/ -> https://h/  https://h -> https://h  b.m3u8 -> ./  a/b -> a/  urn:a -> urn:./)")) {
        EXPECT_EQ(URL::parse(text)->deletingLastPathComponent().absoluteString(), expected);
    }
    const URL directory = URL::parse("https://host.example/a/b.m3u8")->deletingLastPathComponent();
    EXPECT_EQ(directory.appendingPathComponent("seg 1.ts").absoluteString(), "https://host.example/a/seg%201.ts");
}

// RFC 3986 5.4.1 and 5.4.2.
TEST(URL, ReferencesResolveAsTheRfcSays) {
    const URL base = *URL::parse("http://a/b/c/d;p?q");
    for (const auto& [reference, expected] : pairs(R"(
            g:h -> g:h  g -> http://a/b/c/g  ./g -> http://a/b/c/g  g/ -> http://a/b/c/g/  /g -> http://a/g
            //g -> http://g  ?y -> http://a/b/c/d;p?y  g?y -> http://a/b/c/g?y  #s -> http://a/b/c/d;p?q#s
            g?y#s -> http://a/b/c/g?y#s  ;x -> http://a/b/c/;x  . -> http://a/b/c/  .. -> http://a/b/
            ../g -> http://a/b/g  ../.. -> http://a/  ../../g -> http://a/g  ../../../../g -> http://a/g
            /./g -> http://a/g  /../g -> http://a/g  g. -> http://a/b/c/g.  ..g -> http://a/b/c/..g
            ./../g -> http://a/b/g  ./g/. -> http://a/b/c/g/  g/../h -> http://a/b/c/h  a b -> http://a/b/c/a%20b
            g;x=1/../y -> http://a/b/c/y  g?y/../x -> http://a/b/c/g?y/../x  http://[::1/ -> none)")) {
        EXPECT_EQ(textOf(base.resolving(reference)), expected) << reference;
    }
    EXPECT_EQ(textOf(URL::parse("http://u@h:8/b?q")->resolving("c")), "http://u@h:8/c");
    EXPECT_FALSE(URL::parse("/a/b")->resolving("c"));
}

TEST(URLComponents, QueryItemsSurviveWhateverIsInThem) {
    using Items = std::vector<URLQueryItem>;
    const struct {
        std::optional<Items> items;
        const char* url;
    } table[] = {
        {Items{{"p", "a=1&b=2"}, {"x", "#%+ é/?"}}, "https://h/?p=a%3D1%26b%3D2&x=%23%25+%20%C3%A9/?"},
        {Items{{"a=b&c", std::nullopt}, {"empty", ""}}, "https://h/?a%3Db%26c&empty="},
        {Items{}, "https://h/?"},
        {std::nullopt, "https://h/"},
    };
    for (const auto& row : table) {
        URLComponents parts(*URL::parse("https://h/?old=1"));
        parts.setQueryItems(row.items);
        EXPECT_EQ(textOf(parts.url()), row.url);
        EXPECT_EQ(URLComponents::parse(row.url)->queryItems(), row.items) << row.url;
    }
    EXPECT_EQ(URLComponents::parse("?a=1&&b&c=%FF&d=x=y")->queryItems(),
              (Items{{"a", "1"}, {"", std::nullopt}, {"b", std::nullopt}, {"c", "%FF"}, {"d", "x=y"}}));
    // A request target, encoded once more on its way to the parser.
    const auto target =
        URLComponents::parse(addingPercentEncoding("/a b/%41?q=x y&r", CharacterSet::urlQueryAllowed));
    EXPECT_EQ(target->path(), "/a b/%41");
    EXPECT_EQ(target->queryItems(), (Items{{"q", "x y"}, {"r", std::nullopt}}));
}

TEST(URLComponents, PartsThatGiveNoUrlAreRefusedAndOthersComeBackTheSame) {
    const auto url = [](auto change) {
        URLComponents parts(*URL::parse("https://u@h:1/p?q#f"));
        change(parts);
        return textOf(parts.url());
    };
    EXPECT_EQ(url([](URLComponents&) {}), "https://u@h:1/p?q#f");
    EXPECT_EQ(url([](URLComponents& parts) { parts.setPath("/a b?c;d"); }), "https://u@h:1/a%20b%3Fc%3Bd?q#f");
    EXPECT_EQ(url([](URLComponents& parts) { parts = {}, parts.setPath("a:b/c:d"); }), "a%3Ab/c:d");
    EXPECT_EQ(url([](URLComponents& parts) { parts.percentEncodedPath = "p"; }), "none");
    EXPECT_EQ(url([](URLComponents& parts) { parts.percentEncodedPath = "/p?x"; }), "none");
    EXPECT_EQ(url([](URLComponents& parts) { parts.percentEncodedQuery = "a b"; }), "none");
    EXPECT_EQ(url([](URLComponents& parts) { parts.percentEncodedHost.reset(); }), "none");
    EXPECT_EQ(url([](URLComponents& parts) { parts = {}, parts.percentEncodedPath = "//x"; }), "none");
    EXPECT_EQ(url([](URLComponents& parts) { parts = {}; }), "none");
}

TEST(PercentEncoding, RemovingNeedsWholeEscapesAndUtf8) {
    EXPECT_EQ(removingPercentEncoding("a%20%c3%A9+"), "a é+");
    for (const char* bad : {"%", "%4", "a%zz", "%FF", "%ED%A0%80"})
        EXPECT_FALSE(removingPercentEncoding(bad)) << bad;
}

}  // namespace
}  // namespace quorel
