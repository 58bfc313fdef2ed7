// Reads binary data in a typed way, in either byte order, from memory, a file or a stream.
//
//   BytesReader reader(std::vector<std::uint8_t>{0x00, 0x2A, 'o', 'k', 0});
//   std::uint16_t size = reader.readUInt16(BytesParser::Endianness::big);    // 42
//   std::string name = reader.readStringUTF8NullTerminated();                // "ok"
//
// For one thread at a time. All reads throw BytesReader::ReaderError (endOfData) when fewer bytes are left than they
// need, and none gives less than was asked for, except readUpToNextInstanceOfByte and what is built on it. Memory
// sources do not move then; streams lose what was read. Counts are numbers of elements, lengths numbers of units; a
// negative one, and one whose size in bytes overflows 63 bits, stops the process.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <ranges>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quorel/foundation/url.h"
#include "quorel/support/bytes_parser.h"
#include "quorel/support/bytes_reader_source.h"
#include "quorel/support/bytes_stream.h"
#include "quorel/support/bytes_text.h"
#include "quorel/support/export.h"

namespace quorel {

class QUOREL_SUPPORT_API BytesReader {
public:
    using Endianness = BytesParser::Endianness;
    using Bytes = std::vector<std::uint8_t>;
    using ReaderError = BytesReaderError;
    // What an offset counts from.
    enum class Seek { start, end, current };

    explicit BytesReader(std::shared_ptr<BytesReaderSource> source) : source_(std::move(source)) {}
    explicit BytesReader(Bytes data) : BytesReader(std::make_shared<InMemorySource>(std::move(data))) {}
    explicit BytesReader(std::span<const std::uint8_t> bytes)
        : BytesReader(std::make_shared<InMemorySource>(bytes)) {}
    explicit BytesReader(std::shared_ptr<InputStream> inputStream)
        : BytesReader(std::make_shared<InputStreamSource>(std::move(inputStream))) {}
    // Throws ReaderError (invalidFile).
    explicit BytesReader(const URL& fileURL);

    // Makes a reader of any of the above, runs the block with it and gives what that gives.
    template <class From, class Block>
    static auto read(From&& from, Block&& block) {
        BytesReader reader(std::forward<From>(from));
        return std::invoke(std::forward<Block>(block), reader);
    }
    // All that the stream has to give.
    static Bytes data(std::shared_ptr<InputStream> inputStream);

    const std::shared_ptr<BytesReaderSource>& source() const { return source_; }
    std::int64_t readPosition() const { return source_->readPosition(); }
    bool hasMoreData() const { return source_->hasMoreData(); }

    // See the source for where each may go; on streams all throw.
    void rewind() { source_->rewind(); }
    void seekSet(std::int64_t offset) { source_->seekSet(offset); }
    void seekEnd(std::int64_t offset) { source_->seekEnd(offset); }
    void seek(std::int64_t offset) { source_->seek(offset); }
    void seek(std::int64_t offset, Seek from);

    // So many bytes, or all that are left.
    std::uint8_t readByte() { return source_->readByte(); }
    Bytes readBytes(std::int64_t count) { return readData(count); }
    Bytes readData(std::int64_t count) { return readIntegers<std::uint8_t>(count, Endianness::big); }
    Bytes readAllRemainingData() { return source_->readAllRemainingData(); }
    // The byte is the last one of the result, unless the data ended before it came.
    Bytes readUpToNextInstanceOfByte(std::uint8_t byte);
    Bytes readUpToNextNullByte() { return readUpToNextInstanceOfByte(0); }
    // Reads until the pattern has just been read; an empty one is there at once. After a mismatch only the byte that
    // broke it is tried as a new beginning, on purpose: of a pattern that overlaps itself an instance can be missed
    // (1 1 2 in 1 1 1 2).
    void readThroughNextInstanceOfPattern(std::span<const std::uint8_t> pattern);
    // Throws ReaderError (invalidStringEncoding) for a text that is not ASCII.
    void readThroughNextInstanceOfASCII(std::string_view text);

