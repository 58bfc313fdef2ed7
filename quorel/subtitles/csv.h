// Comma-separated values: one cue in a row, its parts in columns that are named once.
//
//   Subtitles::Coder::CSV().decode("1,00:00:01:000,00:00:02:500,Hello\n");
//   using Field = Subtitles::Coder::CSV::Field;
//   const Subtitles::Coder::CSV timed({Field::startTimeInSeconds("Start"), Field::text("Text")}, ';');
//   timed.encode(document);                  // "\"Start\";\"Text\"\r\n\"1\";\"Hello\"\r\n..."
//
// Rows and fields are read as delimited_text.h says. A coder is a value; any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/subtitles/character.h"
#include "quorel/subtitles/coder.h"
#include "quorel/subtitles/export.h"
#include "quorel/subtitles/subtitles.h"

namespace quorel {

class QUOREL_SUBTITLES_API Subtitles::Coder::CSV final : public SubtitlesLineCoder<Subtitles::Coder::CSV> {
public:
    static constexpr std::string_view extn = "csv";

    // A column: what it holds, and the text of its header. The header is only written; reading goes by the order.
    struct Field {
        // What a column holds.
        enum class Kind {
            identifier,
            position,            // an integer; anything else reads as absent
            startTime,           // as TimeParsing reads it; written as 00:01:02:500
            startTimeInSeconds,  // a decimal number, not negative: a negative one stops the process, as any such
                                 // time
            endTime,
            endTimeInSeconds,
            durationInSeconds,  // makes the end where there is no end; one below zero stops the process as well
            speaker,
            text,
        };
        Kind kind;
        std::string header;

        // A column of each kind.
        static Field identifier(std::string header) { return {Kind::identifier, std::move(header)}; }
        static Field position(std::string header) { return {Kind::position, std::move(header)}; }
        static Field startTime(std::string header) { return {Kind::startTime, std::move(header)}; }
        static Field startTimeInSeconds(std::string header) {
            return {Kind::startTimeInSeconds, std::move(header)};
        }
        static Field endTime(std::string header) { return {Kind::endTime, std::move(header)}; }
        static Field endTimeInSeconds(std::string header) { return {Kind::endTimeInSeconds, std::move(header)}; }
        static Field durationInSeconds(std::string header) { return {Kind::durationInSeconds, std::move(header)}; }
        static Field speaker(std::string header) { return {Kind::speaker, std::move(header)}; }
        static Field text(std::string header) { return {Kind::text, std::move(header)}; }

        bool operator==(const Field&) const = default;
    };
    // "No." (position), "Timecode In" and "Timecode Out" (the times), "Subtitle" (text).
    static const std::vector<Field>& DefaultFields();

    std::vector<Field> fields;
    Character delimiter;
    std::optional<Character> fieldEscapeCharacter;
    std::optional<Character> commentCharacter;
    // Lines that are skipped at the start; absent: none.
    std::optional<std::size_t> headerLineCount;
    bool exportColumnHeaders;

    // The arguments are the fields above.
    explicit CSV(std::vector<Field> fields = DefaultFields(), Character delimiter = Character::comma(),
                 std::optional<Character> fieldEscapeCharacter = {},
                 std::optional<Character> commentCharacter = {}, std::optional<std::size_t> headerLineCount = {},
                 bool exportColumnHeaders = true);

    using SubtitlesLineCoder::decode;
    using SubtitlesLineCoder::encode;
    // Of malformed content nothing is thrown: a row without a start that can be read is no cue, and so a row of
    // headers falls away by itself. A byte-order mark is part of the first field. An end before its start becomes
    // it.
    Subtitles decode(std::string_view content) const override;
    std::string encode(const Subtitles& subtitles) const override;

    bool operator==(const CSV& other) const;
};

}  // namespace quorel
