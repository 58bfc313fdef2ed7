// What a viewer works with: buttons and sliders.
//
//   auto button = ui::Button::make();
//   button->setSymbol("play.fill", 44);
//   button->addAction(ui::ControlEvent::touchUpInside, [weak] { ... });
//
// Main run loop's thread only. A control is moved by a Pointer (pointer.h) or by a FocusRing (focus_ring.h).
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "quorel/ui/export.h"
#include "quorel/ui/geometry.h"
#include "quorel/ui/view.h"

namespace quorel::ui {

// What a control tells of: pressed, another value, released on it, released elsewhere.
enum class ControlEvent { touchDown, valueChanged, touchUpInside, touchUpOutside };

// A view that keeps taps to itself: a button, a slider, or whatever shows its subviews and can be pressed.
class QUOREL_UI_API Control : public View {
public:
    // Actions of one event run in the order in which they were added.
    void addAction(ControlEvent event, std::function<void()> action);
    void sendActions(ControlEvent event);

    bool isEnabled() const { return enabled_; }
    void setEnabled(bool enabled);  // a disabled control takes taps and does nothing

    // What is being done with it, for hosts to draw.
    bool isHighlighted() const { return highlighted_; }  // pressed
    bool isHovered() const { return hovered_; }
    void setHovered(bool hovered);
    bool isFocused() const { return focused_; }  // a keyboard works on it
    void setFocused(bool focused);

    // A touch's way over the control, in the control's coordinates. A pointer calls these.
    void touchBegan(Point where);
    void touchMoved(Point where);
    void touchEnded(Point where);  // where it was lifted, which may be outside
    void touchCancelled();         // as if it were lifted outside
    // One step of a keyboard: Enter and Space (0), arrows to the left (-1) and to the right (1). Gives whether the
    // control has a use for it.
    virtual bool keyStep(int direction);

protected:
    // Each move of a press, and the press itself, in the control's own coordinates.
    virtual void track(Point) {}
    virtual void trackingBegan(Point) {}

private:
    void setHighlighted(bool highlighted);

    std::vector<std::pair<ControlEvent, std::function<void()>>> actions_;
    bool enabled_ = true;
    bool highlighted_ = false;
    bool hovered_ = false;
    bool focused_ = false;
};

// A button that shows a symbol, known by its name; hosts bring their own drawings of the symbols.
class QUOREL_UI_API Button : public Control {
public:
    static std::shared_ptr<Button> make() { return std::make_shared<Button>(); }

    const std::string& symbol() const { return symbol_; }
    double pointSize() const { return pointSize_; }
    void setSymbol(std::string symbol, double pointSize);
    Color tintColor() const { return tint_; }
    void setTintColor(Color color);

private:
    std::string symbol_;
    double pointSize_ = 0;
    Color tint_ = Color::white();
};

// A slider from 0 to 1. touchDown begins a drag, valueChanged comes with every step of it, touchUpInside or
// touchUpOutside ends it.
class QUOREL_UI_API Slider : public Control {
public:
    static constexpr double thumbSize = 16;  // points; a filled circle
    static std::shared_ptr<Slider> make() { return std::make_shared<Slider>(); }

    float value() const { return value_; }
    // Clamped to 0 to 1; what is not a number counts as 0. Sends nothing.
    void setValue(float value);
    // Where the thumb's centre stands, in the slider's coordinates.
    double thumbCenter() const;
    // What a step by keyboard moves, as a part of the whole.
    void setKeyStep(float step) { keyStep_ = step; }

    Color tintColor() const { return tint_; }
    void setTintColor(Color color);

    bool keyStep(int direction) override;

protected:
    void trackingBegan(Point where) override;
    void track(Point where) override;

private:
    void moveTo(float value);

    float value_ = 0;
    float keyStep_ = 0.05F;
    double grip_ = 0;  // from the thumb's centre to where it is held
    Color tint_ = Color::white();
};

}  // namespace quorel::ui
