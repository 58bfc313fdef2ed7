#include "quorel/support/bytes_text.h"

#include <iconv.h>

#include <algorithm>
#include <cerrno>

#include "quorel/foundation/text.h"

namespace quorel {

namespace {

class Converter {
public:
    Converter(std::string_view to, std::string_view from)
        : handle_(iconv_open(std::string(to).c_str(), std::string(from).c_str())) {}
    ~Converter() {
        if (isOpen()) iconv_close(handle_);
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    bool isOpen() const { return handle_ != reinterpret_cast<iconv_t>(-1); }

    template <class Output>
    std::optional<Output> convert(std::string_view input) {
        if (!isOpen()) return std::nullopt;
        Output output(input.size() + input.size() / 4 + 16, '\0');
        char* in = const_cast<char*>(input.data());  // iconv does not write to it
        std::size_t inLeft = input.size();
        std::size_t written = 0;
        // The second round, without input, writes what a stateful encoding needs to end properly.
        for (bool flushing = false;;) {
            char* out = reinterpret_cast<char*>(output.data()) + written;
            std::size_t outLeft = output.size() - written;
            const std::size_t result =
                iconv(handle_, flushing ? nullptr : &in, flushing ? nullptr : &inLeft, &out, &outLeft);
            written = output.size() - outLeft;
            if (result == static_cast<std::size_t>(-1) && errno == E2BIG) {
                output.resize(output.size() + output.size() / 2);
            } else if (result != 0) {  // an error, or characters that were replaced by similar ones
                return std::nullopt;
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

bool isASCII(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 128; });
}

// Whether the bytes of the encoding are the text's own wherever they are text at all.
bool fits(std::string_view text, const StringEncoding& encoding) {
    return encoding == StringEncoding::ascii ? isASCII(text) : isValidUTF8(text);
}

}  // namespace

std::optional<StringEncoding> StringEncoding::named(std::string_view name) {
    // The converter's own switches ("//IGNORE") and its names for the encodings of this process are no encodings.
    const bool isName = !name.empty() && name.size() < std::tuple_size_v<decltype(name_)> &&
                        std::all_of(name.begin(), name.end(), [](char c) {
                            return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                                   std::string_view("-_.:+()").find(c) != std::string_view::npos;
                        });
    if (!isName) return std::nullopt;
    std::string upper(name);
    for (char& c : upper) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c;
    constexpr struct {
        std::string_view name;
        const StringEncoding& encoding;
    } known[] = {{"ASCII", ascii},
                 {"US-ASCII", ascii},
                 {"UTF8", utf8},
                 {"UTF-8", utf8},
                 {"UTF-16", utf16BigEndian},
                 {"UTF16", utf16BigEndian},
                 {"UNICODE", utf16BigEndian},
                 {"UTF-32", utf32BigEndian},
                 {"UTF32", utf32BigEndian}};
    for (const auto& k : known)
        if (upper == k.name) return k.encoding;
    for (const std::string_view ours : {"CHAR", "WCHAR_T", "INTERNAL"})
        if (upper == ours) return std::nullopt;
    if (!Converter("UTF-8", upper).isOpen() || !Converter(upper, "UTF-8").isOpen()) return std::nullopt;
    return StringEncoding(upper);
}

std::optional<std::string> StringEncoding::decoded(std::span<const std::uint8_t> bytes) const {
    const std::string_view view(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (*this == utf8 || *this == ascii) {
        if (!fits(view, *this)) return std::nullopt;
        return std::string(view);
    }
    auto text = Converter("UTF-8", name()).convert<std::string>(view);
    // Some converters let code points through that UTF-8 does not have.
    if (text && !isValidUTF8(*text)) return std::nullopt;
    return text;
}

std::optional<std::vector<std::uint8_t>> StringEncoding::encoded(std::string_view text) const {
    if (!isValidUTF8(text) || !fits(text, *this)) return std::nullopt;
    if (*this == utf8 || *this == ascii) return std::vector<std::uint8_t>(text.begin(), text.end());
    return Converter(name(), "UTF-8").convert<std::vector<std::uint8_t>>(text);
}

}  // namespace quorel
