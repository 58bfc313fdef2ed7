#include "tools/quorel-subtitles/reading.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

#include "quorel/subtitles/coder.h"
#include "quorel/subtitles/sub.h"
#include "tools/quorel-subtitles/failure.h"
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

// What is read, of a size that nobody knows before: grows where it is, as a string cannot.
struct Bytes {
    Bytes() = default;
    ~Bytes() { std::free(data); }
    Bytes(Bytes&& other) noexcept
        : data(std::exchange(other.data, nullptr)),
          size(std::exchange(other.size, 0)),
          room(std::exchange(other.room, 0)) {}
    Bytes& operator=(Bytes&& other) noexcept {
        std::swap(data, other.data);
        std::swap(size, other.size);
        std::swap(room, other.room);
        return *this;
    }

    void makeRoom(std::size_t total) {
        void* const larger = std::realloc(data, total);
        if (larger == nullptr) throw std::bad_alloc();
        data = static_cast<char*>(larger);
        room = total;
    }
    std::string_view view() const { return {data, size}; }

    char* data = nullptr;
    std::size_t size = 0;
    std::size_t room = 0;
};

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

    Bytes readAll() const {
        Bytes bytes;
        struct stat status {};
        std::size_t room = 64 * 1024;
        // One more, so that the end is found without room for more.
        if (fstat(number_, &status) == 0 && S_ISREG(status.st_mode))
            room = static_cast<std::size_t>(status.st_size) + 1;
        for (;;) {
            if (bytes.size == bytes.room) bytes.makeRoom(room);
            const ssize_t count = ::read(number_, bytes.data + bytes.size, bytes.room - bytes.size);
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) fail();
            if (count == 0) return bytes;
            bytes.size += static_cast<std::size_t>(count);
            room = bytes.room + bytes.room / 2;
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

// In UTF-8, without a byte-order mark; in the bytes themselves or in `storage`.
std::string_view textOf(std::string_view bytes, const Arguments& arguments, std::string& storage,
                        TextEncoding& encoding) {
    if (arguments.encoding) {
        encoding = *arguments.encoding;
        return droppingByteOrderMark(decodeText(bytes, encoding, storage));
    }
    auto detected = decodeDetectingEncoding(bytes);
    if (!detected) throw Failure{"the encoding cannot be told from the bytes; say it with --encoding"};
    encoding = detected->encoding;
    storage = std::move(detected->text);
    return storage;
}

}  // namespace

Reading read(const Input& input, const Arguments& arguments) {
    if (input.failure) throw Failure(*input.failure);
    Bytes bytes;
    std::string storage;
    std::string_view text;
    try {
        const Format& format = formatOf(input, arguments);
        const auto coder = makeCoder(format, arguments);
        const auto& textual = dynamic_cast<const SubtitlesTextCodable&>(*coder);
        bytes = Descriptor(input).readAll();
        text = bytes.view();
        Reading reading{{}, &format, arguments.encoding.value_or(TextEncoding::utf8), text.size()};
        const bool readsBytes = format.isBytes && !arguments.encoding;
        if (!readsBytes) {
            text = textOf(text, arguments, storage, reading.encoding);
            if (text.data() == storage.data()) bytes = Bytes();
        }
        const auto decode = [&](std::string_view part) {
            return readsBytes ? coder->decode(part, TextEncoding::utf8) : textual.decode(part);
        };
        requireNoStop(format, text, [&](std::string_view part) { static_cast<void>(decode(part)); });
        reading.document = decode(text);
        return reading;
    } catch (...) {
        throw currentFailure(text);
    }
}

}  // namespace quorel::subtitles_tool
