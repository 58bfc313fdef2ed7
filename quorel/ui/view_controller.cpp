#include "quorel/ui/view_controller.h"

#include <utility>

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

void ViewController::present(const std::shared_ptr<ViewController>& controller, bool animated) {
    if (!controller || controller.get() == this || presented_) return;
    presented_ = controller;
    controller->loadViewIfNeeded();
    if (const Presenter presenter = presenter_) presenter(controller, animated);
}

void ViewController::dismissPresented(bool animated) {
    if (!presented_) return;
    const std::shared_ptr<ViewController> keep = std::exchange(presented_, nullptr);
    if (const Presenter presenter = presenter_) presenter(nullptr, animated);
}

}  // namespace quorel::ui
