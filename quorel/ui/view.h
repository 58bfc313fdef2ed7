// The view tree: WHAT is shown (role, text, hidden, opacity, frame, order), nothing about HOW. A host walks the
// tree and draws it with whatever toolkit it has.
//
//   auto holder = ui::View::make();
//   holder->setBackgroundColor(ui::Color::black());
//   screen->addSubview(holder);
//   holder->pinToSuperviewEdges();
//
// All of it belongs to the main run loop's thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "quorel/foundation/run_loop.h"
#include "quorel/ui/animation.h"
#include "quorel/ui/export.h"
#include "quorel/ui/geometry.h"

namespace quorel::ui {

class QUOREL_UI_API Label;

// Cast by a view on what lies behind it.
struct QUOREL_VISIBLE Shadow {
    Color color = Color::black();
    double opacity = 1;  // 0 to 1
    Point offset;
    double radius = 0;  // points; how far it is blurred
    bool operator==(const Shadow&) const = default;
};

class QUOREL_UI_API View : public std::enable_shared_from_this<View> {
public:
    static std::shared_ptr<View> make() { return std::make_shared<View>(); }
    View() = default;
    virtual ~View();
    View(const View&) = delete;
    View& operator=(const View&) = delete;

    // The tree. A view holds its subviews; the way up is weak. The last subview is in front.
    const std::vector<std::shared_ptr<View>>& subviews() const { return subviews_; }
    std::shared_ptr<View> superview() const { return superview_.lock(); }
    void addSubview(const std::shared_ptr<View>& view);  // moves it from wherever it was; to the front
    void removeFromSuperview();
    void bringSubviewToFront(const std::shared_ptr<View>& view);  // nothing for a view that is no subview
    void sendSubviewToBack(const std::shared_ptr<View>& view);

    // Place in the superview, and the view's own coordinates, which begin at 0, 0.
    const Rect& frame() const { return frame_; }
    Rect bounds() const { return {0, 0, frame_.width, frame_.height}; }
    void setFrame(const Rect& frame);
    // Follows the superview's bounds, now and whenever they change, until setFrame or a move.
    void pinToSuperviewEdges();
    // Keeps this size in the middle of the superview, until setFrame, pinToSuperviewEdges or a move.
    void centerInSuperview(Size size);
    // Places the subviews again, of this view and of all below it.
    void layout();

    // What of the view's own bounds a notch, a rounded corner or a system bar covers. A host sets it on the root;
    // a view further down has what reaches into it.
    Insets safeAreaInsets() const;
    void setSafeAreaInsets(const Insets& insets);

    bool isHidden() const { return hidden_; }
    void setHidden(bool hidden);
    double opacity() const { return opacity_; }
    void setOpacity(double opacity);  // 0 to 1, clamped; ends an animation
    const std::optional<Color>& backgroundColor() const { return background_; }
    void setBackgroundColor(std::optional<Color> color);
    double cornerRadius() const { return cornerRadius_; }
    void setCornerRadius(double radius);
    double rotation() const { return rotation_; }  // radians, clockwise around the centre
    void setRotation(double radians);
    const std::optional<Shadow>& shadow() const { return shadow_; }
    void setShadow(std::optional<Shadow> shadow);
    bool clipsToBounds() const { return clipsToBounds_; }
    void setClipsToBounds(bool clips);

    // The new value counts at once, and is shown at the end of `seconds`.
    void animateOpacity(double opacity, double seconds, const RunLoop& loop);
    void animateFrame(const Rect& frame, double seconds, const RunLoop& loop);
    double shownOpacity(Duration now) const { return opacityAnimation_ ? opacityAnimation_->at(now) : opacity_; }
    Rect shownFrame(Duration now) const { return frameAnimation_ ? frameAnimation_->at(now) : frame_; }
    const std::optional<Animation<double>>& opacityAnimation() const { return opacityAnimation_; }
    const std::optional<Animation<Rect>>& frameAnimation() const { return frameAnimation_; }
    // Up to this moment of the run loop's clock something moves in this view or below it.
    Duration movesUntil() const { return movesUntil_; }

