#include "quorel/support/bytes_writer.h"

#include <algorithm>

#include "quorel/foundation/fatal.h"
#include "quorel/support/bytes_file_url.h"

namespace quorel {

namespace {

using Code = BytesWriter::WriterError::Code;

const char* text(Code code) {
    switch (code) {
        case Code::cannotConvertStringEncoding:
            return "cannotConvertStringEncoding: the text cannot be written in the encoding";
        case Code::cannotOpenOutputFile:
            return "cannotOpenOutputFile: no file that can be written";
        case Code::unableToWriteBytes:
            return "unableToWriteBytes: not all bytes could be written";
        case Code::emptyBuffer:
            return "emptyBuffer";
        case Code::notSupported:
            return "notSupported";
        case Code::noDataAvailable:
            return "noDataAvailable: what was written is not in memory";
        case Code::invalidByteString:
            return "invalidByteString";
    }
    return "WriterError";
}

std::shared_ptr<OutputStream> fileStream(const URL& fileURL) {
    const auto path = filePath(fileURL);
    auto stream = path ? std::make_shared<FileOutputStream>(*path) : nullptr;
    if (!stream || !stream->open()) throw BytesWriter::WriterError(Code::cannotOpenOutputFile);
    return stream;
}

}  // namespace

BytesWriter::WriterError::WriterError(Code code) : Error(text(code)), code_(code) {}

BytesWriter::BytesWriter() : BytesWriter(std::make_shared<MemoryOutputStream>()) {}

BytesWriter::BytesWriter(const URL& fileURL) : BytesWriter(fileStream(fileURL)) {}

BytesWriter::BytesWriter(std::shared_ptr<OutputStream> outputStream) : outputStream_(std::move(outputStream)) {
    outputStream_->open();
}

BytesWriter::Bytes BytesWriter::build(const std::function<void(BytesWriter&)>& block) {
    BytesWriter writer;
    block(writer);
    writer.complete();
    return std::move(*writer.outputStream_->memory());
}

void BytesWriter::build(const URL& fileURL, const std::function<void(BytesWriter&)>& block) {
    BytesWriter writer(fileURL);
    block(writer);
    writer.complete();
}

void BytesWriter::complete() {
    if (!outputStream_->close()) throw WriterError(Code::unableToWriteBytes);
}

BytesWriter::Bytes BytesWriter::data() const {
    const Bytes* bytes = outputStream_->memory();
    if (bytes == nullptr) throw WriterError(Code::noDataAvailable);
    return *bytes;
}

std::int64_t BytesWriter::write(std::span<const std::uint8_t> bytes, std::size_t elementSize) {
    if (bytes.empty()) return 0;
    const std::size_t written = outputStream_->write(bytes);
    counted(static_cast<std::int64_t>(written / elementSize * elementSize));
    if (written < bytes.size()) throw WriterError(Code::unableToWriteBytes);
    return static_cast<std::int64_t>(written);
}

std::int64_t BytesWriter::writeBool(const std::vector<bool>& values) {
    Bytes bytes(values.size());
    std::copy(values.begin(), values.end(), bytes.begin());
    return write(bytes, 1);
}

void BytesWriter::padToNByteBoundary(std::int64_t byteBoundary, std::uint8_t byte) {
    if (byteBoundary <= 0) fatal("Bytes are padded to a boundary of 0 or less.");
    const std::int64_t beyond = count_ % byteBoundary;
    if (beyond != 0) write(Bytes(static_cast<std::size_t>(byteBoundary - beyond), byte));
}

std::int64_t BytesWriter::writeString(std::string_view text, const StringEncoding& encoding,
                                      std::size_t terminator) {
    auto bytes = encoding.encoded(text);
    if (!bytes) throw WriterError(Code::cannotConvertStringEncoding);
    bytes->resize(bytes->size() + terminator);
    return write(*bytes);
}

}  // namespace quorel
