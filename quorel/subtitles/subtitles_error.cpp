#include "quorel/subtitles/subtitles_error.h"

#include <cstddef>
#include <utility>

#include "quorel/foundation/text.h"
#include "quorel/subtitles/lines_private.h"
#include "quorel/subtitles/time.h"

namespace quorel {
namespace {

const char* nameOf(SubTitlesError::Code code) {
    switch (code) {
        case SubTitlesError::Code::unsupportedFileType:
            return "unsupportedFileType";
        case SubTitlesError::Code::invalidPosition:
            return "invalidPosition";
        case SubTitlesError::Code::invalidTime:
            return "invalidTime";
        case SubTitlesError::Code::missingText:
            return "missingText";
        case SubTitlesError::Code::unexpectedEndOfCue:
            return "unexpectedEndOfCue";
        case SubTitlesError::Code::timeTooLargeToExport:
            return "timeTooLargeToExport";
        case SubTitlesError::Code::invalidFile:
            return "invalidFile";
        case SubTitlesError::Code::unexpectedEOF:
            return "unexpectedEOF";
        case SubTitlesError::Code::invalidEncoding:
            return "invalidEncoding";
        case SubTitlesError::Code::coderGeneratesBinaryContent:
            return "coderGeneratesBinaryContent";
        case SubTitlesError::Code::coderDoesntSupportEncoding:
            return "coderDoesntSupportEncoding";
    }
    return "";
}

}  // namespace

SubTitlesError::SubTitlesError(Code code) : Error(nameOf(code)), code_(code) {}

SubTitlesError::SubTitlesError(Code code, std::int64_t line)
    : Error(std::string(nameOf(code)) + "(" + std::to_string(line) + ")"), code_(code), line_(line) {}

SubTitlesError::SubTitlesError(Code code, const std::string& payload)
    : Error(std::string(nameOf(code)) + "(" + payload + ")"), code_(code) {}

SubTitlesError SubTitlesError::at(std::int64_t line, std::string_view found, std::string message) const {
    constexpr std::size_t longest = 120;
    if (found.size() > longest) {
        std::size_t end = longest;
        while (end > 0 && (static_cast<unsigned char>(found[end]) & 0xC0) == 0x80) --end;
        found = found.substr(0, end);
    }
    SubTitlesError error = *this;
    error.diagnosis_ = Diagnosis{line, std::move(message), std::string(found)};
    return error;
}

SubTitlesError SubTitlesError::unsupportedFileType(std::string_view fileExtension) {
    SubTitlesError error(Code::unsupportedFileType, std::string(fileExtension));
    error.fileExtension_ = fileExtension;
    return error;
}

SubTitlesError SubTitlesError::notUTF8(std::string_view text) {
    LineReader lines(text);
    for (std::string_view line; lines.next(line);) {
        if (!isValidUTF8(line)) break;
    }
    return invalidEncoding().at(lines.number() + 1, {}, "the bytes are no text in UTF-8");
}

SubTitlesError SubTitlesError::timeTooLargeToExport(const SubtitlesCue& cue) {
    SubTitlesError error(Code::timeTooLargeToExport, cue.startTime().text());
    error.cue_ = cue;
    return error;
}

}  // namespace quorel
