#include "quorel/httpserver/http_parser.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "quorel/foundation/text.h"
#include "quorel/foundation/url.h"
#include "quorel/httpserver/latin1.h"

namespace quorel::http {

namespace {

std::string described(HttpParserError::Code code, const std::string& message) {
    switch (code) {
        case HttpParserError::Code::invalidStatusLine:
            return "invalidStatusLine: " + message;
        case HttpParserError::Code::negativeContentLength:
            return "negativeContentLength";
        case HttpParserError::Code::headTooLong:
            return "headTooLong";
        case HttpParserError::Code::bodyTooLong:
            return "bodyTooLong";
    }
    return message;
}

// Hands out the lines of a head. What it has handed out it takes from the socket late, in one call with the part
// of the body that has already arrived; what lies behind stays in the socket.
class HeadReader {
public:
    HeadReader(Socket& socket, std::size_t limit) : socket_(socket), limit_(limit) {}

    // The bytes of the next line with its line end, good until the next call.
    std::string_view line() {
        carried_.clear();
        while (true) {
            const std::string_view rest(reinterpret_cast<const char*>(window_.data()) + used_, have_ - used_);
            const std::size_t end = rest.find('\n');
            const std::string_view part = rest.substr(0, end == rest.npos ? end : end + 1);
            if (part.size() > limit_ - total_) throw HttpParserError(HttpParserError::Code::headTooLong);
            total_ += part.size();
            used_ += part.size();
            if (end != rest.npos && carried_.empty()) return part;
            carried_.append(part);
            if (end != rest.npos) return carried_;
            // Part of a line: taken now, or the next peek would show the same bytes again instead of waiting.
            take();
            have_ = socket_.peek(window_);
        }
    }

    // Takes the lines handed out so far.
    void take() { take(0); }

