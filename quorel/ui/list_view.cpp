#include "quorel/ui/list_view.h"

#include <algorithm>

#include "quorel/ui/geometry.h"

namespace quorel::ui {

ListView::ListView() {
    setClipsToBounds(true);
}

void ListView::setRows(const std::vector<std::shared_ptr<View>>& rows) {
    while (!subviews().empty()) subviews().back()->removeFromSuperview();
    for (const auto& row : rows) addSubview(row);
    offset_ = 0;
    layoutSubviews();
}

void ListView::setRowHeight(double height) {
    rowHeight_ = height;
    layoutSubviews();
}

bool ListView::scrollBy(double distance) {
    const double before = offset_;
    offset_ += distance;
    layoutSubviews();
    return offset_ != before;
}

void ListView::layoutSubviews() {
    const double hidden = rowHeight_ * static_cast<double>(rows().size()) - bounds().height;
    offset_ = std::clamp(offset_, 0.0, std::max(0.0, hidden));
    double y = -offset_;
    for (const auto& row : rows()) {
        row->setFrame({0, y, bounds().width, rowHeight_});
        y += rowHeight_;
    }
}

}  // namespace quorel::ui
