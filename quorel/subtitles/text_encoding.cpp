#include "quorel/subtitles/text_encoding.h"

#include <iconv.h>

#include <algorithm>
#include <cerrno>

#include "quorel/foundation/text.h"
#include "quorel/subtitles/subtitles_error.h"

namespace quorel {
namespace {

class Converter {
public:
    Converter(const char* to, const char* from) : handle_(iconv_open(to, from)) {}
    ~Converter() {
        if (isOpen()) iconv_close(handle_);
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    bool isOpen() const { return handle_ != reinterpret_cast<iconv_t>(-1); }

    // Throws invalidEncoding for what cannot be converted, with a diagnosis from `diagnose(consumed, written)`: what
    // stands before the place in the input, and what has become of it.
    template <class Diagnose>
    std::string convert(std::string_view input, Diagnose diagnose) {
        if (!isOpen()) throw SubTitlesError::invalidEncoding();
        std::string output(input.size() + input.size() / 4 + 16, '\0');
        char* in = const_cast<char*>(input.data());  // iconv does not write to it
        std::size_t inLeft = input.size();
        std::size_t written = 0;
        // The second round, without input, writes what a stateful encoding needs to end properly.
        for (bool flushing = false;;) {
            char* out = output.data() + written;
            std::size_t outLeft = output.size() - written;
            const std::size_t result =
                iconv(handle_, flushing ? nullptr : &in, flushing ? nullptr : &inLeft, &out, &outLeft);
            written = static_cast<std::size_t>(out - output.data());
            if (result == static_cast<std::size_t>(-1) && errno == E2BIG) {
                output.resize(output.size() + output.size() / 2);
            } else if (result != 0) {  // an error, or characters that were replaced by similar ones
                throw diagnose(input.substr(0, input.size() - inLeft),
                               std::string_view(output).substr(0, written));
            } else if (flushing) {
                break;
            } else {
                flushing = true;
            }
        }
        output.resize(written);
        return output;
    }

private:
    iconv_t handle_;
};

std::size_t firstBeyondASCII(std::string_view text) {
    const auto isBeyond = [](char c) { return static_cast<unsigned char>(c) >= 128; };
    return static_cast<std::size_t>(std::find_if(text.begin(), text.end(), isBeyond) - text.begin());
}

bool isASCII(std::string_view text) {
    return firstBeyondASCII(text) == text.size();
}

std::int64_t lineBehind(std::string_view text) {
    return 1 + std::count(text.begin(), text.end(), '\n');
}

// The error for bytes that mean nothing behind `text`.
SubTitlesError noText(std::string_view text, const TextEncoding& encoding) {
    return SubTitlesError::invalidEncoding().at(lineBehind(text), {},
                                                "the bytes are no text in " + std::string(encoding.name()));
}

// The error for the character at `at`, which the encoding does not have.
SubTitlesError noPlace(std::string_view text, std::size_t at, const TextEncoding& encoding) {
    std::size_t end = std::min(at + 1, text.size());
    while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) ++end;
    return SubTitlesError::invalidEncoding().at(lineBehind(text.substr(0, at)), text.substr(at, end - at),
                                                "the character does not exist in " + std::string(encoding.name()));
}

struct Mark {
    std::string_view bytes;
    const TextEncoding& encoding;
};
// The longer one first where one begins with the other.
constexpr Mark utf32Marks[] = {{std::string_view("\xFF\xFE\0\0", 4), TextEncoding::utf32LittleEndian},
                               {std::string_view("\0\0\xFE\xFF", 4), TextEncoding::utf32BigEndian}};
constexpr Mark utf16Marks[] = {{"\xFF\xFE", TextEncoding::utf16LittleEndian},
                               {"\xFE\xFF", TextEncoding::utf16BigEndian}};

}  // namespace

std::optional<TextEncoding> TextEncoding::named(std::string_view name) {
    // The converter's own switches ("//IGNORE") and its names for the encodings of this process are no encodings.
    const bool isName = !name.empty() && name.size() < std::tuple_size_v<decltype(name_)> &&
                        std::all_of(name.begin(), name.end(), [](char c) {
                            return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                                   std::string_view("-_.:+()").find(c) != std::string_view::npos;
                        });
    if (!isName) return std::nullopt;
    std::string upper(name);
    for (char& c : upper) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c;
    if (upper == "CHAR" || upper == "WCHAR_T" || upper == "INTERNAL") return std::nullopt;
    if (upper == "UTF8") return utf8;
    if (upper == "ASCII") return ascii;
    if (upper == "SHIFT_JIS" || upper == "SHIFT-JIS" || upper == "SJIS") return shiftJIS;
    for (const TextEncoding& known : {utf8, utf16, utf32, ascii}) {
        if (upper == known.name()) return known;
    }
    if (!Converter("UTF-8", upper.c_str()).isOpen() || !Converter(upper.c_str(), "UTF-8").isOpen())
        return std::nullopt;
    return TextEncoding(Kind::converted, upper);
}

std::string_view decodeText(std::string_view bytes, const TextEncoding& encoding, std::string& storage) {
    switch (encoding.kind_) {
        case TextEncoding::Kind::utf8:
            if (!isValidUTF8(bytes)) throw SubTitlesError::notUTF8(bytes);
            return bytes;
        case TextEncoding::Kind::ascii:
            if (!isASCII(bytes)) throw noText(bytes.substr(0, firstBeyondASCII(bytes)), encoding);
            return bytes;
        case TextEncoding::Kind::withMark: {
            const bool wide = encoding == TextEncoding::utf32;
            for (const Mark& mark : wide ? utf32Marks : utf16Marks) {
                if (bytes.starts_with(mark.bytes)) {
                    return decodeText(bytes.substr(mark.bytes.size()), mark.encoding, storage);
                }
            }
            return decodeText(bytes, wide ? TextEncoding::utf32BigEndian : TextEncoding::utf16BigEndian, storage);
        }
        case TextEncoding::Kind::converted:
            break;
    }
    storage = Converter("UTF-8", std::string(encoding.name()).c_str())
                  .convert(bytes, [&](std::string_view, std::string_view text) { return noText(text, encoding); });
    // Some converters let code points through that UTF-8 does not have.
    if (!isValidUTF8(storage)) throw SubTitlesError::notUTF8(storage);
    return storage;
}

std::string decodeText(std::string_view bytes, const TextEncoding& encoding) {
    std::string storage;
    const std::string_view text = decodeText(bytes, encoding, storage);
    return text.data() == storage.data() ? storage : std::string(text);
}

std::string encodeText(std::string text, const TextEncoding& encoding) {
    if (!isValidUTF8(text)) throw SubTitlesError::notUTF8(text);
    switch (encoding.kind_) {
        case TextEncoding::Kind::utf8:
            return text;
        case TextEncoding::Kind::ascii:
            if (!isASCII(text)) throw noPlace(text, firstBeyondASCII(text), encoding);
            return text;
        case TextEncoding::Kind::withMark: {
            const Mark& mark = encoding == TextEncoding::utf32 ? utf32Marks[0] : utf16Marks[0];
            return std::string(mark.bytes) + encodeText(std::move(text), mark.encoding);
        }
        case TextEncoding::Kind::converted:
            break;
    }
    return Converter(std::string(encoding.name()).c_str(), "UTF-8")
        .convert(text, [&](std::string_view before, std::string_view) {
            return noPlace(text, before.size(), encoding);
        });
}

std::string_view droppingByteOrderMark(std::string_view text) {
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    return text;
}

}  // namespace quorel
