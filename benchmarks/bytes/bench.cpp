// Bulk reads and writes beside memcpy and a byte-swap loop, in turns; and what small reads cost and allocate.
//
// Prints a line per case: name, GB/s of ours, GB/s of the loop, ratio; all medians over the rounds.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <vector>

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

namespace {

using namespace quorel;
using Clock = std::chrono::steady_clock;
constexpr auto big = BytesParser::Endianness::big;

volatile std::uint8_t sink;
// The compiler must believe that somebody reads what was made.
void use(const void* memory) {
    asm volatile("" : : "r"(memory) : "memory");
    sink = *static_cast<const std::uint8_t*>(memory);
}

double median(std::vector<double>& values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void compare(const char* name, std::size_t size, const std::function<void()>& ours,
             const std::function<void()>& loop) {
    const int repeats = static_cast<int>(std::max<std::size_t>(1, (std::size_t{64} << 20) / size));
    const auto rate = [&](const std::function<void()>& function) {
        const auto begin = Clock::now();
        for (int i = 0; i < repeats; ++i) function();
        const std::chrono::duration<double> taken = Clock::now() - begin;
        return static_cast<double>(size) * repeats / taken.count() / 1e9;
    };
    std::vector<double> rates, loopRates, ratios;
    for (int round = 0; round < 15; ++round) {
        rates.push_back(rate(ours));
        loopRates.push_back(rate(loop));
        ratios.push_back(rates.back() / loopRates.back());
    }
    std::printf("%s %zu %.2f %.2f %.2f\n", name, size, median(rates), median(loopRates), median(ratios));
}

template <class T>
void swapAll(T* numbers, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) numbers[i] = usingEndianness(numbers[i], big);
}

template <class T>
void compareOf(const char* type, std::size_t size) {
    const std::size_t count = size / sizeof(T);
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 31);
    std::vector<T> numbers(count);
    std::memcpy(numbers.data(), bytes.data(), size);
    BytesReader reader(bytes);
    const auto name = [&](const char* what) { return std::string(what) + "_" + type; };
    compare(
        name("read").c_str(), size,
        [&] {
            reader.rewind();
            use(reader.readIntegers<T>(static_cast<std::int64_t>(count), big).data());
        },
        [&] {
            std::vector<T> all(count);
            std::memcpy(all.data(), bytes.data(), size);
            swapAll(all.data(), count);
            use(all.data());
        });
    std::vector<T> room(count);
    compare(
        name("read_into").c_str(), size,
        [&] {
            reader.rewind();
            reader.readIntegers(room, big);
            use(room.data());
        },
        [&] {
            std::memcpy(room.data(), bytes.data(), size);
            swapAll(room.data(), count);
            use(room.data());
        });
    compare(
        name("write").c_str(), size,
        [&] {
            BytesWriter writer;
            writer.writeIntegers(numbers, big);
            use(&writer);
        },
        [&] {
            std::vector<std::uint8_t> all(size);
            std::memcpy(all.data(), numbers.data(), size);
            swapAll(reinterpret_cast<T*>(all.data()), count);
            use(all.data());
        });
}

void compareFiles() {
    constexpr std::size_t size = std::size_t{16} << 20;
    const char* path = "/tmp/quorel_bytes_bench.bin";
    const URL url = *URL::parse(std::string("file://") + path);
    const std::vector<std::uint32_t> numbers(size / 4, 0x01020304);
    compare(
        "file_write_uint32", size,
        [&] { BytesWriter::build(url, [&](BytesWriter& w) { w.writeUInt32(numbers, big); }); },
        [&] {
            std::vector<std::uint32_t> all(numbers);
            swapAll(all.data(), all.size());
            std::FILE* file = std::fopen(path, "wb");
            std::fwrite(all.data(), 1, size, file);
            std::fclose(file);
        });
    compare(
        "file_read_uint32", size, [&] { use(BytesReader(url).readUInt32(big, size / 4).data()); },
        [&] {
            std::vector<std::uint32_t> all(size / 4);
            std::FILE* file = std::fopen(path, "rb");
            if (std::fread(all.data(), 1, size, file) != size) std::abort();
            std::fclose(file);
            swapAll(all.data(), all.size());
            use(all.data());
        });
    std::remove(path);
}

template <class Function>
void small(const char* name, Function function) {
    constexpr int count = 1'000'000;
    const std::size_t before = allocations;
    const auto begin = Clock::now();
    for (int i = 0; i < count; ++i) function(i);
    const std::chrono::duration<double, std::nano> taken = Clock::now() - begin;
    std::printf("%s each %.2f %.4f\n", name, taken.count() / count,
                static_cast<double>(allocations - before) / count);
}

}  // namespace

int main() {
    for (const std::size_t size : {std::size_t{64} << 10, std::size_t{16} << 20}) {
        compareOf<std::uint16_t>("uint16", size);
        compareOf<std::uint32_t>("uint32", size);
        compareOf<std::uint64_t>("uint64", size);
    }
    compareFiles();
    BytesReader reader(std::vector<std::uint8_t>(8'000'000));
    small("small_read_uint32", [&](int) { sink = static_cast<std::uint8_t>(reader.readUInt32(big)); });
    reader.rewind();
    small("small_read_byte", [&](int) { sink = reader.readByte(); });
    BytesWriter writer;
    small("small_write_uint32", [&](int i) { writer.writeUInt32(static_cast<std::uint32_t>(i), big); });
}
