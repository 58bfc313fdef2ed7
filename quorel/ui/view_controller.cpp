#include "quorel/ui/view_controller.h"

namespace quorel::ui {

const std::shared_ptr<View>& ViewController::view() {
    if (!view_) {
        view_ = View::make();
        viewDidLoad();
    }
    return view_;
}

void ViewController::layoutIn(const Rect& frame) {
    view()->setFrame(frame);
    viewDidLayoutSubviews();
}

void ViewController::addChild(const std::shared_ptr<ViewController>& child) {
    if (!child || child.get() == this) return;
    child->removeFromParent();
    child->parent_ = weak_from_this();
    children_.push_back(child);
}

void ViewController::removeFromParent() {
    const std::shared_ptr<ViewController> above = parent();
    if (!above) return;
    const std::shared_ptr<ViewController> self = shared_from_this();
    parent_.reset();
    std::erase(above->children_, self);
}

}  // namespace quorel::ui