    // Numbers of the type, in the given byte order.
    template <FixedWidthNumber T>
    T readInteger(Endianness endianness) {
        return detail::numberAt<T>(source_->readData(sizeof(T)).data(), endianness);
    }
    template <FixedWidthNumber T>
    std::vector<T> readIntegers(std::int64_t count, Endianness endianness) {
        std::vector<T> all;
        source_->readPieces(detail::checkedProduct(count, sizeof(T)),
                            [&](std::span<const std::uint8_t> bytes, std::size_t known) {
                                if (known > 0) all.reserve(all.size() + (bytes.size() + known) / sizeof(T));
                                append(all, bytes, endianness);
                            });
        return all;
    }
    // The same into memory of the caller's: an array, a vector, a span, filled from end to end.
    template <std::ranges::contiguous_range Numbers>
    void readIntegers(Numbers&& numbers, Endianness endianness) {
        using T = std::ranges::range_value_t<Numbers>;
        const std::span<T> all(numbers);
        const auto bytes = source_->readData(detail::checkedProduct(std::ssize(all), sizeof(T)));
        for (std::size_t i = 0; i < all.size(); ++i)
            all[i] = detail::numberAt<T>(bytes.data() + i * sizeof(T), endianness);
    }

    // Stands for no count.
    struct One {};
    // One element where no count is given, a vector of them where one is: readUInt32(big), readUInt32(big, 3).
    template <class Count = One>
    auto readInt16(Endianness e, Count count = {}) {
        return numbers<std::int16_t>(count, e);
    }
    template <class Count = One>
    auto readUInt16(Endianness e, Count count = {}) {
        return numbers<std::uint16_t>(count, e);
    }
    template <class Count = One>
    auto readInt32(Endianness e, Count count = {}) {
        return numbers<std::int32_t>(count, e);
    }
    template <class Count = One>
    auto readUInt32(Endianness e, Count count = {}) {
        return numbers<std::uint32_t>(count, e);
    }
    template <class Count = One>
    auto readInt64(Endianness e, Count count = {}) {
        return numbers<std::int64_t>(count, e);
    }
    template <class Count = One>
    auto readUInt64(Endianness e, Count count = {}) {
        return numbers<std::uint64_t>(count, e);
    }
    // IEEE 754 single and double.
    template <class Count = One>
    auto readFloat32(Endianness e, Count count = {}) {
        return numbers<float>(count, e);
    }
    template <class Count = One>
    auto readFloat64(Endianness e, Count count = {}) {
        return numbers<double>(count, e);
    }
    template <class Count = One>
    auto readDouble(Endianness e, Count count = {}) {
        return numbers<double>(count, e);
    }
    template <class Count = One>
    auto readInt8(Count count = {}) {
        return numbers<std::int8_t>(count, Endianness::big);
    }
    template <class Count = One>
    auto readUInt8(Count count = {}) {
        return numbers<std::uint8_t>(count, Endianness::big);
    }
    // True for every byte but 0.
    bool readBool() { return readByte() != 0; }
    std::vector<bool> readBool(std::int64_t count);

    // Texts come back in UTF-8. All throw ReaderError (invalidStringEncoding) when the bytes do not decode, after they
    // were consumed. A byte-order mark is a character like any other.
    //
    // `length` bytes; with `lengthIncludesTerminator` a last byte of 0 is left out.
    std::string readStringSingleByteEncoding(const StringEncoding& encoding, std::int64_t length,
                                             bool lengthIncludesTerminator = false);
    std::string readStringASCII(std::int64_t length, bool lengthIncludesTerminator = false) {
        return readStringSingleByteEncoding(StringEncoding::ascii, length, lengthIncludesTerminator);
    }
    std::string readStringUTF8(std::int64_t byteCount, bool lengthIncludesTerminator = false) {
        return readStringSingleByteEncoding(StringEncoding::utf8, byteCount, lengthIncludesTerminator);
    }
    // Through the next byte of 0, which is left out, or to the end of the data.
    std::string readStringSingleByteEncodingNullTerminated(const StringEncoding& encoding);
    std::string readStringASCIINullTerminated() {
        return readStringSingleByteEncodingNullTerminated(StringEncoding::ascii);
    }
    std::string readStringUTF8NullTerminated() {
        return readStringSingleByteEncodingNullTerminated(StringEncoding::utf8);
    }

