#include "hosts/qt/tree_painter.h"

#include <QFontMetricsF>
#include <algorithm>
#include <cmath>
#include <numbers>

#include "hosts/qt/fonts.h"
#include "hosts/qt/symbols.h"
#include "quorel/ui/control.h"
#include "quorel/ui/video_view.h"

namespace quorel::qt {
namespace {

constexpr double disabledOpacity = 0.35;
constexpr std::size_t mostImages = 16;
constexpr double around = 12;  // points that shadows and focus rings reach out of a view

QRectF rectOf(const ui::Rect& rect) {
    return {rect.x, rect.y, rect.width, rect.height};
}

QColor colorOf(const ui::Color& color, double opacity = 1) {
    return QColor::fromRgbF(static_cast<float>(color.red), static_cast<float>(color.green),
                            static_cast<float>(color.blue), static_cast<float>(color.alpha * opacity));
}

// In place of a blur, copies that lie closely around the shadow's place.
template <class Draw>
void paintShadow(const ui::View& view, const Draw& draw) {
    const auto& shadow = view.shadow();
    if (!shadow || shadow->opacity <= 0) return;
    constexpr int copies = 8;
    const QColor color = colorOf(shadow->color, 2 * shadow->opacity / copies);
    const double reach = shadow->radius / 2;
    for (int i = 0; i < copies; ++i) {
        const double angle = 2 * std::numbers::pi * i / copies;
        draw(QPointF(shadow->offset.x + reach * std::cos(angle), shadow->offset.y + reach * std::sin(angle)),
             color);
    }
}

void paintSymbol(QPainter& painter, const ui::View& view, const std::string& name, const QRectF& box,
                 const QColor& color) {
    const QPainterPath symbol = symbolPath(name);
    if (symbol.isEmpty()) return;
    const double scale = std::min(box.width(), box.height()) / 24;
    const auto draw = [&](QPointF offset, const QColor& fill) {
        painter.save();
        painter.translate(box.center() + offset);
        painter.scale(scale, scale);
        painter.translate(-12, -12);
        painter.fillPath(symbol, fill);
        painter.restore();
    };
    paintShadow(view, draw);
    draw({}, color);
}

void paintFocus(QPainter& painter, const QRectF& ring, double radius) {
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor(0, 0, 0, 150), 4));
    painter.drawRoundedRect(ring, radius, radius);
    painter.setPen(QPen(Qt::white, 2));
    painter.drawRoundedRect(ring, radius, radius);
}

void paintButton(QPainter& painter, const ui::Button& button, const QRectF& frame) {
    const double glow = std::min({frame.width(), frame.height(), button.pointSize() * 1.7});
    const QRectF round(frame.center().x() - glow / 2, frame.center().y() - glow / 2, glow, glow);
    if (button.isEnabled() && (button.isHovered() || button.isHighlighted())) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(255, 255, 255, button.isHighlighted() ? 80 : 45));
        painter.drawEllipse(round);
    }
    const double size = button.pointSize() * (button.isHighlighted() ? 0.94 : 1);
    const QRectF box(frame.center().x() - size / 2, frame.center().y() - size / 2, size, size);
    paintSymbol(painter, button, button.symbol(), box,
                colorOf(button.tintColor(), button.isEnabled() ? 1 : disabledOpacity));
    if (button.isFocused()) paintFocus(painter, round, glow / 2);
}

void paintSlider(QPainter& painter, const ui::Slider& slider, const QRectF& frame) {
    constexpr double track = 4;
    const double half = ui::Slider::thumbSize / 2;
    const QPointF thumb(frame.x() + slider.thumbCenter(), frame.center().y());
    const QRectF whole(frame.x() + half, frame.center().y() - track / 2, std::max(0.0, frame.width() - 2 * half),
                       track);
    QRectF passed = whole;
    passed.setRight(thumb.x());
    painter.setPen(Qt::NoPen);
    paintShadow(slider, [&](QPointF offset, const QColor& color) {
        painter.setBrush(color);
        painter.drawRoundedRect(whole.translated(offset), track / 2, track / 2);
        painter.drawEllipse(thumb + offset, half, half);
    });
    painter.setBrush(colorOf(slider.tintColor(), 0.45));
    painter.drawRoundedRect(whole, track / 2, track / 2);
    painter.setBrush(colorOf(slider.tintColor()));
    painter.drawRoundedRect(passed, track / 2, track / 2);
    if (slider.isHovered() || slider.isHighlighted()) {
        painter.setBrush(QColor(255, 255, 255, slider.isHighlighted() ? 90 : 55));
        painter.drawEllipse(thumb, half + 7, half + 7);
        painter.setBrush(colorOf(slider.tintColor()));
    }
    painter.drawEllipse(thumb, half, half);
    if (slider.isFocused())
        paintFocus(painter, QRectF(thumb.x() - half - 4, thumb.y() - half - 4, 2 * half + 8, 2 * half + 8),
                   half + 4);
}

