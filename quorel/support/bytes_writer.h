// Writes binary data in a typed way, in either byte order, to memory, a file or a stream.
//
//   std::vector<std::uint8_t> packet = BytesWriter::build([](BytesWriter& writer) {
//       writer.writeUInt16(42, BytesParser::Endianness::big);
//       writer.writeStringUTF8("ok", /*includeNullTerminator=*/true);
//   });
//
// For one thread at a time. Writes give the number of bytes written, and throw BytesWriter::WriterError
// (unableToWriteBytes) when not all could be; count() grows by whole elements only. Files are written through a
// buffer: complete() says whether all of it has got there.
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <ranges>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "quorel/foundation/error.h"
#include "quorel/foundation/url.h"
#include "quorel/support/bytes_parser.h"
#include "quorel/support/bytes_stream.h"
#include "quorel/support/bytes_text.h"
#include "quorel/support/export.h"

namespace quorel {

class QUOREL_SUPPORT_API BytesWriter {
public:
    using Endianness = BytesParser::Endianness;
    using Bytes = std::vector<std::uint8_t>;

    // Why a write failed.
    class QUOREL_SUPPORT_API WriterError : public Error {
    public:
        enum class Code {
            cannotConvertStringEncoding,  // the encoding lacks a character, or the text is not UTF-8
            cannotOpenOutputFile,         // no "file" URL, or nothing that opens for writing
            unableToWriteBytes,           // not all bytes could be written
            emptyBuffer,                  // for callers; thrown nowhere here
            notSupported,                 // for callers; thrown nowhere here
            noDataAvailable,              // data() of what is not written to memory
            invalidByteString,            // for callers; thrown nowhere here
        };

        explicit WriterError(Code code);

        Code code() const { return code_; }

    private:
        Code code_;
    };

    // One element or many, for the writes below: 7, {1, 2, 3}, a vector, a span.
    template <class T>
    class Elements {
    public:
        Elements(T one) : one_(one), isOne_(true) {}
        Elements(std::initializer_list<T> many) : many_(many.begin(), many.size()) {}
        template <class Many>
        requires std::convertible_to<const Many&, std::span<const T>> Elements(const Many& many) : many_(many) {}

        // Of a temporary only: it refers to itself.
        std::span<const T> all() const { return isOne_ ? std::span<const T>(&one_, 1) : many_; }

    private:
        T one_{};
        bool isOne_ = false;
        std::span<const T> many_;
    };

    BytesWriter();  // to memory
    // Replaces the file. Throws WriterError (cannotOpenOutputFile).
    explicit BytesWriter(const URL& fileURL);
    explicit BytesWriter(std::shared_ptr<OutputStream> outputStream);

    // Runs the block with a writer, which is completed when the block returns. What the block throws is passed on.
    static Bytes build(const std::function<void(BytesWriter&)>& block);
    // The same with a file; when the block throws, it holds what was written before.
    static void build(const URL& fileURL, const std::function<void(BytesWriter&)>& block);

    std::int64_t count() const { return count_; }  // bytes written

    // Closes the stream; later writes fail. Throws WriterError (unableToWriteBytes) when the file could not take what
    // was written.
    void complete();
    // What was written so far. Throws WriterError (noDataAvailable).
    Bytes data() const;
    Bytes rawBytes() const { return data(); }

    // Bytes as they are.
    std::int64_t writeByte(std::uint8_t byte) { return write({&byte, 1}); }
    std::int64_t writeBytes(std::span<const std::uint8_t> bytes) { return write(bytes); }
    template <std::convertible_to<std::uint8_t>... Byte>
    std::int64_t writeBytes(std::uint8_t first, Byte... others) {
        const std::uint8_t bytes[] = {first, static_cast<std::uint8_t>(others)...};
        return write(bytes);
    }
    std::int64_t writeData(std::span<const std::uint8_t> bytes) { return write(bytes); }
    // 0 or 1.
    std::int64_t writeBool(bool value) { return writeByte(value ? 1 : 0); }
    std::int64_t writeBool(const std::vector<bool>& values);
    // Writes the byte until count() is a multiple of the boundary; one of 0 or less stops the process.
    void padToNByteBoundary(std::int64_t byteBoundary, std::uint8_t byte = 0);
    void padToFourByteBoundary(std::uint8_t byte = 0) { padToNByteBoundary(4, byte); }
    void padToEightByteBoundary(std::uint8_t byte = 0) { padToNByteBoundary(8, byte); }

    // A number, in the given byte order.
    template <FixedWidthNumber T>
    std::int64_t writeInteger(T value, Endianness endianness) {
        if (std::uint8_t* const room = outputStream_->takeRoom(sizeof(T))) {
            detail::putNumber(room, value, endianness);
            return counted(sizeof(T));
        }
        std::uint8_t bytes[sizeof(T)];
        detail::putNumber(bytes, value, endianness);
        return write(bytes);
    }
    // Of an array, a vector or a span; in one call on the stream.
    template <std::ranges::contiguous_range Numbers>
    std::int64_t writeIntegers(const Numbers& numbers, Endianness endianness) {
        using T = std::ranges::range_value_t<Numbers>;
        const std::span<const T> values(numbers);
        const std::int64_t size = detail::checkedProduct(std::ssize(values), sizeof(T));
        const auto* native = reinterpret_cast<const std::uint8_t*>(values.data());
        if (endianness == nativeEndianness || sizeof(T) == 1)
            return write({native, static_cast<std::size_t>(size)}, sizeof(T));
        if (std::uint8_t* room = outputStream_->extend(static_cast<std::size_t>(size))) {
            put(room, values, endianness);
            return counted(size);
        }
        const auto bytes = std::make_unique_for_overwrite<std::uint8_t[]>(static_cast<std::size_t>(size));
        put(bytes.get(), values, endianness);
        return write({bytes.get(), static_cast<std::size_t>(size)}, sizeof(T));
    }

