#include "quorel/support/bytes_stream.h"

#include <sys/stat.h>

#include <algorithm>

namespace quorel {

namespace {

constexpr std::size_t fileBuffer = 64 * 1024;

}  // namespace

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

bool MemoryOutputStream::open() {
    return open_ = true;
}
bool MemoryOutputStream::close() {
    open_ = false;
    return true;
}
std::size_t MemoryOutputStream::write(std::span<const std::uint8_t> bytes) {
    if (!open_) return 0;
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return bytes.size();
}
std::uint8_t* MemoryOutputStream::extend(std::size_t size) {
    if (!open_) return nullptr;
    bytes_.resize(bytes_.size() + size);
    return bytes_.data() + bytes_.size() - size;
}

bool FileInputStream::open() {
    if (file_) return true;
    // The file system would take the part before a NUL for the whole.
    if (path_.find('\0') != path_.npos) return false;
    file_.reset(std::fopen(path_.c_str(), "rbe"));
    struct stat status {};
    if (file_ && (fstat(fileno(file_.get()), &status) != 0 || S_ISDIR(status.st_mode))) file_.reset();
    if (file_) std::setvbuf(file_.get(), nullptr, _IOFBF, fileBuffer);
    return file_ != nullptr;
}
void FileInputStream::close() {
    file_.reset();
}
bool FileInputStream::hasBytesAvailable() {
    if (!file_) return false;
    const int byte = getc_unlocked(file_.get());
    if (byte == EOF) return false;
    std::ungetc(byte, file_.get());
    return true;
}
std::ptrdiff_t FileInputStream::read(std::span<std::uint8_t> buffer) {
    if (!file_) return -1;
    const std::size_t count = fread_unlocked(buffer.data(), 1, buffer.size(), file_.get());
    return count == 0 && std::ferror(file_.get()) != 0 ? -1 : static_cast<std::ptrdiff_t>(count);
}
std::size_t FileInputStream::bytesKnown() {
    struct stat status {};
    if (!file_ || fstat(fileno(file_.get()), &status) != 0 || !S_ISREG(status.st_mode)) return 0;
    return static_cast<std::size_t>(std::max<off_t>(status.st_size - ftello(file_.get()), 0));
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
