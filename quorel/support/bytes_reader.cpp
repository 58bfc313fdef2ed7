#include "quorel/support/bytes_reader.h"

#include <algorithm>
#include <exception>
#include <new>

#include "quorel/support/bytes_file_url.h"

namespace quorel {

namespace {

using Code = BytesReaderError::Code;

std::string decoded(std::span<const std::uint8_t> bytes, const StringEncoding& encoding) {
    auto text = encoding.decoded(bytes);
    if (!text) throw BytesReaderError(Code::invalidStringEncoding);
    return *std::move(text);
}

std::shared_ptr<InputStream> fileStream(const URL& fileURL) {
    const auto path = filePath(fileURL);
    auto stream = path ? std::make_shared<FileInputStream>(*path) : nullptr;
    if (!stream || !stream->open()) throw BytesReaderError(Code::invalidFile);
    return stream;
}

}  // namespace

BytesReader::BytesReader(const URL& fileURL) : BytesReader(fileStream(fileURL)) {}

BytesReader::Bytes BytesReader::data(std::shared_ptr<InputStream> inputStream) {
    return BytesReader(std::move(inputStream)).readAllRemainingData();
}

void BytesReader::seek(std::int64_t offset, Seek from) {
    switch (from) {
        case Seek::start:
            return seekSet(offset);
        case Seek::end:
            return seekEnd(offset);
        case Seek::current:
            return seek(offset);
    }
}

BytesReader::Bytes BytesReader::readUpToNextInstanceOfByte(std::uint8_t byte) {
    Bytes bytes;
    bytes.reserve(1024);
    try {
        do {
            bytes.push_back(source_->readByte());
        } while (bytes.back() != byte);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        // Whatever the source says: what there was is the result.
    }
    return bytes;
}

void BytesReader::readThroughNextInstanceOfPattern(std::span<const std::uint8_t> pattern) {
    for (std::size_t matched = 0; matched < pattern.size();) {
        const std::uint8_t byte = source_->readByte();
        matched = byte == pattern[matched] ? matched + 1 : byte == pattern[0] ? 1 : 0;
    }
}

void BytesReader::readThroughNextInstanceOfASCII(std::string_view text) {
    const auto pattern = StringEncoding::ascii.encoded(text);
    if (!pattern) throw ReaderError(Code::invalidStringEncoding);
    readThroughNextInstanceOfPattern(*pattern);
}

std::vector<bool> BytesReader::readBool(std::int64_t count) {
    const auto bytes = source_->readData(count);
    std::vector<bool> values(bytes.size());
    std::transform(bytes.begin(), bytes.end(), values.begin(), [](std::uint8_t byte) { return byte != 0; });
    return values;
}

std::string BytesReader::readStringSingleByteEncoding(const StringEncoding& encoding, std::int64_t length,
                                                      bool lengthIncludesTerminator) {
    auto bytes = source_->readData(length);
    if (lengthIncludesTerminator && !bytes.empty() && bytes.back() == 0) bytes = bytes.first(bytes.size() - 1);
    return decoded(bytes, encoding);
}

std::string BytesReader::readStringSingleByteEncodingNullTerminated(const StringEncoding& encoding) {
    Bytes bytes = readUpToNextNullByte();
    if (!bytes.empty() && bytes.back() == 0) bytes.pop_back();
    return decoded(bytes, encoding);
}

std::string BytesReader::wideString(std::int64_t unit, const StringEncoding& encoding, std::int64_t length) {
    if (length <= 0) return {};
    return decoded(source_->readData(detail::checkedProduct(length, unit)), encoding);
}

std::string BytesReader::wideStringNullTerminated(std::span<const std::uint8_t> terminator,
                                                  const StringEncoding& encoding) {
    Bytes bytes;
    while (source_->hasMoreData()) {
        const auto unit = source_->readData(std::ssize(terminator));
        if (std::equal(unit.begin(), unit.end(), terminator.begin(), terminator.end())) break;
        bytes.insert(bytes.end(), unit.begin(), unit.end());
    }
    return decoded(bytes, encoding);
}

}  // namespace quorel
