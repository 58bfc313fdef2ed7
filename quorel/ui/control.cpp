#include "quorel/ui/control.h"

#include <algorithm>
#include <cmath>

namespace quorel::ui {

void Control::addAction(ControlEvent event, std::function<void()> action) {
    actions_.emplace_back(event, std::move(action));
}

void Control::sendActions(ControlEvent event) {
    const std::shared_ptr<View> keep = weak_from_this().lock();
    const auto actions = actions_;  // an action may add one, or let go of the control
    for (const auto& [type, action] : actions) {
        if (type == event) action();
    }
}

void Control::setEnabled(bool enabled) {
    if (enabled_ == enabled) return;
    enabled_ = enabled;
    noteChange();
}

void Control::setHovered(bool hovered) {
    if (hovered_ == hovered) return;
    hovered_ = hovered;
    noteChange();
}

void Control::setFocused(bool focused) {
    if (focused_ == focused) return;
    focused_ = focused;
    noteChange();
}

void Control::setHighlighted(bool highlighted) {
    if (highlighted_ == highlighted) return;
    highlighted_ = highlighted;
    noteChange();
}

void Control::touchBegan(Point where) {
    if (!enabled_) return;
    setHighlighted(true);
    sendActions(ControlEvent::touchDown);
    trackingBegan(where);
}

void Control::touchMoved(Point where) {
    if (!enabled_) return;
    track(where);
}

void Control::touchEnded(Point where) {
    if (!enabled_) return;
    setHighlighted(false);
    sendActions(bounds().contains(where) ? ControlEvent::touchUpInside : ControlEvent::touchUpOutside);
}

void Control::touchCancelled() {
    if (!enabled_) return;
    setHighlighted(false);
    sendActions(ControlEvent::touchUpOutside);
}

bool Control::keyStep(int direction) {
    if (!enabled_ || direction != 0) return false;
    sendActions(ControlEvent::touchDown);
    sendActions(ControlEvent::touchUpInside);
    return true;
}

void Button::setSymbol(std::string symbol, double pointSize) {
    if (symbol_ == symbol && pointSize_ == pointSize) return;
    symbol_ = std::move(symbol);
    pointSize_ = pointSize;
    noteChange();
}

void Button::setTintColor(Color color) {
    if (tint_ == color) return;
    tint_ = color;
    noteChange();
}

void Slider::setValue(float value) {
    const float wanted = std::isnan(value) ? 0 : std::clamp(value, 0.0F, 1.0F);
    if (value_ == wanted) return;
    value_ = wanted;
    noteChange();
}

double Slider::thumbCenter() const {
    return thumbSize / 2 + static_cast<double>(value_) * std::max(0.0, bounds().width - thumbSize);
}

void Slider::setTintColor(Color color) {
    if (tint_ == color) return;
    tint_ = color;
    noteChange();
}

void Slider::trackingBegan(Point where) {
    const double distance = where.x - thumbCenter();
    // Held by the thumb it stays where it is; anywhere else it comes to the finger.
    grip_ = std::abs(distance) <= thumbSize ? distance : 0;
    track(where);
}

void Slider::track(Point where) {
    const double way = bounds().width - thumbSize;
    if (way <= 0) return;
    moveTo(static_cast<float>((where.x - grip_ - thumbSize / 2) / way));
}

void Slider::moveTo(float value) {
    const float before = value_;
    setValue(value);
    if (value_ != before) sendActions(ControlEvent::valueChanged);
}

bool Slider::keyStep(int direction) {
    if (!isEnabled() || direction == 0) return false;
    sendActions(ControlEvent::touchDown);
    moveTo(value_ + static_cast<float>(direction) * keyStep_);
    sendActions(ControlEvent::touchUpInside);
    return true;
}

}  // namespace quorel::ui
