// Private to this room: what the settings panel and its lists have in common.
#pragma once

#include <algorithm>

#include "quorel/ui/control.h"
#include "quorel/ui/view.h"

namespace quorel::settings {

inline constexpr double closeButtonSize = 44;  // points, as all that follows
inline constexpr double closeButtonInset = 8;
inline constexpr double rowHeight = 44;
inline constexpr double columnInset = 8;
inline constexpr double columnWidth = 420;  // lines that are longer are hard to follow from end to end
inline constexpr double top = closeButtonInset + closeButtonSize + 8;

// So that white text stays legible where the picture behind the panel is white, too.
inline constexpr ui::Shadow textShadow{ui::Color::black(), 0.6, {0, 1}, 2};

// The column of `height` in the middle of a view, below the close button, no higher than there is room.
inline ui::Rect column(const ui::View& view, double height) {
    const ui::Insets safe = view.safeAreaInsets();
    const ui::Rect bounds = view.bounds();
    const double width = std::clamp(bounds.width - safe.left - safe.right - 2 * columnInset, 0.0, columnWidth);
    const double room = std::max(0.0, bounds.height - safe.top - safe.bottom - top - columnInset);
    const double shown = std::min(height, room);
    // In the middle of the whole panel where that leaves the close button free.
    const double middle = safe.top + (bounds.height - safe.top - safe.bottom - shown) / 2;
    const double x = safe.left + (bounds.width - safe.left - safe.right - width) / 2;
    return {x, std::max(safe.top + top, std::min(middle, safe.top + top + room - shown)), width, shown};
}

inline ui::Rect closeButtonFrame(const ui::View& view) {
    const ui::Insets safe = view.safeAreaInsets();
    return {safe.left + closeButtonInset, safe.top + closeButtonInset, closeButtonSize, closeButtonSize};
}

inline void styleCloseButton(ui::Button& button) {
    button.setSymbol("xmark", 18);
    button.setTintColor(ui::Color::white());
    button.setAccessibilityName("Fechar");
}

}  // namespace quorel::settings