    // Each takes one element or many, see Elements.
    template <class T>
    using E = const Elements<T>&;
    std::int64_t writeInt16(E<std::int16_t> n, Endianness e) { return writeElements(n, e); }
    std::int64_t writeUInt16(E<std::uint16_t> n, Endianness e) { return writeElements(n, e); }
    std::int64_t writeInt32(E<std::int32_t> n, Endianness e) { return writeElements(n, e); }
    std::int64_t writeUInt32(E<std::uint32_t> n, Endianness e) { return writeElements(n, e); }
    std::int64_t writeInt64(E<std::int64_t> n, Endianness e) { return writeElements(n, e); }
    std::int64_t writeUInt64(E<std::uint64_t> n, Endianness e) { return writeElements(n, e); }
    std::int64_t writeFloat32(E<float> n, Endianness e) { return writeElements(n, e); }
    std::int64_t writeFloat64(E<double> n, Endianness e) { return writeElements(n, e); }
    std::int64_t writeDouble(E<double> n, Endianness e) { return writeElements(n, e); }
    std::int64_t writeInt8(E<std::int8_t> n) { return writeElements(n, nativeEndianness); }
    std::int64_t writeUInt8(E<std::uint8_t> n) { return writeElements(n, nativeEndianness); }

    // Texts are UTF-8. All throw WriterError (cannotConvertStringEncoding), and write nothing then. No byte-order mark
    // is written. The terminator is a unit of zeros.
    std::int64_t writeStringSingleByteEncoding(std::string_view text, const StringEncoding& encoding,
                                               bool includeNullTerminator = false) {
        return writeString(text, encoding, includeNullTerminator ? 1 : 0);
    }
    std::int64_t writeStringASCII(std::string_view text, bool includeNullTerminator = false) {
        return writeString(text, StringEncoding::ascii, includeNullTerminator ? 1 : 0);
    }
    std::int64_t writeStringUTF8(std::string_view text, bool includeNullTerminator = false) {
        return writeString(text, StringEncoding::utf8, includeNullTerminator ? 1 : 0);
    }
    std::int64_t writeStringISOLatin1(std::string_view text, bool includeNullTerminator = false) {
        return writeString(text, StringEncoding::isoLatin1, includeNullTerminator ? 1 : 0);
    }
    std::int64_t writeStringWide16(std::string_view text, const StringEncoding& encoding,
                                   bool includeNullTerminator = false) {
        return writeString(text, encoding, includeNullTerminator ? 2 : 0);
    }
    std::int64_t writeStringUTF16BE(std::string_view text, bool includeNullTerminator = false) {
        return writeStringWide16(text, StringEncoding::utf16BigEndian, includeNullTerminator);
    }
    std::int64_t writeStringUTF16LE(std::string_view text, bool includeNullTerminator = false) {
        return writeStringWide16(text, StringEncoding::utf16LittleEndian, includeNullTerminator);
    }
    std::int64_t writeStringWide32(std::string_view text, const StringEncoding& encoding,
                                   bool includeNullTerminator = false) {
        return writeString(text, encoding, includeNullTerminator ? 4 : 0);
    }
    std::int64_t writeStringUTF32(std::string_view text, Endianness e, bool includeNullTerminator = false) {
        return writeStringWide32(
            text, e == Endianness::big ? StringEncoding::utf32BigEndian : StringEncoding::utf32LittleEndian,
            includeNullTerminator);
    }
    std::int64_t writeStringUTF32BE(std::string_view text, bool includeNullTerminator = false) {
        return writeStringUTF32(text, Endianness::big, includeNullTerminator);
    }
    std::int64_t writeStringUTF32LE(std::string_view text, bool includeNullTerminator = false) {
        return writeStringUTF32(text, Endianness::little, includeNullTerminator);
    }

private:
    static constexpr Endianness nativeEndianness =
        std::endian::native == std::endian::big ? Endianness::big : Endianness::little;

    template <class T>
    std::int64_t writeElements(const Elements<T>& elements, Endianness endianness) {
        const std::span<const T> all = elements.all();
        return all.size() == 1 ? writeInteger(all[0], endianness) : writeIntegers(all, endianness);
    }
    template <class T>
    static void put(std::uint8_t* to, std::span<const T> values, Endianness endianness) {
        for (std::size_t i = 0; i < values.size(); ++i)
            detail::putNumber(to + i * sizeof(T), values[i], endianness);
    }
    // Of a write that came to its end early, whole elements count.
    std::int64_t write(std::span<const std::uint8_t> bytes, std::size_t elementSize);
    std::int64_t write(std::span<const std::uint8_t> bytes) { return write(bytes, bytes.size()); }
    std::int64_t counted(std::int64_t size) {
        count_ = detail::checkedSum(count_, size);
        return size;
    }
    std::int64_t writeString(std::string_view text, const StringEncoding& encoding, std::size_t terminator);

    std::shared_ptr<OutputStream> outputStream_;
    std::int64_t count_ = 0;
};

}  // namespace quorel
