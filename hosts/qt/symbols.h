// Private to this room: the symbols of the controls, drawn by us.
#pragma once

#include <QPainter>
#include <QPainterPath>
#include <string>

namespace quorel::qt {

// What to fill of a symbol, in a square from 0, 0 to 24, 24; empty for a name that is unknown.
QPainterPath symbolPath(const std::string& name);

}  // namespace quorel::qt
