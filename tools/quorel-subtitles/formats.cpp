#include "tools/quorel-subtitles/formats.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "quorel/foundation/json.h"
#include "quorel/foundation/text.h"
#include "quorel/subtitles/lines.h"

namespace quorel::subtitles_tool {
namespace {

// In the order of the coders.
constexpr Format formats[] = {
    {.extension = "srt", .name = "SubRip", .keepsEmptyLines = false, .keepsBlankLines = false},
    {.extension = "vtt",
     .name = "WebVTT",
     .keepsIdentifiers = true,
     .keepsSpeakers = true,
     .keepsEmptyLines = false},
    {.extension = "sbv", .name = "SubViewer", .keepsEmptyLines = false, .keepsEmptyTexts = false},
    {.extension = "json-subtitles",
     .name = "the document itself, in JSON",
     .isBytes = true,
     .keepsIdentifiers = true,
     .keepsSpeakers = true},
    {.extension = "sub", .name = "MicroDVD", .isWritten = false, .mayStopProcess = true},
    {.extension = "csv", .name = "comma-separated: number, start, end, text", .mayStopProcess = true},
    {.extension = "json",
     .name = "podcast index, in JSON",
     .isBytes = true,
     .keepsSpeakers = true,
     .mayStopProcess = true},
    {.extension = "lrc", .name = "lyrics", .keepsEnds = false, .keepsLines = false},
    {.extension = "ttml",
     .name = "Timed Text",
     .isBytes = true,
     .isXML = true,
     .keepsIdentifiers = true,
     .readsIdentifiers = false},
    {.extension = "ass", .name = "Advanced SubStation Alpha", .isWritten = false, .mayStopProcess = true},
    {.extension = "ssa", .name = "SubStation Alpha", .isWritten = false, .mayStopProcess = true},
};

std::string keeps(const Format& format) {
    if (!format.isWritten) return "read only";
    std::string text = "times and text";
    if (!format.keepsEnds) text = "starts and the first line of texts";
    if (format.keepsIdentifiers && format.readsIdentifiers) text += ", names of cues";
    if (format.keepsSpeakers) text += ", speakers";
    if (!format.readsIdentifiers) text += "; names of cues are in the file";
    return text;
}

bool isEmpty(std::string_view line, const Format& format) {
    return format.keepsBlankLines ? line.empty() : trimmedWhitespaceAndNewlines(line).empty();
}

// The text without the lines at which a cue would end. Counts those that have text behind them.
std::string withoutEmptyLines(std::string_view text, const Format& format, std::size_t& count) {
    std::string kept;
    std::size_t empty = 0;
    LineReader lines(text);
    for (std::string_view line; lines.next(line);) {
        if (isEmpty(line, format)) {
            ++empty;
            continue;
        }
        count += std::exchange(empty, 0);
        if (!kept.empty()) kept += '\n';
        kept += line;
    }
    return kept;
}

// What a format would write all the same, and no reader would take.
struct Unreadable {
    std::size_t emptyLines = 0, emptyTexts = 0, controls = 0, identifiers = 0;

    bool operator==(const Unreadable&) const = default;
};

bool isControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r';
}

// It is written as it is.
bool isName(std::string_view identifier) {
    return identifier.find_first_of("<&\"") == identifier.npos &&
           std::none_of(identifier.begin(), identifier.end(), isControl);
}

// Nearly all cues are, and their document is not made anew.
bool isReadable(const Subtitles::Cue& cue, const Format& format) {
    const std::string_view text = cue.text();
    if (format.isXML &&
        (std::any_of(text.begin(), text.end(), isControl) || !isName(cue.identifier().value_or(""))))
        return false;
    if (text.empty()) return format.keepsEmptyTexts;
    if (format.keepsEmptyLines) return true;
    LineReader lines(text);
    for (std::string_view line; lines.next(line);) {
        if (isEmpty(line, format)) return false;
    }
    return true;
}

// The cue as it can be written and read again, or none.
void addReadable(const Subtitles::Cue& cue, const Format& format, std::vector<Subtitles::Cue>& cues,
                 Unreadable& unreadable) {
    const Unreadable before = unreadable;
    auto fields = cue.fields();
    std::string text(cue.text());
    if (!format.keepsEmptyLines) text = withoutEmptyLines(text, format, unreadable.emptyLines);
    if (format.isXML) {
        unreadable.controls += std::erase_if(text, isControl);
        if (!isName(fields.identifier.value_or(""))) {
            ++unreadable.identifiers;
            fields.identifier.reset();
        }
    }
    fields.text = text;
    if (text.empty() && !format.keepsEmptyTexts) {
        ++unreadable.emptyTexts;
    } else if (unreadable == before) {
        cues.push_back(cue);
    } else {
        cues.emplace_back(fields);
    }
}

}  // namespace