// What shows its subviews and can be pressed.
void paintPlainControl(QPainter& painter, const ui::Control& control, const QRectF& frame) {
    if (control.isEnabled() && (control.isHovered() || control.isHighlighted())) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(255, 255, 255, control.isHighlighted() ? 60 : 32));
        painter.drawRoundedRect(frame, control.cornerRadius(), control.cornerRadius());
    }
    if (control.isFocused()) paintFocus(painter, frame.adjusted(1, 1, -1, -1), control.cornerRadius());
}

int flagsOf(const ui::Label& label) {
    int flags = Qt::AlignVCenter;
    switch (label.alignment()) {
        case ui::TextAlignment::left:
            flags |= Qt::AlignLeft;
            break;
        case ui::TextAlignment::center:
            flags |= Qt::AlignHCenter;
            break;
        case ui::TextAlignment::right:
            flags |= Qt::AlignRight;
            break;
    }
    return label.numberOfLines() == 1 ? flags | Qt::TextSingleLine : flags | Qt::TextWordWrap;
}

void paintLabel(QPainter& painter, const ui::Label& label, const QRectF& frame) {
    if (label.text().empty()) return;
    QString text = textOf(label.text());
    QFont font = fontOf(label.font());
    if (label.numberOfLines() == 1) {
        const double width = QFontMetricsF(font).horizontalAdvance(text);
        if (width > frame.width() && width > 0) {
            const double scale = std::max(label.minimumScale(), frame.width() / width);
            font.setPixelSize(std::max(1, static_cast<int>(std::floor(label.font().size * scale))));
            text = QFontMetricsF(font).elidedText(text, Qt::ElideRight, frame.width() + 1);
        }
    }
    painter.setFont(font);
    const int flags = flagsOf(label);
    paintShadow(label, [&](QPointF offset, const QColor& color) {
        painter.setPen(color);
        painter.drawText(frame.translated(offset), flags, text);
    });
    painter.setPen(colorOf(label.textColor()));
    painter.drawText(frame, flags, text);
}

bool drawsSomething(const ui::View& view) {
    if (dynamic_cast<const ui::VideoView*>(&view) != nullptr) return false;
    if (view.backgroundColor() && view.backgroundColor()->alpha > 0) return true;
    if (const auto* label = dynamic_cast<const ui::Label*>(&view)) return !label->text().empty();
    if (const auto* image = dynamic_cast<const ui::ImageView*>(&view)) return image->image().has_value();
    if (dynamic_cast<const ui::Button*>(&view) != nullptr) return true;
    if (dynamic_cast<const ui::Slider*>(&view) != nullptr) return true;
    const auto* control = dynamic_cast<const ui::Control*>(&view);
    return control != nullptr && (control->isHovered() || control->isHighlighted() || control->isFocused());
}

}  // namespace

ui::Rect TreePainter::extent(const std::vector<ui::DisplayItem>& items, const ui::Rect& root) {
    QRectF extent;
    for (const ui::DisplayItem& item : items) {
        if (!drawsSomething(*item.view)) continue;
        QRectF frame = rectOf(item.frame).adjusted(-around, -around, around, around);
        if (item.view->rotation() != 0) {  // the corners of what turns
            const double more = 0.21 * std::max(frame.width(), frame.height());
            frame.adjust(-more, -more, more, more);
        }
        if (item.clip) frame &= rectOf(*item.clip);
        extent |= frame;
    }
    extent &= rectOf(root);
    const QRect whole = extent.toAlignedRect();
    return {static_cast<double>(whole.x()), static_cast<double>(whole.y()), static_cast<double>(whole.width()),
            static_cast<double>(whole.height())};
}

ui::Size TreePainter::measure(const ui::Label& label) {
    const QFontMetricsF metrics(fontOf(label.font()));
    return {std::ceil(metrics.horizontalAdvance(textOf(label.text()))), std::ceil(metrics.height())};
}

void TreePainter::paint(QPainter& painter, const std::vector<ui::DisplayItem>& items) {
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing | QPainter::SmoothPixmapTransform);
    std::erase_if(drawings_, [](const auto& entry) { return entry.second.view.expired(); });
    for (const ui::DisplayItem& item : items) paintOne(painter, item);
}

