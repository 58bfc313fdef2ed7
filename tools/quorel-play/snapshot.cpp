#include "tools/quorel-play/snapshot.h"

#include <fmt/format.h>
#include <png.h>

#include <vector>

namespace quorel::play {

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
    if (png_image_write_to_file(&image, path.c_str(), 0, packed.data(), 0, nullptr) == 0) {
        throw SnapshotError(fmt::format("cannot write '{}': {}", path, image.message));
    }
}

}  // namespace quorel::play
