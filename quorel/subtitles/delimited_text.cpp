#include "quorel/subtitles/delimited_text.h"

#include <algorithm>
#include <utility>

#include "quorel/subtitles/byte_scanner_private.h"

namespace quorel::DelimitedText {
namespace {

// The length of the newline at `at`, 0 when there is none. Newlines are characters on their own whatever follows
// (GB4, GB5), but for CR LF.
std::size_t newlineLength(std::string_view text, std::size_t at) {
    const char c = text[at];
    if (c == '\r') return at + 1 < text.size() && text[at + 1] == '\n' ? 2 : 1;
    if (c >= '\n' && c <= '\r') return 1;
    if (c == '\xC2') return text.substr(at + 1, 1) == "\x85" ? 2 : 0;
    if (c == '\xE2') {
        const std::string_view rest = text.substr(at + 1, 2);
        return rest == "\x80\xA8" || rest == "\x80\xA9" ? 3 : 0;
    }
    return 0;
}

std::size_t utf16Length(std::string_view text) {
    std::size_t units = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        units += static_cast<std::size_t>((byte & 0xC0) != 0x80) + static_cast<std::size_t>(byte >= 0xF0);
    }
    return units;
}

// Up to and with the first line end; a form feed and a vertical tab end no line here.
std::string_view firstLine(std::string_view text) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '\v' || text[at] == '\f') continue;
        if (const std::size_t length = newlineLength(text, at)) return text.substr(0, at + length);
    }
    return text;
}

std::size_t countOf(const Character& wanted, std::string_view text) {
    std::size_t count = 0;
    if (wanted.isASCII()) {
        const char c = wanted.text()[0];
        for (std::size_t at = text.find(c); at != std::string_view::npos; at = text.find(c, at + 1)) {
            if (beginsCharacterNextToASCII(text, at) && characterEnd(text, at) == at + 1) ++count;
        }
        return count;
    }
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = characterEnd(text, at);
        if (text.substr(at, end - at) == wanted.text()) ++count;
        at = end;
    }
    return count;
}

DecoderOptions optionsFrom(std::string_view text, std::optional<Character> delimiter,
                           std::optional<Character> fieldEscapeCharacter, std::optional<Character> comment,
                           std::optional<std::size_t> headerLineCount, bool captureQuotedStringOverrunCharacters) {
    if (!delimiter) delimiter = detectSeparator(text);
    DecoderOptions options;
    options.delimiter = delimiter.value_or(Character::comma());
    options.fieldEscapeCharacter = std::move(fieldEscapeCharacter);
    options.commentCharacter = std::move(comment);
    options.headerLineCount = headerLineCount.value_or(0);
    options.captureQuotedStringOverrunCharacters = captureQuotedStringOverrunCharacters;
    return options;
}

}  // namespace

std::optional<Character> detectSeparator(std::string_view text) {
    const std::string_view line = firstLine(text);
    std::optional<Character> best;
    std::size_t bestCount = 0;
    for (const Character& delimiter : Character::allKnownDelimiters()) {
        const std::size_t count = countOf(delimiter, line);
        if (count > bestCount) {
            best = delimiter;
            bestCount = count;
        }
    }
    return best;
}

class EventDrivenDecoder::Reader {
public:
    explicit Reader(EventDrivenDecoder& decoder);

    void readRecords();

private:
    enum class EndState { delimiter, newline, end, delimiterAtEnd };
    // The characters that mean something in one part of the grammar, and the bytes they begin with.
    struct Stops {
        quorel::detail::ByteScanner bytes;
        std::vector<Character> characters;
        bool newlines = false;
    };

    EndState readRow();
    EndState skipLine();
    EndState readField();
    bool readUsualField(EndState& state);
    EndState readPlainField();
    EndState readQuotedField();
    EndState readQuotedOverrun();
    EndState takeDelimiter() { return advance() ? EndState::delimiter : EndState::delimiterAtEnd; }
    EndState takeNewline() { return advance() ? EndState::newline : EndState::end; }

    void addStop(Stops& stops, const std::optional<Character>& character);
    bool find(const Stops& stops);
    bool isOneOf(const Stops& stops) const;
    bool advance();
    bool is(const Character& wanted) const;
    bool is(const std::optional<Character>& wanted) const { return wanted && is(*wanted); }
    bool isQuote() const { return text_[index_] == '"' && characterEnd_ == index_ + 1; }
    bool isNewline() const { return newlineLength(text_, index_) != 0; }

    void append(std::size_t from, std::size_t to);
    bool finishField();
    void emitRow();
    void reportProgress();

