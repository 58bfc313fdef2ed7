// Recipes with patterns, bytes and the log.
#include <cstdint>
#include <string>
#include <vector>

#include "examples/cookbook/recipes.h"
#include "quorel/foundation/log.h"
#include "quorel/support/bytes_reader.h"
#include "quorel/support/bytes_writer.h"
#include "quorel/support/regex.h"

using namespace quorel;

namespace cookbook {

void matchPatterns() {
    const std::string text = "12:30 - 13:05 - 9:15";
    // [regex]
    const Regex time(R"((\d+):(\d{2}))");  // throws RegexError for a pattern that does not compile
    std::vector<std::string> hours;
    for (const auto& match : time.matches(text)) hours.push_back(match.captureString(0));
    const std::string dotted = time.stringByReplacingMatchesWithTemplate(text, "$1.$2");

    Regex::Matcher matcher(time);  // for hot paths: no allocation for each match
    std::size_t count = 0;
    const auto checked = Regex::TextView(text);
    for (bool found = matcher.find(checked); found; found = matcher.findNext(checked)) ++count;
    // [/regex]
    expect(hours == std::vector<std::string>{"12", "13", "9"} && count == 3, "three times");
    expect(dotted == "12.30 - 13.05 - 9.15", dotted);
}

void readAndWriteBytes() {
    // [bytes]
    using Endianness = BytesParser::Endianness;
    const std::vector<std::uint8_t> packet = BytesWriter::build([](BytesWriter& writer) {
        writer.writeUInt16(42, Endianness::big);
        writer.writeStringUTF8("ok", /*includeNullTerminator=*/true);
        writer.writeDouble(2.5, Endianness::little);
    });
    BytesReader reader(packet);
    const std::uint16_t number = reader.readUInt16(Endianness::big);
    const std::string name = reader.readStringUTF8NullTerminated();
    const double value = reader.readDouble(Endianness::little);
    bool atEnd = false;
    try {
        reader.readByte();
    } catch (const BytesReader::ReaderError& error) {
        atEnd = error.code() == BytesReader::ReaderError::Code::endOfData;
    }
    // [/bytes]
    expect(packet.size() == 13 && number == 42 && name == "ok" && value == 2.5 && atEnd, "what was written");
}

void collectLogLines() {
    std::vector<std::string> lines;
    // [log-sink]
    // Called on the thread that logs, one line at a time. An empty function restores standard output.
    setLogSink([&lines](std::string_view line) { lines.emplace_back(line); });
    // [/log-sink]
    logLine({"Loaded", "film-1"});
    setLogSink({});
    expect(lines == std::vector<std::string>{"Loaded film-1"}, "a line");
}

}  // namespace cookbook
