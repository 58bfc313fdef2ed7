// Any bytes through the text operations of a reader, called as the first bytes say: memory and streams give the same
// texts and errors, what is text is UTF-8, and written again in the same encoding it gives the same bytes.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "quorel/foundation/fatal.h"
#include "quorel/foundation/text.h"
#include "quorel/support/bytes_reader.h"
#include "quorel/support/bytes_writer.h"

using namespace quorel;

namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr auto big = BytesParser::Endianness::big;
constexpr auto little = BytesParser::Endianness::little;

// Gives one byte at a time.
struct Trickle final : InputStream {
    explicit Trickle(const Bytes& given) : bytes(given) {}
    const Bytes& bytes;
    std::size_t position = 0;

    bool open() override { return true; }
    void close() override {}
    bool hasBytesAvailable() override { return position < bytes.size(); }
    std::ptrdiff_t read(std::span<std::uint8_t> buffer) override {
        if (buffer.empty() || position == bytes.size()) return 0;
        buffer[0] = bytes[position++];
        return 1;
    }
};

std::string text(BytesReader& reader, unsigned operation, std::int64_t n) {
    switch (operation % 12) {
        case 0:
            return reader.readStringASCII(n, operation > 127);
        case 1:
            return reader.readStringUTF8(n, operation > 127);
        case 2:
            return reader.readStringSingleByteEncoding(StringEncoding::isoLatin1, n, operation > 127);
        case 3:
            return reader.readStringUTF16(operation > 127 ? big : little, n - 2);
        case 4:
            return reader.readStringUTF32(operation > 127 ? big : little, n - 2);
        case 5:
            return reader.readStringASCIINullTerminated();
        case 6:
            return reader.readStringUTF8NullTerminated();
        case 7:
            return reader.readStringUTF16NullTerminated(operation > 127 ? big : little);
        case 8:
            return reader.readStringUTF32NullTerminated(operation > 127 ? big : little);
        case 9:
            reader.readThroughNextInstanceOfPattern(
                Bytes{static_cast<std::uint8_t>(n), static_cast<std::uint8_t>(n)});
            return {};
        case 10:
            return std::to_string(reader.readUInt16(big, n).size() + reader.readBytes(n).size());
        default:
            return reader.readStringSingleByteEncodingNullTerminated(*StringEncoding::named("windows-1252"));
    }
}

// The texts that the reader gives, and the case of the error that ended them.
std::string outcome(BytesReader reader, std::span<const std::uint8_t> program) {
    std::string all;
    try {
        for (std::size_t i = 0; i + 1 < program.size(); i += 2) {
            const std::string one = text(reader, program[i], program[i + 1]);
            if (!isValidUTF8(one)) fatal("a text that is not UTF-8");
            all.append(one).append("|");
        }
    } catch (const BytesReader::ReaderError& error) {
        all.append(error.what());
    }
    return all;
}

void requireTheSameWrittenAgain(const Bytes& bytes) {
    for (const StringEncoding& encoding :
         {StringEncoding::ascii, StringEncoding::utf8, StringEncoding::isoLatin1, StringEncoding::utf16BigEndian,
          StringEncoding::utf16LittleEndian, StringEncoding::utf32BigEndian, StringEncoding::utf32LittleEndian}) {
        const auto decoded = encoding.decoded(bytes);
        if (!decoded) continue;
        const Bytes again =
            BytesWriter::build([&](BytesWriter& w) { w.writeStringSingleByteEncoding(*decoded, encoding); });
        if (again != bytes) fatal("other bytes than those that were read: " + std::string(encoding.name()));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0 || size > 65536) return 0;
    const std::size_t programSize = std::min<std::size_t>(data[0] % 32, size - 1);
    const std::span<const std::uint8_t> program(data + 1, programSize);
    const Bytes bytes(data + 1 + programSize, data + size);
    const std::string memory = outcome(BytesReader(bytes), program);
    // Where nothing is left, 0 bytes can be read from memory and not from a stream: what comes behind is not compared.
    for (const std::string& stream : {outcome(BytesReader(std::make_shared<MemoryInputStream>(bytes)), program),
                                      outcome(BytesReader(std::make_shared<Trickle>(bytes)), program)}) {
        const std::size_t error = stream.find("endOfData");
        if (error == stream.npos ? stream != memory : memory.substr(0, error) != stream.substr(0, error))
            fatal("a stream gives another text than memory: " + stream);
    }
    requireTheSameWrittenAgain(bytes);
    return 0;
}
