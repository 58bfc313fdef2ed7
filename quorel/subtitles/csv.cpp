#include "quorel/subtitles/csv.h"

#include <cmath>
#include <utility>

#include "quorel/foundation/text.h"
#include "quorel/subtitles/cue_room_private.h"
#include "quorel/subtitles/delimited_text.h"
#include "quorel/subtitles/number_writing_private.h"
#include "quorel/subtitles/numbers_private.h"
#include "quorel/subtitles/subtitles_error.h"
#include "quorel/subtitles/text_blocks_private.h"
#include "quorel/subtitles/time_parsing.h"
#include "quorel/subtitles/time_writing_private.h"

namespace quorel {
namespace {

using Field = Subtitles::Coder::CSV::Field;

// The columns of one row.
struct Row {
    std::optional<std::string_view> identifier;
    std::optional<std::int64_t> position;
    std::optional<SubtitlesTime> start, end;
    std::optional<double> duration;
    std::optional<std::string_view> speaker;
    std::string_view text;
};

void readSeconds(std::string_view value, std::optional<SubtitlesTime>& time) {
    if (const auto seconds = detail::readDouble(value)) time = SubtitlesTime(*seconds);
}

void readColumn(Row& row, Field::Kind kind, std::string_view value) {
    switch (kind) {
        case Field::Kind::identifier:
            row.identifier = value;
            break;
        case Field::Kind::position:
            row.position = detail::readSigned(value);
            break;
        case Field::Kind::startTime:
            row.start = TimeParsing::parseIfPossible(value);
            break;
        case Field::Kind::startTimeInSeconds:
            readSeconds(value, row.start);
            break;
        case Field::Kind::endTime:
            row.end = TimeParsing::parseIfPossible(value);
            break;
        case Field::Kind::endTimeInSeconds:
            readSeconds(value, row.end);
            break;
        case Field::Kind::durationInSeconds:
            if (const auto duration = detail::readDouble(value)) row.duration = duration;
            break;
        case Field::Kind::speaker:
            row.speaker = value;
            break;
        case Field::Kind::text:
            row.text = value;
            break;
    }
}

SubtitlesTime endOf(const Row& row) {
    if (row.end) return *row.end;
    if (row.duration) {
        const double end = row.start->timeInSeconds() + *row.duration;
        if (std::isfinite(end)) return SubtitlesTime(end);
    }
    return *row.start;
}

SubtitlesCue makeCue(const Row& row, detail::TextBlocks& blocks) {
    const auto text = blocks.add(row.text);
    const auto identifier = blocks.add(row.identifier.value_or(""));
    const auto speaker = blocks.add(row.speaker.value_or(""));
    const std::string_view all = blocks.finish();
    SubtitlesCue::Fields fields{.position = row.position, .startTime = *row.start, .endTime = endOf(row)};
    fields.text = text.of(all);
    if (row.identifier) fields.identifier = identifier.of(all);
    if (row.speaker) fields.speaker = speaker.of(all);
    return SubtitlesCue::sharing(blocks.block(), fields);
}

void addColumn(DelimitedText::Encoder& encoder, std::string& scratch, Field::Kind kind, const SubtitlesCue& cue) {
    const auto add = [&](auto&& write) {
        scratch.clear();
        write();
        encoder.addField(scratch);
    };
    switch (kind) {
        case Field::Kind::identifier:
            return encoder.addField(cue.identifier().value_or(""));
        case Field::Kind::position:
            return encoder.addField(cue.position() ? std::to_string(*cue.position()) : std::string());
        case Field::Kind::startTime:
            return add([&] { detail::appendTime(scratch, cue.startTime(), ':'); });
        case Field::Kind::startTimeInSeconds:
            return add([&] { detail::appendDouble(scratch, cue.startTimeInSeconds()); });
        case Field::Kind::endTime:
            return add([&] { detail::appendTime(scratch, cue.endTime(), ':'); });
        case Field::Kind::endTimeInSeconds:
            return add([&] { detail::appendDouble(scratch, cue.endTimeInSeconds()); });
        case Field::Kind::durationInSeconds:
            return add([&] { detail::appendDouble(scratch, cue.duration()); });
        case Field::Kind::speaker:
            return encoder.addField(cue.speaker().value_or(""));
        case Field::Kind::text:
            return encoder.addField(cue.text());
    }
}

}  // namespace

const std::vector<Field>& Subtitles::Coder::CSV::DefaultFields() {
    static const std::vector<Field> fields{Field::position("No."), Field::startTime("Timecode In"),
                                           Field::endTime("Timecode Out"), Field::text("Subtitle")};
    return fields;
}

Subtitles::Coder::CSV::CSV(std::vector<Field> columns, Character delimiterCharacter,
                           std::optional<Character> escape, std::optional<Character> comment,
                           std::optional<std::size_t> headerLines, bool exportsColumnHeaders)
    : fields(std::move(columns)),
      delimiter(std::move(delimiterCharacter)),
      fieldEscapeCharacter(std::move(escape)),
      commentCharacter(std::move(comment)),
      headerLineCount(headerLines),
      exportColumnHeaders(exportsColumnHeaders) {}

bool Subtitles::Coder::CSV::operator==(const CSV& other) const {
    return fields == other.fields && delimiter == other.delimiter &&
           fieldEscapeCharacter == other.fieldEscapeCharacter && commentCharacter == other.commentCharacter &&
           headerLineCount == other.headerLineCount && exportColumnHeaders == other.exportColumnHeaders;
}

Subtitles Subtitles::Coder::CSV::decode(std::string_view content) const {
    if (!isValidUTF8(content)) throw SubTitlesError::notUTF8(content);
    DelimitedText::DecoderOptions options;
    options.delimiter = delimiter;
    options.fieldEscapeCharacter = fieldEscapeCharacter;
    options.commentCharacter = commentCharacter;
    options.headerLineCount = headerLineCount.value_or(0);
    options.keptColumns = fields.size();

    std::vector<Cue> cues;
    detail::TextBlocks blocks(content.size());
    DelimitedText::EventDrivenDecoder decoder(content, std::move(options));
    decoder.emitRecord = [&](std::size_t, std::span<const std::string_view> record) {
        Row row;
        for (std::size_t i = 0; i < record.size(); ++i) readColumn(row, fields[i].kind, record[i]);
        if (!row.start) return true;
        detail::makeRoom(cues, decoder.currentIndex(), content.size());
        cues.push_back(makeCue(row, blocks));
        return true;
    };
    decoder.readRecords();
    return Subtitles(std::move(cues));
}

std::string Subtitles::Coder::CSV::encode(const Subtitles& subtitles) const {
    std::string output;
    std::string scratch;
    DelimitedText::Encoder encoder(output, delimiter);
    if (exportColumnHeaders) {
        for (const Field& field : fields) encoder.addField(field.header);
        encoder.endRecord();
    }
    for (const Cue& cue : subtitles.cues()) {
        for (const Field& field : fields) addColumn(encoder, scratch, field.kind, cue);
        encoder.endRecord();
    }
    return output;
}

}  // namespace quorel
