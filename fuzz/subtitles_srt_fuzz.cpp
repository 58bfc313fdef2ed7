// SRT: documents that keep their invariants, and the same WebVTT on both roads.
#include "quorel/subtitles/srt.h"
#include "quorel/subtitles/srt_to_vtt.h"
#include "quorel/subtitles/vtt.h"
#include "subtitles_document_check.h"

using namespace quorel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = textOf(data, size);
    std::optional<Subtitles> document;
    try {
        document = Subtitles::Coder::SRT().decode(text);
    } catch (const SubTitlesError& error) {
        try {
            convertSRTToVTT(text);
            require(false);
        } catch (const SubTitlesError& same) {
            require(error == same);
        }
        return 0;
    }
    checkDocument(*document, size);
    require(convertSRTToVTT(text) == Subtitles::Coder::VTT().encode(*document));
    // Lines are trimmed and never empty, so all but the order of equal starts comes back.
    const Subtitles again = Subtitles::Coder::SRT().decode(Subtitles::Coder::SRT().encode(*document));
    for (std::size_t i = 0; i < again.cues().size(); ++i)
        require(again.cues()[i].text() == document->cues()[i].text());
    return 0;
}
