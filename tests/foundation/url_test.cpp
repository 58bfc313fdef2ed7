#include "quorel/foundation/url.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorel {
namespace {

std::string parsed(std::string_view text) {
    const auto url = URL::parse(text);
    return url ? url->absoluteString() : "none";
}

TEST(URL, ParsingMendsWhatMayNotStandInAUrl) {
    const struct {
        std::string_view text;
        std::string mended;  // "none" when nothing helps
        bool strict;         // whether it parses as it stands
    } table[] = {
        {"https://api.example/v1/", "https://api.example/v1/", true},
        {"HTTP://[2001:db8::1]:8080/a?b=c#d", "HTTP://[2001:db8::1]:8080/a?b=c#d", true},
        {"//host/path", "//host/path", true},
        {"seg1.ts?x=1", "seg1.ts?x=1", true},
        {"?", "?", true},
        {"../a;b,c=d", "../a;b,c=d", true},
        {"mailto:a@b.example", "mailto:a@b.example", true},
        {"http://h/a b\"<>|^`{}\\", "http://h/a%20b%22%3C%3E%7C%5E%60%7B%7D%5C", false},
        {"http://h/ação?é#ü", "http://h/a%C3%A7%C3%A3o?%C3%A9#%C3%BC", false},
        {"http://münchen.example/", "http://m%C3%BCnchen.example/", false},
        {"http://h/100%?a=%zz&b=%4", "http://h/100%25?a=%25zz&b=%254", false},
        {"http://h/%C3%A9", "http://h/%C3%A9", true},
        {"http://h/a[1]?b[]=2#c#d", "http://h/a%5B1%5D?b%5B%5D=2#c%23d", false},
        {"http://u:p@ss@h/", "http://u:p%40ss@h/", false},
        {"12:30.ts", "12%3A30.ts", false},
        {"a b:c/d:e", "a%20b%3Ac/d:e", false},
        {"http://h:65535", "http://h:65535", true},
        {"http://h:00080/", "http://h:00080/", true},
        {"http://h:/", "http://h:/", true},
        {"http://h:65536/", "none", false},
        {"http://h:99999999999999999999/", "none", false},
        {"http://h:8o/", "none", false},
        {"http://[::1/", "none", false},
        {"http://[::1]x/", "none", false},
        {"http://a:b:80/", "none", false},
        {"", "none", false},
        {"http://h/\n", "none", false},
        {std::string_view("http://h/\0", 10), "none", false},
        {"http://h/\xFF", "none", false},
    };
    for (const auto& row : table) {
        EXPECT_EQ(parsed(row.text), row.mended) << row.text;
        EXPECT_EQ(URL::parseStrict(row.text).has_value(), row.strict) << row.text;
        EXPECT_EQ(parsed(parsed(row.text)), parsed(row.text)) << "mending twice";
    }
}

TEST(URL, PartsAreDecodedWhereTheyArePlainAndKeptWhereTheyAreNot) {
    const struct {
        const char* text;
        const char* parts;  // scheme|host|port|path|query|fragment|extension, "-" for what is absent
    } table[] = {
        {"https://u:p@Host.example:8443/a%20b/c.m3u8?q=%20#f%20",
         "https|Host.example|8443|/a b/c.m3u8|q=%20|f%20|m3u8"},
        {"http://[::1]:0/", "http|::1|0|/|-|-|"},
        {"http://m%C3%BCnchen:", "http|münchen|-||-|-|"},
        {"a/b.tar.gz/?", "-|-|-|a/b.tar.gz/||-|gz"},
        {"file:///.profile#", "file||-|/.profile|-||"},
        {"/a/%FF.", "-|-|-|/a/%FF.|-|-|"},
    };
    for (const auto& row : table) {
        const URL url = *URL::parse(row.text);
        std::string parts;
        const auto add = [&parts](const std::optional<std::string>& part) { parts += part.value_or("-") + "|"; };
        add(url.scheme());
        add(url.host());
        add(url.port() ? std::optional(std::to_string(*url.port())) : std::nullopt);
        add(url.path());
        add(url.query());
        add(url.fragment());
        EXPECT_EQ(parts + url.pathExtension(), row.parts) << row.text;
    }
}

TEST(URL, AppendingAPathComponentEncodesItAndJoinsWithOneSlash) {
    const struct {
        const char *base, *component, *expected;
    } table[] = {
        {"https://api.example/v1/", "videos/film-1", "https://api.example/v1/videos/film-1"},
        {"https://h/v1", "/a/b/", "https://h/v1/a/b/"},
        {"https://h//", "//x", "https://h/x"},
        {"https://h", "x", "https://h/x"},
        {"https://h/a", "", "https://h/a/"},
        {"https://h/a?q=1#f", "50% ?#;ü", "https://h/a/50%25%20%3F%23%3B%C3%BC?q=1#f"},
        {"https://h/a/", "../b", "https://h/a/../b"},
        {"?q", "1:2/3:4", "1%3A2/3:4?q"},
        {"urn:", "1:2", "urn:1:2"},
        {"/", "x", "/x"},
    };
    for (const auto& row : table) {
        const URL appended = URL::parse(row.base)->appendingPathComponent(row.component);
        EXPECT_EQ(appended.absoluteString(), row.expected);
        EXPECT_TRUE(URL::parseStrict(appended.absoluteString())) << row.expected;
    }
}

TEST(URL, DeletingTheLastPathComponentLeavesTheDirectory) {
    const struct {
        const char *url, *expected;
    } table[] = {
        {"https://h/a/b.m3u8?q#f", "https://h/a/?q#f"},
        {"https://h/a/", "https://h/"},
        {"https://h/a//", "https://h/"},
        {"https://h/", "https://h/"},
        {"https://h", "https://h"},
        {"b.m3u8", "./"},
        {"a/b", "a/"},
        {"urn:a", "urn:./"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(URL::parse(row.url)->deletingLastPathComponent().absoluteString(), row.expected) << row.url;
    }
    EXPECT_EQ(URL::parse("https://host.example/a/b.m3u8")
                  ->deletingLastPathComponent()
                  .appendingPathComponent("seg 1.ts")
                  .absoluteString(),
              "https://host.example/a/seg%201.ts");
}

// The examples of RFC 3986 5.4.1 and 5.4.2.
TEST(URL, ReferencesResolveAsTheRfcSays) {
    const URL base = *URL::parse("http://a/b/c/d;p?q");
    const struct {
        const char *reference, *expected;
    } table[] = {
        {"g:h", "g:h"},
        {"g", "http://a/b/c/g"},
        {"./g", "http://a/b/c/g"},
        {"g/", "http://a/b/c/g/"},
        {"/g", "http://a/g"},
        {"//g", "http://g"},
        {"?y", "http://a/b/c/d;p?y"},
        {"g?y", "http://a/b/c/g?y"},
        {"#s", "http://a/b/c/d;p?q#s"},
        {"g?y#s", "http://a/b/c/g?y#s"},
        {";x", "http://a/b/c/;x"},
        {".", "http://a/b/c/"},
        {"..", "http://a/b/"},
        {"../g", "http://a/b/g"},
        {"../..", "http://a/"},
        {"../../../g", "http://a/g"},
        {"../../../../g", "http://a/g"},
        {"/./g", "http://a/g"},
        {"/../g", "http://a/g"},
        {"g.", "http://a/b/c/g."},
        {"..g", "http://a/b/c/..g"},
        {"./../g", "http://a/b/g"},
        {"./g/.", "http://a/b/c/g/"},
        {"g/../h", "http://a/b/c/h"},
        {"g;x=1/../y", "http://a/b/c/y"},
        {"g?y/../x", "http://a/b/c/g?y/../x"},
        {"a b", "http://a/b/c/a%20b"},
        {"%c3%a9", "http://a/b/c/%c3%a9"},
    };
    for (const auto& row : table) {
        const auto url = base.resolving(row.reference);
        EXPECT_EQ(url ? url->absoluteString() : "none", row.expected) << row.reference;
    }
    EXPECT_FALSE(URL::parse("/a/b")->resolving("c"));
    EXPECT_FALSE(base.resolving("http://[::1/"));
}

TEST(URLComponents, QueryItemsSurviveWhateverIsInThem) {
    using Items = std::vector<URLQueryItem>;
    const struct {
        std::optional<Items> items;
        const char* url;
    } table[] = {
        {Items{{"cust_params", "a=1&b=2"}, {"x", "#%+ é/?"}},
         "https://h/p?cust_params=a%3D1%26b%3D2&x=%23%25+%20%C3%A9/?"},
        {Items{{"a=b&c", std::nullopt}, {"empty", ""}}, "https://h/p?a%3Db%26c&empty="},
        {Items{{"", ""}}, "https://h/p?="},
        {Items{}, "https://h/p?"},
        {std::nullopt, "https://h/p"},
    };
    for (const auto& row : table) {
        URLComponents parts(*URL::parse("https://h/p?old=1"));
        parts.setQueryItems(row.items);
        ASSERT_TRUE(parts.url());
        EXPECT_EQ(parts.url()->absoluteString(), row.url);
        // An empty query is one item with an empty name.
        const auto expected = row.items == Items{} ? Items{{"", std::nullopt}} : row.items;
        EXPECT_EQ(URLComponents::parse(row.url)->queryItems(), expected) << row.url;
    }
    EXPECT_EQ(URLComponents::parse("?a=1&&b&c=%FF&d=x=y")->queryItems(),
              (Items{{"a", "1"}, {"", std::nullopt}, {"b", std::nullopt}, {"c", "%FF"}, {"d", "x=y"}}));
}

TEST(URLComponents, ARequestTargetIsReadThroughOneMoreEncoding) {
    const auto parts =
        URLComponents::parse(addingPercentEncoding("/a b/%41?q=x y&q2", CharacterSet::urlQueryAllowed));
    ASSERT_TRUE(parts);
    EXPECT_EQ(parts->path(), "/a b/%41");
    EXPECT_EQ(parts->queryItems(), (std::vector<URLQueryItem>{{"q", "x y"}, {"q2", std::nullopt}}));
}

TEST(URLComponents, PartsThatGiveNoUrlAreRefusedAndOthersComeBackTheSame) {
    const auto url = [](auto change) {
        URLComponents parts(*URL::parse("https://u@h:1/p?q#f"));
        change(parts);
        const auto result = parts.url();
        return result ? result->absoluteString() : "none";
    };
    EXPECT_EQ(url([](URLComponents&) {}), "https://u@h:1/p?q#f");
    EXPECT_EQ(url([](URLComponents& parts) { parts.setPath("/a b?c;d"); }), "https://u@h:1/a%20b%3Fc%3Bd?q#f");
    EXPECT_EQ(url([](URLComponents& parts) { parts = {}, parts.setPath("a:b/c:d"); }), "a%3Ab/c:d");
    EXPECT_EQ(url([](URLComponents& parts) { parts.percentEncodedPath = "p"; }), "none");
    EXPECT_EQ(url([](URLComponents& parts) { parts.percentEncodedPath = "/p?x"; }), "none");
    EXPECT_EQ(url([](URLComponents& parts) { parts.percentEncodedQuery = "a b"; }), "none");
    EXPECT_EQ(url([](URLComponents& parts) { parts.percentEncodedHost = "h/x"; }), "none");
    EXPECT_EQ(url([](URLComponents& parts) { parts.percentEncodedHost.reset(); }), "none");
    EXPECT_EQ(url([](URLComponents& parts) { parts.scheme = "1x"; }), "none");
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
