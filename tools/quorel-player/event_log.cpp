#include "tools/quorel-player/event_log.h"

#include <cstdio>
#include <string_view>

#include "quorel/foundation/log.h"

namespace quorel::player_window {

EventLog::EventLog(QObject* parent) : QObject(parent) {
    setLogSink([this](std::string_view line) {
        if (line.starts_with("timeUpdate")) return;
        std::printf("%.*s\n", static_cast<int>(line.size()), line.data());
        std::fflush(stdout);
        // Any thread logs.
        const QString text = QString::fromUtf8(line.data(), static_cast<qsizetype>(line.size()));
        QMetaObject::invokeMethod(
            this, [this, text] { Q_EMIT appended(text); }, Qt::QueuedConnection);
    });
}

EventLog::~EventLog() {
    setLogSink({});
}

}  // namespace quorel::player_window
