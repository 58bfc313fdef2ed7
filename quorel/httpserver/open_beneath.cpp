#include "quorel/httpserver/open_beneath.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string_view>

namespace quorel::http {

namespace {

// O_NONBLOCK, or a pipe among the files would hold the connection until somebody writes to it.
constexpr int readFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

int openInside(int directory, const std::string& path) {
    open_how how{};
    how.flags = readFlags;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
    return static_cast<int>(syscall(SYS_openat2, directory, path.c_str(), &how, sizeof how));
}

std::string resolvedPath(const std::string& path) {
    char* resolved = realpath(path.c_str(), nullptr);
    std::string text = resolved != nullptr ? resolved : "";
    std::free(resolved);
    return text;
}

bool climbsOut(std::string_view path) {
    int depth = 0;
    while (!path.empty()) {
        const std::string_view segment = path.substr(0, path.find('/'));
        path.remove_prefix(std::min(segment.size() + 1, path.size()));
        if (segment == "..") {
            if (--depth < 0) return true;
        } else if (!segment.empty() && segment != ".") {
            ++depth;
        }
    }
    return false;
}

// Descends one name at a time, following no link at all.
int openLinkless(int directory, std::string_view path) {
    const std::size_t slash = path.find('/');
    const std::string name(path.substr(0, slash));
    if (slash == path.npos) return openat(directory, name.c_str(), readFlags | O_NOFOLLOW);
    const Descriptor next(openat(directory, name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    return next ? openLinkless(next.get(), path.substr(slash + 1)) : -1;
}

// The relative path to the file without any symbolic link in it; "" when it is not below the directory.
std::string linklessPath(const std::string& directory, const std::string& path) {
    std::string base = resolvedPath(directory);
    const std::string target = resolvedPath(directory + "/" + path);
    if (base.empty() || target.empty()) return {};
    if (target == base) return ".";
    if (!base.ends_with('/')) base.push_back('/');
    return target.starts_with(base) ? target.substr(base.size()) : std::string();
}

}  // namespace

Descriptor::~Descriptor() {
    if (descriptor_ >= 0) close(descriptor_);
}

Descriptor openBeneath(const std::string& directory, const std::string& path) {
    if (path.find('\0') != path.npos || path.starts_with('/') || climbsOut(path)) return Descriptor();
    const Descriptor base(open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!base) return Descriptor();

    const int direct = openInside(base.get(), path.empty() ? "." : path);
    if (direct >= 0 || (errno != EXDEV && errno != ENOSYS && errno != EPERM)) return Descriptor(direct);

    // Either a link leads out or to an absolute path, which may be inside all the same; or the kernel lacks the
    // call (it came with Linux 5.6; sandboxes answer EPERM).
    const std::string linkless = linklessPath(directory, path);
    return linkless.empty() ? Descriptor() : Descriptor(openLinkless(base.get(), linkless));
}

OpenFile readableFile(Descriptor descriptor, off_t& size) {
    struct stat status {};
    if (!descriptor || fstat(descriptor.get(), &status) == -1 || !S_ISREG(status.st_mode)) return nullptr;
    size = status.st_size;
    std::FILE* file = fdopen(descriptor.get(), "rb");
    if (file == nullptr) return nullptr;
    descriptor.release();
    return OpenFile(file, [](std::FILE* open) { std::fclose(open); });
}

}  // namespace quorel::http
