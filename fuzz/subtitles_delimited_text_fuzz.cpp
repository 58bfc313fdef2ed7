// Differential: the decoder beside a plain one that walks every text character by character.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/subtitles/delimited_text.h"

using quorel::Character;
using namespace quorel::DelimitedText;

namespace {

using Records = std::vector<std::vector<std::string>>;

class PlainReader {
public:
    PlainReader(std::string_view text, DecoderOptions options) : options_(std::move(options)) {
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t end = quorel::characterEnd(text, at);
            characters_.push_back(text.substr(at, end - at));
            at = end;
        }
    }

    Records read() {
        Records records;
        while (more()) {
            std::vector<std::string> record;
            const End end = readRow(record);
            if (record.empty() || (record.size() == 1 && record[0].empty())) continue;
            if (end == End::delimiterAtEnd) record.emplace_back();
            records.push_back(record);
        }
        return records;
    }

private:
    enum class End { delimiter, newline, end, delimiterAtEnd };

    bool more() const { return at_ < characters_.size(); }
    std::string_view current() const { return characters_[at_]; }
    bool advance() { return ++at_ < characters_.size(); }
    bool isDelimiter() const { return current() == options_.delimiter.text(); }
    bool isEscape() const {
        return options_.fieldEscapeCharacter && current() == options_.fieldEscapeCharacter->text();
    }
    bool isNewline() const {
        const std::string_view c = current();
        return (c[0] >= '\n' && c[0] <= '\r') || c == "\xC2\x85" || c == "\xE2\x80\xA8" || c == "\xE2\x80\xA9";
    }
    End afterDelimiter() { return advance() ? End::delimiter : End::delimiterAtEnd; }
    End afterNewline() { return advance() ? End::newline : End::end; }

    End readRow(std::vector<std::string>& record) {
        const bool isComment = options_.commentCharacter && current() == options_.commentCharacter->text();
        if (options_.headerLineCount != 0 || isComment) {
            if (options_.headerLineCount != 0) --options_.headerLineCount;
            while (more() && !isNewline()) ++at_;
            return more() ? afterNewline() : End::end;
        }
        for (;;) {
            std::string field;
            const End end = readField(field);
            record.push_back(field);
            if (end != End::delimiter) return end;
        }
    }
    End readField(std::string& field) {
        while (!isNewline() && quorel::whiteSpaceLength(current(), 0) != 0 &&
               !(current() == "\t" && isDelimiter())) {
            if (!advance()) return End::end;
        }
        if (isNewline()) return afterNewline();
        if (current() == "\"") return readQuoted(field);
        do {
            if (isEscape()) {
                if (!advance()) return End::end;
            } else if (isDelimiter()) {
                return afterDelimiter();
            } else if (isNewline()) {
                return afterNewline();
            }
            field += current();
        } while (advance());
        return End::end;
    }
    End readQuoted(std::string& field) {
        while (advance()) {
            if (current() == "\"") {
                if (!advance()) return End::end;
                if (current() != "\"") return readOverrun(field);
            } else if (isEscape() && !advance()) {
                return End::end;
            }
            field += current();
        }
        return End::end;
    }
    End readOverrun(std::string& field) {
        do {
            if (isNewline()) return afterNewline();
            if (isDelimiter()) return afterDelimiter();
            if (options_.captureQuotedStringOverrunCharacters) field += current();
        } while (advance());
        return End::end;
    }

    DecoderOptions options_;
    std::vector<std::string_view> characters_;
    std::size_t at_ = 0;
};

[[noreturn]] void fail(const char* what) {
    std::cerr << what << '\n';
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 4) return 0;
    static const std::vector<Character> special{',',
                                                ';',
                                                '\t',
                                                '"',
                                                '\\',
                                                '#',
                                                ' ',
                                                '\n',
                                                '\r',
                                                'x',
                                                '\f',
                                                Character("\xC3\xA9"),
                                                Character("e\xCC\x81"),
                                                Character("\r\n"),
                                                Character("\xF0\x9F\x87\xA9\xF0\x9F\x87\xAA")};
    const auto pick = [&](std::uint8_t byte) -> std::optional<Character> {
        if (byte >= special.size()) return std::nullopt;
        return special[byte];
    };
    const std::string text(reinterpret_cast<const char*>(data) + 4, size - 4);
    DecoderOptions options;
    options.delimiter = pick(data[0]).value_or(Character::comma());
    options.fieldEscapeCharacter = pick(data[1]);
    options.commentCharacter = pick(data[2]);
    options.headerLineCount = data[3] % 4;
    options.captureQuotedStringOverrunCharacters = data[3] >= 128;

    Decoder decoder(text, options);
    decoder.readRecords();
    if (decoder.records() != PlainReader(text, options).read()) fail("the decoder reads something else");

    options.keptColumns = 2;
    Records kept;
    EventDrivenDecoder sparing(text, options);
    int last = -1;
    sparing.progressCallback = [&](int percent) {
        if (percent < last || percent > 100) fail("progress goes astray");
        last = percent;
    };
    sparing.emitRecord = [&](std::size_t row, std::span<const std::string_view> record) {
        if (row != kept.size() || record.size() > 2) fail("rows or columns are miscounted");
        kept.emplace_back(record.begin(), record.end());
        return true;
    };
    sparing.readRecords();
    Records cut = decoder.records();
    for (auto& record : cut) record.resize(std::min<std::size_t>(record.size(), 2));
    if (kept != cut || last != 100) fail("keeping two columns changes them");

    // A combining mark at the start of a field joins the quote before it, which is then none.
    if (!std::all_of(text.begin(), text.end(), quorel::detail::isASCII)) return 0;
    const std::string written = Coder().encode(decoder.records(), Character::comma());
    if (Coder().decode(written, Character::comma())->records() != decoder.records()) fail("no round trip");
    return 0;
}
