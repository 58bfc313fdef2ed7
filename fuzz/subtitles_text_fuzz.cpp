// Times, encodings and their detection, by the first byte.
#include "quorel/subtitles/time_parsing.h"
#include "subtitles_document_check.h"

using namespace quorel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view text = textOf(data + 1, size - 1);
    if (data[0] % 4 == 0) {
        // Negative numbers stop the process, as documented.
        if (const auto time = text.starts_with('-') ? std::nullopt : Subtitles::Time::fromString(text))
            time->text();
        return 0;
    }
    if (data[0] % 4 == 1) {
        if (const auto found = decodeDetectingEncoding(text)) require(found->text.size() <= 4 * size + 16);
        return 0;
    }
    const TextEncoding encodings[] = {TextEncoding::utf8,
                                      TextEncoding::utf16,
                                      TextEncoding::utf32,
                                      TextEncoding::ascii,
                                      TextEncoding::isoLatin9,
                                      TextEncoding::windows1252,
                                      TextEncoding::shiftJIS,
                                      TextEncoding::utf16LittleEndian,
                                      *TextEncoding::named("gb18030"),
                                      *TextEncoding::named("iso-2022-jp")};
    const TextEncoding& encoding = encodings[data[0] / 4 % std::size(encodings)];
    try {
        const std::string decoded = decodeText(text, encoding);
        require(decoded.size() <= 4 * size + 16);
        require(decodeText(encodeText(decoded, encoding), encoding) == decoded);
    } catch (const SubTitlesError&) {
    }
    return 0;
}
