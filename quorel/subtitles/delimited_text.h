// Delimited text (comma-separated values and their kin): an event-driven reader that never fails, a reader that
// collects, and a writer that quotes every field.
//
//   auto data = DelimitedText::Coder().decode("a;b\n1;\"x;y\"\n");   // finds the ";"
//   data->records();                                                 // {{"a", "b"}, {"1", "x;y"}}
//   DelimitedText::Coder().encode(data->records(), ',');             // "\"a\",\"b\"\r\n..."
//
// What counts is characters as a person sees them (character.h), not bytes: CR LF is one newline, and a comma with
// a combining accent on it is no comma. Rules, beyond RFC 4180: leading white space of a field is dropped,
// trailing is kept; a form feed and a vertical tab end a line too; a record of one empty field is no record.
//
// A decoder is used by one thread at a time; the callbacks run on it, before the call returns.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/subtitles/character.h"
#include "quorel/subtitles/export.h"

namespace quorel::DelimitedText {

// Gets percent of the text's length in UTF-16 units, 0 first and 100 last, and in between whenever it changed
// from one record to the next.
using ProgressCallback = std::function<void(int percent)>;
// False stops the reading. `row` and `column` count from 0. The views are valid during the call only.
using FieldCallback = std::function<bool(std::size_t row, std::size_t column, std::string_view field)>;
using RecordCallback = std::function<bool(std::size_t row, std::span<const std::string_view> record)>;

// Which of Character::allKnownDelimiters() stands most often in the first line, the earlier one of equals;
// nothing when none of them does.
QUOREL_SUBTITLES_API std::optional<Character> detectSeparator(std::string_view text);

// What a Decoder read.
class QUOREL_VISIBLE DelimitedTextData {
public:
    virtual ~DelimitedTextData() = default;
    virtual std::string_view text() const = 0;
    virtual const Character& delimiter() const = 0;
    virtual const std::optional<Character>& fieldEscapeCharacter() const = 0;
    virtual const std::vector<std::vector<std::string>>& records() const = 0;
};

// What a text looks like.
struct QUOREL_VISIBLE DecoderOptions {
    Character delimiter = Character::comma();
    // The character behind it stands for itself, in plain and in quoted fields.
    std::optional<Character> fieldEscapeCharacter = std::nullopt;
    // Lines that begin with it are skipped.
    std::optional<Character> commentCharacter = std::nullopt;
    std::size_t headerLineCount = 0;  // lines that are skipped at the start
    // Whether what stands between a closing quote and the next delimiter belongs to the field.
    bool captureQuotedStringOverrunCharacters = false;
    // Fields of a record beyond this number are read and reported to emitField, but not kept for emitRecord.
    std::size_t keptColumns = static_cast<std::size_t>(-1);
};

// Reads record by record, holding one record at a time. A field costs no allocation: it is a view of the text, or
// of a buffer that is reused when quotes or escapes had to be taken out.
class QUOREL_SUBTITLES_API EventDrivenDecoder {
public:
    // `text` must outlive the decoder.
    EventDrivenDecoder(std::string_view text, DecoderOptions options);
    virtual ~EventDrivenDecoder() = default;
    EventDrivenDecoder(const EventDrivenDecoder&) = delete;
    EventDrivenDecoder& operator=(const EventDrivenDecoder&) = delete;

    FieldCallback emitField;
    RecordCallback emitRecord;
    ProgressCallback progressCallback;

    // Reads all records, each time from the start. A field that emitField refused is in no record: the fields
    // before it are emitted as the last record, then the reading stops.
    void readRecords();

    const DecoderOptions& options() const { return options_; }
    // How far the reading has come, in bytes: while a callback runs, behind the field or record that it gets.
    std::size_t currentIndex() const { return currentIndex_; }

private:
    class Reader;

    std::string_view text_;
    DecoderOptions options_;
    std::size_t currentIndex_ = 0;
};

namespace detail {
struct QUOREL_VISIBLE OwnedText {
    std::string ownedText;
};
}  // namespace detail

// Collects all records. Keeps a copy of the text.
class QUOREL_SUBTITLES_API Decoder : private detail::OwnedText,
                                     public EventDrivenDecoder,
                                     public DelimitedTextData {
public:
    // Reads nothing yet; readRecords() does.
    Decoder(std::string text, DecoderOptions options);

    std::string_view text() const override { return ownedText; }
    const Character& delimiter() const override { return options().delimiter; }
    const std::optional<Character>& fieldEscapeCharacter() const override {
        return options().fieldEscapeCharacter;
    }
    const std::vector<std::vector<std::string>>& records() const override { return records_; }

private:
    std::vector<std::vector<std::string>> records_;
};

// Writes records field by field, each field quoted, its quotes doubled; records end in CR LF.
class QUOREL_SUBTITLES_API Encoder {
public:
    // Appends to `output`, which must outlive the encoder.
    Encoder(std::string& output, Character delimiter) : output_(output), delimiter_(std::move(delimiter)) {}

    // One more field of the record, and the end of the record.
    void addField(std::string_view field);
    void endRecord();

private:
    std::string& output_;
    Character delimiter_;
    bool isFirstField_ = true;
};

// Both ways in one call each.
class QUOREL_SUBTITLES_API Coder {
public:
    // An absent delimiter is the one that detectSeparator finds, or a comma. The other arguments are those of
    // DecoderOptions.
    std::unique_ptr<const DelimitedTextData> decode(std::string text, std::optional<Character> delimiter = {},
                                                    std::optional<Character> fieldEscapeCharacter = {},
                                                    std::optional<Character> comment = {},
                                                    std::optional<std::size_t> headerLineCount = {},
                                                    bool captureQuotedStringOverrunCharacters = false,
                                                    ProgressCallback progressCallback = {}) const;

    // Each callback may be empty.
    void startDecoding(std::string_view text, std::optional<Character> delimiter,
                       std::optional<Character> fieldEscapeCharacter, std::optional<Character> comment,
                       std::optional<std::size_t> headerLineCount, bool captureQuotedStringOverrunCharacters,
                       ProgressCallback progressCallback, FieldCallback emitField,
                       RecordCallback emitRecord) const;

    // All records through an Encoder. No records give the empty text.
    std::string encode(std::span<const std::vector<std::string>> csvdata, const Character& delimiter) const;
};

}  // namespace quorel::DelimitedText
