#include "hosts/qt/symbols.h"

#include <QFont>
#include <QHash>
#include <QPainterPathStroker>
#include <cmath>
#include <numbers>

#include "hosts/qt/fonts.h"

namespace quorel::qt {
namespace {

constexpr double degree = std::numbers::pi / 180;

QPainterPath stroked(const QPainterPath& line, double width) {
    QPainterPathStroker stroker;
    stroker.setWidth(width);
    stroker.setCapStyle(Qt::RoundCap);
    stroker.setJoinStyle(Qt::RoundJoin);
    return stroker.createStroke(line).simplified();
}

QPainterPath lines(std::initializer_list<std::initializer_list<QPointF>> strokes, double width) {
    QPainterPath path;
    for (const auto& stroke : strokes) {
        bool first = true;
        for (const QPointF& point : stroke) {
            if (std::exchange(first, false)) {
                path.moveTo(point);
            } else {
                path.lineTo(point);
            }
        }
    }
    return stroked(path, width);
}

QPainterPath play() {
    QPainterPath triangle;
    triangle.moveTo(7, 4.5);
    triangle.lineTo(19.5, 12);
    triangle.lineTo(7, 19.5);
    triangle.closeSubpath();
    return triangle.united(stroked(triangle, 2));
}

QPainterPath pause() {
    QPainterPath bars;
    bars.addRoundedRect(QRectF(5.5, 3.5, 4.5, 17), 1.4, 1.4);
    bars.addRoundedRect(QRectF(14, 3.5, 4.5, 17), 1.4, 1.4);
    return bars;
}

// An arrow that goes round a 10, clockwise for forward.
QPainterPath aroundTen(bool forward) {
    constexpr double radius = 8.4;
    const QPointF centre(12, 13.2);
    const QRectF circle(centre.x() - radius, centre.y() - radius, 2 * radius, 2 * radius);
    QPainterPath arc;
    // Open where the arrow points to.
    arc.arcMoveTo(circle, 90);
    arc.arcTo(circle, 90, -295);
    QPainterPath path = stroked(arc, 1.8);
    QPainterPath head;
    const QPointF top(centre.x(), centre.y() - radius);
    head.moveTo(top + QPointF(-5.4, 0));
    head.lineTo(top + QPointF(0.4, -3.7));
    head.lineTo(top + QPointF(0.4, 3.7));
    head.closeSubpath();
    path = path.united(head.united(stroked(head, 0.6)));
    // Forward is the mirror image of backward, but for the digits.
    if (forward) {
        QTransform mirror;
        mirror.translate(24, 0);
        mirror.scale(-1, 1);
        path = mirror.map(path);
    }
    QPainterPath digits;
    QFont font = fontOf({"", 8, true});
    font.setPixelSize(32);  // larger, for whole hinting, and scaled down below
    digits.addText(0, 0, font, QStringLiteral("10"));
    const QRectF box = digits.boundingRect();
    QTransform place;
    place.translate(centre.x(), centre.y());
    const double scale = 6.3 / box.height();
    place.scale(scale, scale);
    place.translate(-box.center().x(), -box.center().y());
    path.addPath(place.map(digits));
    path.setFillRule(Qt::WindingFill);
    return path;
}

QPainterPath gear() {
    constexpr int teeth = 8;
    QPainterPath wheel;
    for (int tooth = 0; tooth < teeth; ++tooth) {
        const double middle = 360.0 / teeth * tooth;
        for (const auto& [angle, radius] : std::initializer_list<std::pair<double, double>>{
                 {-15.5, 7.6}, {-9.5, 10.4}, {9.5, 10.4}, {15.5, 7.6}}) {
            const QPointF point(12 + radius * std::cos((middle + angle) * degree),
                                12 + radius * std::sin((middle + angle) * degree));
            if (wheel.elementCount() == 0) {
                wheel.moveTo(point);
            } else {
                wheel.lineTo(point);
            }
        }
    }
    wheel.closeSubpath();
    wheel = wheel.united(stroked(wheel, 0.9));
    QPainterPath hole;
    hole.addEllipse(QPointF(12, 12), 3.4, 3.4);
    return wheel.subtracted(hole);
}

QPainterPath cast() {
    QPainterPath path = lines({{{3, 8}, {3, 5.5}, {21, 5.5}, {21, 18.5}, {14.5, 18.5}}}, 1.8);
    for (const double radius : {3.6, 7.0}) {
        QPainterPath wave;
        wave.arcMoveTo(QRectF(3 - radius, 18.5 - radius, 2 * radius, 2 * radius), 90);
        wave.arcTo(QRectF(3 - radius, 18.5 - radius, 2 * radius, 2 * radius), 90, -90);
        path.addPath(stroked(wave, 1.7));
    }
    path.addEllipse(QPointF(3.4, 18.1), 1.2, 1.2);
    path.setFillRule(Qt::WindingFill);
    return path;
}

QPainterPath make(const std::string& name) {
    if (name == "play.fill") return play();
    if (name == "pause.fill") return pause();
    if (name == "goforward.10") return aroundTen(true);
    if (name == "gobackward.10") return aroundTen(false);
    if (name == "gearshape.fill") return gear();
    if (name == "cast") return cast();
    if (name == "xmark") return lines({{{5, 5}, {19, 19}}, {{19, 5}, {5, 19}}}, 2.4);
    if (name == "checkmark") return lines({{{4.5, 12.5}, {9.8, 18}, {19.5, 6.5}}}, 2.4);
    if (name == "arrow.up.left.and.arrow.down.right") {
        return lines({{{10, 4}, {4, 4}, {4, 10}},
                      {{4, 4}, {10.5, 10.5}},
                      {{14, 20}, {20, 20}, {20, 14}},
                      {{20, 20}, {13.5, 13.5}}},
                     2.2);
    }
    if (name == "arrow.down.right.and.arrow.up.left") {
        return lines({{{10, 4}, {10, 10}, {4, 10}},
                      {{3.5, 3.5}, {10, 10}},
                      {{14, 20}, {14, 14}, {20, 14}},
                      {{20.5, 20.5}, {14, 14}}},
                     2.2);
    }
    return {};
}

}  // namespace

QPainterPath symbolPath(const std::string& name) {
    static QHash<QString, QPainterPath> made;  // a dozen at most are known
    const QString key = textOf(name);
    const auto found = made.constFind(key);
    if (found != made.constEnd()) return *found;
    const QPainterPath path = make(name);
    if (!path.isEmpty()) made.insert(key, path);
    return path;
}

}  // namespace quorel::qt