    EventDrivenDecoder& decoder_;
    const DecoderOptions& options_;
    const std::string_view text_;
    bool scansBytes_ = true;  // all characters that mean something are ASCII
    bool hasUsualFields_ = false;
    Stops lineStops_, plainStops_, quotedStops_, overrunStops_;
    std::size_t headerLinesLeft_;
    std::size_t index_ = 0;         // where the current character begins
    std::size_t characterEnd_ = 0;  // where it ends, once looked at
    std::size_t currentRow_ = 0;
    bool isStopped_ = false;

    std::vector<std::string_view> record_;
    std::size_t columns_ = 0;  // of the record being read, kept or not
    bool isFirstFieldEmpty_ = false;
    std::string_view piece_;  // the field being read, while it is one piece of the text
    std::string buffer_;      // the fields of the record that had to be put together from pieces
    std::size_t fieldInBuffer_ = 0;
    bool isFieldInBuffer_ = false;
    struct BufferedField {
        std::size_t column, begin, length;
    };
    std::vector<BufferedField> bufferedFields_;

    std::size_t progressIndex_ = 0, progressUnits_ = 0, totalUnits_ = 0;
    int progress_ = 0;
};

EventDrivenDecoder::EventDrivenDecoder(std::string_view text, DecoderOptions options)
    : text_(text), options_(std::move(options)) {}

void EventDrivenDecoder::readRecords() {
    Reader(*this).readRecords();
}

EventDrivenDecoder::Reader::Reader(EventDrivenDecoder& decoder)
    : decoder_(decoder),
      options_(decoder.options_),
      text_(decoder.text_),
      headerLinesLeft_(decoder.options_.headerLineCount) {
    record_.reserve(100);
    buffer_.reserve(1024);
    for (Stops* stops : {&lineStops_, &plainStops_, &overrunStops_}) {
        stops->newlines = true;
        stops->bytes.addNewlines();
    }
    addStop(plainStops_, options_.delimiter);
    addStop(plainStops_, options_.fieldEscapeCharacter);
    addStop(quotedStops_, Character('"'));
    addStop(quotedStops_, options_.fieldEscapeCharacter);
    addStop(overrunStops_, options_.delimiter);
    const std::string_view delimiter = options_.delimiter.text();
    hasUsualFields_ = scansBytes_ && !options_.fieldEscapeCharacter && delimiter != "\"" &&
                      (delimiter[0] > ' ' || delimiter == "\t");
}

void EventDrivenDecoder::Reader::addStop(Stops& stops, const std::optional<Character>& character) {
    if (!character) return;
    scansBytes_ = scansBytes_ && character->isASCII();
    stops.bytes.add(character->text()[0]);
    stops.characters.push_back(*character);
}

void EventDrivenDecoder::Reader::readRecords() {
    if (decoder_.progressCallback) {
        decoder_.progressCallback(0);
        totalUnits_ = std::max<std::size_t>(utf16Length(text_), 1);
    }
    while (index_ < text_.size() && !isStopped_) {
        if (decoder_.progressCallback) reportProgress();
        record_.clear();
        columns_ = 0;
        buffer_.clear();
        bufferedFields_.clear();
        const EndState state = readRow();
        if (columns_ == 0 || (columns_ == 1 && isFirstFieldEmpty_)) continue;
        if (state == EndState::delimiterAtEnd) {
            piece_ = {};
            isFieldInBuffer_ = false;
            if (!finishField()) break;
        }
        emitRow();
    }
    record_.clear();
    if (decoder_.progressCallback) decoder_.progressCallback(100);
}

EventDrivenDecoder::Reader::EndState EventDrivenDecoder::Reader::readRow() {
    if (headerLinesLeft_ != 0) {
        --headerLinesLeft_;
        return skipLine();
    }
    if (options_.commentCharacter) {
        characterEnd_ = characterEnd(text_, index_);
        if (is(options_.commentCharacter)) return skipLine();
    }
    for (;;) {
        piece_ = {};
        isFieldInBuffer_ = false;
        const EndState state = readField();
        if (!finishField()) {
            isStopped_ = true;
            return EndState::end;
        }
        if (state != EndState::delimiter) return state;
    }
}

EventDrivenDecoder::Reader::EndState EventDrivenDecoder::Reader::skipLine() {
    return find(lineStops_) ? takeNewline() : EndState::end;
}

EventDrivenDecoder::Reader::EndState EventDrivenDecoder::Reader::readField() {
    for (;;) {
        const char c = text_[index_];
        if (c > ' ' && c <= '~') break;
        characterEnd_ = characterEnd(text_, index_);
        if (isNewline()) return takeNewline();
        if (whiteSpaceLength(text_, index_) == 0 || (c == '\t' && options_.delimiter == Character::tab())) break;
        if (!advance()) return EndState::end;
    }
    if (EndState state{}; hasUsualFields_ && readUsualField(state)) return state;
    characterEnd_ = characterEnd(text_, index_);
    return isQuote() ? readQuotedField() : readPlainField();
}

