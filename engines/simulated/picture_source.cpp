#include "engines/simulated/picture_source.h"

#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace quorel {
namespace {

constexpr int blocks = 32;
constexpr int positionBits = 30;
constexpr int blockHeight = 4;

std::uint32_t pixelOf(const ui::Color& color) {
    const auto channel = [](double value) { return static_cast<std::uint32_t>(std::lround(value * 255)); };
    return channel(color.blue) | channel(color.green) << 8 | channel(color.red) << 16;
}

// Guard bits "10", then the milliseconds.
std::uint32_t bitsOf(double position) {
    const double milliseconds = std::fmod(std::round(position * 1000), std::exp2(positionBits));
    return std::uint32_t{1} << 31 | static_cast<std::uint32_t>(milliseconds);
}

std::shared_ptr<const ui::VideoFrame> paint(double position, const ui::Color& color, std::uint64_t number) {
    constexpr int width = simulatedPictureWidth;
    constexpr int height = simulatedPictureHeight;
    auto bytes = std::make_shared<std::vector<std::byte>>(std::size_t{4} * width * height);
    const std::uint32_t bits = bitsOf(position);
    std::byte* next = bytes->data();
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            std::uint32_t pixel = pixelOf(color);
            if (y < blockHeight) {
                const int block = x * blocks / width;
                pixel = (bits >> (blocks - 1 - block) & 1) != 0 ? 0xffffff : 0;
            }
            for (int shift = 0; shift < 32; shift += 8) *next++ = static_cast<std::byte>(pixel >> shift & 0xff);
        }
    }
    auto frame = std::make_shared<ui::VideoFrame>();
    frame->width = width;
    frame->height = height;
    frame->stride = 4 * width;
    frame->time = position;
    frame->number = number;
    frame->pixels = std::shared_ptr<const std::byte>(bytes, bytes->data());
    return frame;
}

}  // namespace

std::optional<double> positionInPicture(const ui::VideoFrame& frame) {
    if (!frame.pixels || frame.width < blocks || frame.height < 1 || frame.stride < 4 * frame.width) return {};
    std::uint32_t bits = 0;
    const int y = frame.height * blockHeight / 2 / simulatedPictureHeight;
    for (int block = 0; block < blocks; ++block) {
        const int x = static_cast<int>((2LL * block + 1) * frame.width / (2 * blocks));
        const std::byte* pixel = frame.pixels.get() + std::ptrdiff_t{y} * frame.stride + std::ptrdiff_t{4} * x;
        bits = bits << 1;
        const int green = std::to_integer<int>(pixel[1]);
        if (green >= 192) bits |= 1;
        if (green > 64 && green < 192) return {};
    }
    if (bits >> positionBits != 2) return {};
    return static_cast<double>(bits & ((std::uint32_t{1} << positionBits) - 1)) / 1000;
}

namespace simulated {

void PictureSource::show(double position, const ui::Color& color) {
    {
        const std::lock_guard lock(mutex_);
        content_ = Content{position, color};
        painted_ = nullptr;
        ++number_;
    }
    tell();
}

void PictureSource::clear() {
    {
        const std::lock_guard lock(mutex_);
        if (!content_) return;
        content_.reset();
        painted_ = nullptr;
    }
    tell();
}

std::shared_ptr<const ui::VideoFrame> PictureSource::latestFrame() const {
    const std::lock_guard lock(mutex_);
    if (!content_) return nullptr;
    if (!painted_) painted_ = paint(content_->position, content_->color, number_);
    return painted_;
}

void PictureSource::setFrameCallback(std::function<void()> callback) {
    auto next = callback ? std::make_shared<const std::function<void()>>(std::move(callback)) : nullptr;
    const std::lock_guard lock(callbackMutex_);
    callback_.swap(next);
}

void PictureSource::tell() {
    const std::lock_guard lock(callbackMutex_);
    if (const auto callback = callback_) (*callback)();
}

}  // namespace simulated
}  // namespace quorel
