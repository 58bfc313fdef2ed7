#include "sandbox/answer.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <utility>

namespace quorel::sandbox {

namespace {

std::string_view reasonPhrase(int status) {
    switch (status) {
        case 200:
            return "OK";
        case 204:
            return "No Content";
        case 206:
            return "Partial Content";
        case 302:
            return "Found";
        case 400:
            return "Bad Request";
        case 401:
            return "Unauthorized";
        case 403:
            return "Forbidden";
        case 404:
            return "Not Found";
        case 405:
            return "Method Not Allowed";
        case 416:
            return "Range Not Satisfiable";
        case 429:
            return "Too Many Requests";
        case 500:
            return "Internal Server Error";
        case 503:
            return "Service Unavailable";
        default:
            return "Fault";
    }
}

// Gives false when the file ends before `range` does, as after it was replaced.
bool writeFile(const std::filesystem::path& path, ByteRange range, http::HttpResponseBodyWriter& out) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file || fseeko(file.get(), static_cast<off_t>(range.offset), SEEK_SET) != 0) return false;
    std::array<std::uint8_t, 64 * 1024> buffer;
    for (std::uint64_t left = range.length; left > 0;) {
        const std::size_t wanted = std::min<std::uint64_t>(left, buffer.size());
        const std::size_t got = std::fread(buffer.data(), 1, wanted, file.get());
        if (got == 0) return false;
        out.write(std::span<const std::uint8_t>(buffer.data(), got));
        left -= got;
    }
    return true;
}

}  // namespace

Answer Answer::text(int status, std::string body, std::string contentType) {
    Answer answer;
    answer.status = status;
    answer.headers = {{"Content-Type", std::move(contentType)}, {"Cache-Control", "no-store"}};
    answer.body_ = std::move(body);
    return answer;
}

Answer Answer::json(int status, std::string body) {
    return text(status, std::move(body), "application/json");
}

Answer Answer::error(int status, const std::string& what) {
    return json(status, serializeJSON(JSONObject{{"error", what}}));
}

Answer Answer::methodNotAllowed(std::string_view allowed) {
    Answer answer = error(405, fmt::format("only {} here", allowed));
    answer.headers.emplace("Allow", allowed);
    return answer;
}

Answer Answer::file(const MediaFile& file, std::optional<std::string_view> rangeHeader) {
    const RangeAnswer wanted = resolveRange(rangeHeader, file.size);
    if (wanted.kind == RangeAnswer::Kind::unsatisfiable) {
        Answer answer = error(416, fmt::format("the file has {} bytes", file.size));
        answer.headers.emplace("Content-Range", fmt::format("bytes */{}", file.size));
        return answer;
    }
    Answer answer;
    answer.headers = {{"Content-Type", std::string(file.contentType)}, {"Accept-Ranges", "bytes"}};
    answer.file_ = file.path;
    answer.range_ = wanted.range;
    if (wanted.kind == RangeAnswer::Kind::partial) {
        answer.status = 206;
        answer.headers.emplace("Content-Range",
                               fmt::format("bytes {}-{}/{}", wanted.range.offset,
                                           wanted.range.offset + wanted.range.length - 1, file.size));
    }
    return answer;
}

Answer Answer::after(const Fault& fault, const std::string& path) && {
    using Broken = Fault::Broken;
    Answer answer = std::move(*this);
    if (fault.status) answer = error(*fault.status, "a fault that was asked for");
    switch (fault.broken) {
        case Broken::no:
            break;
        case Broken::json:
            if (!fault.status) answer = json(200, R"({"title":"half a te)");
            break;
        case Broken::stall:
            answer.stall_ = fault.delay;
            [[fallthrough]];
        case Broken::cut:
            answer.cut_ = true;
            break;
        case Broken::garbage: {
            std::string noise(answer.file_.empty() ? answer.body_.size() : answer.range_.length, '\0');
            std::uint32_t state = 1;
            for (char& c : noise) c = static_cast<char>((state = state * 1664525U + 1013904223U) >> 24U);
            answer.file_.clear();
            answer.body_ = std::move(noise);
            break;
        }
        case Broken::lie:
            answer =
                text(200, "<!DOCTYPE html><title>Welcome to the hotel</title><p>Please log in.\n", "text/html");
            break;
        case Broken::loop:
            answer = error(302, "over there");
            answer.headers.emplace("Location", path);
            break;
    }
    return answer;
}

http::HttpResponse Answer::response(bool withBody, const Wait& wait) && {
    const std::uint64_t length = file_.empty() ? body_.size() : range_.length;
    headers.insert_or_assign("Content-Length", std::to_string(length));
    headers.insert_or_assign("Connection", "close");
    http::HttpBodyWriteFunction write;
    if (withBody && file_.empty()) {
        if (cut_) body_.resize(body_.size() / 2);
        write = [body = std::move(body_)](http::HttpResponseBodyWriter& out) {
            out.write(std::string_view(body));
        };
    } else if (withBody) {
        if (cut_) range_.length /= 2;
        // A file that has become shorter ends the connection early, which is what its announced length says.
        write = [path = std::move(file_), range = range_](http::HttpResponseBodyWriter& out) {
            writeFile(path, range, out);
        };
    }
    if (write && wait && stall_.count() > 0) {
        write = [half = std::move(write), wait, stall = stall_](http::HttpResponseBodyWriter& out) {
            half(out);
            wait(stall);
        };
    }
    return http::HttpResponse::raw(status, std::string(reasonPhrase(status)), std::move(headers),
                                   std::move(write));
}

}  // namespace quorel::sandbox
