#include <uchardet.h>

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

#include "quorel/subtitles/subtitles_error.h"
#include "quorel/subtitles/text_encoding.h"

namespace quorel {
namespace {

constexpr std::size_t sampleSize = 64 * 1024;

std::optional<DetectedText> decodeAs(std::string_view bytes, const TextEncoding& encoding) {
    try {
        std::string text = decodeText(bytes, encoding);
        text.erase(0, text.size() - droppingByteOrderMark(text).size());
        return DetectedText{std::move(text), encoding};
    } catch (const SubTitlesError&) {
        return std::nullopt;
    }
}

// Subtitles are rich in ASCII (digits, blanks, line ends), whose upper bytes are zero, and poor in zero bytes
// otherwise.
std::optional<TextEncoding> byZeroBytes(std::string_view bytes) {
    const std::string_view sample = bytes.substr(0, sampleSize);
    std::array<std::size_t, 4> zeros{};
    for (std::size_t i = 0; i < sample.size(); ++i) zeros[i % 4] += sample[i] == '\0' ? 1 : 0;
    const std::size_t most = sample.size() / 4 * 9 / 10;
    if (bytes.size() % 4 == 0 && zeros[2] > most && zeros[3] > most) return TextEncoding::utf32LittleEndian;
    if (bytes.size() % 4 == 0 && zeros[0] > most && zeros[1] > most) return TextEncoding::utf32BigEndian;
    const std::size_t even = zeros[0] + zeros[2];
    const std::size_t odd = zeros[1] + zeros[3];
    // One in ten of the characters, and no zero where the letters are.
    if (bytes.size() % 2 != 0 || std::max(even, odd) * 20 < sample.size()) return std::nullopt;
    if (even * 10 < odd) return TextEncoding::utf16LittleEndian;
    if (odd * 10 < even) return TextEncoding::utf16BigEndian;
    return std::nullopt;
}

std::optional<TextEncoding> byStatistics(std::string_view bytes) {
    const std::unique_ptr<uchardet, decltype(&uchardet_delete)> detector(uchardet_new(), &uchardet_delete);
    if (!detector) return std::nullopt;
    // The text before the first byte that tells anything is not worth the time.
    const auto first =
        std::find_if(bytes.begin(), bytes.end(), [](char c) { return static_cast<signed char>(c) < 0; });
    const auto at = static_cast<std::size_t>(first - bytes.begin());
    const std::string_view sample = bytes.substr(at > 256 ? at - 256 : 0, sampleSize);
    if (uchardet_handle_data(detector.get(), sample.data(), sample.size()) != 0) return std::nullopt;
    uchardet_data_end(detector.get());
    return TextEncoding::named(uchardet_get_charset(detector.get()));
}

}  // namespace

std::optional<DetectedText> decodeDetectingEncoding(std::string_view bytes) {
    if (bytes.starts_with("\xEF\xBB\xBF")) return decodeAs(bytes, TextEncoding::utf8);
    const bool wideMark = bytes.starts_with(std::string_view("\xFF\xFE\0\0", 4)) ||
                          bytes.starts_with(std::string_view("\0\0\xFE\xFF", 4));
    if (wideMark) return decodeAs(bytes, TextEncoding::utf32);
    if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF"))
        return decodeAs(bytes, TextEncoding::utf16);
    if (const auto wide = byZeroBytes(bytes)) {
        if (auto text = decodeAs(bytes, *wide)) return text;
    }
    if (auto text = decodeAs(bytes, TextEncoding::ascii)) return text;
    if (auto text = decodeAs(bytes, TextEncoding::utf8)) return text;
    const auto guess = byStatistics(bytes);
    return guess ? decodeAs(bytes, *guess) : std::nullopt;
}

}  // namespace quorel
