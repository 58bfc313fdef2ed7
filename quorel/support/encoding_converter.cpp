#include "quorel/support/encoding_converter.h"

#include <iconv.h>

#include <algorithm>
#include <cerrno>

namespace quorel {

namespace {

// U+E0000 to U+E007F.
std::size_t firstTag(std::string_view text) {
    return std::min(text.find("\xF3\xA0\x80"), text.find("\xF3\xA0\x81"));
}

}  // namespace

std::optional<std::string> EncodingConverter::knownName(std::string_view name) {
    // The converter's own switches ("//IGNORE") and its names for the encodings of this process are no encodings.
    const bool isName =
        !name.empty() && name.size() <= longestName && std::all_of(name.begin(), name.end(), [](char c) {
            return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                   std::string_view("-_.:+()").find(c) != std::string_view::npos;
        });
    if (!isName) return std::nullopt;
    std::string upper(name);
    for (char& c : upper) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c;
    if (upper == "CHAR" || upper == "WCHAR_T" || upper == "INTERNAL") return std::nullopt;
    const bool isKnown = EncodingConverter("UTF-8", upper).isOpen() && EncodingConverter(upper, "UTF-8").isOpen();
    return isKnown ? std::optional(upper) : std::nullopt;
}

EncodingConverter::EncodingConverter(std::string_view to, std::string_view from)
    : to_(to), from_(from), handle_(iconv_open(to_.c_str(), from_.c_str())) {}

EncodingConverter::~EncodingConverter() {
    if (isOpen()) iconv_close(handle_);
}

bool EncodingConverter::isOpen() const {
    return handle_ != reinterpret_cast<iconv_t>(-1);
}

bool EncodingConverter::convert(std::string_view input, std::string& output, std::size_t* consumed) {
    const std::size_t before = output.size();
    char* in = const_cast<char*>(input.data());  // iconv does not write to it
    std::size_t inLeft = input.size();
    std::size_t result = isOpen() ? 0 : static_cast<std::size_t>(-1);
    // The second round, without input, writes what a stateful encoding needs to end properly.
    for (bool flushing = false; isOpen();) {
        char piece[16 * 1024];
        char* out = piece;
        std::size_t outLeft = sizeof piece;
        result = iconv(handle_, flushing ? nullptr : &in, flushing ? nullptr : &inLeft, &out, &outLeft);
        const auto written = static_cast<std::size_t>(out - piece);
        const std::size_t read = input.size() - inLeft;
        // How much the text grows shows in its first piece.
        if (output.empty() && read > 0 && inLeft > 0) {
            const double growth = static_cast<double>(written) / static_cast<double>(read);
            output.reserve(written + static_cast<std::size_t>(1.05 * growth * static_cast<double>(inLeft)));
        }
        output.append(piece, written);
        const bool isFull = result == static_cast<std::size_t>(-1) && errno == E2BIG;
        if (isFull) continue;
        // An error, or characters that were replaced by similar ones.
        if (result != 0 || flushing) break;
        flushing = true;
    }
    std::size_t converted = input.size() - inLeft;
    // The library leaves out, without a word, the tag characters that an encoding does not have.
    if (const std::size_t tag = from_ == "UTF-8" ? firstTag(input) : std::string_view::npos; tag < converted) {
        std::string back;
        EncodingConverter("UTF-8", to_).convert(std::string_view(output).substr(before), back);
        if (back != input.substr(0, converted)) {
            converted = tag;
            result = 1;
        }
    }
    if (consumed != nullptr) *consumed = converted;
    return result == 0;
}

}  // namespace quorel
