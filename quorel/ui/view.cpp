#include "quorel/ui/view.h"

#include <algorithm>
#include <utility>

namespace quorel::ui {
namespace {

template <class T>
bool assign(T& field, T value) {
    if (field == value) return false;
    field = std::move(value);
    return true;
}

}  // namespace

View::~View() = default;

void View::addSubview(const std::shared_ptr<View>& view) {
    if (!view || view.get() == this) return;
    for (std::shared_ptr<View> above = superview(); above; above = above->superview()) {
        if (above == view) return;  // a view cannot hold what it stands in
    }
    view->removeFromSuperview();
    view->superview_ = weak_from_this();
    subviews_.push_back(view);
    noteChange();
}

void View::removeFromSuperview() {
    const std::shared_ptr<View> above = superview();
    if (!above) return;
    const std::shared_ptr<View> self = shared_from_this();
    superview_.reset();
    pinned_ = false;
    std::erase(above->subviews_, self);
    above->noteChange();
}

void View::bringSubviewToFront(const std::shared_ptr<View>& view) {
    const auto found = std::find(subviews_.begin(), subviews_.end(), view);
    if (found == subviews_.end()) return;
    std::rotate(found, found + 1, subviews_.end());
    noteChange();
}

void View::sendSubviewToBack(const std::shared_ptr<View>& view) {
    const auto found = std::find(subviews_.begin(), subviews_.end(), view);
    if (found == subviews_.end()) return;
    std::rotate(subviews_.begin(), found, found + 1);
    noteChange();
}

void View::setFrame(const Rect& frame) {
    pinned_ = false;
    applyFrame(frame);
}

void View::pinToSuperviewEdges() {
    pinned_ = true;
    if (const std::shared_ptr<View> above = superview()) applyFrame(above->bounds());
}

void View::applyFrame(const Rect& frame) {
    const bool resized = frame.size() != frame_.size();
    if (!assign(frame_, frame)) return;
    if (resized) {
        for (const std::shared_ptr<View>& view : subviews_) {
            if (view->pinned_) view->applyFrame(bounds());
        }
        layoutSubviews();
    }
    noteChange();
}

void View::setHidden(bool hidden) {
    if (assign(hidden_, hidden)) noteChange();
}

void View::setOpacity(double opacity) {
    if (assign(opacity_, std::clamp(opacity, 0.0, 1.0))) noteChange();
}

void View::setBackgroundColor(std::optional<Color> color) {
    if (assign(background_, color)) noteChange();
}

void View::setCornerRadius(double radius) {
    if (assign(cornerRadius_, radius)) noteChange();
}

void View::noteChange() {
    changes_++;
    for (std::shared_ptr<View> above = superview(); above; above = above->superview()) above->changes_++;
}

void Label::setText(std::string text) {
    if (assign(text_, std::move(text))) noteChange();
}

void Label::setFont(Font font) {
    if (assign(font_, std::move(font))) noteChange();
}

void Label::setTextColor(Color color) {
    if (assign(color_, color)) noteChange();
}

void Label::setAlignment(TextAlignment alignment) {
    if (assign(alignment_, alignment)) noteChange();
}

void Label::setMinimumScale(double scale) {
    if (assign(minimumScale_, scale)) noteChange();
}

}  // namespace quorel::ui
