#include "tools/quorel-subtitles/formats.h"

#include <fmt/format.h>

#include <cstdio>
#include <utility>

#include "quorel/foundation/json.h"
#include "quorel/foundation/text.h"

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

// The text without the lines at which a cue would end. Counts those that have text behind them.
std::string withoutEmptyLines(std::string_view text, const Format& format, std::size_t& count) {
    std::string kept;
    std::size_t empty = 0;
    for (const std::string_view line : split(text, '\n')) {
        const bool isEmpty =
            format.keepsBlankLines ? line.empty() || line == "\r" : trimmedWhitespaceAndNewlines(line).empty();
        if (isEmpty) {
            ++empty;
            continue;
        }
        count += std::exchange(empty, 0);
        if (!kept.empty()) kept += '\n';
        kept += line;
    }
    return kept;
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
    std::size_t identifiers = 0, speakers = 0, ends = 0, lines = 0, emptyLines = 0, emptyTexts = 0;
    if (!format.keepsEmptyLines) {
        std::vector<Subtitles::Cue> cues;
        cues.reserve(document.cues().size());
        for (const auto& cue : document.cues()) {
            auto fields = cue.fields();
            const std::size_t before = emptyLines;
            const std::string text = withoutEmptyLines(cue.text(), format, emptyLines);
            fields.text = text;
            if (text.empty() && !format.keepsEmptyTexts) {
                ++emptyTexts;
            } else if (emptyLines == before) {
                cues.push_back(cue);
            } else {
                cues.emplace_back(fields);
            }
        }
        if (emptyLines + emptyTexts > 0) document = Subtitles(std::move(cues));
    }
    for (const auto& cue : document.cues()) {
        if (cue.identifier()) ++identifiers;
        if (cue.speaker() && !cue.speaker()->empty()) ++speakers;
        if (!cue.isZeroLength()) ++ends;
        if (cue.text().find('\n') != std::string_view::npos) ++lines;
    }
    std::vector<std::string> phrases;
    const auto add = [&](bool isKept, std::size_t count, std::string_view what) {
        if (isKept || count == 0) return;
        phrases.push_back(fmt::format("{} {} lost: {} has no place for it", count, what, format.extension));
    };
    add(format.keepsIdentifiers, identifiers, identifiers == 1 ? "name of a cue is" : "names of cues are");
    add(format.keepsSpeakers, speakers, speakers == 1 ? "speaker is" : "speakers are");
    add(format.keepsEnds, ends, ends == 1 ? "end is" : "ends are");
    add(format.keepsLines, lines,
        lines == 1 ? "text beyond its first line is" : "texts beyond their first line are");
    add(false, emptyLines, emptyLines == 1 ? "empty line in a text is" : "empty lines in texts are");
    add(false, emptyTexts, emptyTexts == 1 ? "cue without text is" : "cues without text are");
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
