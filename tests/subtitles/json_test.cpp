#include "quorel/subtitles/json.h"

#include <gtest/gtest.h>

#include <cmath>

#include "quorel/foundation/text.h"
#include "quorel/subtitles/podcasts_index.h"
#include "tests/subtitles/coder_cases.h"

namespace quorel {
namespace {

using Coder = Subtitles::Coder;
using Code = JSONError::Code;

struct ErrorCase {
    const char* name;
    std::string content;
    Code code;
    std::string path;
};

void checkErrors(const SubtitlesTextCodable& coder, const std::vector<ErrorCase>& cases) {
    for (const auto& c : cases) {
        try {
            coder.decode(c.content);
            ADD_FAILURE() << c.name;
        } catch (const JSONError& error) {
            EXPECT_EQ(error.code(), c.code) << c.name;
            EXPECT_EQ(error.path(), c.path) << c.name;
        }
    }
}

const std::string zero = R"({"hour":0,"minute":0,"second":0,"millisecond":0,"timeInSeconds":0})";

std::string cue(const std::string& replaced = {}, const std::string& with = {}) {
    std::string text = R"({"id":"00112233-4455-6677-8899-AABBCCDDEEFF","startTime":)" + zero + R"(,"endTime":)" +
                       zero + R"(,"text":"a"})";
    if (!replaced.empty()) text.replace(text.find(replaced), replaced.size(), with);
    return R"({"cues":[)" + text + "]}";
}

TEST(SubtitlesJSON, KeepsEverythingAsItStands) {
    const std::string stored =
        R"({"cues":[{"id":"00112233-4455-6677-8899-AABBCCDDEEFF","identifier":"i\"\u0001\n","position":-7,"startTime":)"
        R"({"hour":1,"minute":75,"second":3,"millisecond":18446744073709551615,"timeInSeconds":5.25},"endTime":)"
        R"({"hour":0,"minute":0,"second":1,"millisecond":0,"timeInSeconds":0.1},"text":"olá","speaker":""},)"
        R"({"id":"FFFFFFFF-4455-6677-8899-AABBCCDDEEFF","startTime":)" +
        zero + R"(,"endTime":)" + zero + R"(,"text":""}]})";
    const Subtitles document = Coder::JSON().decode(stored);
    EXPECT_EQ(document.cues()[0].identifier(), "i\"\x01\n");
    EXPECT_EQ(document.cues()[0].startTime().text(), "01:75:03.18446744073709551615");
    EXPECT_FALSE(document.cues()[0].isValidTime());
    EXPECT_EQ(document.cues()[1].speaker(), std::nullopt);
    EXPECT_EQ(Coder::JSON().encode(document), stored);
    EXPECT_EQ(Coder::JSON().encode(document, TextEncoding::utf16), stored);
    EXPECT_EQ(Coder::JSON().encode(Subtitles()), R"({"cues":[]})");
}

TEST(SubtitlesJSON, Decodes) {
    const std::string changed =
        cue(R"("text":"a")", R"("text":"b","identifier":null,"position":null,"x":[1e5,{"y":[]}])");
    std::string many;
    for (int i = 0; i < 600; ++i) many += i % 2 == 0 ? "[]," : "{},";
    check(
        Coder::JSON(),
        {
            {"missing_and_null", changed, " 0-0 b\n"},
            {"bom_and_blanks", "\uFEFF \n" + cue() + "\t", " 0-0 a\n"},
            {"last_of_two_keys", cue(R"("text":"a")", R"("text":"a","text":"b")"), " 0-0 b\n"},
            {"long_integer", cue(R"("timeInSeconds":0)", R"("timeInSeconds":100000000000000000000)"),
             " 1e+20-0 a\n"},
            {"blanks_everywhere", replacingAll(replacingAll(cue(), ":", " :\n"), ",", "\t, "), " 0-0 a\n"},
            {"many_values_beside_each_other", cue("\"text\"", R"("x":[)" + many + R"({}],"text")"), " 0-0 a\n"},
            {"escapes", cue("\"a\"", R"("\u0061\u00e9\u20AC\ud83d\ude00\/")"), " 0-0 a\u00E9\u20AC\U0001F600/\n"},
            {"negative_zero", cue(R"("hour":0)", R"("hour":-0)"), " 0-0 a\n"},
            {"not_utf8", "\xFF", "invalidEncoding"},
        });
    checkErrors(
        Coder::JSON(),
        {
            {"empty", "", Code::syntax, ""},
            {"cut", cue().substr(0, 100), Code::syntax, ""},
            {"rest", cue() + "x", Code::syntax, ""},
            {"high_half_of_a_pair", cue("\"a\"", R"("\ud83dx")"), Code::syntax, ""},
            {"two_high_halves", cue("\"a\"", R"("\ud83d\ud83d")"), Code::syntax, ""},
            {"low_half_of_a_pair", cue("\"a\"", R"("\ude00")"), Code::syntax, ""},
            {"too_deep", std::string(600, '[') + std::string(600, ']'), Code::syntax, ""},
            {"no_object", "[]", Code::typeMismatch, ""},
            {"no_cues", "{}", Code::missingKey, "cues"},
            {"no_id", cue("\"id\"", "\"ID\""), Code::missingKey, "cues[0].id"},
            {"no_uuid", cue("0011", "x011"), Code::typeMismatch, "cues[0].id"},
            {"no_text", cue("\"text\"", "\"t\""), Code::missingKey, "cues[0].text"},
            {"null_text", cue("\"a\"", "null"), Code::typeMismatch, "cues[0].text"},
            {"no_start", cue("\"startTime\"", "\"e\""), Code::missingKey, "cues[0].startTime"},
            {"no_seconds", cue("\"timeInSeconds\"", "\"e\""), Code::missingKey, "cues[0].startTime.timeInSeconds"},
            {"no_end", cue("\"endTime\"", "\"e\""), Code::missingKey, "cues[0].endTime"},
            {"no_second", cue("\"second\"", "\"s\""), Code::missingKey, "cues[0].startTime.second"},
            {"negative_hour", cue("\"hour\":0", "\"hour\":-1"), Code::outOfRange, "cues[0].startTime.hour"},
            {"broken_hour", cue("\"hour\":0", "\"hour\":0.5"), Code::typeMismatch, "cues[0].startTime.hour"},
            {"infinite", cue("\"timeInSeconds\":0", "\"timeInSeconds\":1e999"), Code::syntax, ""},
        });
}

TEST(SubtitlesJSON, RefusesToWriteWhatHasNoForm) {
    const auto pathOf = [](const Subtitles::Cue& bad) {
        try {
            Coder::JSON().encode(Subtitles::restoring({bad}));
        } catch (const JSONError& error) {
            EXPECT_EQ(error.code(), Code::notSerializable);
            return error.path();
        }
        return std::string("nothing thrown");
    };
    EXPECT_EQ(pathOf(Subtitles::Cue({.text = "\xFF"})), "cues[0].text");
    EXPECT_EQ(pathOf(Subtitles::Cue({.startTime = Subtitles::Time::restoring(0, 0, 0, 0, HUGE_VAL)})),
              "cues[0].startTime.timeInSeconds");
}

TEST(PodcastsIndex, Decodes) {
    const auto index = [](const std::string& segments) {
        return R"({"version":"2","segments":[)" + segments + "]}";
    };
    check(
        Coder::PodcastsIndex(),
        {
            {"empty", index(""), ""},
            {"sorted",
             index(
                 R"({"startTime":2,"endTime":3.5,"body":"b\u00e9"},{"speaker":"Ann","startTime":1,"endTime":0,"body":"a"},)"
                 R"({"speaker":null,"startTime":4,"endTime":4.1,"body":""})"),
             " 1-1 [Ann] a\n 2-3.5 b\u00E9\n 4-4.1 \n"},
        });
    checkErrors(Coder::PodcastsIndex(),
                {
                    {"a_document_is_no_index", cue(), Code::missingKey, "version"},
                    {"no_segments", R"({"version":""})", Code::missingKey, "segments"},
                    {"no_body", index(R"({"startTime":1,"endTime":2})"), Code::missingKey, "segments[0].body"},
                    {"no_end", index(R"({"body":"","startTime":2})"), Code::missingKey, "segments[0].endTime"},
                    {"rest", index("") + "x", Code::syntax, ""},
                    {"no_time", index(R"({"body":"","endTime":2})"), Code::missingKey, "segments[0].startTime"},
                    {"text_for_time", index(R"({"startTime":"1","endTime":2,"body":""})"), Code::typeMismatch,
                     "segments[0].startTime"},
                });
    EXPECT_DEATH(Coder::PodcastsIndex().decode(index(R"({"startTime":-1,"endTime":2,"body":""})")), "negative");
    EXPECT_EQ(Subtitles(index(""), "json"), Subtitles());
    EXPECT_EQ(Subtitles(cue(), "json-subtitles").cues().size(), 1U);
}

TEST(PodcastsIndex, Encodes) {
    const Subtitles document(
        {Subtitles::Cue({.identifier = "i", .startTime = Subtitles::Time(0.1), .text = "\"a\"\\"}),
         Subtitles::Cue({.startTime = Subtitles::Time(2), .endTime = Subtitles::Time(3), .speaker = "Ann"})});
    const std::string text =
        R"({"version":"1.0.0","segments":[{"speaker":"","startTime":0.1,"endTime":0.1,"body":"\"a\"\\"},)"
        R"({"speaker":"Ann","startTime":2,"endTime":3,"body":""}]})";
    EXPECT_EQ(Coder::PodcastsIndex().encode(document), text);
    const auto index = JSONDecoder().decode<Coder::PodcastsIndex>(text);
    EXPECT_EQ(index, Coder::PodcastsIndex("1.0.0", {{"", 0.1, 0.1, "\"a\"\\"}, {"Ann", 2, 3, ""}}));
    EXPECT_EQ(JSONEncoder().encode(index), text);
    EXPECT_EQ(Coder::PodcastsIndex().encode(Subtitles()), R"({"version":"1.0.0","segments":[]})");
}

}  // namespace
}  // namespace quorel
