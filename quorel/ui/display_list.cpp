#include "quorel/ui/display_list.h"

#include <algorithm>

namespace quorel::ui {
namespace {

Rect intersection(const Rect& a, const Rect& b) {
    const double x = std::max(a.x, b.x);
    const double y = std::max(a.y, b.y);
    return {x, y, std::max(0.0, std::min(a.right(), b.right()) - x),
            std::max(0.0, std::min(a.bottom(), b.bottom()) - y)};
}

bool isEmpty(const Rect& rect) {
    return !(rect.width > 0 && rect.height > 0);
}

void append(const std::shared_ptr<const View>& view, Point origin, DisplayItem above, Duration now,
            std::vector<DisplayItem>& list) {
    const double opacity = above.opacity * view->shownOpacity(now);
    if (view->isHidden() || opacity <= 0) return;
    Rect frame = view->shownFrame(now);
    frame.x += origin.x;
    frame.y += origin.y;
    std::optional<Rect> clip = above.clip;
    if (!isEmpty(frame) && !(clip && isEmpty(intersection(*clip, frame)))) {
        list.push_back({view, frame, opacity, clip});
    }
    if (view->clipsToBounds()) clip = clip ? intersection(*clip, frame) : frame;
    if (clip && isEmpty(*clip)) return;
    for (const auto& below : view->subviews())
        append(below, {frame.x, frame.y}, {nullptr, {}, opacity, clip}, now, list);
}

}  // namespace

std::vector<DisplayItem> displayList(const std::shared_ptr<const View>& root, Duration now) {
    std::vector<DisplayItem> list;
    if (!root) return list;
    const Rect frame = root->shownFrame(now);
    append(root, {-frame.x, -frame.y}, {}, now, list);
    return list;
}

}  // namespace quorel::ui
