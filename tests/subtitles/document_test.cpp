// The document model: times, cues, documents, lookups.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "quorel/subtitles/cue_lookup.h"
#include "quorel/subtitles/subtitles.h"

namespace quorel {
namespace {

using testing::ElementsAre;
using Time = Subtitles::Time;
using Cue = Subtitles::Cue;

Cue cue(double start, double end, std::string_view text = "x", std::optional<std::int64_t> position = {},
        std::optional<std::string_view> speaker = {}) {
    return Cue(
        {.position = position, .startTime = Time(start), .endTime = Time(end), .text = text, .speaker = speaker});
}

std::vector<std::string> texts(const Subtitles& document) {
    std::vector<std::string> result;
    for (const auto text : document.text()) result.emplace_back(text);
    return result;
}

TEST(SubtitlesTime, CutsAndKeepsBothRenderings) {
    struct Case {
        double seconds;
        const char* text;
    };
    for (const auto& [seconds, text] : std::vector<Case>{{0, "00:00:00.000"},
                                                         {1.9996, "00:00:01.999"},
                                                         {3661.25, "01:01:01.250"},
                                                         {360000, "100:00:00.000"},
                                                         {1e300, "5124095576030431:00:15.000"}}) {
        const Time time(seconds);
        EXPECT_EQ(time.text(), text);
        EXPECT_EQ(time.timeInSeconds(), seconds);
    }
    const Time unnormalised(1, 75, 80, 1500);
    EXPECT_EQ(unnormalised.debugDescription(), "Time: 01:75:80.1500");
    EXPECT_DOUBLE_EQ(unnormalised.timeInSeconds(), 3600 + 75 * 60 + 80 + 1.5);
    for (const double bad : {-0.001, HUGE_VAL, std::nan("")})
        EXPECT_DEATH(Time{bad}, "^fatal: Subtitles::Time: .*\n$");
}

TEST(SubtitlesTime, IsEqualByMillisecondsAndOrderedBySeconds) {
    const Time a(1.0001), b(1.0009);
    EXPECT_TRUE(a == b && a < b && a <= b && !(a > b));
    EXPECT_NE(std::hash<Time>()(a), std::hash<Time>()(b));
    EXPECT_EQ(std::hash<Time>()(Time(-0.0)), std::hash<Time>()(Time(0.0)));
    EXPECT_EQ(Time::restoring(0, 0, 0, 0, -5), Time());
    EXPECT_EQ((Time(5) - 7).timeInSeconds(), 0);
    EXPECT_EQ((Time(5) + 2.5).text(), "00:00:07.500");
    EXPECT_EQ((Time(5) + std::nan("")).timeInSeconds(), 0);
}

TEST(SubtitlesTime, ReadsItsTextForms) {
    for (const char* text : {"1500", "+1500", "00:00:01,500", "00:00:01.500", "0:0:1:500", "00:00:01.50"}) {
        const auto time = Time::fromString(text);
        ASSERT_TRUE(time) << text;
        EXPECT_EQ(time->timeInSeconds(), 1.5) << text;
        EXPECT_EQ(time->millisecond(), 500u) << text;
    }
    for (const char* text :
         {"", "00:00:01.5", "00:00:01.5000", " 1500", "1500ms", "00:000:01.500", "00:00:01;500", "\xFF",
          "99999999999999999999:00:00.000", "\u0661:00:00.000", "9223372036854775808"}) {
        EXPECT_FALSE(Time::fromString(text)) << text;
    }
    EXPECT_EQ(Time::fromString("123:75:80,001")->text(), "123:75:80.001");
    EXPECT_DEATH(Time::fromString("-1"), "fatal: Subtitles::Time");
}

TEST(SubtitlesCue, KeepsItsEndBehindItsStart) {
    const Cue reversed = cue(5, 1);
    EXPECT_EQ(reversed.endTimeInSeconds(), 5);
    EXPECT_FALSE(reversed.isValidTime());
    EXPECT_TRUE(reversed.isZeroLength());
    const Cue tiny = cue(1.0001, 1.0009);
    EXPECT_TRUE(tiny.isValidTime() && tiny.isZeroLength());
    EXPECT_EQ(Cue::withDuration({.startTime = Time(2)}, 1.5).endTimeInSeconds(), 3.5);
    EXPECT_TRUE(cue(1, 2).contains(1) && cue(1, 2).contains(Time(2)) && !cue(1, 2).contains(2.001));
    EXPECT_TRUE(cue(1, 2).startsAfter(1.5));  // by its end
}

TEST(SubtitlesCue, ComparesWithoutIdAndSpeaker) {
    const Cue a = cue(1, 2, "x", 1, "Anna"), b = cue(1, 2, "x", 1);
    EXPECT_EQ(a, b);
    EXPECT_NE(a.id(), b.id());
    EXPECT_EQ(UUID::parse(a.id().rawValue.string()), a.id().rawValue);
    EXPECT_NE(a, cue(1, 2, "x", 2));
    EXPECT_NE(a, cue(1, 2, "y", 1));
    EXPECT_NE(Cue({.identifier = ""}), Cue(Cue::Fields{}));  // an empty label is not an absent one
    EXPECT_NE(Cue({.speaker = ""}).speaker(), std::nullopt);
}

TEST(SubtitlesCue, ShiftsAndDropsTheSpeaker) {
    const Cue original = cue(3, 5, "x", 7, "Anna");
    struct Case {
        Cue result;
        double start, end;
    };
    const std::vector<Case> cases = {
        {original.timeshifting(-10), 0, 0},     {original.timeshifting(-4), 0, 1},
        {original.timeshifting(1.5), 4.5, 6.5}, {original.inserting(2), 3, 7},
        {original.inserting(-3), 3, 3},         {original.inserting(2, 4), 3, 7},  // inside: longer
        {original.inserting(2, 3), 3, 7},       {original.inserting(2, 1), 5, 7},  // behind the instant: moved
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.result.startTimeInSeconds(), c.start);
        EXPECT_EQ(c.result.endTimeInSeconds(), c.end);
        EXPECT_NE(c.result.id(), original.id());
        EXPECT_EQ(c.result.speaker(), std::nullopt);
        EXPECT_EQ(c.result.position(), 7);
        EXPECT_EQ(c.result.text(), "x");
    }
    const Cue untouched = original.inserting(2, 6);
    EXPECT_EQ(untouched.id(), original.id());
    EXPECT_EQ(untouched.speaker(), "Anna");
}

TEST(Subtitles, SortsStablyAndAnswersQueries) {
    const Subtitles document(
        {cue(5, 6, "c"), cue(1, 4, "a", 2, "Anna"), cue(5, 9, "d", {}, "Anna"), cue(2, 3, "b", 1)});
    EXPECT_THAT(texts(document), ElementsAre("a", "b", "c", "d"));
    EXPECT_THAT(document.uniqueSpeakers(), ElementsAre("Anna"));
    EXPECT_EQ(document.firstCue(2.5)->text(), "a");
    EXPECT_EQ(document.cueIndex(1), 1);
    EXPECT_EQ(document.cueIndex(9), std::nullopt);
    EXPECT_THAT(texts(document.timeShifting(10, 4.5)), ElementsAre("a", "b", "c", "d"));
    EXPECT_EQ(document.timeShifting(10, 4.5).lastCue()->startTimeInSeconds(), 15);
    const Subtitles numbered = document.setIncrementingPositionValues();
    EXPECT_EQ(numbered.cues()[3].position(), 4);
    EXPECT_EQ(numbered.cues()[3].speaker(), "Anna");
    // Positions decide among equal starts only.
    EXPECT_THAT(texts(Subtitles({cue(1, 2, "p2", 2), cue(2, 3, "p1", 1)}).positionSorted()),
                ElementsAre("p2", "p1"));
    EXPECT_THAT(texts(Subtitles({cue(1, 2, "p2", 2), cue(1, 3, "none")}).positionSorted()),
                ElementsAre("none", "p2"));

    const Subtitles odd({cue(1, 1, ""), cue(2, 3, " "), cue(4, 4.0001, "z")});
    EXPECT_THAT(texts(odd.removingEmptyCues()), ElementsAre(" ", "z"));
    EXPECT_THAT(texts(odd.removingInvalidCues()), ElementsAre(" ", "z"));
    EXPECT_THAT(odd.indexesOfInvalidCues(), ElementsAre(0));
    EXPECT_EQ(odd.cuesOfZeroLength().size(), 2u);
}

TEST(Subtitles, TellsWhereATimeLies) {
    const Subtitles document({cue(1, 2), cue(3, 4), cue(3.5, 6)});
    using Result = Subtitles::CueTypeResult;
    EXPECT_EQ(document.cueType(0), (Result{false, 0}));
    EXPECT_EQ(document.cueType(2), (Result{true, 0}));  // at exactly its end
    EXPECT_EQ(document.cueType(2.5), (Result{false, 1}));
    EXPECT_EQ(document.cueType(3.7), (Result{true, 1}));
    EXPECT_EQ(document.cueType(5), (Result{true, 2}));
    EXPECT_EQ(document.cueType(6.5), std::nullopt);
    EXPECT_EQ(Subtitles().cueType(0), std::nullopt);
    EXPECT_EQ(Subtitles({cue(1, 2)}).nextCueIndex(3), std::nullopt);
    EXPECT_EQ(document.nextCueIndex(2), std::nullopt);  // both comparisons are strict
}

TEST(CueLookup, AnswersAsTheDocumentDoes) {
    std::mt19937 random(1);
    const auto number = [&](int below) {
        return static_cast<double>(random() % static_cast<unsigned>(below)) / 4;
    };
    for (int round = 0; round < 400; ++round) {
        std::vector<Cue> cues;
        for (auto count = random() % 12; count > 0; --count) {
            const double start = number(60);
            cues.push_back(cue(start, start + number(round % 2 == 0 ? 8 : 40)));
        }
        // Every fourth document comes from storage: unsorted, with ends before starts.
        Subtitles document(cues);
        if (round % 4 == 3) {
            for (Cue& stored : cues) {
                Cue::Fields fields = stored.fields();
                fields.endTime = Time(number(80));
                stored = Cue::restoring(stored.id(), fields);
            }
            document = Subtitles::restoring(cues);
        }
        const CueLookup lookup(document);
        for (double t = -0.5; t < 30; t += 0.125) {
            ASSERT_EQ(lookup.cueType(t), document.cueType(t)) << round << " at " << t;
            ASSERT_EQ(lookup.nextCueIndex(t), document.nextCueIndex(t)) << round << " at " << t;
        }
        ASSERT_EQ(lookup.cueType(std::nan("")), document.cueType(std::nan("")));
    }
}

}  // namespace
}  // namespace quorel
