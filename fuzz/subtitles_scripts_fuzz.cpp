// ASS and LRC, by the first byte: documents that keep their invariants; lyrics come back as they were.
#include <algorithm>

#include "quorel/foundation/log.h"
#include "quorel/subtitles/assa.h"
#include "quorel/subtitles/lrc.h"
#include "subtitles_document_check.h"

using namespace quorel;
using Coder = Subtitles::Coder;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    static const bool isQuiet = (setLogSink([](std::string_view) {}), true);
    require(isQuiet);
    std::string text(textOf(data + 1, size - 1));
    try {
        if (data[0] % 2 == 0) {
            // Negative times stop the process, as documented.
            std::replace(text.begin(), text.end(), '-', '+');
            checkDocument(Coder::AdvancedSSA().decode(text), size);
        } else {
            const Coder::LRC coder(Coder::LRC::TimeFormat::minutesSecondsMilliseconds);
            const Subtitles lyrics = coder.decode(text);
            checkDocument(lyrics, size);
            require(coder.decode(coder.encode(lyrics)) == lyrics);
        }
    } catch (const SubTitlesError&) {
    }
    return 0;
}