// Reads a field where the next stop ends it and ASCII stands around that, so that nothing else needs a look; any other
// is left as it was.
bool EventDrivenDecoder::Reader::readUsualField(EndState& state) {
    using quorel::detail::isASCII;
    const char* const end = text_.data() + text_.size();
    const char* begin = text_.data() + index_;
    const bool isQuoted = *begin == '"';
    if (isQuoted && (++begin == end || !isASCII(*begin))) return false;
    const char* const fieldEnd = (isQuoted ? quotedStops_ : plainStops_).bytes.find(begin, end);
    const char* const stop = isQuoted && fieldEnd != end ? fieldEnd + 1 : fieldEnd;
    if (end - stop < 3 || !isASCII(stop[1]) || (fieldEnd != begin && !isASCII(fieldEnd[-1]))) return false;

    std::ptrdiff_t length = 1;
    if (*stop == options_.delimiter.text()[0]) {
        state = EndState::delimiter;
    } else if (*stop == '\n' || (*stop == '\r' && stop[1] == '\n')) {
        state = EndState::newline;
        if (*stop == '\r') length = 2;
    } else {
        return false;
    }
    piece_ = std::string_view(begin, static_cast<std::size_t>(fieldEnd - begin));
    index_ = static_cast<std::size_t>(stop + length - text_.data());
    return true;
}

EventDrivenDecoder::Reader::EndState EventDrivenDecoder::Reader::readPlainField() {
    std::size_t begin = index_;
    while (find(plainStops_)) {
        if (is(options_.fieldEscapeCharacter)) {
            append(begin, index_);
            if (!advance()) return EndState::end;
            begin = index_;
            characterEnd_ = characterEnd(text_, index_);
            if (!advance()) break;
        } else {
            append(begin, index_);
            return is(options_.delimiter) ? takeDelimiter() : takeNewline();
        }
    }
    append(begin, text_.size());
    return EndState::end;
}

EventDrivenDecoder::Reader::EndState EventDrivenDecoder::Reader::readQuotedField() {
    if (!advance()) return EndState::end;
    std::size_t begin = index_;
    while (find(quotedStops_)) {
        const bool mayClose = isQuote();
        append(begin, index_);
        if (!advance()) return EndState::end;
        begin = index_;
        characterEnd_ = characterEnd(text_, index_);
        if (mayClose && !isQuote()) return readQuotedOverrun();
        if (!advance()) break;
    }
    append(begin, text_.size());
    return EndState::end;
}

EventDrivenDecoder::Reader::EndState EventDrivenDecoder::Reader::readQuotedOverrun() {
    const std::size_t begin = index_;
    const bool found = find(overrunStops_);
    if (options_.captureQuotedStringOverrunCharacters) append(begin, index_);
    if (!found) return EndState::end;
    return isNewline() ? takeNewline() : takeDelimiter();
}

// Moves to the first character of `stops`, from the current character on, and sets its end; to the end of the text
// when there is none.
bool EventDrivenDecoder::Reader::find(const Stops& stops) {
    const std::size_t from = index_;
    while (index_ < text_.size()) {
        if (scansBytes_) {
            const char* const end = text_.data() + text_.size();
            const char* const at = stops.bytes.find(text_.data() + index_, end);
            index_ = static_cast<std::size_t>(at - text_.data());
            if (at == end) return false;
            if (!quorel::detail::isASCII(*at)) {
                const std::size_t length = newlineLength(text_, index_);
                characterEnd_ = index_ + length;
                if (length != 0) return true;
                ++index_;
                continue;
            }
            if (index_ != from && !beginsCharacterNextToASCII(text_, index_)) {
                ++index_;
                continue;
            }
        }
        characterEnd_ = characterEnd(text_, index_);
        if (isOneOf(stops)) return true;
        index_ = characterEnd_;
    }
    return false;
}

bool EventDrivenDecoder::Reader::isOneOf(const Stops& stops) const {
    if (scansBytes_ && characterEnd_ == index_ + 1) return true;
    if (stops.newlines && isNewline()) return true;
    return std::any_of(stops.characters.begin(), stops.characters.end(),
                       [this](const Character& c) { return is(c); });
}

bool EventDrivenDecoder::Reader::advance() {
    index_ = characterEnd_;
    return index_ < text_.size();
}

bool EventDrivenDecoder::Reader::is(const Character& wanted) const {
    return text_.substr(index_, characterEnd_ - index_) == wanted.text();
}