    // The same and up to `length` bytes behind them, as far as they have arrived; gives those, good until the next
    // call.
    std::span<const std::uint8_t> take(std::uint64_t length) {
        const std::size_t begin = used_;
        used_ += static_cast<std::size_t>(std::min<std::uint64_t>(length, have_ - used_));
        const std::size_t end = used_;
        socket_.take(std::span(window_).first(end));
        used_ = have_ = 0;
        return std::span(window_).subspan(begin, end - begin);
    }

private:
    Socket& socket_;
    const std::size_t limit_;
    std::size_t total_ = 0;
    std::size_t have_ = 0;
    std::size_t used_ = 0;
    std::string carried_;
    std::array<std::uint8_t, 8 * 1024> window_;
};

// The line's text; a view of the line itself in the usual case that it is ASCII.
std::string_view lineText(std::string_view line, std::string& scratch) {
    while (!line.empty() && !keptInLine(line.back())) line.remove_suffix(1);
    if (std::all_of(line.begin(), line.end(), [](char c) { return c > 13; })) return line;
    scratch.clear();
    appendLatin1Line(scratch, line);
    return scratch;
}

void parseQuery(std::string_view query, HttpRequest& request) {
    for (const std::string_view item : split(query, '&')) {
        const std::size_t equals = item.find('=');
        request.queryParams.emplace_back(item.substr(0, equals),
                                         equals == item.npos ? std::string_view() : item.substr(equals + 1));
    }
}

void parseTarget(std::string_view target, HttpRequest& request) {
    // What the encoding below encodes, the components decode again. So for a target that is a path and a query and
    // nothing else both come out as they were sent, escapes included, and need no URL to be made.
    if (target.starts_with('/') && !target.starts_with("//")) {
        const std::size_t mark = target.find('?');
        request.path = target.substr(0, mark);
        if (mark != target.npos && mark + 1 != target.size()) parseQuery(target.substr(mark + 1), request);
        return;
    }
    const auto components = URLComponents::parse(addingPercentEncoding(target, CharacterSet::urlQueryAllowed));
    if (!components) return;
    request.path = components->path();
    if (const auto items = components->queryItems())
        for (const URLQueryItem& item : *items)
            request.queryParams.emplace_back(item.name, item.value.value_or(""));
}

// Of a text that holds ASCII and Latin-1 letters: those from U+00C0 on are the byte C3 and another one.
std::string lowercased(std::string_view name) {
    std::string lower(name);
    bool behindC3 = false;
    for (char& c : lower) {
        const auto u = static_cast<unsigned char>(c);
        if ((u >= 'A' && u <= 'Z') || (behindC3 && u <= 0x9E && u != 0x97)) c = static_cast<char>(u + 0x20);
        behindC3 = u == 0xC3;
    }
    return lower;
}

bool parseRequestLine(std::string_view line, HttpRequest& request) {
    const std::size_t first = line.find(' ');
    const std::size_t second = first == line.npos ? line.npos : line.find(' ', first + 1);
    if (second == line.npos) return false;
    request.method = line.substr(0, first);
    parseTarget(line.substr(first + 1, second - first - 1), request);
    return true;
}

void parseHeaderLine(std::string_view rawLine, std::string& scratch, HttpHeaders& headers) {
    const std::string_view line = lineText(rawLine, scratch);
    const std::size_t begin = line.find_first_not_of(':');
    if (begin == line.npos) return;
    const std::size_t colon = line.find(':', begin);
    const std::string_view name = line.substr(begin, colon == line.npos ? colon : colon - begin);
    const std::string_view rest = colon == line.npos ? std::string_view() : line.substr(colon + 1);

    // A header without anything behind its name has its own name for a value, as written.
    headers.insert_or_assign(lowercased(name), std::string(trimmedBlanks(rest.empty() ? name : rest)));
}

// RFC 9110 10.1.1: clients with much to send wait for a word, but not for good. HTTP/1.0 does not know it.
bool waitsForContinue(const HttpHeaders& headers) {
    const auto header = headers.find("expect");
    return header != headers.end() && asciiEqualsIgnoringCase(header->second, "100-continue");
}

// Absent when the text is not a decimal number of 64 bits with an optional sign.
std::optional<std::int64_t> decimal(std::string_view text) {
    if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
    std::int64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end) return std::nullopt;
    return value;
}

}  // namespace

HttpParserError::HttpParserError(Code code, std::string message)
    : Error(described(code, message)), code_(code), message_(std::move(message)) {}

HttpRequest HttpParser::readHttpRequest(Socket& socket) const {
    using Code = HttpParserError::Code;
    HttpRequest request;
    HeadReader head(socket, limits_.head);
    std::string scratch;

    const std::string_view requestLine = lineText(head.line(), scratch);
    if (!parseRequestLine(requestLine, request)) {
        HttpParserError error(Code::invalidStatusLine, std::string(requestLine));
        head.take();
        throw error;
    }
    const bool isOld = requestLine.ends_with(" HTTP/1.0");
    while (true) {
        const std::string_view line = head.line();
        if (std::none_of(line.begin(), line.end(), keptInLine)) break;
        parseHeaderLine(line, scratch, request.headers);
    }

    std::int64_t length = 0;
    if (const auto header = request.headers.find("content-length"); header != request.headers.end())
        length = decimal(header->second).value_or(0);
    const auto arrived = head.take(length > 0 && length <= limits_.body ? static_cast<std::uint64_t>(length) : 0);
    if (length < 0) throw HttpParserError(Code::negativeContentLength);
    if (length > limits_.body) throw HttpParserError(Code::bodyTooLong);
    request.body.assign(arrived.begin(), arrived.end());
    if (length > 0 && arrived.empty() && !isOld && waitsForContinue(request.headers))
        socket.writeUTF8("HTTP/1.1 100 Continue\r\n\r\n");
    socket.readAppending(request.body, static_cast<std::uint64_t>(length) - arrived.size());
    return request;
}

}  // namespace quorel::http
