// The images that the library brings along, inside itself: none can be missing where the library is.
//
//   std::optional<ui::Image> icon = ResourceBundleClass::image("loading-icon");
//
// Any thread.
#pragma once

#include <optional>
#include <string_view>

#include "quorel/presentation/export.h"
#include "quorel/ui/image_view.h"

namespace quorel {

// The images by their names.
struct QUOREL_PRESENTATION_API ResourceBundleClass {
    // Absent for a name that is not among the files of resources/.
    static std::optional<ui::Image> image(std::string_view name);
};

}  // namespace quorel
