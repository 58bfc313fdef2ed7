// Byte readers and writers beside memcpy and a byte-swap loop, and beside what one would use otherwise: the streams of
// the standard libraries with Boost.Endian.
//
//   bytes_bench FOLDER [--quick]     FOLDER is where its file goes
#include <boost/endian/conversion.hpp>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <new>
#include <span>
#include <sstream>
#include <vector>

#include "benchmarks/measuring.h"
#include "quorel/support/bytes_reader.h"
#include "quorel/support/bytes_writer.h"

namespace {
std::size_t allocations = 0;
}
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

namespace quorel::bench {
namespace {

constexpr auto big = BytesParser::Endianness::big;

// The compiler must believe that somebody reads what was made.
std::size_t used(const void* memory) {
    asm volatile("" : : "r"(memory) : "memory");
    return *static_cast<const std::uint8_t*>(memory);
}

template <class T>
void swapAll(std::span<T> numbers) {
    for (T& number : numbers) number = usingEndianness(number, big);
}

template <class T>
void measureBulk(const std::string& type, std::size_t size) {
    const std::size_t count = size / sizeof(T);
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 31);
    std::vector<T> numbers(count);
    std::memcpy(numbers.data(), bytes.data(), size);
    BytesReader reader(bytes);
    // Without the zeros that a vector begins with: what copying alone costs.
    const auto copyAlone = [&] {
        const std::unique_ptr<void, void (*)(void*)> room(std::malloc(size), std::free);
        std::memcpy(room.get(), bytes.data(), size);
        return used(room.get());
    };
    const std::string what = " big-endian " + type + ", " + (size >> 20 > 0 ? "16 MiB" : "64 KiB");
    Task("read" + what, size)
        .sdk("BytesReader",
             [&] {
                 reader.rewind();
                 return used(reader.readIntegers<T>(static_cast<std::int64_t>(count), big).data());
             })
        .limit("memory: malloc and memcpy", copyAlone)
        .peer("a vector, memcpy and a swap loop", [&] {
            std::vector<T> all(count);
            std::memcpy(all.data(), bytes.data(), size);
            swapAll(std::span(all));
            return used(all.data());
        });
    Task("write" + what, size)
        .sdk("BytesWriter",
             [&] {
                 BytesWriter writer;
                 writer.writeIntegers(numbers, big);
                 return used(&writer);
             })
        .limit("memory: malloc and memcpy", copyAlone)
        .peer("a vector, memcpy and a swap loop", [&] {
            std::vector<std::uint8_t> all(size);
            std::memcpy(all.data(), numbers.data(), size);
            swapAll(std::span(reinterpret_cast<T*>(all.data()), count));
            return used(all.data());
        });
}

struct CFile {
    CFile(const char* path, const char* mode) : file(std::fopen(path, mode)) {
        if (file == nullptr) std::abort();
    }
    ~CFile() { std::fclose(file); }
    std::FILE* const file;
};

void measureFiles(const std::string& path) {
    constexpr std::size_t size = std::size_t{16} << 20;
    constexpr std::size_t count = size / 4;
    const URL url = *URL::parse("file://" + path);
    const std::vector<std::uint32_t> numbers(count, 0x01020304);
    const char* const name = path.c_str();
    const auto asChars = [](auto* memory) { return reinterpret_cast<char*>(memory); };

    Task("write a file of big-endian uint32 at once, 16 MiB", size)
        .sdk("BytesWriter",
             [&] {
                 BytesWriter::build(url, [&](BytesWriter& writer) { writer.writeUInt32(numbers, big); });
                 return 1;
             })
        .peer("std::ofstream, Boost.Endian",
              [&] {
                  std::vector<std::uint32_t> all(numbers);
                  for (std::uint32_t& number : all) boost::endian::native_to_big_inplace(number);
                  std::ofstream(path, std::ios::binary).write(asChars(all.data()), size);
                  return 1;
              })
        .peer("fwrite and a swap loop", [&] {
            std::vector<std::uint32_t> all(numbers);
            swapAll(std::span(all));
            return std::fwrite(all.data(), 1, size, CFile(name, "wb").file);
        });
    Task("read a file of big-endian uint32 at once, 16 MiB", size)
        .sdk("BytesReader", [&] { return used(BytesReader(url).readUInt32(big, std::int64_t{count}).data()); })
        .peer("std::ifstream, Boost.Endian",
              [&] {
                  std::vector<std::uint32_t> all(count);
                  std::ifstream(path, std::ios::binary).read(asChars(all.data()), size);
                  for (std::uint32_t& number : all) boost::endian::big_to_native_inplace(number);
                  return used(all.data());
              })
        .peer("fread and a swap loop", [&] {
            std::vector<std::uint32_t> all(count);
            if (std::fread(all.data(), 1, size, CFile(name, "rb").file) != size) std::abort();
            swapAll(std::span(all));
            return used(all.data());
        });
    Task::each("read one big-endian uint32 of a file", "ns", count)
        .sdk("BytesReader",
             [&] {
                 BytesReader reader(url);
                 std::size_t sum = 0;
                 for (std::size_t i = 0; i < count; ++i) sum += reader.readUInt32(big);
                 return sum;
             })
        .peer("std::ifstream, Boost.Endian",
              [&] {
                  std::ifstream stream(path, std::ios::binary);
                  std::size_t sum = 0;
                  unsigned char bytes[4];
                  for (std::size_t i = 0; i < count && stream.read(asChars(bytes), 4); ++i)
                      sum += boost::endian::load_big_u32(bytes);
                  return sum;
              })
        .peer("fread, Boost.Endian",
              [&] {
                  const CFile file(name, "rb");
                  std::size_t sum = 0;
                  unsigned char bytes[4];
                  for (std::size_t i = 0; i < count && std::fread(bytes, 4, 1, file.file) == 1; ++i)
                      sum += boost::endian::load_big_u32(bytes);
                  return sum;
              })
        .peer("fread_unlocked, Boost.Endian", [&] {
            const CFile file(name, "rb");
            std::size_t sum = 0;
            unsigned char bytes[4];
            for (std::size_t i = 0; i < count && fread_unlocked(bytes, 4, 1, file.file) == 1; ++i)
                sum += boost::endian::load_big_u32(bytes);
            return sum;
        });
    std::remove(name);
}

void measureSmall() {
    constexpr std::size_t count = 1'000'000;
    const std::vector<std::uint8_t> bytes(4 * count);
    BytesReader reader(bytes);
    std::istringstream stream(std::string(bytes.begin(), bytes.end()));
    const auto readAll = [&] {
        reader.rewind();
        std::size_t sum = 0;
        for (std::size_t i = 0; i < count; ++i) sum += reader.readUInt32(big);
        return sum;
    };
    Task::each("read one big-endian uint32 of memory", "ns", count)
        .sdk("BytesReader", readAll)
        .peer("std::istringstream, Boost.Endian",
              [&] {
                  stream.clear();
                  stream.seekg(0);
                  std::size_t sum = 0;
                  unsigned char four[4];
                  for (std::size_t i = 0; i < count && stream.read(reinterpret_cast<char*>(four), 4); ++i)
                      sum += boost::endian::load_big_u32(four);
                  return sum;
              })
        .limit("a checked pointer", [&] {
            const std::uint8_t* at = bytes.data();
            const std::uint8_t* const end = at + bytes.size();
            std::size_t sum = 0;
            for (; end - at >= 4; at += 4) {
                asm volatile("" : "+r"(at));  // one by one, as nobody knows what comes next
                sum += boost::endian::load_big_u32(at);
            }
            return sum;
        });
    const std::size_t before = allocations;
    readAll();
    report("allocations to read 1,000,000 numbers of memory", "allocations", "sdk", "BytesReader",
           static_cast<double>(allocations - before));

    Task::each("write one big-endian uint32 to memory", "ns", count)
        .sdk("BytesWriter",
             [&] {
                 BytesWriter writer;
                 for (std::uint32_t i = 0; i < count; ++i) writer.writeUInt32(i, big);
                 return writer.count();
             })
        .peer("std::ostringstream, Boost.Endian",
              [&] {
                  std::ostringstream out;
                  for (std::uint32_t i = 0; i < count; ++i) {
                      unsigned char four[4];
                      boost::endian::store_big_u32(four, i);
                      out.write(reinterpret_cast<const char*>(four), 4);
                  }
                  return out.tellp();
              })
        .peer("std::vector, Boost.Endian", [&] {
            std::vector<unsigned char> out;
            for (std::uint32_t i = 0; i < count; ++i) {
                unsigned char four[4];
                boost::endian::store_big_u32(four, i);
                out.insert(out.end(), four, four + 4);
            }
            return out.size();
        });
}

}  // namespace
}  // namespace quorel::bench

int main(int count, char** arguments) {
    using namespace quorel::bench;
    if (count < 2) return 2;
    Pace::setBy(count, arguments);
    measureBulk<std::uint32_t>("uint32", std::size_t{64} << 10);
    measureBulk<std::uint16_t>("uint16", std::size_t{16} << 20);
    measureBulk<std::uint32_t>("uint32", std::size_t{16} << 20);
    measureBulk<std::uint64_t>("uint64", std::size_t{16} << 20);
    measureFiles(std::string(arguments[1]) + "/numbers.bin");
    measureSmall();
}
