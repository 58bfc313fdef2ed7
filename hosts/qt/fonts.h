// Private to this room: how the tree's fonts become Qt's.
#pragma once

#include <QFont>
#include <QString>

#include "quorel/ui/view.h"

namespace quorel::qt {

// Makes the bundled font known, which stands in for the one that the badge and the countdown ask for. Once is enough;
// again does no harm. Needs a QGuiApplication.
void installFonts();

QFont fontOf(const ui::Font& font);
QString textOf(const std::string& text);

}  // namespace quorel::qt
