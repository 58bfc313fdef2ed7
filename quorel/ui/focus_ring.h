// The keyboard's way through the controls of a tree.
//
//   ui::FocusRing focus(root);
//   focus.move(1);                // Tab
//   focus.step(0);                // Enter or Space
//
// Main run loop's thread only.
#pragma once

#include <memory>
#include <vector>

#include "quorel/ui/control.h"
#include "quorel/ui/export.h"
#include "quorel/ui/view.h"

namespace quorel::ui {

class QUOREL_UI_API FocusRing {
public:
    explicit FocusRing(std::weak_ptr<View> root) : root_(std::move(root)) {}

    // To the next (1) or the previous (-1) one in reading order, beginning at the first or the last.
    void move(int direction);
    // The focused control that can be reached still; null for none.
    std::shared_ptr<Control> focused() const;
    // Hands a key to the focused one: Enter or Space (0), arrows (-1, 1). Gives whether it had a use for it.
    bool step(int direction);
    void clear();

    // All that can be focused now, in reading order: enabled controls that nothing in front covers.
    std::vector<std::shared_ptr<Control>> reachable() const;

private:
    void focus(const std::shared_ptr<Control>& control);

    std::weak_ptr<View> root_;
    std::weak_ptr<Control> focused_;
};

}  // namespace quorel::ui