void TreePainter::paintOne(QPainter& painter, const ui::DisplayItem& item) {
    const ui::View& view = *item.view;
    if (!drawsSomething(view)) return;
    const QRectF frame = rectOf(item.frame);
    painter.save();
    painter.setOpacity(item.opacity);
    if (item.clip) painter.setClipRect(rectOf(*item.clip));
    if (view.rotation() != 0) {
        painter.translate(frame.center());
        painter.rotate(view.rotation() * 180 / std::numbers::pi);
        painter.translate(-frame.center());
    }
    if (const auto& background = view.backgroundColor(); background && background->alpha > 0) {
        if (view.cornerRadius() > 0) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(colorOf(*background));
            painter.drawRoundedRect(frame, view.cornerRadius(), view.cornerRadius());
        } else {
            painter.fillRect(frame, colorOf(*background));
        }
    }
    if (dynamic_cast<const ui::Label*>(&view) != nullptr || dynamic_cast<const ui::Button*>(&view) != nullptr ||
        dynamic_cast<const ui::Slider*>(&view) != nullptr ||
        dynamic_cast<const ui::ImageView*>(&view) != nullptr) {
        const qreal ratio = painter.device()->devicePixelRatio();
        const QPointF place = frame.topLeft() - QPointF(around, around);
        // On whole pixels, where texts are sharp.
        painter.drawImage(QPointF((place * ratio).toPoint()) / ratio, drawingOf(item.view, item.frame, ratio));
    } else if (const auto* control = dynamic_cast<const ui::Control*>(&view)) {
        paintPlainControl(painter, *control, frame);
    }
    painter.restore();
}

const QImage& TreePainter::drawingOf(const std::shared_ptr<const ui::View>& view, const ui::Rect& frame,
                                     qreal ratio) {
    Drawing& drawing = drawings_[view.get()];
    const QSizeF size(frame.width, frame.height);
    if (drawing.view.lock() == view && drawing.changes == view->changes() && drawing.size == size &&
        drawing.image.devicePixelRatio() == ratio) {
        return drawing.image;
    }
    drawing = {view, view->changes(), size, {}};
    const QSizeF whole = size + QSizeF(2 * around, 2 * around);
    drawing.image = QImage((whole * ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
    drawing.image.setDevicePixelRatio(ratio);
    drawing.image.fill(Qt::transparent);
    QPainter painter(&drawing.image);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing | QPainter::SmoothPixmapTransform);
    const QRectF place(QPointF(around, around), size);
    if (const auto* label = dynamic_cast<const ui::Label*>(view.get())) paintLabel(painter, *label, place);
    if (const auto* button = dynamic_cast<const ui::Button*>(view.get())) paintButton(painter, *button, place);
    if (const auto* slider = dynamic_cast<const ui::Slider*>(view.get())) paintSlider(painter, *slider, place);
    if (const auto* image = dynamic_cast<const ui::ImageView*>(view.get())) paintImage(painter, *image, place);
    return drawing.image;
}

void TreePainter::paintImage(QPainter& painter, const ui::ImageView& view, const QRectF& frame) {
    if (!view.image()) return;
    if (!view.image()->data) return paintSymbol(painter, view, view.image()->name, frame, Qt::white);
    const QImage& picture = decoded(*view.image());
    if (picture.isNull()) return;
    const QSizeF size = QSizeF(picture.size()).scaled(frame.size(), Qt::KeepAspectRatio);
    const QRectF place(frame.center() - QPointF(size.width() / 2, size.height() / 2), size);
    if (view.shadow()) {
        QImage shade = picture.convertToFormat(QImage::Format_ARGB32_Premultiplied);
        QPainter filler(&shade);
        filler.setCompositionMode(QPainter::CompositionMode_SourceIn);
        filler.fillRect(shade.rect(), colorOf(view.shadow()->color));
        filler.end();
        // A shadow falls downwards, whichever way the picture is turned.
        paintShadow(view, [&](QPointF offset, const QColor& color) {
            const double angle = -view.rotation();
            const QPointF turned(offset.x() * std::cos(angle) - offset.y() * std::sin(angle),
                                 offset.x() * std::sin(angle) + offset.y() * std::cos(angle));
            painter.setOpacity(color.alphaF());
            painter.drawImage(QRectF(place.topLeft() + turned, place.size()), shade);
        });
        painter.setOpacity(1);
    }
    painter.drawImage(place, picture);
}

const QImage& TreePainter::decoded(const ui::Image& image) {
    const void* key = image.data.get();
    auto found = images_.find(key);
    if (found == images_.end()) {
        if (held_.size() >= mostImages) {
            images_.clear();
            held_.clear();
        }
        held_.push_back(image.data);
        found = images_.insert(key, QImage::fromData(reinterpret_cast<const uchar*>(image.data->data()),
                                                     static_cast<int>(image.data->size())));
    }
    return *found;
}

}  // namespace quorel::qt
