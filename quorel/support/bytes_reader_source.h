// What a BytesReader reads from: memory, a stream, or a source of your own.
//
//   auto source = std::make_shared<InMemorySource>(std::vector<std::uint8_t>{0x01, 0x02});
//   BytesReader reader(source);
//
// No source is safe for use from two threads at once.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "quorel/foundation/error.h"
#include "quorel/support/bytes_stream.h"
#include "quorel/support/export.h"

namespace quorel {

// Why a read or a seek failed.
class QUOREL_SUPPORT_API BytesReaderError : public Error {
public:
    enum class Code {
        invalidFile,                              // no "file" URL, or nothing that opens for reading
        endOfData,                                // fewer bytes are left than were asked for
        invalidStringEncoding,                    // the bytes are no text in the encoding
        invalidOffset,                            // a seek to where nothing is, or a read from before the start
        randomAccessSeekingNotSupportedBySource,  // streams only go on
    };

    explicit BytesReaderError(Code code);

    Code code() const { return code_; }

private:
    Code code_;
};

class QUOREL_VISIBLE BytesReaderSource {
public:
    virtual ~BytesReaderSource() = default;

    // Whether a read of one byte would succeed. A stream may block to find out.
    virtual bool hasMoreData() = 0;
    virtual std::int64_t readPosition() const = 0;  // bytes consumed so far
    // The next `count` bytes, good until the next call. A negative count stops the process. Throws BytesReaderError
    // (endOfData), as the other reads do.
    virtual std::span<const std::uint8_t> readData(std::int64_t count) = 0;
    // The same in pieces, for what is copied on at once: all but the last have a size that 8 divides. `known` is how
    // many of the bytes to follow are known to be there.
    using Take = std::function<void(std::span<const std::uint8_t> piece, std::size_t known)>;
    virtual void readPieces(std::int64_t count, const Take& take) { take(readData(count), 0); }
    virtual std::uint8_t readByte() = 0;
    virtual std::vector<std::uint8_t> readAllRemainingData() = 0;
    // All throw BytesReaderError (invalidOffset, or randomAccessSeekingNotSupportedBySource).
    virtual void rewind() = 0;
    virtual void seekSet(std::int64_t offset) = 0;  // from the start
    virtual void seekEnd(std::int64_t offset) = 0;  // back from the last byte
    virtual void seek(std::int64_t offset) = 0;     // from here
};

// Bytes in memory of its own. A read that fails consumes nothing. Nothing here allocates but readAllRemainingData.
class QUOREL_SUPPORT_API InMemorySource final : public BytesReaderSource {
public:
    explicit InMemorySource(std::vector<std::uint8_t> data) : storage_(std::move(data)) {}
    explicit InMemorySource(std::span<const std::uint8_t> bytes) : storage_(bytes.begin(), bytes.end()) {}

    const std::vector<std::uint8_t>& storage() const { return storage_; }
    std::int64_t count() const { return static_cast<std::int64_t>(storage_.size()); }
    std::int64_t readOffset() const { return readPosition_; }

    bool hasMoreData() override { return readPosition_ < count(); }
    std::int64_t readPosition() const override { return readPosition_; }
    // A count that overflows the position stops the process.
    std::span<const std::uint8_t> readData(std::int64_t count) override;
    std::uint8_t readByte() override;
    std::vector<std::uint8_t> readBytes(std::int64_t count);
    // At the end of the data nothing; where there never was any it stops the process.
    std::vector<std::uint8_t> readAllRemainingData() override;
    void rewind() override { readPosition_ = 0; }
    // The place just behind the last byte cannot be reached, so nothing can on a source without data.
    void seekSet(std::int64_t offset) override;
    // 0 is the last byte, not the end.
    void seekEnd(std::int64_t offset) override;
    // Holds the end only, on purpose: a place before the start is taken as it is, and the next read fails with
    // invalidOffset.
    void seek(std::int64_t offset) override;

private:
    std::vector<std::uint8_t> storage_;
    std::int64_t readPosition_ = 0;
};

// Memory that a stream is read into; kept for small reads, made anew for each large one.
class QUOREL_SUPPORT_API ByteBuffer {
public:
    static constexpr std::size_t readBufferSize = 1024;

    // Room for `size` bytes, of which the first `kept` are those that were there.
    std::span<std::uint8_t> room(std::size_t size, std::size_t kept = 0);

private:
    struct Free {
        void operator()(std::uint8_t* memory) const { std::free(memory); }
    };

    std::unique_ptr<std::uint8_t, Free> buffer_;
    std::size_t size_ = 0;
};

// What a stream gives, from where it is, once. The stream is opened and never closed. A read that comes to the end
// too early loses what it has read. Memory grows with what arrives, not with what is asked for.
class QUOREL_SUPPORT_API InputStreamSource final : public BytesReaderSource {
public:
    // Opens the stream.
    explicit InputStreamSource(std::shared_ptr<InputStream> stream);

    const std::shared_ptr<InputStream>& inputStream() const { return inputStream_; }

    bool hasMoreData() override { return inputStream_->hasBytesAvailable(); }
    std::int64_t readPosition() const override { return readPosition_; }
    // At the end of the stream not even 0 bytes can be read.
    std::span<const std::uint8_t> readData(std::int64_t count) override;
    void readPieces(std::int64_t count, const Take& take) override;
    std::uint8_t readByte() override;
    std::vector<std::uint8_t> readAllRemainingData() override;
    void rewind() override;
    void seekSet(std::int64_t offset) override;
    void seekEnd(std::int64_t offset) override;
    void seek(std::int64_t offset) override;

private:
    std::shared_ptr<InputStream> inputStream_;
    ByteBuffer readBuffer_;
    std::int64_t readPosition_ = 0;
};

}  // namespace quorel
