#include "tools/quorel-subtitles/failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <new>
#include <optional>
#include <system_error>

#include "quorel/foundation/text.h"
#include "quorel/subtitles/cue.h"
#include "quorel/subtitles/json.h"
#include "quorel/subtitles/subtitles_error.h"
#include "quorel/subtitles/time.h"

namespace quorel::subtitles_tool {
namespace {

std::string sentence(const SubTitlesError& error) {
    switch (error.code()) {
        case SubTitlesError::Code::timeTooLargeToExport:
            return fmt::format("the format ends before 100 minutes, and there is a cue at {}",
                               error.cue()->startTime().text());
        case SubTitlesError::Code::coderDoesntSupportEncoding:
            return "the format can only be read";
        case SubTitlesError::Code::invalidEncoding:
            return "the bytes are no text in the encoding";
        default:
            return error.what();
    }
}

}  // namespace

Failure currentFailure(std::string_view text) {
    try {
        throw;
    } catch (const Failure& failure) {
        return failure;
    } catch (const SubTitlesError& error) {
        const auto& diagnosis = error.diagnosis();
        if (!diagnosis) return {sentence(error)};
        return {diagnosis->message, diagnosis->line, diagnosis->found};
    } catch (const SubtitlesJSONError& error) {
        const std::string_view before = text.substr(0, std::min(error.offset(), text.size()));
        return {error.what(), 1 + std::count(before.begin(), before.end(), '\n')};
    } catch (const std::bad_alloc&) {
        return {"there is not enough memory for it"};
    } catch (const std::length_error&) {
        return {"there is not enough memory for it"};
    } catch (const std::exception& error) {
        return {error.what()};
    }
}

Failure systemFailure(std::string_view what, int code) {
    return {fmt::format("{}: {}", what, std::generic_category().message(code))};
}

std::string printable(std::string_view text) {
    const bool isText = isValidUTF8(text);
    std::string result(text);
    for (char& c : result) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte == '\t') c = ' ';
        if (byte < 0x20 || byte == 0x7F || (!isText && byte >= 0x80)) c = byte == '\t' ? ' ' : '?';
    }
    return result;
}

}  // namespace quorel::subtitles_tool
