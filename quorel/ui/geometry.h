// Geometry of the view tree: points (not pixels), x to the right, y downwards.
#pragma once

#include "quorel/ui/export.h"

namespace quorel::ui {

// A place, in points.
struct QUOREL_VISIBLE Point {
    double x = 0;
    double y = 0;
    bool operator==(const Point&) const = default;
};

// An extent, in points.
struct QUOREL_VISIBLE Size {
    double width = 0;
    double height = 0;
    bool operator==(const Size&) const = default;
};

// A place and an extent, in points.
struct QUOREL_VISIBLE Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    Size size() const { return {width, height}; }
    double right() const { return x + width; }
    double bottom() const { return y + height; }
    // The left and upper edges are in it, the others are not.
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

// Parts from 0 to 1, alpha 1 for opaque; not multiplied by alpha.
struct QUOREL_VISIBLE Color {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;

    // The colours of the player.
    static constexpr Color black() { return {0, 0, 0, 1}; }
    static constexpr Color white() { return {1, 1, 1, 1}; }
    static constexpr Color black(double opacity) { return {0, 0, 0, opacity}; }
    static constexpr Color clear() { return {0, 0, 0, 0}; }
    bool operator==(const Color&) const = default;
};

}  // namespace quorel::ui
