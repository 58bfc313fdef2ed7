#include "tools/quorel-soak/vitals.h"

#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define QUOREL_SOAK_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QUOREL_SOAK_ASAN 1
#endif
#endif

#ifdef QUOREL_SOAK_ASAN
// Of sanitizer/allocator_interface.h, which Debian's GCC does not bring.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();  // NOLINT(bugprone-reserved-identifier)
#endif

namespace quorel::soak {

namespace {

std::vector<std::filesystem::path> entries(const char* directory) {
    std::error_code ignored;
    std::vector<std::filesystem::path> found;
    for (const auto& entry : std::filesystem::directory_iterator(directory, ignored))
        found.push_back(entry.path());
    return found;
}

std::int64_t heapBytes() {
#ifdef QUOREL_SOAK_ASAN
    return static_cast<std::int64_t>(__sanitizer_get_current_allocated_bytes());
#else
    return static_cast<std::int64_t>(mallinfo2().uordblks);
#endif
}

std::string joined(std::vector<std::string> words) {
    std::sort(words.begin(), words.end());
    std::string text;
    for (const std::string& word : words) text.append(text.empty() ? "" : " ").append(word);
    return text;
}

}  // namespace

Vitals Vitals::now() {
    Vitals vitals;
    vitals.threads = static_cast<int>(entries("/proc/self/task").size());
    vitals.descriptors = static_cast<int>(entries("/proc/self/fd").size()) - 1;  // without that of the look itself
    vitals.heapKiB = heapBytes() / 1024;
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmRSS:") status >> vitals.residentKiB;
    }
    return vitals;
}

std::string threadNames() {
    std::vector<std::string> names;
    for (const auto& task : entries("/proc/self/task")) {
        std::ifstream file(task / "comm");
        std::string name;
        if (std::getline(file, name)) names.push_back(name);
    }
    return joined(std::move(names));
}

std::string descriptorTargets() {
    std::vector<std::string> targets;
    for (const auto& descriptor : entries("/proc/self/fd")) {
        std::error_code gone;
        const auto target = std::filesystem::read_symlink(descriptor, gone);
        if (!gone) targets.push_back(target.string());
    }
    return joined(std::move(targets));
}

}  // namespace quorel::soak