    // `length` units of 2 or 4 bytes; 0 or less is the empty text.
    std::string readStringWide16(const StringEncoding& encoding, std::int64_t length) {
        return wideString(2, encoding, length);
    }
    std::string readStringUTF16(Endianness e, std::int64_t length) { return readStringWide16(utf16(e), length); }
    std::string readStringUTF16BE(std::int64_t length) { return readStringUTF16(Endianness::big, length); }
    std::string readStringUTF16LE(std::int64_t length) { return readStringUTF16(Endianness::little, length); }
    std::string readStringWide32(const StringEncoding& encoding, std::int64_t length) {
        return wideString(4, encoding, length);
    }
    std::string readStringUTF32(Endianness e, std::int64_t length) { return readStringWide32(utf32(e), length); }
    std::string readStringUTF32BE(std::int64_t length) { return readStringUTF32(Endianness::big, length); }
    std::string readStringUTF32LE(std::int64_t length) { return readStringUTF32(Endianness::little, length); }
    // Units up to one of zeros, which is left out, or to the end of the data. An end within a unit is endOfData.
    std::string readStringWide16NullTerminated(const StringEncoding& encoding) {
        return wideStringNullTerminated(BytesParser::terminator16, encoding);
    }
    std::string readStringUTF16NullTerminated(Endianness e) { return readStringWide16NullTerminated(utf16(e)); }
    std::string readStringWide32NullTerminated(const StringEncoding& encoding) {
        return wideStringNullTerminated(BytesParser::terminator32, encoding);
    }
    std::string readStringUTF32NullTerminated(Endianness e) { return readStringWide32NullTerminated(utf32(e)); }

private:
    // Converts while it is copied from, so that a vector is made of bytes in one pass.
    template <class T>
    class NumberIterator {
    public:
        using iterator_category = std::random_access_iterator_tag;
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        using pointer = const T*;
        using reference = T;

        NumberIterator(const std::uint8_t* at, Endianness endianness) : at_(at), endianness_(endianness) {}
        T operator*() const { return detail::numberAt<T>(at_, endianness_); }
        NumberIterator& operator+=(difference_type n) {
            at_ += n * static_cast<difference_type>(sizeof(T));
            return *this;
        }
        NumberIterator& operator++() { return *this += 1; }
        NumberIterator& operator--() { return *this += -1; }
        difference_type operator-(const NumberIterator& other) const {
            return (at_ - other.at_) / static_cast<difference_type>(sizeof(T));
        }
        bool operator==(const NumberIterator& other) const { return at_ == other.at_; }

    private:
        const std::uint8_t* at_;
        Endianness endianness_;
    };

    template <class T>
    static void append(std::vector<T>& numbers, std::span<const std::uint8_t> bytes, Endianness endianness) {
        if constexpr (std::same_as<T, std::uint8_t>) {
            numbers.insert(numbers.end(), bytes.begin(), bytes.end());
        } else {
            numbers.insert(numbers.end(), NumberIterator<T>(bytes.data(), endianness),
                           NumberIterator<T>(bytes.data() + bytes.size(), endianness));
        }
    }

    template <class T>
    T numbers(One, Endianness endianness) {
        return readInteger<T>(endianness);
    }
    template <class T>
    std::vector<T> numbers(std::integral auto count, Endianness endianness) {
        return readIntegers<T>(static_cast<std::int64_t>(count), endianness);
    }

    static const StringEncoding& utf16(Endianness e) {
        return e == Endianness::big ? StringEncoding::utf16BigEndian : StringEncoding::utf16LittleEndian;
    }
    static const StringEncoding& utf32(Endianness e) {
        return e == Endianness::big ? StringEncoding::utf32BigEndian : StringEncoding::utf32LittleEndian;
    }
    std::string wideString(std::int64_t unit, const StringEncoding& encoding, std::int64_t length);
    std::string wideStringNullTerminated(std::span<const std::uint8_t> terminator, const StringEncoding& encoding);

    std::shared_ptr<BytesReaderSource> source_;
};

// Runs the block with a reader over the data.
template <class Block>
auto bytesReader(std::span<const std::uint8_t> data, Block&& block) {
    return BytesReader::read(data, std::forward<Block>(block));
}

}  // namespace quorel
