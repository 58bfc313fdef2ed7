// TTML: times that hold, and what is written is well-formed. Time expressions are read and written the same.
#include "quorel/subtitles/time_expression.h"
#include "quorel/subtitles/ttml.h"
#include "subtitles_document_check.h"

using namespace quorel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Subtitles::Coder::TTML coder;
    const std::string_view bytes = textOf(data, size);
    if (const auto expression = TimeExpression::parse(bytes)) {
        const auto again = TimeExpression::parse(expression->text());
        require(again && again->time() == expression->time());
    }
    try {
        const Subtitles document = coder.decode(bytes, TextEncoding::utf8);
        for (const auto& cue : document.cues()) require(cue.endTime() >= cue.startTime());
        require(coder.decode(coder.encode(document)).cues().size() == document.cues().size());
    } catch (const SubTitlesError&) {
    }
    try {
        coder.decode(bytes);
    } catch (const SubTitlesError&) {
    }
    return 0;
}
