// Recipes with subtitle files.
#include <filesystem>
#include <fstream>
#include <string>

#include "examples/cookbook/recipes.h"
#include "quorel/foundation/url.h"
#include "quorel/subtitles/coder.h"
#include "quorel/subtitles/cue_lookup.h"
#include "quorel/subtitles/srt_to_vtt.h"
#include "quorel/subtitles/subtitles.h"

using namespace quorel;

namespace cookbook {
namespace {

constexpr std::string_view srt =
    "1\n00:00:01,000 --> 00:00:03,000\nBom dia.\n\n2\n00:00:05,000 --> 00:00:06,500\nAt\xC3\xA9 logo.\n";

}  // namespace

void convertSRT() {
    const std::string_view downloaded = srt;
    // [convert-srt]
    const std::string webVTT = convertSRTToVTT(downloaded);  // in one step, without a document
    const Subtitles document(downloaded, "srt");             // or by way of one,
    const std::string same = document.encode("vtt");         // in any format that can be written
    const std::string latin = document.encode("srt", TextEncoding::windows1252);
    // [/convert-srt]
    expect(webVTT == same && webVTT.starts_with("WEBVTT") && latin.find('\xE9') != latin.npos, webVTT);
}

void readAnyFile() {
    const auto folder = std::filesystem::temp_directory_path() / ("cookbook-" + std::to_string(getpid()));
    std::filesystem::create_directory(folder);
    const std::string path = folder / "film.srt";
    std::ofstream(path) << "1\n00:00:01,000 --> 00:00:03,000\nAt\xE9 logo, cora\xE7\xE3o.\n";
    // [read-any-file]
    // An absolute path. The format by the extension, the encoding by its bytes; windows-1252 where these say nothing.
    const auto url = URL::parse("file://" + addingPercentEncoding(path, CharacterSet::urlPathAllowed));
    const Subtitles film(*url, TextEncoding::windows1252);
    const std::string first(film.cues().front().text());  // in UTF-8
    // [/read-any-file]
    std::filesystem::remove_all(folder);
    expect(first == "At\xC3\xA9 logo, cora\xC3\xA7\xC3\xA3o.", first);
}

void tellWhereAFileIsBroken() {
    const std::string text = "1\n00:00:01,000 -> 00:00:03,000\nBom dia.\n";
    std::string line;
    // [broken-file]
    try {
        Subtitles(text, "srt");
    } catch (const SubTitlesError& error) {
        line = error.what();  // "invalidTime(2)", for logs
        if (const auto& diagnosis = error.diagnosis())
            line = "film.srt:" + std::to_string(diagnosis->line) + ": " + diagnosis->message + ": " +
                   diagnosis->found;
    }
    // [/broken-file]
    expect(line.starts_with("film.srt:2: ") && line.ends_with("00:00:01,000 -> 00:00:03,000"), line);
}

void shiftAndMerge() {
    const Subtitles portuguese(srt, "srt");
    const Subtitles english("1\n00:00:01,000 --> 00:00:03,000\nGood morning.\n", "srt");
    // [shift-and-merge]
    const Subtitles later = portuguese.timeShifting(/*by=*/2.5, /*at=*/0);  // all cues
    const Subtitles repaired = portuguese.timeShifting(-0.5, /*at=*/4);     // those behind second 4 alone
    std::vector<Subtitles::Cue> cues = later.cues();                        // copies share their texts
    cues.insert(cues.end(), english.cues().begin(), english.cues().end());
    const Subtitles both =
        Subtitles(std::move(cues)).setIncrementingPositionValues();  // sorted by start, 1, 2, 3 …
    // [/shift-and-merge]
    expect(repaired.cues()[0].startTimeInSeconds() == 1 && repaired.cues()[1].startTimeInSeconds() == 4.5,
           "one cue is moved");
    expect(both.cues().size() == 3 && both.cues()[0].text() == "Good morning." && both.cues()[2].position() == 3,
           "both are in one document");
}

void askByTime() {
    const Subtitles film(srt, "srt");
    const double position = 5.2;
    // [cues-by-time]
    const CueLookup lookup(film);  // once for each document; the document is to live as long as it is asked
    std::string shown;
    if (const auto type = lookup.cueType(position)) {  // at each tick of the player
        const auto& cue = film.cues()[static_cast<std::size_t>(type->cueIndex)];
        shown = type->isInsideCue ? std::string(cue.text()) : "";  // outside, cue is the next one
    }
    // [/cues-by-time]
    expect(shown == "At\xC3\xA9 logo.", shown);
}

}  // namespace cookbook
