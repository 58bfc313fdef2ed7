#include "tools/quorel-subtitles/reading.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "quorel/subtitles/coder.h"
#include "quorel/subtitles/sub.h"
#include "tools/quorel-subtitles/trial.h"

namespace quorel::subtitles_tool {
namespace {

const Format& formatOf(const Input& input, const Arguments& arguments) {
    if (arguments.from) return *findFormat(*arguments.from);
    std::string extension = input.path.extension().string();
    if (!extension.empty()) extension.erase(0, 1);
    if (const Format* format = findFormat(extension)) return *format;
    throw Failure{extension.empty()
                      ? std::string("the name has no extension; say the format with --from")
                      : fmt::format("no format has the extension '{}'; say the format with --from", extension)};
}

class Descriptor {
public:
    explicit Descriptor(const Input& input)
        : number_(input.isStandard() ? STDIN_FILENO : open(input.path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (number_ < 0) fail();
    }
    ~Descriptor() {
        if (number_ != STDIN_FILENO) close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    std::string readAll() const {
        std::string bytes;
        struct stat status {};
        std::size_t next = 64 * 1024;
        // One more, so that the end is found without room for more.
        if (fstat(number_, &status) == 0 && S_ISREG(status.st_mode))
            next = static_cast<std::size_t>(status.st_size) + 1;
        for (std::size_t size = 0;;) {
            if (size == bytes.size()) bytes.resize(size + std::max(next, size));
            next = 64 * 1024;
            const ssize_t count = ::read(number_, bytes.data() + size, bytes.size() - size);
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) fail();
            size += static_cast<std::size_t>(count);
            if (count == 0) {
                bytes.resize(size);
                return bytes;
            }
        }
    }

private:
    [[noreturn]] static void fail() { throw systemFailure("cannot be read", errno); }

    int number_;
};

std::unique_ptr<SubtitlesCodable> makeCoder(const Format& format, const Arguments& arguments) {
    if (format.extension == Subtitles::Coder::SUB::extn) {
        return std::make_unique<Subtitles::Coder::SUB>(arguments.framesPerSecond);
    }
    return Subtitles::Coder::coder(format.extension);
}

// The text of the bytes, which go.
std::string textOf(std::string bytes, const Arguments& arguments, TextEncoding& encoding) {
    if (arguments.encoding) {
        encoding = *arguments.encoding;
        std::string storage;
        const std::string_view text = decodeText(bytes, encoding, storage);
        if (text.data() == storage.data())
            return storage.starts_with("\xEF\xBB\xBF") ? storage.substr(3) : storage;
        return bytes.starts_with("\xEF\xBB\xBF") ? bytes.substr(3) : bytes;
    }
    auto detected = decodeDetectingEncoding(bytes);
    if (!detected) throw Failure{"the encoding cannot be told from the bytes; say it with --encoding"};
    encoding = detected->encoding;
    return std::move(detected->text);
}

}  // namespace

Reading read(const Input& input, const Arguments& arguments) {
    if (input.failure) throw Failure(*input.failure);
    std::string text;
    try {
        const Format& format = formatOf(input, arguments);
        const auto coder = makeCoder(format, arguments);
        const auto& textual = dynamic_cast<const SubtitlesTextCodable&>(*coder);
        text = Descriptor(input).readAll();
        Reading reading{{}, &format, arguments.encoding.value_or(TextEncoding::utf8), text.size()};
        if (format.isBytes && !arguments.encoding) {
            requireNoStop(format, text, [&](std::string_view part) { coder->decode(part, TextEncoding::utf8); });
            reading.document = coder->decode(text, TextEncoding::utf8);
        } else {
            text = textOf(std::move(text), arguments, reading.encoding);
            requireNoStop(format, text, [&](std::string_view part) { textual.decode(part); });
            reading.document = textual.decode(text);
        }
        return reading;
    } catch (...) {
        throw currentFailure(text);
    }
}

}  // namespace quorel::subtitles_tool
