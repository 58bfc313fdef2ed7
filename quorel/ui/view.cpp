#include "quorel/ui/view.h"

#include <algorithm>
#include <chrono>
#include <cmath>
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
    noteMotion(view->movesUntil_);
    noteChange();
}

void View::removeFromSuperview() {
    const std::shared_ptr<View> above = superview();
    if (!above) return;
    const std::shared_ptr<View> self = shared_from_this();
    superview_.reset();
    placement_ = Placement::free;
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
    placement_ = Placement::free;
    frameAnimation_.reset();
    applyFrame(frame);
}

void View::pinToSuperviewEdges() {
    placement_ = Placement::edges;
    frameAnimation_.reset();
    place();
}

void View::centerInSuperview(Size size) {
    placement_ = Placement::centre;
    frameAnimation_.reset();
    applyFrame({frame_.x, frame_.y, size.width, size.height});
    place();
}

void View::place() {
    const std::shared_ptr<View> above = superview();
    if (!above || placement_ == Placement::free) return;
    const Rect room = above->bounds();
    if (placement_ == Placement::edges) return applyFrame(room);
    applyFrame({(room.width - frame_.width) / 2, (room.height - frame_.height) / 2, frame_.width, frame_.height});
}

void View::applyFrame(const Rect& frame) {
    const bool resized = frame.size() != frame_.size();
    if (!assign(frame_, frame)) return;
    if (resized) {
        for (const std::shared_ptr<View>& view : subviews_) {
            view->place();
        }
        layoutSubviews();
    }
    noteChange();
}

void View::layout() {
    layoutSubviews();
    for (const std::shared_ptr<View>& view : std::vector(subviews_)) view->layout();
}

Insets View::safeAreaInsets() const {
    const std::shared_ptr<View> above = superview();
    if (!above) return safeArea_;
    const Insets insets = above->safeAreaInsets();
    const Rect around = above->bounds();
    return {std::max(safeArea_.top, insets.top - frame_.y), std::max(safeArea_.left, insets.left - frame_.x),
            std::max(safeArea_.bottom, insets.bottom - (around.height - frame_.bottom())),
            std::max(safeArea_.right, insets.right - (around.width - frame_.right()))};
}

void View::setSafeAreaInsets(const Insets& insets) {
    if (!assign(safeArea_, insets)) return;
    layout();
    noteChange();
}

void View::setHidden(bool hidden) {
    if (hidden_ == hidden) return;
    hidden_ = false;  // so that the change counts above
    noteChange();
    hidden_ = hidden;
}

void View::setOpacity(double opacity) {
    const double wanted = std::clamp(opacity, 0.0, 1.0);
    const bool moved = std::exchange(opacityAnimation_, std::nullopt).has_value();
    if (opacity_ == wanted && !moved) return;
    opacity_ = 1;  // so that the change counts above
    noteChange();
    opacity_ = wanted;
}

void View::setBackgroundColor(std::optional<Color> color) {
    if (assign(background_, color)) noteChange();
}

void View::setCornerRadius(double radius) {
    if (assign(cornerRadius_, radius)) noteChange();
}

void View::setRotation(double radians) {
    if (assign(rotation_, radians)) noteChange();
}

void View::setShadow(std::optional<Shadow> shadow) {
    if (assign(shadow_, shadow)) noteChange();
}

void View::setClipsToBounds(bool clips) {
    if (assign(clipsToBounds_, clips)) noteChange();
}

void View::animateOpacity(double opacity, double seconds, const RunLoop& loop) {
    const Animation<double> animation{shownOpacity(loop.now()), std::clamp(opacity, 0.0, 1.0), loop.now(),
                                      durationFromSeconds(seconds)};
    setOpacity(opacity);
    if (animation.from == animation.to) return;
    opacityAnimation_ = animation;
    noteMotion(animation.end());
}

void View::animateFrame(const Rect& frame, double seconds, const RunLoop& loop) {
    const Animation<Rect> animation{shownFrame(loop.now()), frame, loop.now(), durationFromSeconds(seconds)};
    setFrame(frame);
    if (animation.from == animation.to) return;
    frameAnimation_ = animation;
    noteMotion(animation.end());
}

void View::addTapRecognizer(std::function<void()> action) {
    tapRecognizers_.push_back(std::move(action));
}

void View::setAccessibilityName(std::string name) {
    if (assign(accessibilityName_, std::move(name))) noteChange();
}

void View::setTextMeasure(TextMeasure measure) {
    textMeasure_ = std::move(measure);
    layout();
}

const View::TextMeasure* View::textMeasure() const {
    if (textMeasure_) return &textMeasure_;
    const std::shared_ptr<View> above = superview();
    return above ? above->textMeasure() : nullptr;
}

void View::countChange() {
    changes_++;
    if (changeCallback_) changeCallback_();
}

void View::noteChange() {
    countChange();
    bool shows = !hidden_ && opacity_ > 0;
    for (std::shared_ptr<View> above = superview(); above && shows; above = above->superview()) {
        above->countChange();
        shows = !above->hidden_ && above->opacity_ > 0;
    }
}

void View::noteMotion(Duration until) {
    movesUntil_ = std::max(movesUntil_, until);
    for (std::shared_ptr<View> above = superview(); above; above = above->superview()) {
        above->movesUntil_ = std::max(above->movesUntil_, until);
    }
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

void Label::setNumberOfLines(int lines) {
    if (assign(numberOfLines_, lines)) noteChange();
}

Size Label::intrinsicSize() const {
    if (text_.empty()) return {};
    if (const TextMeasure* measure = textMeasure()) return (*measure)(*this);
    // A usual sans serif: digits and most letters are a good half of the font's size wide, punctuation a third.
    double width = 0;
    for (const char c : text_) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xc0) == 0x80) continue;
        const bool narrow = c == ':' || c == ' ' || c == '.' || c == '/' || c == ',';
        width += narrow ? 0.34 : 0.6;
    }
    return {std::ceil(width * font_.size), std::ceil(1.2 * font_.size)};
}

}  // namespace quorel::ui
