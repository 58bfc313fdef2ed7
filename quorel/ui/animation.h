// Animations as data: from what to what, from when to when on a run loop's clock. A view has its new value at once;
// a host that draws in between asks for the value to show at that moment.
//
//   view->animateOpacity(0, 0.5, *loop);
//   view->opacity();                    // 0 already
//   view->shownOpacity(loop->now());    // 1 now, and on its way to 0 for half a second
//
// Main run loop's thread only.
#pragma once

#include <algorithm>

#include "quorel/foundation/run_loop.h"
#include "quorel/ui/export.h"
#include "quorel/ui/geometry.h"

namespace quorel::ui {

// The value at a `part` of the way, 0 to 1.
inline double between(double from, double to, double part) {
    return from + (to - from) * part;
}
inline Rect between(const Rect& from, const Rect& to, double part) {
    return {between(from.x, to.x, part), between(from.y, to.y, part), between(from.width, to.width, part),
            between(from.height, to.height, part)};
}

// The way of a value in time.
template <class T>
struct QUOREL_VISIBLE Animation {
    T from{};
    T to{};
    Duration begin{0};   // on the loop's clock
    Duration length{0};  // 0: at once

    Duration end() const { return begin + length; }
    // Whether the value has arrived.
    bool isOver(Duration now) const { return now >= end(); }
    // Slow at both ends, as things move that have a weight.
    T at(Duration now) const {
        if (isOver(now)) return to;
        const double part = std::clamp(secondsFromDuration(now - begin) / secondsFromDuration(length), 0.0, 1.0);
        return between(from, to, part * part * (3 - 2 * part));
    }
    bool operator==(const Animation&) const = default;
};

}  // namespace quorel::ui
