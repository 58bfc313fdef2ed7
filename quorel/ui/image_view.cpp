#include "quorel/ui/image_view.h"

#include <utility>

namespace quorel::ui {

std::optional<Image> Image::fromData(std::string data) {
    using namespace std::string_view_literals;
    const std::string_view begin = data;
    const bool known = begin.starts_with("\x89PNG\r\n\x1A\n"sv) || begin.starts_with("\xFF\xD8\xFF"sv) ||
                       begin.starts_with("GIF87a"sv) || begin.starts_with("GIF89a"sv) ||
                       (begin.starts_with("RIFF"sv) && begin.substr(0, 12).ends_with("WEBP"sv));
    if (!known) return std::nullopt;
    return Image{.data = std::make_shared<const std::string>(std::move(data))};
}

void ImageView::setImage(std::optional<Image> image) {
    if (image_ == image) return;
    image_ = std::move(image);
    noteChange();
}

}  // namespace quorel::ui
