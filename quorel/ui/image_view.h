// Still pictures in the view tree.
//
//   auto icon = ui::ImageView::make();
//   icon->setImage(ui::Image{.name = "loading-icon", .data = bytes});
//
// Main run loop's thread only; images are values and may be made on any thread.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "quorel/ui/export.h"
#include "quorel/ui/view.h"

namespace quorel::ui {

// A picture by its name, by its file, or by both. A host that has a better picture of that name (a symbol of its
// platform) may draw that one.
struct QUOREL_UI_API Image {
    std::string name = {};
    std::shared_ptr<const std::string> data = {};  // a whole PNG, JPEG, GIF or WebP file; null for none

    // Absent for bytes that begin like none of the four. What follows the beginning is for the host to decode.
    static std::optional<Image> fromData(std::string data);

    bool operator==(const Image&) const = default;  // files by identity
};

// Shows one picture, scaled to fit with its proportions kept, or nothing.
class QUOREL_UI_API ImageView : public View {
public:
    static std::shared_ptr<ImageView> make() { return std::make_shared<ImageView>(); }

    const std::optional<Image>& image() const { return image_; }
    void setImage(std::optional<Image> image);

private:
    std::optional<Image> image_;
};

}  // namespace quorel::ui
