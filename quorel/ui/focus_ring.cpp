#include "quorel/ui/focus_ring.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "quorel/ui/geometry.h"
#include "quorel/ui/pointer.h"

namespace quorel::ui {
namespace {

void collect(const std::shared_ptr<View>& view, std::vector<std::shared_ptr<Control>>& found) {
    if (view->isHidden() || view->opacity() == 0 || !view->isUserInteractionEnabled()) return;
    const auto control = std::dynamic_pointer_cast<Control>(view);
    if (control && control->isEnabled()) found.push_back(control);
    for (const auto& below : view->subviews()) collect(below, found);
}

bool isWithin(std::shared_ptr<View> view, const std::shared_ptr<View>& whole) {
    for (; view; view = view->superview()) {
        if (view == whole) return true;
    }
    return false;
}

}  // namespace

std::vector<std::shared_ptr<Control>> FocusRing::reachable() const {
    const std::shared_ptr<View> root = root_.lock();
    std::vector<std::shared_ptr<Control>> found;
    if (!root) return found;
    collect(root, found);
    std::erase_if(found, [&root](const std::shared_ptr<Control>& control) {
        const Rect place = frameInRoot(*control);
        return !isWithin(hitTest(root, {place.x + place.width / 2, place.y + place.height / 2}), control);
    });
    std::ranges::stable_sort(found, [](const auto& a, const auto& b) {
        const Rect first = frameInRoot(*a);
        const Rect second = frameInRoot(*b);
        return std::pair(first.y, first.x) < std::pair(second.y, second.x);
    });
    return found;
}

void FocusRing::move(int direction) {
    const auto all = reachable();
    if (all.empty()) return clear();
    const auto at = std::ranges::find(all, focused_.lock());
    if (at == all.end()) return focus(direction > 0 ? all.front() : all.back());
    const auto count = static_cast<std::ptrdiff_t>(all.size());
    const std::ptrdiff_t index = (std::distance(all.begin(), at) + direction + count) % count;
    focus(all[static_cast<std::size_t>(index)]);
}

std::shared_ptr<Control> FocusRing::focused() const {
    const std::shared_ptr<Control> control = focused_.lock();
    const auto all = reachable();
    return std::ranges::find(all, control) == all.end() ? nullptr : control;
}

bool FocusRing::step(int direction) {
    const std::shared_ptr<Control> control = focused();
    return control && control->keyStep(direction);
}

void FocusRing::clear() {
    focus(nullptr);
}

void FocusRing::focus(const std::shared_ptr<Control>& control) {
    if (const auto before = focused_.lock()) before->setFocused(false);
    focused_ = control;
    if (control) control->setFocused(true);
}

}  // namespace quorel::ui
