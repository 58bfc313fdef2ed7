#include "quorel/foundation/json.h"

#include <gtest/gtest.h>

#include <limits>

#include "quorel/foundation/json_coding.h"
#include "quorel/foundation/text.h"

namespace quorel {
namespace {

using Code = JSONError::Code;

// The compact form of what the text parses to; "syntax" when it is refused.
std::string rewritten(std::string_view text) {
    try {
        return serializeJSON(parseJSON(text));
    } catch (const JSONError& error) {
        EXPECT_EQ(error.code(), Code::syntax);
        return "syntax";
    }
}

TEST(JSON, TextsThatAreAcceptedAndHowTheyAreWrittenAgain) {
    const struct {
        std::string_view text, written;
    } table[] = {
        {" { \"b\" : [ 1 , true , null ] , \"a\" : { } }\r\n", R"({"b":[1,true,null],"a":{}})"},
        {"\xEF\xBB\xBF[]", "[]"},
        {"false", "false"},
        {"-0", "0"},
        {"[9223372036854775807,-9223372036854775808,18446744073709551615]",
         "[9223372036854775807,-9223372036854775808,18446744073709551615]"},
        {"[9007199254740993,-123456789012345678901234567890,18446744073709551616,\"123456789012345678901\"]",
         "[9007199254740993,-1.2345678901234568e+29,18446744073709551616,\"123456789012345678901\"]"},
        {"[12.0,1e2,0.1,-2.5e-7,1e22,5e-324,1e-400]", "[12,100,0.1,-2.5e-07,1e+22,5e-324,0]"},
        {R"("\u00e9\ud83d\ude00\/\u0001\u007f\"\\\b\f\n\r\t")", "\"é😀/\\u0001\x7F\\\"\\\\\\b\\f\\n\\r\\t\""},
        {R"({"a":1,"b":2,"a":3})", R"({"a":3,"b":2})"},
        {std::string_view("\"\\u0000\"", 8), R"("\u0000")"}};
    for (const auto& row : table) EXPECT_EQ(rewritten(row.text), row.written) << row.text;
}

TEST(JSON, TextsThatAreNoJson) {
    constexpr std::string_view texts =
        R"( ~ ~nul~[1,]~[1 2]~[,1]~{"a":1,}~{"a" 1}~{a:1}~{1:2}~[1}~[~{"a":~"abc~'a'~[] []~{}x~01~-~+1~.5~1.~1e~0x1~NaN)"
        R"(~1e400~[-012345678901234567890123]~"\x"~"\ud800"~"\udc00\ud800"~// c~)"
        "\"\t\"~\"\xFF\"~\"\xED\xA0\x80\"~\xEF\xBB\xBF~\xFE\xFF[";
    for (const std::string_view text : split(texts, '~')) {
        EXPECT_EQ(rewritten(text), "syntax") << text;
    }
}

TEST(JSON, NestingEndsAtTheLimit) {
    for (const char* inner : {"", "1", "{\"a\":1},1"}) {
        const auto nested = [inner](std::size_t depth) {
            return std::string(depth, '[') + inner + std::string(depth, ']');
        };
        const std::size_t own = *inner == '{' ? 1 : 0;
        EXPECT_EQ(rewritten(nested(maximumJSONDepth - own)), nested(maximumJSONDepth - own));
        EXPECT_EQ(rewritten(nested(maximumJSONDepth - own + 1)), "syntax");
    }
    EXPECT_EQ(rewritten(std::string(1'000'000, '[')), "syntax");
}

