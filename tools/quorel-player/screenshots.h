// Pictures of the window in the states that a reader of the documentation should see.
#pragma once

#include <QQuickWindow>
#include <QString>

namespace quorel::player_window {

// Brings the window into each state, and writes <directory>/<name>.png: "controls" and "submenu" of an on-demand title,
// "live" and "soon" of live ones. With a name in `only`, that one, which may also be "settings". Runs the event loop.
// Gives what went wrong, or an empty text.
QString takeScreenshots(QQuickWindow& window, const QString& directory, const QString& only);

// Waits until the window's title plays, shows the controls, and writes the window to `file`. Otherwise like the above.
QString takePicture(QQuickWindow& window, const QString& file);

}  // namespace quorel::player_window
