#include "quorel/ui/pointer.h"

#include <cmath>
#include <utility>
#include <vector>

#include "quorel/ui/list_view.h"

namespace quorel::ui {
namespace {

constexpr double tapRadius = 10;  // points that a finger may slip while it taps
constexpr double leastOpacity = 0.01;

template <class T>
std::shared_ptr<T> nearest(std::shared_ptr<View> view) {
    for (; view; view = view->superview()) {
        if (auto found = std::dynamic_pointer_cast<T>(view)) return found;
    }
    return nullptr;
}

}  // namespace

std::shared_ptr<View> hitTest(const std::shared_ptr<View>& root, Point where) {
    if (!root || root->isHidden() || root->opacity() < leastOpacity || !root->isUserInteractionEnabled())
        return nullptr;
    const bool inside = root->bounds().contains(where);
    if (!inside && root->clipsToBounds()) return nullptr;
    for (auto view = root->subviews().rbegin(); view != root->subviews().rend(); ++view) {
        const Rect& frame = (*view)->frame();
        if (auto found = hitTest(*view, {where.x - frame.x, where.y - frame.y})) return found;
    }
    return inside ? root : nullptr;
}

Point convertFromRoot(const View& view, Point where) {
    const Rect frame = frameInRoot(view);
    return {where.x - frame.x, where.y - frame.y};
}

Rect frameInRoot(const View& view) {
    Rect rect = view.bounds();
    // A root's own place is its host's business.
    std::shared_ptr<const View> above = view.superview();
    Rect frame = view.frame();
    while (above) {
        rect.x += frame.x;
        rect.y += frame.y;
        frame = above->frame();
        above = above->superview();
    }
    return rect;
}

void Pointer::press(Point where) {
    cancel();
    const std::shared_ptr<View> hit = hitTest(root_.lock(), where);
    pressed_ = hit;
    pressedAt_ = last_ = where;
    dragged_ = false;
    if (const auto control = nearest<Control>(hit)) control->touchBegan(convertFromRoot(*control, where));
}

void Pointer::move(Point where) {
    const std::shared_ptr<View> view = pressed_.lock();
    if (!view) return hover(where);
    const double before = std::exchange(last_, where).y;
    if (std::hypot(where.x - pressedAt_.x, where.y - pressedAt_.y) > tapRadius) dragged_ = true;
    const auto control = nearest<Control>(view);
    const auto list = nearest<ListView>(view);
    if (list && dragged_) {  // takes the touch from its row
        pressed_ = list;
        if (control) control->touchCancelled();
        list->scrollBy(before - where.y);
    } else if (control) {
        control->touchMoved(convertFromRoot(*control, where));
    }
}

void Pointer::release(Point where) {
    move(where);
    const std::shared_ptr<View> view = std::exchange(pressed_, {}).lock();
    if (!view) return;
    if (const auto control = nearest<Control>(view)) return control->touchEnded(convertFromRoot(*control, where));
    if (dragged_) return;
    for (std::shared_ptr<View> at = view; at; at = at->superview()) {
        if (at->tapRecognizers().empty()) continue;
        const auto recognizers = at->tapRecognizers();  // one may add another
        for (const auto& fire : recognizers) fire();
        return;
    }
}

void Pointer::cancel() {
    const std::shared_ptr<View> view = std::exchange(pressed_, {}).lock();
    if (const auto control = nearest<Control>(view)) control->touchCancelled();
}

void Pointer::hover(Point where) {
    const auto control = nearest<Control>(hitTest(root_.lock(), where));
    const auto before = hovered_.lock();
    if (before == control) return;
    if (before) before->setHovered(false);
    hovered_ = control;
    if (control && control->isEnabled()) control->setHovered(true);
}

void Pointer::leave() {
    if (const auto before = std::exchange(hovered_, {}).lock()) before->setHovered(false);
}

bool Pointer::scroll(Point where, double distance) {
    const auto list = nearest<ListView>(hitTest(root_.lock(), where));
    return list && list->scrollBy(distance);
}

}  // namespace quorel::ui
