#include "quorel/httpserver/http_request.h"

#include <algorithm>
#include <cstddef>

#include "quorel/foundation/text.h"
#include "quorel/foundation/url.h"
#include "quorel/httpserver/latin1.h"

namespace quorel::http {

namespace {

// The pieces of the content type, when the first is `type`; else none.
std::vector<std::string_view> contentTypePieces(const HttpHeaders& headers, std::string_view type) {
    const auto header = headers.find("content-type");
    if (header == headers.end()) return {};
    std::vector<std::string_view> pieces = split(header->second, ';');
    for (std::string_view& piece : pieces) piece = trimmedWhitespaceAndNewlines(piece);
    if (pieces.front() != type) pieces.clear();
    return pieces;
}

std::string unquote(std::string_view text) {
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"') text = text.substr(1, text.size() - 2);
    return std::string(text);
}

std::optional<std::string> dispositionValue(const HttpHeaders& headers, std::string_view name) {
    const auto header = headers.find("content-disposition");
    if (header == headers.end()) return std::nullopt;
    for (const std::string_view piece : split(header->second, ';')) {
        const std::string_view trimmed = trimmedWhitespaceAndNewlines(piece);
        const std::size_t equals = trimmed.find('=');
        if (equals != trimmed.npos && trimmed.substr(0, equals) == name)
            return unquote(trimmed.substr(equals + 1));
    }
    return std::nullopt;
}

std::string_view asText(const std::vector<std::uint8_t>& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

class MultiPartReader {
public:
    MultiPartReader(std::string_view body, std::string boundaryLine)
        : rest_(body), boundaryLine_(std::move(boundaryLine)) {}

    std::optional<HttpRequest::MultiPart> first() {
        if (line() != boundaryLine_) return std::nullopt;
        return part();
    }

    std::optional<HttpRequest::MultiPart> next() {
        line();  // what stands behind the boundary that ended the part before: its line end, or "--"
        return part();
    }

private:
    // Absent at the end of the body, and for a line that is not UTF-8.
    std::optional<std::string> line() {
        if (rest_.empty()) return std::nullopt;
        const std::string_view bytes = rest_.substr(0, rest_.find('\n'));
        rest_.remove_prefix(std::min(bytes.size() + 1, rest_.size()));
        std::string text;
        std::copy_if(bytes.begin(), bytes.end(), std::back_inserter(text), keptInLine);
        if (!isValidUTF8(text)) return std::nullopt;
        return text;
    }

    std::optional<HttpRequest::MultiPart> part() {
        HttpRequest::MultiPart result;
        for (std::optional<std::string> header = line(); header && !header->empty(); header = line()) {
            const auto pieces = split(*header, ':');
            if (pieces.size() == 2)
                result.headers.insert_or_assign(asciiLowercased(pieces[0]), std::string(trimmedBlanks(pieces[1])));
        }
        const std::optional<std::size_t> end = endOfBoundary();
        if (!end) return std::nullopt;
        std::string_view content = rest_.substr(0, *end - boundaryLine_.size());
        rest_.remove_prefix(*end);
        if (content.ends_with('\n')) {
            content.remove_suffix(1);
            if (content.ends_with('\r')) content.remove_suffix(1);
        }
        result.body.assign(content.begin(), content.end());
        return result;
    }

    // Behind the first boundary line, as a matcher finds it that never looks twice at a byte: the one that breaks
    // a partial match is not tried as the beginning of the next.
    std::optional<std::size_t> endOfBoundary() const {
        std::size_t matched = 0;
        for (std::size_t i = 0; i < rest_.size(); ++i) {
            matched = rest_[i] == boundaryLine_[matched] ? matched + 1 : 0;
            if (matched == boundaryLine_.size()) return i + 1;
        }
        return std::nullopt;
    }

    std::string_view rest_;
    const std::string boundaryLine_;
};

}  // namespace

std::optional<std::string> HttpRequest::MultiPart::name() const {
    return dispositionValue(headers, "name");
}

std::optional<std::string> HttpRequest::MultiPart::fileName() const {
    return dispositionValue(headers, "filename");
}

bool HttpRequest::hasTokenForHeader(std::string_view headerName, std::string_view token) const {
    const auto header = headers.find(headerName);
    if (header == headers.end()) return false;
    const auto pieces = split(header->second, ',');
    return std::any_of(pieces.begin(), pieces.end(),
                       [&](std::string_view piece) { return asciiLowercased(trimmedBlanks(piece)) == token; });
}

std::vector<std::pair<std::string, std::string>> HttpRequest::parseUrlencodedForm() const {
    if (contentTypePieces(headers, "application/x-www-form-urlencoded").empty() || !isValidUTF8(asText(body)))
        return {};
    std::vector<std::pair<std::string, std::string>> entries;
    for (const std::string_view piece : split(asText(body), '&')) {
        auto& [name, value] = entries.emplace_back();
        const auto sides = split(piece, '=');
        auto left = removingPercentEncoding(sides.front());
        auto right = removingPercentEncoding(sides.back());
        if (sides.size() != 2 || !left || !right) continue;
        std::replace(left->begin(), left->end(), '+', ' ');
        std::replace(right->begin(), right->end(), '+', ' ');
        name = std::move(*left);
        value = std::move(*right);
    }
    return entries;
}

std::vector<HttpRequest::MultiPart> HttpRequest::parseMultiPartFormData() const {
    std::string boundary;
    for (const std::string_view piece : contentTypePieces(headers, "multipart/form-data")) {
        const auto sides = split(piece, '=');
        if (sides.size() == 2 && sides[0] == "boundary") boundary = sides[1];
    }
    if (boundary.empty()) return {};

    std::vector<MultiPart> parts;
    MultiPartReader reader(asText(body), "--" + boundary);
    for (auto part = reader.first(); part; part = reader.next()) parts.push_back(std::move(*part));
    return parts;
}

}  // namespace quorel::http
