// Geometry of the view tree: points (not pixels), x to the right, y downwards.
#pragma once

#include "quorel/ui/export.h"

namespace quorel::ui {

struct QUOREL_VISIBLE Point {
    double x = 0;
    double y = 0;
    bool operator==(const Point&) const = default;
};

struct QUOREL_VISIBLE Size {
    double width = 0;
    double height = 0;
    bool operator==(const Size&) const = default;
};

struct QUOREL_VISIBLE Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    Size size() const { return {width, height}; }
    double right() const { return x + width; }
    double bottom() const { return y + height; }
    bool contains(Point p) const { return p.x >= x && p.y >= y && p.x < x + width && p.y < y + height; }
    bool operator==(const Rect&) const = default;
};

// What is kept free along the four edges.
struct QUOREL_VISIBLE Insets {
    double top = 0;
    double left = 0;
    double bottom = 0;
    double right = 0;
    bool operator==(const Insets&) const = default;
};

struct QUOREL_VISIBLE Color {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;

    static constexpr Color black() { return {0, 0, 0, 1}; }
    static constexpr Color white() { return {1, 1, 1, 1}; }
    static constexpr Color black(double opacity) { return {0, 0, 0, opacity}; }
    static constexpr Color clear() { return {0, 0, 0, 0}; }
    bool operator==(const Color&) const = default;
};

}  // namespace quorel::ui
