// Where bytes come from and go to: streams over memory and files, and the interfaces for streams of your own.
//
//   auto in = std::make_shared<FileInputStream>("film.bin");
//   BytesReader reader(in);
//
// No stream is safe for use from two threads at once. All calls block until they are done.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "quorel/support/export.h"

namespace quorel {

// Where bytes come from.
class QUOREL_SUPPORT_API InputStream {
public:
    virtual ~InputStream() = default;

    virtual bool open() = 0;  // false when there is nothing to read from; once more does nothing
    // No operation but this one may follow.
    virtual void close() = 0;
    // Whether a read would give something. May block to find out.
    virtual bool hasBytesAvailable() = 0;
    // At most the buffer's size, and never waits for more than what has come. 0 at the end, less than 0 for a
    // failure.
    virtual std::ptrdiff_t read(std::span<std::uint8_t> buffer) = 0;
    // The next `count` bytes where they lie in the stream's own memory, good until the next call; they count as read.
    // Nothing where not all of them lie there, and the caller reads.
    virtual std::span<const std::uint8_t> lend(std::size_t count);
    // How many bytes are known to be left, for the room they will take; 0 where nobody can say.
    virtual std::size_t bytesKnown();
};

// Where bytes go to.
class QUOREL_SUPPORT_API OutputStream {
public:
    virtual ~OutputStream() = default;

    virtual bool open() = 0;  // false when nothing can be written; once more does nothing
    // False when something that was written has got lost after all, on a full disk for one.
    virtual bool close() = 0;
    // How many of the bytes were written: all of them unless something failed.
    virtual std::size_t write(std::span<const std::uint8_t> bytes) = 0;
    // Room for `size` bytes behind what was written, which the caller fills at once and which counts as written;
    // nothing where there is no such memory, and the caller writes.
    virtual std::uint8_t* extend(std::size_t size);
    // The same without asking the stream: nothing where such room is not at hand, and the caller writes.
    std::uint8_t* takeRoom(std::size_t size) {
        if (size > static_cast<std::size_t>(roomEnd_ - room_)) return nullptr;
        return std::exchange(room_, room_ + size);
    }
    // What was written, from streams into memory; null from all others.
    virtual std::vector<std::uint8_t>* memory();

protected:
    // Behind what was written; moves on as the room is taken.
    std::uint8_t* room_ = nullptr;
    std::uint8_t* roomEnd_ = nullptr;
};

// Bytes that are there already.
class QUOREL_SUPPORT_API MemoryInputStream final : public InputStream {
public:
    explicit MemoryInputStream(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}

    bool open() override;
    void close() override;
    bool hasBytesAvailable() override;
    std::ptrdiff_t read(std::span<std::uint8_t> buffer) override;
    std::span<const std::uint8_t> lend(std::size_t count) override;
    std::size_t bytesKnown() override { return bytes_.size() - position_; }

private:
    std::vector<std::uint8_t> bytes_;
    std::size_t position_ = 0;
    bool open_ = false;
};

// Bytes that are collected.
class QUOREL_SUPPORT_API MemoryOutputStream final : public OutputStream {
public:
    bool open() override;
    bool close() override;
    std::size_t write(std::span<const std::uint8_t> bytes) override;
    std::uint8_t* extend(std::size_t size) override;
    std::vector<std::uint8_t>* memory() override;

private:
    std::vector<std::uint8_t> bytes_;  // what was written, and while there is room that room
    bool open_ = false;
};

// A file, pipe or device by its path, read through a buffer of 64 KiB: what lies there is taken whether it is asked
// for or not. Directories do not open.
class QUOREL_SUPPORT_API FileInputStream final : public InputStream {
public:
    explicit FileInputStream(std::string path) : path_(std::move(path)) {}
    ~FileInputStream() override;
    FileInputStream(const FileInputStream&) = delete;
    FileInputStream& operator=(const FileInputStream&) = delete;

    bool open() override;
    void close() override;
    bool hasBytesAvailable() override;
    std::ptrdiff_t read(std::span<std::uint8_t> buffer) override;
    std::span<const std::uint8_t> lend(std::size_t count) override;
    std::size_t bytesKnown() override;

private:
    std::ptrdiff_t fill();

    const std::string path_;
    int file_ = -1;
    std::unique_ptr<std::uint8_t[]> buffer_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
};

// Replaces the file when it opens. Written through a buffer of 64 KiB, which close() and destruction empty.
class QUOREL_SUPPORT_API FileOutputStream final : public OutputStream {
public:
    explicit FileOutputStream(std::string path) : path_(std::move(path)) {}

    bool open() override;
    bool close() override;
    std::size_t write(std::span<const std::uint8_t> bytes) override;

private:
    const std::string path_;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_{nullptr, &std::fclose};
    bool failed_ = false;
};

}  // namespace quorel
