#include "tools/quorel-subtitles/writing.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <system_error>

#include "tools/quorel-subtitles/failure.h"

namespace quorel::subtitles_tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* notWritten = "cannot be written";

// The temporary file that a signal would leave behind.
char pending[PATH_MAX];

void removePending(int signal) {
    if (pending[0] != '\0') unlink(pending);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void catchSignals() {
    static const bool caught = [] {
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
            struct sigaction action {};
            sigaction(signal, nullptr, &action);
            if (action.sa_handler == SIG_IGN) continue;  // as under nohup
            action.sa_handler = &removePending;
            sigaction(signal, &action, nullptr);
        }
        return true;
    }();
    static_cast<void>(caught);
}

void writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw systemFailure(notWritten, errno);
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

class TemporaryFile {
public:
    explicit TemporaryFile(const fs::path& target) {
        catchSignals();
        path_ = (target.parent_path() / (".quorel-subtitles-XXXXXX")).string();
        if (path_.size() >= sizeof pending) throw systemFailure(notWritten, ENAMETOOLONG);
        descriptor_ = mkostemp(path_.data(), O_CLOEXEC);
        if (descriptor_ < 0) throw systemFailure(notWritten, errno);
        std::strcpy(pending, path_.c_str());
    }
    ~TemporaryFile() {
        if (descriptor_ >= 0) close(descriptor_);
        if (pending[0] != '\0') unlink(path_.c_str());
        pending[0] = '\0';
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    int descriptor() const { return descriptor_; }

    void takePermissionsOf(const struct stat& old) {
        // Another owner's, where the system lets it be so; what it refuses stays ours.
        if (fchown(descriptor_, old.st_uid, old.st_gid) != 0 && fchown(descriptor_, uid_t(-1), old.st_gid) != 0) {
        }
        if (fchmod(descriptor_, old.st_mode & 07777) != 0) throw systemFailure(notWritten, errno);
    }
    void takeUsualPermissions() {
        const mode_t mask = umask(0);
        umask(mask);
        if (fchmod(descriptor_, 0666 & ~mask) != 0) throw systemFailure(notWritten, errno);
    }

    void replace(const fs::path& target) {
        // What is replaced must not be gone before its successor has reached the disk.
        if (fsync(descriptor_) != 0 && errno != EINVAL) throw systemFailure(notWritten, errno);
        finish(rename(path_.c_str(), target.c_str()));
    }
    // Unless somebody else has made it meanwhile.
    void becomeNew(const fs::path& target) {
        int result = renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE);
        if (result != 0 && (errno == EINVAL || errno == ENOSYS)) {  // a file system that cannot
            result = link(path_.c_str(), target.c_str());
            if (result == 0) unlink(path_.c_str());
        }
        finish(result);
    }

private:
    void finish(int result) {
        if (result != 0) throw systemFailure(notWritten, errno);
        pending[0] = '\0';
        // Full disks of other machines report at last.
        const int closed = close(descriptor_);
        descriptor_ = -1;
        if (closed != 0 && errno != EINTR) throw systemFailure(notWritten, errno);
    }

    std::string path_;
    int descriptor_ = -1;
};

void writeInto(const fs::path& special, std::string_view bytes) {
    const int descriptor = open(special.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor < 0) throw systemFailure(notWritten, errno);
    try {
        writeAll(descriptor, bytes);
    } catch (...) {
        close(descriptor);
        throw;
    }
    if (close(descriptor) != 0) throw systemFailure(notWritten, errno);
}

}  // namespace

void writeFile(const fs::path& target, std::string_view bytes, bool overwrites) {
    struct stat old {};
    const bool exists = stat(target.c_str(), &old) == 0;
    if (!exists && errno != ENOENT) throw systemFailure(notWritten, errno);
    std::error_code ignored, error;
    if (!exists && fs::is_symlink(fs::symlink_status(target, ignored))) {
        throw Failure{"cannot be written: it is a symbolic link that leads nowhere"};
    }
    if (exists && S_ISDIR(old.st_mode)) throw systemFailure(notWritten, EISDIR);
    if (exists && !S_ISREG(old.st_mode)) return writeInto(target, bytes);
    if (exists && !overwrites) throw Failure{"exists already; --force overwrites it"};
    // A file that its owner made read-only is not to be replaced behind his back.
    if (exists && access(target.c_str(), W_OK) != 0) throw systemFailure(notWritten, errno);

    fs::path file = exists ? fs::canonical(target, error) : target;
    if (error) throw systemFailure(notWritten, error.value());
    if (!file.has_parent_path()) file = fs::path(".") / file;
    TemporaryFile temporary(file);
    writeAll(temporary.descriptor(), bytes);
    if (exists) {
        temporary.takePermissionsOf(old);
        temporary.replace(file);
    } else {
        temporary.takeUsualPermissions();
        temporary.becomeNew(file);
    }
}

void writeStandardOutput(std::string_view bytes) {
    std::fflush(stdout);
    writeAll(STDOUT_FILENO, bytes);
}

}  // namespace quorel::subtitles_tool
