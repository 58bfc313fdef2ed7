#include "quorel/session/installation_identifier.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <utility>
#include <vector>

#include "quorel/foundation/text.h"
#include "quorel/foundation/uuid.h"

namespace quorel {

namespace {

namespace fs = std::filesystem;

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    explicit operator bool() const { return number_ >= 0; }
    int number() const { return number_; }

private:
    const int number_;
};

std::optional<UUID> read(const fs::path& file) {
    // Not waiting for a writer, should somebody have put a pipe there.
    const Descriptor in(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!in) return std::nullopt;
    std::array<char, 64> text{};
    const ssize_t length = ::read(in.number(), text.data(), text.size());
    if (length <= 0) return std::nullopt;
    return UUID::parse(trimmedWhitespaceAndNewlines({text.data(), static_cast<std::size_t>(length)}));
}

// As the XDG specification has it: what does not exist is made with mode 0700.
bool makeFolder(const fs::path& folder) {
    std::error_code error;
    if (fs::is_directory(folder, error)) return true;
    if (folder.has_parent_path() && folder.parent_path() != folder && !makeFolder(folder.parent_path()))
        return false;
    return mkdir(folder.c_str(), 0700) == 0 || fs::is_directory(folder, error);
}

bool write(const fs::path& file, const std::string& line) {
    const Descriptor out(open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!out) return false;
    return ::write(out.number(), line.data(), line.size()) == static_cast<ssize_t>(line.size()) &&
           fsync(out.number()) == 0;
}

// The identifier that the file holds in the end, whoever was quicker; absent when it cannot be kept.
std::optional<UUID> make(const fs::path& file) {
    if (!makeFolder(file.parent_path())) return std::nullopt;
    const UUID mine = UUID::random();
    fs::path draft = file;
    draft += ".";  // not in one: GCC 12 sees an overlap in it at -O3
    draft += mine.string();
    bool kept = false;
    if (write(draft, mine.string() + "\n")) {
        // A link, unlike a renaming, does not replace what another process has put there.
        kept = link(draft.c_str(), file.c_str()) == 0;
        if (!kept) {
            if (const auto theirs = read(file)) {
                unlink(draft.c_str());
                return theirs;
            }
            kept = std::rename(draft.c_str(), file.c_str()) == 0;
        }
    }
    unlink(draft.c_str());
    return kept ? std::optional(mine) : std::nullopt;
}

}  // namespace

InstallationIdentifier::InstallationIdentifier(fs::path stateFolder) : folder_(std::move(stateFolder)) {}

fs::path InstallationIdentifier::defaultStateFolder() {
    const char* state = std::getenv("XDG_STATE_HOME");
    if (state != nullptr && fs::path(state).is_absolute()) return state;
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
        return fs::path(home) / ".local" / "state";
    }
    std::vector<char> room(16 * 1024);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(getuid(), &entry, room.data(), room.size(), &found) != 0 || found == nullptr) return {};
    return fs::path(found->pw_dir) / ".local" / "state";
}

std::optional<std::string> InstallationIdentifier::identifierForVendor() {
    const std::lock_guard lock(mutex_);
    if (!identifier_) {
        std::optional<UUID> uuid;
        if (!folder_.empty()) {
            const fs::path file = folder_ / "quorel" / "installation-id";
            uuid = read(file);
            if (!uuid) uuid = make(file);
        }
        identifier_ = uuid.value_or(UUID::random()).string();
    }
    return identifier_;
}

}  // namespace quorel
