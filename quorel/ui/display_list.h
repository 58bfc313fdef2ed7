// The tree as a flat list of what to draw, from back to front: all that a host needs to walk.
//
//   for (const ui::DisplayItem& item : ui::displayList(root, loop->now())) draw(item);
//
// Main run loop's thread only.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "quorel/foundation/run_loop.h"
#include "quorel/ui/export.h"
#include "quorel/ui/geometry.h"
#include "quorel/ui/view.h"

namespace quorel::ui {

// One view to draw.
struct QUOREL_VISIBLE DisplayItem {
    std::shared_ptr<const View> view;
    Rect frame;                // in the root's coordinates, as shown at the moment
    double opacity = 1;        // of the view and all above it
    std::optional<Rect> clip;  // nothing of it shows outside; in the root's coordinates
};

// Hidden and transparent views, views without a size and views outside of their clip are left out.
QUOREL_UI_API std::vector<DisplayItem> displayList(const std::shared_ptr<const View>& root, Duration now);

}  // namespace quorel::ui
