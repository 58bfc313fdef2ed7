// The one error type of the subtitle formats, but for those in JSON (json.h).
//
//   try { ... } catch (const SubTitlesError& error) {
//       if (error.code() == SubTitlesError::Code::invalidTime) point(error.line());
//   }
//
// The payload is all that a program goes by; what() renders case and payload, "invalidTime(12)", for logs. For people
// who have to mend the file there is diagnosis(). A value.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "quorel/foundation/error.h"
#include "quorel/subtitles/cue.h"
#include "quorel/subtitles/export.h"

namespace quorel {

class QUOREL_SUBTITLES_API SubTitlesError : public Error {
public:
    enum class Code {
        unsupportedFileType,          // fileExtension(): no coder has it
        invalidPosition,              // line(): the index line of a cue is no integer
        invalidTime,                  // line(), or -1: a timing line or a time cannot be read
        missingText,                  // line(); not thrown at present
        unexpectedEndOfCue,           // line(); not thrown at present
        timeTooLargeToExport,         // cue(): its time does not fit the format
        invalidFile,                  // the structure of the file is wrong
        unexpectedEOF,                // the file ends where it must not
        invalidEncoding,              // bytes are no text in the encoding, or text cannot be written in it
        coderGeneratesBinaryContent,  // text was asked of a coder that has no text form
        coderDoesntSupportEncoding,   // the coder cannot write at all, or not in this encoding
    };

    // The base of line numbers, 0 or 1, differs from format to format; see each coder.
    static SubTitlesError unsupportedFileType(std::string_view fileExtension);
    static SubTitlesError invalidPosition(std::int64_t line) {
        return SubTitlesError(Code::invalidPosition, line);
    }
    static SubTitlesError invalidTime(std::int64_t line) { return SubTitlesError(Code::invalidTime, line); }
    static SubTitlesError missingText(std::int64_t line) { return SubTitlesError(Code::missingText, line); }
    static SubTitlesError unexpectedEndOfCue(std::int64_t line) {
        return SubTitlesError(Code::unexpectedEndOfCue, line);
    }
    static SubTitlesError timeTooLargeToExport(const SubtitlesCue& cue);
    static SubTitlesError invalidFile() { return SubTitlesError(Code::invalidFile); }
    static SubTitlesError unexpectedEOF() { return SubTitlesError(Code::unexpectedEOF); }
    static SubTitlesError invalidEncoding() { return SubTitlesError(Code::invalidEncoding); }
    // The same for a text that is not UTF-8, diagnosed.
    static SubTitlesError notUTF8(std::string_view text);
    static SubTitlesError coderGeneratesBinaryContent() {
        return SubTitlesError(Code::coderGeneratesBinaryContent);
    }
    static SubTitlesError coderDoesntSupportEncoding() { return SubTitlesError(Code::coderDoesntSupportEncoding); }

    Code code() const { return code_; }
    // Each has a value in the cases that name it above, and is 0, empty or absent in all others.
    std::int64_t line() const { return line_; }
    const std::string& fileExtension() const { return fileExtension_; }
    const std::optional<SubtitlesCue>& cue() const { return cue_; }

    // Where the trouble lies and what it is, as a compiler would say it: "film.srt:12: error: expected ...".
    struct Diagnosis {
        std::int64_t line = 0;  // of the text that is read or written, from 1; 0 where no line is to blame
        std::string message;    // no sentence, no full stop
        std::string found;      // what stands on that line, shortened; may be empty
    };
    // Present in what the decoders of text throw. Takes no part in comparison, nor in what().
    const std::optional<Diagnosis>& diagnosis() const { return diagnosis_; }
    // The same error with a diagnosis.
    SubTitlesError at(std::int64_t line, std::string_view found, std::string message) const;

    friend bool operator==(const SubTitlesError& a, const SubTitlesError& b) {
        return a.code_ == b.code_ && a.line_ == b.line_ && a.fileExtension_ == b.fileExtension_ &&
               a.cue_ == b.cue_;
    }

private:
    explicit SubTitlesError(Code code);
    SubTitlesError(Code code, std::int64_t line);
    SubTitlesError(Code code, const std::string& payload);

    Code code_;
    std::int64_t line_ = 0;
    std::string fileExtension_;
    std::optional<SubtitlesCue> cue_;
    std::optional<Diagnosis> diagnosis_;
};

}  // namespace quorel
