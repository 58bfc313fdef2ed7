// SBV and MicroDVD, by the first byte.
#include <algorithm>

#include "quorel/subtitles/sbv.h"
#include "quorel/subtitles/sub.h"
#include "subtitles_document_check.h"

using namespace quorel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    std::string text(textOf(data + 1, size - 1));
    try {
        if (data[0] % 2 == 0) {
            const Subtitles::Coder::SBV coder;
            const Subtitles document = coder.decode(text);
            checkDocument(document, size);
            checkWriting(coder, document);
        } else {
            // Negative frames stop the process, as documented.
            std::replace(text.begin(), text.end(), '-', '+');
            checkDocument(Subtitles::Coder::SUB(25.0).decode(text), size);
        }
    } catch (const SubTitlesError&) {
    }
    return 0;
}
