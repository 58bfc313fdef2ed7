#include "quorel/support/bytes_stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace quorel {

namespace {

constexpr std::size_t fileBuffer = 64 * 1024;

std::ptrdiff_t readOnce(int file, std::uint8_t* to, std::size_t size) {
    ssize_t got = 0;
    do {
        got = ::read(file, to, size);
    } while (got < 0 && errno == EINTR);
    return got;
}

}  // namespace

std::span<const std::uint8_t> InputStream::lend(std::size_t) {
    return {};
}

std::size_t InputStream::bytesKnown() {
    return 0;
}

std::uint8_t* OutputStream::extend(std::size_t) {
    return nullptr;
}
std::vector<std::uint8_t>* OutputStream::memory() {
    return nullptr;
}

bool MemoryInputStream::open() {
    return open_ = true;
}
void MemoryInputStream::close() {
    open_ = false;
}
bool MemoryInputStream::hasBytesAvailable() {
    return open_ && position_ < bytes_.size();
}
std::ptrdiff_t MemoryInputStream::read(std::span<std::uint8_t> buffer) {
    if (!open_) return -1;
    const std::size_t count = std::min(buffer.size(), bytes_.size() - position_);
    std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(position_), count, buffer.begin());
    position_ += count;
    return static_cast<std::ptrdiff_t>(count);
}

std::span<const std::uint8_t> MemoryInputStream::lend(std::size_t count) {
    if (!open_ || count > bytes_.size() - position_) return {};
    return std::span(bytes_).subspan(std::exchange(position_, position_ + count), count);
}

bool MemoryOutputStream::open() {
    return open_ = true;
}
bool MemoryOutputStream::close() {
    memory();
    open_ = false;
    return true;
}
std::size_t MemoryOutputStream::write(std::span<const std::uint8_t> bytes) {
    if (bytes.empty()) return 0;
    std::uint8_t* const room = extend(bytes.size());
    if (room == nullptr) return 0;
    std::copy(bytes.begin(), bytes.end(), room);
    return bytes.size();
}
std::uint8_t* MemoryOutputStream::extend(std::size_t size) {
    if (!open_) return nullptr;
    if (std::uint8_t* const room = takeRoom(size)) return room;
    const std::size_t before = memory()->size();
    bytes_.resize(before + size);  // to at least twice of what there was
    bytes_.resize(bytes_.capacity());
    roomEnd_ = bytes_.data() + bytes_.size();
    room_ = bytes_.data() + before + size;
    return bytes_.data() + before;
}
std::vector<std::uint8_t>* MemoryOutputStream::memory() {
    if (room_ != nullptr) bytes_.resize(static_cast<std::size_t>(room_ - bytes_.data()));
    room_ = roomEnd_ = nullptr;
    return &bytes_;
}

FileInputStream::~FileInputStream() {
    close();
}
bool FileInputStream::open() {
    if (file_ >= 0) return true;
    // The file system would take the part before a NUL for the whole.
    if (path_.find('\0') != path_.npos) return false;
    file_ = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (file_ >= 0 && (fstat(file_, &status) != 0 || S_ISDIR(status.st_mode))) close();
    return file_ >= 0;
}
void FileInputStream::close() {
    if (file_ >= 0) ::close(std::exchange(file_, -1));
    begin_ = end_ = 0;
}
// Of an empty buffer.
std::ptrdiff_t FileInputStream::fill() {
    if (!buffer_) buffer_ = std::make_unique_for_overwrite<std::uint8_t[]>(fileBuffer);
    const std::ptrdiff_t got = readOnce(file_, buffer_.get(), fileBuffer);
    begin_ = 0;
    end_ = static_cast<std::size_t>(std::max<std::ptrdiff_t>(got, 0));
    return got;
}
bool FileInputStream::hasBytesAvailable() {
    return file_ >= 0 && (begin_ < end_ || fill() > 0);
}
std::ptrdiff_t FileInputStream::read(std::span<std::uint8_t> buffer) {
    if (file_ < 0) return -1;
    if (begin_ == end_) {
        // What is as large as the buffer needs no second copy.
        if (buffer.size() >= fileBuffer) return readOnce(file_, buffer.data(), buffer.size());
        if (const std::ptrdiff_t got = fill(); got <= 0) return got;
    }
    const std::size_t count = std::min(buffer.size(), end_ - begin_);
    std::copy_n(buffer_.get() + std::exchange(begin_, begin_ + count), count, buffer.begin());
    return static_cast<std::ptrdiff_t>(count);
}
std::span<const std::uint8_t> FileInputStream::lend(std::size_t count) {
    if (count > end_ - begin_) return {};
    return {buffer_.get() + std::exchange(begin_, begin_ + count), count};
}
std::size_t FileInputStream::bytesKnown() {
    struct stat status {};
    if (file_ < 0 || fstat(file_, &status) != 0 || !S_ISREG(status.st_mode)) return 0;
    return end_ - begin_ +
           static_cast<std::size_t>(std::max<off_t>(status.st_size - lseek(file_, 0, SEEK_CUR), 0));
}

bool FileOutputStream::open() {
    if (file_) return true;
    if (path_.find('\0') != path_.npos) return false;
    file_.reset(std::fopen(path_.c_str(), "wbe"));
    if (file_) std::setvbuf(file_.get(), nullptr, _IOFBF, fileBuffer);
    return file_ != nullptr;
}
bool FileOutputStream::close() {
    if (file_ && std::fclose(file_.release()) != 0) failed_ = true;
    return !failed_;
}
std::size_t FileOutputStream::write(std::span<const std::uint8_t> bytes) {
    if (!file_) return 0;
    const std::size_t written = fwrite_unlocked(bytes.data(), 1, bytes.size(), file_.get());
    if (written < bytes.size()) failed_ = true;
    return written;
}

}  // namespace quorel