void EventDrivenDecoder::Reader::append(std::size_t from, std::size_t to) {
    if (from == to) return;
    const std::string_view piece = text_.substr(from, to - from);
    if (isFieldInBuffer_) {
        buffer_.append(piece);
    } else if (piece_.empty()) {
        piece_ = piece;
    } else {
        isFieldInBuffer_ = true;
        fieldInBuffer_ = buffer_.size();
        buffer_.append(piece_).append(piece);
    }
}

bool EventDrivenDecoder::Reader::finishField() {
    const std::string_view field = isFieldInBuffer_ ? std::string_view(buffer_).substr(fieldInBuffer_) : piece_;
    decoder_.currentIndex_ = index_;
    if (decoder_.emitField && !decoder_.emitField(currentRow_, columns_, field)) return false;
    if (columns_ == 0) isFirstFieldEmpty_ = field.empty();
    if (columns_ < options_.keptColumns) {
        if (isFieldInBuffer_) bufferedFields_.push_back({columns_, fieldInBuffer_, field.size()});
        record_.push_back(field);
    } else if (isFieldInBuffer_) {
        buffer_.resize(fieldInBuffer_);
    }
    ++columns_;
    return true;
}

void EventDrivenDecoder::Reader::emitRow() {
    // Only now: the buffer may have moved while it grew.
    for (const BufferedField& field : bufferedFields_) {
        record_[field.column] = std::string_view(buffer_).substr(field.begin, field.length);
    }
    if (decoder_.emitRecord && !decoder_.emitRecord(currentRow_, record_)) {
        isStopped_ = true;
        return;
    }
    ++currentRow_;
}

void EventDrivenDecoder::Reader::reportProgress() {
    progressUnits_ += utf16Length(text_.substr(progressIndex_, index_ - progressIndex_));
    progressIndex_ = index_;
    const int percent = static_cast<int>(progressUnits_ * 100 / totalUnits_);
    if (percent == progress_) return;
    progress_ = percent;
    decoder_.progressCallback(percent);
}

Decoder::Decoder(std::string text, DecoderOptions options)
    : detail::OwnedText{std::move(text)}, EventDrivenDecoder(ownedText, std::move(options)) {
    emitRecord = [this](std::size_t, std::span<const std::string_view> record) {
        records_.emplace_back(record.begin(), record.end());
        return true;
    };
}

void Encoder::addField(std::string_view field) {
    if (!isFirstField_) output_.append(delimiter_.text());
    isFirstField_ = false;
    output_.push_back('"');
    for (std::size_t quote; (quote = field.find('"')) != std::string_view::npos; field.remove_prefix(quote + 1)) {
        output_.append(field.substr(0, quote + 1)).push_back('"');
    }
    output_.append(field).push_back('"');
}

void Encoder::endRecord() {
    output_.append("\r\n");
    isFirstField_ = true;
}

std::unique_ptr<const DelimitedTextData> Coder::decode(std::string text, std::optional<Character> delimiter,
                                                       std::optional<Character> fieldEscapeCharacter,
                                                       std::optional<Character> comment,
                                                       std::optional<std::size_t> headerLineCount,
                                                       bool captureQuotedStringOverrunCharacters,
                                                       ProgressCallback progressCallback) const {
    DecoderOptions options =
        optionsFrom(text, std::move(delimiter), std::move(fieldEscapeCharacter), std::move(comment),
                    headerLineCount, captureQuotedStringOverrunCharacters);
    auto decoder = std::make_unique<Decoder>(std::move(text), std::move(options));
    decoder->progressCallback = std::move(progressCallback);
    decoder->readRecords();
    return decoder;
}

void Coder::startDecoding(std::string_view text, std::optional<Character> delimiter,
                          std::optional<Character> fieldEscapeCharacter, std::optional<Character> comment,
                          std::optional<std::size_t> headerLineCount, bool captureQuotedStringOverrunCharacters,
                          ProgressCallback progressCallback, FieldCallback emitField,
                          RecordCallback emitRecord) const {
    EventDrivenDecoder decoder(
        text, optionsFrom(text, std::move(delimiter), std::move(fieldEscapeCharacter), std::move(comment),
                          headerLineCount, captureQuotedStringOverrunCharacters));
    decoder.progressCallback = std::move(progressCallback);
    decoder.emitField = std::move(emitField);
    decoder.emitRecord = std::move(emitRecord);
    decoder.readRecords();
}

std::string Coder::encode(std::span<const std::vector<std::string>> csvdata, const Character& delimiter) const {
    std::string output;
    Encoder encoder(output, delimiter);
    for (const auto& record : csvdata) {
        for (const auto& field : record) encoder.addField(field);
        encoder.endRecord();
    }
    return output;
}

}  // namespace quorel::DelimitedText
