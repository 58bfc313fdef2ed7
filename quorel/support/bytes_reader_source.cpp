#include "quorel/support/bytes_reader_source.h"

#include <algorithm>
#include <new>
#include <string>

#include "quorel/foundation/fatal.h"
#include "quorel/support/bytes_parser.h"

namespace quorel {

namespace {

using Code = BytesReaderError::Code;

const char* text(Code code) {
    switch (code) {
        case Code::invalidFile:
            return "invalidFile: no file that can be read";
        case Code::endOfData:
            return "endOfData: fewer bytes are left than were asked for";
        case Code::invalidStringEncoding:
            return "invalidStringEncoding: the bytes are no text in the encoding";
        case Code::invalidOffset:
            return "invalidOffset: outside the data";
        case Code::randomAccessSeekingNotSupportedBySource:
            return "randomAccessSeekingNotSupportedBySource: a stream cannot go back";
    }
    return "BytesReaderError";
}

void requireCount(std::int64_t count) {
    if (count < 0) fatal("A negative count of bytes is read.");
}

}  // namespace

std::int64_t detail::checkedProduct(std::int64_t a, std::int64_t b) {
    std::int64_t product = 0;
    if (__builtin_mul_overflow(a, b, &product)) fatal("A count of bytes overflows.");
    return product;
}

BytesReaderError::BytesReaderError(Code code) : Error(text(code)), code_(code) {}

std::span<const std::uint8_t> InMemorySource::readData(std::int64_t count) {
    requireCount(count);
    const std::int64_t end = detail::checkedSum(readPosition_, count);
    if (end > this->count()) throw BytesReaderError(Code::endOfData);
    if (readPosition_ < 0) throw BytesReaderError(Code::invalidOffset);
    const auto begin = static_cast<std::size_t>(std::exchange(readPosition_, end));
    return std::span(storage_).subspan(begin, static_cast<std::size_t>(count));
}

std::uint8_t InMemorySource::readByte() {
    return readData(1)[0];
}

std::vector<std::uint8_t> InMemorySource::readBytes(std::int64_t count) {
    const auto bytes = readData(count);
    return {bytes.begin(), bytes.end()};
}

std::vector<std::uint8_t> InMemorySource::readAllRemainingData() {
    if (storage_.empty()) fatal("All remaining data is read from a source that has none.");
    return readBytes(detail::checkedSum(count(), -readPosition_));
}

void InMemorySource::seekSet(std::int64_t offset) {
    if (offset < 0 || offset >= count()) throw BytesReaderError(Code::invalidOffset);
    readPosition_ = offset;
}

void InMemorySource::seekEnd(std::int64_t offset) {
    const std::int64_t last = count() - 1;
    if (offset < 0 || offset > last) throw BytesReaderError(Code::invalidOffset);
    readPosition_ = last - offset;
}

void InMemorySource::seek(std::int64_t offset) {
    const std::int64_t target = detail::checkedSum(readPosition_, offset);
    if (target >= count()) throw BytesReaderError(Code::invalidOffset);
    readPosition_ = target;
}

std::span<std::uint8_t> ByteBuffer::room(std::size_t size, std::size_t kept) {
    size = std::max(size, readBufferSize);
    if (size > readBufferSize || size_ == 0) {
        if (kept == 0) buffer_.reset();  // nothing to be moved
        auto* memory = static_cast<std::uint8_t*>(std::realloc(buffer_.get(), size));
        if (memory == nullptr) throw std::bad_alloc();
        (void)buffer_.release();
        buffer_.reset(memory);
        size_ = size;
    }
    return {buffer_.get(), size_};
}

InputStreamSource::InputStreamSource(std::shared_ptr<InputStream> stream) : inputStream_(std::move(stream)) {
    inputStream_->open();
}

std::span<const std::uint8_t> InputStreamSource::readData(std::int64_t count) {
    constexpr std::size_t firstStep = 1024 * 1024;
    requireCount(count);
    const auto wanted = static_cast<std::size_t>(count);
    if (const auto lent = inputStream_->lend(wanted); !lent.empty()) {
        readPosition_ = detail::checkedSum(readPosition_, count);
        return lent;
    }
    if (!inputStream_->hasBytesAvailable()) throw BytesReaderError(Code::endOfData);
    std::size_t have = 0;
    std::span<std::uint8_t> room = readBuffer_.room(std::min(wanted, firstStep));
    while (have < wanted) {
        if (have == room.size()) room = readBuffer_.room(std::min(wanted, 2 * have), have);
        const auto missing = room.subspan(have, std::min(wanted, room.size()) - have);
        const std::ptrdiff_t got = inputStream_->read(missing);
        if (got < 0 || (got == 0 && !inputStream_->hasBytesAvailable())) break;
        have += static_cast<std::size_t>(got);
    }
    readPosition_ = detail::checkedSum(readPosition_, static_cast<std::int64_t>(have));
    if (have < wanted) throw BytesReaderError(Code::endOfData);
    return room.first(wanted);
}

void InputStreamSource::readPieces(std::int64_t count, const Take& take) {
    constexpr std::int64_t piece = 64 * 1024;
    while (count > piece) {
        const auto bytes = readData(piece);
        count -= piece;
        take(bytes, std::min(static_cast<std::size_t>(count), inputStream_->bytesKnown()));
    }
    take(readData(count), 0);
}

std::uint8_t InputStreamSource::readByte() {
    std::uint8_t byte = 0;
    if (inputStream_->read({&byte, 1}) != 1) throw BytesReaderError(Code::endOfData);
    readPosition_ = detail::checkedSum(readPosition_, 1);
    return byte;
}

std::vector<std::uint8_t> InputStreamSource::readAllRemainingData() {
    constexpr std::size_t block = 16384;
    const std::span<std::uint8_t> room = readBuffer_.room(block).first(block);
    std::vector<std::uint8_t> all;
    while (inputStream_->hasBytesAvailable()) {
        const std::ptrdiff_t got = inputStream_->read(room);
        if (got < 0) break;
        all.insert(all.end(), room.begin(), room.begin() + got);
    }
    readPosition_ = detail::checkedSum(readPosition_, static_cast<std::int64_t>(all.size()));
    return all;
}

void InputStreamSource::rewind() {
    throw BytesReaderError(Code::randomAccessSeekingNotSupportedBySource);
}
void InputStreamSource::seekSet(std::int64_t) {
    rewind();
}
void InputStreamSource::seekEnd(std::int64_t) {
    rewind();
}
void InputStreamSource::seek(std::int64_t) {
    rewind();
}

}  // namespace quorel
