#include "quorel/subtitles/text_file.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

#include "quorel/foundation/text.h"
#include "quorel/subtitles/subtitles_error.h"

namespace quorel {

std::string readFile(const URL& fileURL) {
    const std::string host = fileURL.host().value_or("");
    if (!asciiEqualsIgnoringCase(fileURL.scheme().value_or(""), "file") ||
        !(host.empty() || host == "localhost")) {
        throw std::system_error(std::make_error_code(std::errc::protocol_not_supported), fileURL.absoluteString());
    }
    const std::string path = fileURL.path();
    const auto failure = [&](int code) { return std::system_error(code, std::generic_category(), path); };
    // The file system would take the part before a NUL for the whole.
    if (path.find('\0') != std::string::npos) throw failure(ENOENT);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (!file) throw failure(errno);
    std::string bytes;
    char buffer[64 * 1024];
    while (const std::size_t count = std::fread(buffer, 1, sizeof buffer, file.get())) bytes.append(buffer, count);
    if (std::ferror(file.get()) != 0) throw failure(errno);
    return bytes;
}

std::string readTextFile(const URL& fileURL, const TextEncoding& encoding) {
    std::string text = decodeText(readFile(fileURL), encoding);
    text.erase(0, text.size() - droppingByteOrderMark(text).size());
    return text;
}

DetectedText readTextFileDetectingEncoding(const URL& fileURL) {
    auto detected = decodeDetectingEncoding(readFile(fileURL));
    if (!detected) throw SubTitlesError::invalidEncoding();
    return *std::move(detected);
}

}  // namespace quorel
