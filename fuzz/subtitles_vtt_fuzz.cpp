// WebVTT: documents that keep their invariants.
#include "quorel/subtitles/vtt.h"
#include "subtitles_document_check.h"

using namespace quorel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Subtitles::Coder::VTT coder;
    try {
        const Subtitles document = coder.decode(textOf(data, size));
        checkDocument(document, size);
        checkWriting(coder, document);
    } catch (const SubTitlesError&) {
    }
    return 0;
}
