#include "engines/gstreamer/failure.h"

#include <fmt/format.h>

#include <algorithm>

#include "quorel/foundation/text.h"

namespace quorel::gstreamer {
namespace {

std::string beginning(std::string_view body) {
    constexpr std::size_t length = 40;
    body = trimmedWhitespaceAndNewlines(body);
    const std::string_view line = body.substr(0, std::min(length, body.find_first_of("\r\n")));
    std::string text;
    for (const char c : line) text += c >= ' ' && c < 127 ? c : '?';
    return text;
}

}  // namespace

bool isPlaylist(std::string_view body) {
    static constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (body.starts_with(byteOrderMark)) body.remove_prefix(byteOrderMark.size());
    return body.starts_with("#EXTM3U");
}

std::string describeNoPlaylist(const std::string& what, std::string_view body) {
    const std::string text = beginning(body);
    if (text.empty()) return fmt::format("{} cannot be played: the server's reply is empty.", what);
    if (text.front() == '<') {
        return fmt::format("{} cannot be played: the reply is a web page that begins with \"{}\".", what, text);
    }
    return fmt::format("{} cannot be played: the reply is no playlist, it begins with \"{}\".", what, text);
}

std::string describeStatus(const std::string& what, int status) {
    switch (status) {
        case 401:
            return fmt::format("{} asks for a login (401).", what);
        case 403:
            return fmt::format("{} is forbidden to this viewer (403).", what);
        case 404:
            return fmt::format("{} was not found (404).", what);
        case 410:
            return fmt::format("{} is gone for good (410).", what);
        case 429:
            return fmt::format("{} was asked for too often; try again later (429).", what);
        default:
            break;
    }
    if (status >= 500) return fmt::format("{} could not be delivered: its server has a fault ({}).", what, status);
    return fmt::format("{} could not be loaded: its server refused it ({}).", what, status);
}

std::string describe(const Failure& failure, const std::string& url) {
    const std::string stream = "The stream " + url;
    const std::string part = failure.hadPlayed ? "A part of the stream " + url : stream;
    if (!failure.explanation.empty()) return failure.explanation;
    switch (failure.kind) {
        case Failure::Kind::setup:
            return failure.message;
        case Failure::Kind::noAddress:
            return "The source has no address to play from.";
        case Failure::Kind::adInsertion:
            return "This engine cannot play streams of an ad insertion service.";
        case Failure::Kind::stalled:
            return fmt::format("{} did not deliver anything for {:g} seconds. Check the network and the server.",
                               stream, failure.seconds);
        case Failure::Kind::noMedia:
            return fmt::format("The address {} holds neither pictures nor sound.", url);
        case Failure::Kind::format: {
            std::string formats;
            for (const std::string& format : failure.formats) formats += (formats.empty() ? "" : ", ") + format;
            return fmt::format("{} is in a format that no installed decoder can play ({}).", stream, formats);
        }
        case Failure::Kind::source:
            if (failure.httpStatus >= 400) return describeStatus(part, failure.httpStatus);
            return fmt::format("{} could not be loaded: {}", part, failure.message);
        case Failure::Kind::output:
            return fmt::format("The sound output failed: {}", failure.message);
        case Failure::Kind::other:
            break;
    }
    return fmt::format("{} could not be played: {}", stream, failure.message);
}

}  // namespace quorel::gstreamer