const Format* findFormat(std::string_view extension) {
    for (const Format& format : formats) {
        if (asciiEqualsIgnoringCase(format.extension, extension)) return &format;
    }
    return nullptr;
}

std::string allExtensions() {
    std::string all;
    for (const Format& format : formats) {
        if (!all.empty()) all += &format == std::end(formats) - 1 ? " or " : ", ";
        all += format.extension;
    }
    return all;
}

std::vector<std::string> fit(Subtitles& document, const Format& format) {
    Unreadable unreadable;
    const auto& all = document.cues();
    if (!std::all_of(all.begin(), all.end(), [&](const auto& cue) { return isReadable(cue, format); })) {
        std::vector<Subtitles::Cue> cues;
        cues.reserve(all.size());
        for (const auto& cue : all) addReadable(cue, format, cues, unreadable);
        document = Subtitles(std::move(cues));
    }
    std::size_t identifiers = unreadable.identifiers, speakers = 0, ends = 0, lines = 0;
    for (const auto& cue : document.cues()) {
        if (cue.identifier() && !format.keepsIdentifiers) ++identifiers;
        if (cue.speaker() && !cue.speaker()->empty()) ++speakers;
        if (!cue.isZeroLength()) ++ends;
        if (cue.text().find('\n') != std::string_view::npos) ++lines;
    }
    std::vector<std::string> phrases;
    const auto add = [&](bool isKept, std::size_t count, std::string_view what) {
        if (isKept || count == 0) return;
        phrases.push_back(fmt::format("{} {} lost: {} has no place for it", count, what, format.extension));
    };
    add(false, identifiers, identifiers == 1 ? "name of a cue is" : "names of cues are");
    add(format.keepsSpeakers, speakers, speakers == 1 ? "speaker is" : "speakers are");
    add(format.keepsEnds, ends, ends == 1 ? "end is" : "ends are");
    add(format.keepsLines, lines,
        lines == 1 ? "text beyond its first line is" : "texts beyond their first line are");
    add(false, unreadable.emptyLines,
        unreadable.emptyLines == 1 ? "empty line in a text is" : "empty lines in texts are");
    add(false, unreadable.emptyTexts,
        unreadable.emptyTexts == 1 ? "cue without text is" : "cues without text are");
    add(false, unreadable.controls, unreadable.controls == 1 ? "control character is" : "control characters are");
    return phrases;
}

int listFormats(bool json) {
    std::string text;
    if (!json) text = fmt::format("{:<16}{:<44}{}\n", "extension", "format", "what is written comes back with");
    for (const Format& format : formats) {
        if (json) {
            const JSONObject object{{"extension", std::string(format.extension)},
                                    {"name", std::string(format.name)},
                                    {"reads", true},
                                    {"writes", format.isWritten},
                                    {"keepsIdentifiers", format.isWritten && format.keepsIdentifiers},
                                    {"keepsSpeakers", format.isWritten && format.keepsSpeakers},
                                    {"keepsEnds", format.isWritten && format.keepsEnds}};
            text += serializeJSON(object) + "\n";
        } else {
            text += fmt::format("{:<16}{:<44}{}\n", format.extension, format.name, keeps(format));
        }
    }
    std::fwrite(text.data(), 1, text.size(), stdout);
    return 0;
}

}  // namespace quorel::subtitles_tool
