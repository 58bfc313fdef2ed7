// CSV: documents that keep their invariants, and what is written once is written the same way again. The first byte
// chooses the columns and the escape.
#include <algorithm>

#include "quorel/subtitles/csv.h"
#include "subtitles_document_check.h"

using namespace quorel;
using CSV = Subtitles::Coder::CSV;
using Field = CSV::Field;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const CSV seconds({Field::identifier("Id"), Field::position("No"), Field::startTimeInSeconds("In"),
                       Field::durationInSeconds("For"), Field::endTimeInSeconds("Out"), Field::speaker("Who"),
                       Field::text("Text")},
                      ';');
    CSV coder = data[0] % 2 == 0 ? CSV() : seconds;
    if (data[0] % 4 > 1) coder.fieldEscapeCharacter = Character('\\');
    // Negative times stop the process, as documented.
    std::string text(textOf(data + 1, size - 1));
    std::replace(text.begin(), text.end(), '-', '+');
    try {
        const Subtitles document = coder.decode(text);
        checkDocument(document, size);
        const std::string written = coder.encode(document);
        // A combining mark at the start of a field joins the quote before it, and an escape is not escaped.
        if (coder.fieldEscapeCharacter || !std::all_of(text.begin(), text.end(), detail::isASCII)) return 0;
        const Subtitles again = coder.decode(written);
        require(again.cues().size() == document.cues().size() && coder.encode(again) == written);
    } catch (const SubTitlesError&) {
    }
    return 0;
}
