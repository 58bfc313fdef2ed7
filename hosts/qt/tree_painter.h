// Private to this room: draws a display list with a QPainter.
#pragma once

#include <QHash>
#include <QImage>
#include <QPainter>
#include <memory>
#include <unordered_map>
#include <vector>

#include "quorel/ui/display_list.h"
#include "quorel/ui/image_view.h"

namespace quorel::qt {

class TreePainter {
public:
    // All but video views. The painter's coordinates are the root's.
    void paint(QPainter& painter, const std::vector<ui::DisplayItem>& items);
    // The part of the root that paint() touches at most; empty for nothing.
    static ui::Rect extent(const std::vector<ui::DisplayItem>& items, const ui::Rect& root);
    // As the labels above are drawn.
    static ui::Size measure(const ui::Label& label);

private:
    // A view's own content with its shadow, as it was drawn last.
    struct Drawing {
        std::weak_ptr<const ui::View> view;
        unsigned long long changes = 0;
        QSizeF size;
        QImage image;
    };

    void paintOne(QPainter& painter, const ui::DisplayItem& item);
    const QImage& drawingOf(const std::shared_ptr<const ui::View>& view, const ui::Rect& frame, qreal ratio);
    void paintImage(QPainter& painter, const ui::ImageView& view, const QRectF& frame);
    const QImage& decoded(const ui::Image& image);

    std::unordered_map<const ui::View*, Drawing> drawings_;
    QHash<const void*, QImage> images_;  // by the identity of their data, which is held below
    std::vector<std::shared_ptr<const std::string>> held_;
};

}  // namespace quorel::qt
