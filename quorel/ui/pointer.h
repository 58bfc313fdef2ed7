// Brings what a finger or a mouse does to the views it does it to.
//
//   ui::Pointer pointer(root);
//   pointer.press({x, y});
//   pointer.release({x, y});       // a tap
//
// Points are in the root's coordinates. Main run loop's thread only. A function that is called from here may change
// the tree and release any view of it.
#pragma once

#include <memory>

#include "quorel/ui/control.h"
#include "quorel/ui/export.h"
#include "quorel/ui/geometry.h"
#include "quorel/ui/view.h"

namespace quorel::ui {

// The frontmost view at `where` that takes part in touches: shown, not transparent, with interaction on for itself
// and all above it. Null where there is none.
QUOREL_UI_API std::shared_ptr<View> hitTest(const std::shared_ptr<View>& root, Point where);
// A point of the root in a view's own coordinates.
QUOREL_UI_API Point convertFromRoot(const View& view, Point where);
// A view's bounds in its root's coordinates.
QUOREL_UI_API Rect frameInRoot(const View& view);

class QUOREL_UI_API Pointer {
public:
    explicit Pointer(std::weak_ptr<View> root) : root_(std::move(root)) {}

    // A press on a control is the control's until the release. Any other press that is released within a few
    // points of where it began is a tap: every recogniser of the frontmost view there that has some fires, or of
    // the nearest view above it that has. Views with interaction off let touches through to what lies behind.
    void press(Point where);
    void move(Point where);
    void release(Point where);
    void cancel();

    // A mouse that moves without a button, or that leaves.
    void hover(Point where);
    void leave();
    // A wheel, or two fingers: scrolls the list at that place. Gives whether anything moved.
    bool scroll(Point where, double distance);

private:
    std::weak_ptr<View> root_;
    std::weak_ptr<View> pressed_;
    std::weak_ptr<Control> hovered_;
    Point pressedAt_;
    Point last_;
    bool dragged_ = false;
};

}  // namespace quorel::ui
