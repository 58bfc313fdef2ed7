#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <new>
#include <optional>
#include <string>

#include "quorel/support/bytes_reader.h"
#include "quorel/support/bytes_writer.h"

namespace {
std::atomic<std::size_t> allocations = 0;
}
// Counts, for the reads that must not allocate. Not inlined, or the compiler misses the new of a delete.
[[gnu::noinline]] void* operator new(std::size_t size) {
    ++allocations;
    if (void* memory = std::malloc(size)) return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace quorel {
namespace {

using namespace std::string_literals;
using Bytes = std::vector<std::uint8_t>;
using ReadCode = BytesReader::ReaderError::Code;
using WriteCode = BytesWriter::WriterError::Code;
using Encoding = StringEncoding;
constexpr auto big = BytesParser::Endianness::big;
constexpr auto little = BytesParser::Endianness::little;

Bytes bytes(const std::string& text) {
    return {text.begin(), text.end()};
}
template <class Error>
auto codeOf(const std::function<void()>& action) {
    std::optional<decltype(std::declval<Error>().code())> code;
    try {
        action();
    } catch (const Error& error) {
        code = error.code();
    }
    return code;
}
const auto readError = codeOf<BytesReader::ReaderError>;
const auto writeError = codeOf<BytesWriter::WriterError>;

class TemporaryFile {
public:
    TemporaryFile() : path_(std::filesystem::temp_directory_path() / "quorel bytes XXXXXX") {
        close(mkstemp(path_.data()));
    }
    ~TemporaryFile() { std::filesystem::remove(path_); }
    URL url() const { return *URL::parse("file://" + path_); }
    std::string content() const {
        std::ifstream file(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    std::string path_;
};

// Gives nothing at first, then three bytes at most at a time.
struct Trickle final : InputStream {
    explicit Trickle(Bytes given) : left(std::move(given)) {}
    Bytes left;
    bool gaveNothing = false;

    bool open() override { return true; }
    void close() override { ADD_FAILURE() << "a reader closes no stream"; }
    bool hasBytesAvailable() override { return !left.empty(); }
    std::ptrdiff_t read(std::span<std::uint8_t> buffer) override {
        if (!std::exchange(gaveNothing, true)) return 0;
        const std::size_t got = std::min({buffer.size(), left.size(), std::size_t{3}});
        std::copy_n(left.begin(), got, buffer.begin());
        left.erase(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(got));
        return static_cast<std::ptrdiff_t>(got);
    }
};

// Takes ten bytes, then no more.
struct Narrow final : OutputStream {
    std::size_t room = 10;
    int calls = 0;

    bool open() override { return true; }
    bool close() override { return true; }
    std::size_t write(std::span<const std::uint8_t> given) override {
        ++calls;
        const std::size_t taken = std::min(given.size(), room);
        room -= taken;
        return taken;
    }
};

// One of each, and three of each, in both orders.
void writeEverything(BytesWriter& w) {
    EXPECT_EQ(w.writeInt8(-1) + w.writeUInt8({1, 2, 255}) + w.writeInt8({-128, 127, 0}), 7);
    for (const auto e : {big, little}) {
        EXPECT_EQ(w.writeInt16(-2, e) + w.writeUInt16(0x0102, e) + w.writeUInt16({1, 2, 0xFFFE}, e), 10);
        EXPECT_EQ(w.writeInt32(-3, e) + w.writeUInt32(0x01020304, e) + w.writeInt32(std::vector{1, -1, 7}, e), 20);
        EXPECT_EQ(w.writeInt64(INT64_MIN, e) + w.writeUInt64({1, UINT64_MAX}, e), 24);
        EXPECT_EQ(w.writeFloat32(1.5F, e) + w.writeFloat64({-0.0, 1e300}, e) + w.writeDouble(INFINITY, e), 28);
        EXPECT_EQ(w.writeInteger<std::uint16_t>(0x0A0B, e), 2);
    }
    EXPECT_EQ(w.writeBool(true) + w.writeBool(std::vector{false, true}), 3);
}

void readEverything(BytesReader& r) {
    EXPECT_EQ(r.readInt8(), -1);
    EXPECT_EQ(r.readUInt8(3), (Bytes{1, 2, 255}));
    EXPECT_EQ(r.readInt8(3), (std::vector<std::int8_t>{-128, 127, 0}));
    for (const auto e : {big, little}) {
        EXPECT_EQ(r.readInt16(e), -2);
        EXPECT_EQ(r.readUInt16(e), 0x0102);
        EXPECT_EQ(r.readUInt16(e, 3), (std::vector<std::uint16_t>{1, 2, 0xFFFE}));
        EXPECT_EQ(r.readInt32(e), -3);
        EXPECT_EQ(r.readUInt32(e), 0x01020304u);
        EXPECT_EQ(r.readInt32(e, 3), (std::vector<std::int32_t>{1, -1, 7}));
        EXPECT_EQ(r.readInt64(e), INT64_MIN);
        EXPECT_EQ(r.readUInt64(e, 2), (std::vector<std::uint64_t>{1, UINT64_MAX}));
        EXPECT_EQ(r.readFloat32(e), 1.5F);
        const auto doubles = r.readFloat64(e, 2);
        EXPECT_TRUE(std::signbit(doubles[0]));
        EXPECT_EQ(doubles[1], 1e300);
        EXPECT_EQ(r.readDouble(e), INFINITY);
        EXPECT_EQ(r.readInteger<std::uint16_t>(e), 0x0A0B);
    }
    EXPECT_TRUE(r.readBool());
    EXPECT_EQ(r.readBool(2), (std::vector{false, true}));
    EXPECT_FALSE(r.hasMoreData());
    EXPECT_EQ(readError([&] { r.readByte(); }), ReadCode::endOfData);
}

TEST(Bytes, NumbersGoThroughMemoryFilesAndStreams) {
    const TemporaryFile file;
    BytesWriter::build(file.url(), writeEverything);
    const Bytes built = BytesWriter::build(writeEverything);
    EXPECT_EQ(bytes(file.content()), built);
    EXPECT_EQ(Bytes(built.begin() + 7, built.begin() + 11), (Bytes{0xFF, 0xFE, 0x01, 0x02}));
    EXPECT_EQ(Bytes(built.begin() + 91, built.begin() + 95), (Bytes{0xFE, 0xFF, 0x02, 0x01}));
    BytesReader::read(built, readEverything);
    BytesReader::read(file.url(), readEverything);
    BytesReader::read(std::make_shared<Trickle>(built), readEverything);
    BytesReader::read(std::make_shared<MemoryInputStream>(built), readEverything);
    EXPECT_EQ(BytesReader::data(std::make_shared<Trickle>(built)), built);
    EXPECT_EQ(bytesReader(Bytes{1, 2}, [](BytesReader& r) { return r.readUInt16(little); }), 513);

    std::vector<std::uint16_t> many(100'000);
    for (std::size_t i = 0; i < many.size(); ++i) many[i] = static_cast<std::uint16_t>(i * 7);
    const auto writeMany = [&](BytesWriter& w) {
        w.writeUInt16(many, big);
        w.writeUInt16(many, little);
    };
    BytesWriter::build(file.url(), writeMany);
    const auto readMany = [&](BytesReader& r) {
        EXPECT_EQ(r.readUInt16(big, std::ssize(many)), many);
        EXPECT_EQ(r.readUInt16(little, std::ssize(many)), many);
    };
    BytesReader::read(file.url(), readMany);
    BytesReader::read(BytesWriter::build(writeMany), readMany);
}

TEST(Bytes, SourcesMoveAndEndAsTheyShould) {
    BytesReader memory(Bytes{1, 2, 3});
    EXPECT_EQ(readError([&] { memory.readInt32(big); }), ReadCode::endOfData);
    EXPECT_EQ(memory.readByte(), 1);
    using Seek = BytesReader::Seek;
    const struct {
        Seek from;
        std::int64_t offset;
        std::optional<std::int64_t> position;
    } seeks[] = {
        {Seek::start, 2, 2},   {Seek::start, 3, {}},  {Seek::start, -1, {}},   {Seek::end, 0, 2},
        {Seek::end, 2, 0},     {Seek::end, 3, {}},    {Seek::end, -1, {}},     {Seek::current, 2, {}},
        {Seek::current, 1, 2}, {Seek::current, 0, 1}, {Seek::current, -5, -4},
    };
    for (const auto& seek : seeks) {
        memory.seekSet(1);
        const auto error = readError([&] { memory.seek(seek.offset, seek.from); });
        EXPECT_EQ(error, seek.position ? std::optional<ReadCode>() : ReadCode::invalidOffset) << seek.offset;
        EXPECT_EQ(memory.readPosition(), seek.position.value_or(1)) << seek.offset;
    }
    EXPECT_EQ(readError([&] { memory.readByte(); }), ReadCode::invalidOffset);
    memory.rewind();
    EXPECT_EQ(memory.readAllRemainingData(), (Bytes{1, 2, 3}));
    EXPECT_EQ(memory.readAllRemainingData(), Bytes());
    EXPECT_EQ(readError([] { BytesReader(Bytes{}).seekSet(0); }), ReadCode::invalidOffset);

    BytesReader stream(std::make_shared<Trickle>(Bytes{1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(stream.readBytes(4), (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(stream.readPosition(), 4);
    for (const auto& move :
         std::initializer_list<std::function<void()>>{[&] { stream.rewind(); }, [&] { stream.seekSet(0); },
                                                      [&] { stream.seekEnd(0); }, [&] { stream.seek(0); }})
        EXPECT_EQ(readError(move), ReadCode::randomAccessSeekingNotSupportedBySource);
    EXPECT_EQ(readError([&] { stream.readBytes(std::int64_t{1} << 50); }),
              ReadCode::endOfData);  // what it announces
    EXPECT_EQ(stream.readPosition(), 7);
    EXPECT_EQ(readError([&] { stream.readBytes(0); }), ReadCode::endOfData);

    for (const char* url :
         {"file:///no/such/file", "file:///tmp", "https://127.0.0.1/etc/passwd", "/etc/passwd"}) {
        EXPECT_EQ(readError([&] { BytesReader{*URL::parse(url)}; }), ReadCode::invalidFile) << url;
        EXPECT_EQ(writeError([&] { BytesWriter{*URL::parse(url)}; }), WriteCode::cannotOpenOutputFile) << url;
    }
}

// Of which some lie across the ends of the stream's buffer, and some are larger than it.
TEST(Bytes, ReadsOfAllSizesGiveAFileInOrder) {
    Bytes content(300'000);
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
    const TemporaryFile file;
    BytesWriter::build(file.url(), [&](BytesWriter& writer) { writer.writeBytes(content); });
    BytesReader reader(file.url());
    Bytes read;
    for (std::int64_t size = 1; reader.hasMoreData(); size = size * 5 % 70'001 + 1) {
        const auto left = std::ssize(content) - std::ssize(read);
        const Bytes piece = reader.readBytes(std::min(size, left));
        read.insert(read.end(), piece.begin(), piece.end());
        if (left > size) read.push_back(reader.readByte());
        ASSERT_EQ(reader.readPosition(), std::ssize(read));
    }
    EXPECT_EQ(read, content);
    EXPECT_EQ(readError([&] { reader.readUInt16(big); }), ReadCode::endOfData);
}

TEST(Bytes, SearchesGoByteByByte) {
    BytesReader reader(bytes("A\0Bab\1\1\1\2rest of it"s));
    EXPECT_EQ(reader.readUpToNextNullByte(), (Bytes{'A', 0}));
    EXPECT_EQ(reader.readPosition(), 2);
    reader.readThroughNextInstanceOfPattern(Bytes{});
    reader.readThroughNextInstanceOfASCII("ab");
    EXPECT_EQ(reader.readPosition(), 5);
    EXPECT_EQ(readError([&] { reader.readThroughNextInstanceOfPattern(Bytes{1, 1, 2}); }), ReadCode::endOfData);
    reader.seekSet(5);
    reader.readThroughNextInstanceOfPattern(Bytes{1, 2});
    EXPECT_EQ(reader.readUpToNextInstanceOfByte('!'), bytes("rest of it"));
    EXPECT_EQ(reader.readUpToNextInstanceOfByte('!'), Bytes());
    EXPECT_EQ(readError([&] { reader.readThroughNextInstanceOfASCII("\u00E9"); }),
              ReadCode::invalidStringEncoding);
}

TEST(Bytes, TextsInEveryEncoding) {
    const std::string text = "a\u00E9", cat = "\U0001F408\uFEFF";
    const auto latin2 = *Encoding::named("iso-8859-2");
    using Write = std::function<std::int64_t(BytesWriter&, bool terminated)>;
    using Read = std::function<std::string(BytesReader&)>;
    const struct {
        Write write;
        std::string bytes, text, terminator;
        Read read, readTerminated;
    } cases[] = {
        {[](auto& w, bool t) { return w.writeStringASCII("plain", t); }, "plain", "plain", "\0"s,
         [](auto& r) { return r.readStringASCII(5); }, [](auto& r) { return r.readStringASCIINullTerminated(); }},
        {[&](auto& w, bool t) { return w.writeStringUTF8(text, t); }, text, text, "\0"s,
         [](auto& r) { return r.readStringUTF8(3); }, [](auto& r) { return r.readStringUTF8NullTerminated(); }},
        {[&](auto& w, bool t) { return w.writeStringISOLatin1(text, t); }, "a\xE9", text, "\0"s,
         [](auto& r) { return r.readStringSingleByteEncoding(Encoding::isoLatin1, 2); },
         [](auto& r) { return r.readStringSingleByteEncodingNullTerminated(Encoding::isoLatin1); }},
        {[&](auto& w, bool t) { return w.writeStringSingleByteEncoding("\u0159", latin2, t); }, "\xF8", "\u0159",
         "\0"s, [&](auto& r) { return r.readStringSingleByteEncoding(latin2, 1); },
         [&](auto& r) { return r.readStringSingleByteEncodingNullTerminated(latin2); }},
        {[&](auto& w, bool t) { return w.writeStringUTF16BE(cat, t); }, "\xD8\x3D\xDC\x08\xFE\xFF", cat, "\0\0"s,
         [](auto& r) { return r.readStringUTF16BE(3); },
         [](auto& r) { return r.readStringUTF16NullTerminated(big); }},
        {[&](auto& w, bool t) { return w.writeStringUTF16LE(text, t); }, "a\0\xE9\0"s, text, "\0\0"s,
         [](auto& r) { return r.readStringUTF16LE(2); },
         [](auto& r) { return r.readStringUTF16NullTerminated(little); }},
        {[&](auto& w, bool t) { return w.writeStringWide16(text, *Encoding::named("UTF-16"), t); }, "\0a\0\xE9"s,
         text, "\0\0"s, [](auto& r) { return r.readStringWide16(*Encoding::named("utf-16"), 2); },
         [](auto& r) { return r.readStringWide16NullTerminated(Encoding::utf16BigEndian); }},
        {[&](auto& w, bool t) { return w.writeStringUTF32BE(text, t); }, "\0\0\0a\0\0\0\xE9"s, text, "\0\0\0\0"s,
         [](auto& r) { return r.readStringUTF32BE(2); },
         [](auto& r) { return r.readStringUTF32NullTerminated(big); }},
        {[&](auto& w, bool t) { return w.writeStringUTF32LE(text, t); }, "a\0\0\0\xE9\0\0\0"s, text, "\0\0\0\0"s,
         [](auto& r) { return r.readStringUTF32LE(2); },
         [](auto& r) { return r.readStringUTF32NullTerminated(little); }},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(BytesWriter::build([&](BytesWriter& w) { EXPECT_EQ(c.write(w, false), std::ssize(c.bytes)); }),
                  bytes(c.bytes));
        EXPECT_EQ(BytesWriter::build([&](BytesWriter& w) { c.write(w, true); }), bytes(c.bytes + c.terminator));
        BytesReader reader(bytes(c.bytes + c.terminator + "next"));
        EXPECT_EQ(c.read(reader), c.text);
        reader.rewind();
        EXPECT_EQ(c.readTerminated(reader), c.text);
        EXPECT_EQ(reader.readStringASCII(4), "next");
        EXPECT_EQ(BytesReader::read(std::make_shared<MemoryInputStream>(bytes(c.bytes)), c.readTerminated), c.text)
            << "to the end";
    }
    const auto text16 = [](const std::string& b, std::int64_t n) {
        return BytesReader(bytes(b)).readStringUTF16BE(n);
    };
    EXPECT_EQ(text16("", 0) + text16("", -7), "");
    EXPECT_EQ(readError([&] { text16("\xD8\x3D\0a"s, 2); }), ReadCode::invalidStringEncoding);  // half a pair
    EXPECT_EQ(readError([&] { BytesReader(bytes("\0a\0"s)).readStringUTF16NullTerminated(big); }),
              ReadCode::endOfData);
    BytesReader reader(bytes("ab\0\0\xFF."s));
    EXPECT_EQ(reader.readStringASCII(3, true), "ab");
    EXPECT_EQ(reader.readStringASCII(1, false), "\0"s);
    EXPECT_EQ(readError([&] { reader.readStringUTF8(1); }), ReadCode::invalidStringEncoding);
    EXPECT_EQ(reader.readByte(), '.') << "the bytes were consumed";
    for (const char* name : {"", "no such thing", "UTF-8//IGNORE", "wchar_t", "char", "internal"})
        EXPECT_FALSE(Encoding::named(name)) << name;
}

TEST(Bytes, WritersCountPadAndFail) {
    BytesWriter writer;
    EXPECT_EQ(writeError([&] { writer.writeStringASCII("\u00E9", true); }),
              WriteCode::cannotConvertStringEncoding);
    for (const char* foreign : {"\u0159", "a\U000E0041"})
        EXPECT_EQ(writeError([&] { writer.writeStringISOLatin1(foreign); }),
                  WriteCode::cannotConvertStringEncoding);
    EXPECT_EQ(writeError([&] { writer.writeStringUTF16LE("\xFF"); }), WriteCode::cannotConvertStringEncoding);
    EXPECT_EQ(writer.count(), 0);
    EXPECT_EQ(writer.writeBytes(1, 2, 3) + writer.writeByte(4), 4);
    writer.padToFourByteBoundary(9);
    EXPECT_EQ(writer.writeData(Bytes{5}), 1);
    writer.padToFourByteBoundary(9);
    writer.writeBytes(Bytes{6});
    writer.padToEightByteBoundary();
    writer.padToNByteBoundary(3, 7);
    EXPECT_EQ(writer.rawBytes(), (Bytes{1, 2, 3, 4, 5, 9, 9, 9, 6, 0, 0, 0, 0, 0, 0, 0, 7, 7}));
    EXPECT_EQ(writer.count(), 18);
    writer.writeUInt16({0x0102, 0x0304}, big);  // behind what was asked for, with room left and without
    EXPECT_EQ(writer.rawBytes().back(), 4);
    for (int i = 0; i < 100; ++i) writer.writeUInt32(0x05060708, big);
    EXPECT_EQ(writer.rawBytes()[22], 5);
    EXPECT_EQ(std::ssize(writer.rawBytes()), 422);
    writer.complete();
    EXPECT_EQ(writeError([&] { writer.writeByte(1); }), WriteCode::unableToWriteBytes);
    EXPECT_EQ(writeError([&] { writer.writeUInt32(1, big); }), WriteCode::unableToWriteBytes);
    EXPECT_EQ(std::ssize(writer.data()), 422);

    const auto stream = std::make_shared<Narrow>();
    BytesWriter narrow(stream);
    EXPECT_EQ(writeError([&] { narrow.writeUInt32({1, 2, 3}, big); }), WriteCode::unableToWriteBytes);
    EXPECT_EQ(narrow.count(), 8) << "two whole ones";
    EXPECT_EQ(stream->calls, 1);
    EXPECT_EQ(writeError([&] { (void)narrow.data(); }), WriteCode::noDataAvailable);
    const URL full = *URL::parse("file:///dev/full");
    EXPECT_EQ(writeError([&] { BytesWriter::build(full, [](BytesWriter& w) { w.writeByte(1); }); }),
              WriteCode::unableToWriteBytes);
    EXPECT_THROW(BytesWriter::build([](BytesWriter&) { throw std::runtime_error("passed on"); }),
                 std::runtime_error);
}

TEST(Bytes, SmallReadsOfMemoryDoNotAllocate) {
    BytesReader reader(Bytes(64, 1));
    std::uint32_t numbers[4];
    BytesReader(Bytes{'a'}).readStringUTF8(1);  // the first text of a process sets the check of UTF-8 up
    const std::size_t before = allocations;
    std::uint64_t sum =
        reader.readByte() + reader.readUInt16(big) + reader.readUInt32(little) + reader.readUInt64(big);
    sum += static_cast<std::uint64_t>(reader.readFloat32(big)) + reader.source()->readData(8)[0];
    reader.readIntegers(numbers, big);
    reader.readThroughNextInstanceOfPattern(reader.source()->readData(2));
    EXPECT_EQ(reader.readStringUTF8(4), "\1\1\1\1");  // short enough for the string itself
    EXPECT_EQ(allocations, before);
    EXPECT_GT(sum, numbers[0]);
}

TEST(BytesDeathTest, ProgrammingErrorsStopTheProcess) {
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[] { BytesReader(Bytes{1}).readBytes(-1); }, "negative count"},
        {[] { BytesReader(std::make_shared<MemoryInputStream>(Bytes{1})).readBytes(-1); }, "negative count"},
        {[] { BytesReader(Bytes{1}).readUInt32(big, INT64_MAX / 2); }, "overflows"},
        {[] { BytesReader(Bytes{1}).readStringUTF16BE(INT64_MAX); }, "overflows"},
        {[] { BytesReader(Bytes{}).readAllRemainingData(); }, "source that has none"},
        {[] { BytesWriter().padToNByteBoundary(0, 1); }, "boundary"},
    };
    for (const auto& [action, message] : cases) EXPECT_DEATH(action(), message);
}

}  // namespace
}  // namespace quorel
