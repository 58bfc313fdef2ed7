#include "tools/quorel-play/snapshot.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

namespace quorel::play {

namespace {

bool writeAll(int descriptor, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

// 0, or the system's reason. What is there stays until its successor is complete: a full disk costs no older picture.
int replaceFile(const std::string& path, std::span<const std::byte> bytes) {
    struct stat old {};
    const bool exists = stat(path.c_str(), &old) == 0;
    if (exists && !S_ISREG(old.st_mode)) {  // a device or a pipe
        const int descriptor = open(path.c_str(), O_WRONLY | O_CLOEXEC);
        if (descriptor < 0) return errno;
        const int reason = writeAll(descriptor, bytes) ? 0 : errno;
        close(descriptor);
        return reason;
    }
    std::string target = path;
    if (char* const real = exists ? realpath(path.c_str(), nullptr) : nullptr; real != nullptr) {
        target = real;
        std::free(real);
    }
    std::string draft = target + ".XXXXXX";
    const int descriptor = mkostemp(draft.data(), O_CLOEXEC);
    if (descriptor < 0) return errno;
    const mode_t mask = umask(0);
    umask(mask);
    const mode_t mode = exists ? old.st_mode & 07777 : 0666 & ~mask;
    const bool isWritten = writeAll(descriptor, bytes) && fchmod(descriptor, mode) == 0 && fsync(descriptor) == 0;
    int reason = isWritten ? 0 : errno;
    if (close(descriptor) != 0 && reason == 0) reason = errno;
    if (reason == 0 && rename(draft.c_str(), target.c_str()) != 0) reason = errno;
    if (reason != 0) unlink(draft.c_str());
    return reason;
}

}  // namespace

void writePNG(const ui::VideoFrame& frame, const std::string& path) {
    if (!frame.pixels || frame.width <= 0 || frame.height <= 0) throw SnapshotError("the picture is empty");
    const auto width = static_cast<std::size_t>(frame.width);
    const auto height = static_cast<std::size_t>(frame.height);

    // The frame's fourth byte is unused, so it must not become the picture's alpha.
    std::vector<std::byte> packed(width * height * 3);
    std::byte* to = packed.data();
    for (std::size_t y = 0; y < height; ++y) {
        const std::byte* from = frame.pixels.get() + y * static_cast<std::size_t>(frame.stride);
        for (std::size_t x = 0; x < width; ++x, from += 4, to += 3) {
            to[0] = from[0];
            to[1] = from[1];
            to[2] = from[2];
        }
    }

    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_BGR;
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
    std::vector<std::byte> file(size);
    if (png_image_write_to_memory(&image, file.data(), &size, 0, packed.data(), 0, nullptr) == 0) {
        throw SnapshotError(fmt::format("the picture of '{}' cannot be made: {}", path, image.message));
    }
    if (const int reason = replaceFile(path, std::span(file).first(size)); reason != 0) {
        throw SnapshotError(fmt::format("cannot write '{}': {}", path, std::strerror(reason)));
    }
}

}  // namespace quorel::play
