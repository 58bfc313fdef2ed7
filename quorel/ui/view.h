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
#include <vector>

#include "quorel/ui/geometry.h"

namespace quorel::ui {

class View : public std::enable_shared_from_this<View> {
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

    bool isHidden() const { return hidden_; }
    void setHidden(bool hidden);
    double opacity() const { return opacity_; }
    void setOpacity(double opacity);  // 0 to 1, clamped
    const std::optional<Color>& backgroundColor() const { return background_; }
    void setBackgroundColor(std::optional<Color> color);
    double cornerRadius() const { return cornerRadius_; }
    void setCornerRadius(double radius);

    // What the view is to a person who cannot see it, and to tests; empty when it is only a container.
    const std::string& accessibilityName() const { return accessibilityName_; }
    void setAccessibilityName(std::string name) { accessibilityName_ = std::move(name); }

    // Grows with every change in this view or below it, so that a host redraws only what changed.
    unsigned long long changes() const { return changes_; }

protected:
    // The bounds changed: place the subviews that do not follow by themselves.
    virtual void layoutSubviews() {}
    void noteChange();

private:
    void applyFrame(const Rect& frame);

    std::vector<std::shared_ptr<View>> subviews_;
    std::weak_ptr<View> superview_;
    Rect frame_;
    bool pinned_ = false;
    bool hidden_ = false;
    double opacity_ = 1;
    double cornerRadius_ = 0;
    std::optional<Color> background_;
    std::string accessibilityName_;
    unsigned long long changes_ = 0;
};

struct Font {
    std::string family;  // empty for the host's own
    double size = 14;    // points
    bool operator==(const Font&) const = default;
};

enum class TextAlignment { left, center, right };

class Label : public View {
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

private:
    std::string text_;
    Font font_;
    Color color_ = Color::black();
    TextAlignment alignment_ = TextAlignment::left;
    double minimumScale_ = 1;
};

}  // namespace quorel::ui
