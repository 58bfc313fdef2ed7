// The SDK's log lines, the player's events among them, for the window's pane. Position updates, four a second, are
// left out.
#pragma once

#include <QObject>
#include <QString>

namespace quorel::player_window {

class EventLog final : public QObject {
    Q_OBJECT
public:
    // Takes the process's log lines while it lives; they go on to standard output.
    explicit EventLog(QObject* parent = nullptr);
    ~EventLog() override;

Q_SIGNALS:
    void appended(const QString& line);
};

}  // namespace quorel::player_window