TEST(JSON, ManyEqualKeysCostNoMoreThanOthers) {
    std::string text = "{";
    for (int i = 0; i < 200'000; ++i)
        text += "\"key" + std::to_string(i % 100'000) + "\":" + std::to_string(i) + ",";
    const JSONValue value = parseJSON(text + "\"last\":1}");
    EXPECT_EQ(value.asObject().size(), 100'001U);
    EXPECT_EQ(value["key7"].asInt(), 100'007);
    EXPECT_THROW(value["key"], JSONError);
    EXPECT_THROW(parseJSON("[1]")[1], JSONError);
    EXPECT_THROW(parseJSON("18446744073709551615").asInt(), JSONError);
    EXPECT_EQ(value.asObject().begin()[7].first, "key7");
}

TEST(JSON, PrettyTextHasALineForEachMember) {
    EXPECT_EQ(serializeJSON(JSONObject{{"a", JSONArray{1, "x", JSONArray{}}}, {"b", JSONObject{{"c", nullptr}}}},
                            JSONStyle::pretty),
              "{\n  \"a\": [\n    1,\n    \"x\",\n    []\n  ],\n  \"b\": {\n    \"c\": null\n  }\n}");
}

TEST(JSON, WhatHasNoJsonFormIsNamedByItsPlace) {
    const double infinite = std::numeric_limits<double>::infinity();
    const struct {
        JSONValue value;
        const char* path;  // null when it can be written
        bool valid;
    } table[] = {{JSONObject{{"a", JSONArray{1, JSONObject{{"b", infinite}}}}}, "a[1].b", false},
                 {JSONArray{-std::numeric_limits<double>::quiet_NaN()}, "[0]", false},
                 {JSONObject{{"a", JSONObject{{"\xFF", 1}}}}, "a", false},
                 {JSONArray{"\xC3"}, "[0]", false},
                 {"text", nullptr, false},
                 {JSONArray{"é", 1.5}, nullptr, true}};
    for (const auto& row : table) {
        EXPECT_EQ(isValidJSONObject(row.value), row.valid);
        try {
            const std::string text = serializeJSON(row.value);
            EXPECT_EQ(row.path, nullptr) << text;
        } catch (const JSONError& error) {
            EXPECT_EQ(error.code(), Code::notSerializable);
            EXPECT_EQ(error.path(), row.path);
        }
    }
}

TEST(JSON, EqualityAsksForTheSameMembersInAnyOrder) {
    EXPECT_EQ(parseJSON(R"({"a":1,"b":[{"c":2,"d":3}]})"), parseJSON(R"({"b":[{"d":3,"c":2}],"a":1})"));
    EXPECT_NE(parseJSON(R"({"a":1})"), parseJSON(R"({"b":1})"));
}

struct Asset {
    std::string hls;
    std::optional<double> rate;
    QUOREL_JSON_FIELDS(Asset, hls, rate)
    bool operator==(const Asset&) const = default;
};

struct Everything {
    Asset asset;
    bool live = false;
    std::int64_t stamp = 0;
    std::uint8_t small = 0;
    std::uint64_t large = 0;
    double time = 0;
    Date created;
    std::vector<Asset> list;
    std::optional<std::map<std::string, std::string>> map;
    std::optional<JSONValue> any;
    QUOREL_JSON_FIELDS(Everything, asset, live, stamp, small, large, time, created, list, map, any)
    bool operator==(const Everything&) const = default;
};

constexpr const char* everything =
    R"({"asset":{"hls":"h"},"live":true,"stamp":-5,"small":255,"large":18446744073709551615,"time":1700000000.5,)"
    R"("created":"2024-01-02T03:04:05.678+0000","list":[{"hls":"a","rate":2},{"hls":"b"}],"map":{},"any":[1,null]})";

JSONDecoder decoder() {
    JSONDecoder result;
    result.dateFormatter = DateFormatter("yyyy-MM-dd'T'HH:mm:ss.SSSZ");
    return result;
}

TEST(JSONCoding, AStructComesBackAsItWasWritten) {
    const auto value = decoder().decode<Everything>(everything);
    EXPECT_EQ(value.list, (std::vector<Asset>{{"a", 2.0}, {"b", std::nullopt}}));
    EXPECT_EQ(value.large, std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(value.created.secondsSince1970, 1704164645.678);
    EXPECT_TRUE(value.map && value.map->empty());  // which differs from absent
    JSONEncoder encoder;
    encoder.dateFormatter = decoder().dateFormatter;
    EXPECT_EQ(encoder.encode(value), everything);

    const std::string plain = JSONEncoder().encode(value);
    EXPECT_NE(plain.find(R"("created":1704164645.678)"), std::string::npos);
    EXPECT_EQ(JSONDecoder().decode<Everything>(plain), value);
}

TEST(JSONCoding, EveryMismatchIsNamedByCodeAndPlace) {
    const struct {
        const char *member, *value;  // put in the place of the good one; "" leaves the member out
        Code code;
        const char* text;
    } table[] = {{"asset", "", Code::missingKey, "asset: the key is missing"},
                 {"asset", "{}", Code::missingKey, "asset.hls: the key is missing"},
                 {"asset", R"({"hls":null})", Code::typeMismatch, "asset.hls: expected a text, found null"},
                 {"asset", "[]", Code::typeMismatch, "asset: expected an object, found an array"},
                 {"live", "1", Code::typeMismatch, "live: expected a boolean, found an integer"},
                 {"stamp", "1700000000.5", Code::typeMismatch, "stamp: expected an integer, found a number"},
                 {"stamp", "1.0", Code::typeMismatch, "stamp: expected an integer, found a number"},
                 {"stamp", "1e3", Code::typeMismatch, "stamp: expected an integer, found a number"},
                 {"stamp", "9223372036854775808", Code::outOfRange, "stamp: the integer is out of range"},
                 {"small", "256", Code::outOfRange, "small: the integer is out of range"},
                 {"large", "-1", Code::outOfRange, "large: the integer is out of range"},
                 {"time", R"("1")", Code::typeMismatch, "time: expected a number, found a text"},
                 {"created", "1.5", Code::typeMismatch, "created: expected a date as text, found a number"},
                 {"created", R"("2024-01-02T03:04:05Z")", Code::badDate,
                  "created: expected a date of the form yyyy-MM-dd'T'HH:mm:ss.SSSZ"},
                 {"list", R"([{"hls":"a"},{"hls":"b","rate":"x"}])", Code::typeMismatch,
                  "list[1].rate: expected a number, found a text"},
                 {"map", R"({"pt-br":false})", Code::typeMismatch, "map.pt-br: expected a text, found a boolean"}};
    for (const auto& row : table) {
        const JSONValue good = parseJSON(everything);
        JSONObject body;
        for (const auto& [key, value] : good.asObject()) {
            if (key != row.member)
                body.set(key, value);
            else if (*row.value != '\0')
                body.set(key, parseJSON(row.value));
        }
        try {
            (void)decoder().decodeValue<Everything>(body);
            ADD_FAILURE() << row.text;
        } catch (const JSONError& error) {
            EXPECT_EQ(error.what(), std::string(row.text));
            EXPECT_EQ(error.code(), row.code) << row.text;
        }
    }
    EXPECT_THROW(decoder().decode<Everything>(""), JSONError);
}

}  // namespace
}  // namespace quorel
