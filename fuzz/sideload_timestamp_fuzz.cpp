// Any text: a map that is written is read again, and nothing else of the text changes.
#include <cstdint>
#include <string_view>

#include "quorel/foundation/fatal.h"
#include "quorel/foundation/log.h"
#include "quorel/sideload/timestamp_map.h"
#include "quorel/sideload/web_vtt_parser.h"

using namespace quorel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool isQuiet = (setLogSink([](std::string_view) {}), true);
    static const auto parser = makeWebVTTParser({});
    (void)isQuiet;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto extracted = TimestampStringUtils::extract(text);
    const auto overridden = TimestampStringUtils::override(text, "-135000.0", "00:00:01.000");
    if (extracted && !overridden) fatal("a map that is read cannot be replaced");
    if (overridden && TimestampStringUtils::extract(*overridden) != WebVttTimestamp{"-135000.0", "00:00:01.000"})
        fatal("a map that is written is not read");
    if (overridden) {
        const std::size_t start = text.find("X-TIMESTAMP-MAP=");
        const std::size_t end = text.find('\n', start);
        if (!overridden->starts_with(text.substr(0, start)) || !overridden->ends_with(text.substr(end)))
            fatal("the text around the map has changed");
    }
    (void)parser->cues(text);
    return 0;
}