    // Whether the view and what is in it can be tapped.
    bool isUserInteractionEnabled() const { return interactive_; }
    void setUserInteractionEnabled(bool enabled) { interactive_ = enabled; }
    // Each recogniser that was added fires at each tap on the view or below it, unless a control takes the tap.
    void addTapRecognizer(std::function<void()> action);
    const std::vector<std::function<void()>>& tapRecognizers() const { return tapRecognizers_; }

    // What the view is to a person who cannot see it, and to tests; empty when it is only a container.
    const std::string& accessibilityName() const { return accessibilityName_; }
    void setAccessibilityName(std::string name);

    // How large a label's text is as this tree's host draws it; set on the root. Without it, labels guess.
    using TextMeasure = std::function<Size(const Label&)>;
    void setTextMeasure(TextMeasure measure);
    const TextMeasure* textMeasure() const;  // of this tree; null for none

    // Grows with every change that shows in this view or below it, so that a host redraws only what changed: what
    // happens inside of hidden or transparent views is not counted above them.
    unsigned long long changes() const { return changes_; }
    // Called with each such change, in the middle of it: a host makes a note here and draws later.
    void setChangeCallback(std::function<void()> callback) { changeCallback_ = std::move(callback); }

protected:
    // The bounds changed: place the subviews that do not follow by themselves.
    virtual void layoutSubviews() {}
    void noteChange();

private:
    enum class Placement { free, edges, centre };

    void countChange();
    void applyFrame(const Rect& frame);
    void place();
    void noteMotion(Duration until);

    std::vector<std::shared_ptr<View>> subviews_;
    std::weak_ptr<View> superview_;
    Rect frame_;
    Insets safeArea_;
    Placement placement_ = Placement::free;
    bool hidden_ = false;
    bool interactive_ = true;
    bool clipsToBounds_ = false;
    double opacity_ = 1;
    double cornerRadius_ = 0;
    double rotation_ = 0;
    std::optional<Color> background_;
    std::optional<Shadow> shadow_;
    std::optional<Animation<double>> opacityAnimation_;
    std::optional<Animation<Rect>> frameAnimation_;
    Duration movesUntil_{0};
    std::vector<std::function<void()>> tapRecognizers_;
    std::string accessibilityName_;
    TextMeasure textMeasure_;
    unsigned long long changes_ = 0;
    std::function<void()> changeCallback_;
};

// How a text is written.
struct QUOREL_VISIBLE Font {
    std::string family;  // empty for the host's own
    double size = 14;    // points
    bool bold = false;
    bool operator==(const Font&) const = default;
};

// Where a text stands in its frame.
enum class TextAlignment { left, center, right };

// A view that is a text.
class QUOREL_UI_API Label : public View {
public:
    static std::shared_ptr<Label> make() { return std::make_shared<Label>(); }

    const std::string& text() const { return text_; }
    void setText(std::string text);
    const Font& font() const { return font_; }
    void setFont(Font font);
    Color textColor() const { return color_; }
    void setTextColor(Color color);
    TextAlignment alignment() const { return alignment_; }
    void setAlignment(TextAlignment alignment);
    // How far the host may shrink the text to fit its frame; 1 for not at all.
    double minimumScale() const { return minimumScale_; }
    void setMinimumScale(double scale);
    int numberOfLines() const { return numberOfLines_; }  // at most; 0 for any number
    void setNumberOfLines(int lines);

    // The size of the text in one line, as the tree's host measures it; 0, 0 for an empty text.
    Size intrinsicSize() const;

private:
    std::string text_;
    Font font_;
    Color color_ = Color::black();
    TextAlignment alignment_ = TextAlignment::left;
    double minimumScale_ = 1;
    int numberOfLines_ = 1;
};

}  // namespace quorel::ui
