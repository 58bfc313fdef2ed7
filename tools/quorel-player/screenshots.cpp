#include "tools/quorel-player/screenshots.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QSaveFile>
#include <functional>

#include "hosts/qt/player_item.h"
#include "quorel/engine/player.h"
#include "quorel/player/controller.h"
#include "quorel/presentation/quorel_player_ui.h"
#include "quorel/presentation/settings_view.h"
#include "quorel/ui/video_view.h"
#include "quorel/ui/view.h"

namespace quorel::player_window {
namespace {

constexpr int patience = 30000;  // milliseconds

// Runs the event loop until `done` gives true; false when it does not within the patience.
bool waitFor(const std::function<bool()>& done, int milliseconds = patience) {
    const QDeadlineTimer deadline(milliseconds);
    while (!done()) {
        if (deadline.hasExpired()) return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 20);
    }
    return true;
}

void rest(int milliseconds) {
    waitFor([] { return false; }, milliseconds);
}

class Photographer {
public:
    explicit Photographer(QQuickWindow& window)
        : window_(window), item_(window.property("player").value<qt::PlayerItem*>()) {}

    QString error;

    // Until the title's picture moves, or a screen stands in its place.
    bool load(const QString& id) {
        window_.setProperty("contentId", id);
        return waitUntilShown();
    }
    bool waitUntilShown() {
        const auto shows = [this] {
            const QString state = item_->contentState();
            if (state == QLatin1String("startSoon") || state == QLatin1String("paused") ||
                state == QLatin1String("shutdown")) {
                return true;
            }
            const auto engine = item_->player() ? item_->player()->player() : nullptr;
            return engine && engine->videoFrames()->latestFrame() && !engine->paused();
        };
        if (!waitFor(shows)) return fail(QStringLiteral("the title does not play"));
        rest(1500);
        return true;
    }
    void seek(double time) {
        item_->player()->seekTo(time);
        rest(1500);
    }
    void showControls() {
        if (overlay().controlsContainer()->opacity() < 1) overlay().toggleControls();
        rest(400);
    }
    void showSettings() {
        overlay().showSettings();
        rest(500);
    }
    void showSpeeds() {
        overlay().settingsContainer()->showSpeedSubmenu();
        rest(400);
    }
    bool save(const QString& path) {
        QDir().mkpath(QFileInfo(path).absolutePath());
        // Whole or not at all: a full disk costs no older picture.
        QSaveFile file(path);
        const bool isWritten =
            file.open(QIODevice::WriteOnly) && window_.grabWindow().save(&file, "PNG") && file.commit();
        return isWritten || fail(QStringLiteral("cannot write %1: %2").arg(path, file.errorString()));
    }

private:
    QuorelPlayerUI& overlay() { return *item_->player()->playerUI(); }
    bool fail(const QString& what) {
        error = what;
        return false;
    }

    QQuickWindow& window_;
    qt::PlayerItem* const item_;
};

}  // namespace

QString takePicture(QQuickWindow& window, const QString& file) {
    Photographer photographer(window);
    if (!photographer.waitUntilShown()) return photographer.error;
    rest(2500);  // for the better variant
    photographer.showControls();
    photographer.save(file);
    return photographer.error;
}

QString takeScreenshots(QQuickWindow& window, const QString& directory, const QString& only) {
    Photographer photographer(window);
    const auto wanted = [&only](const char* name) { return only.isEmpty() || only == QLatin1String(name); };
    const auto save = [&](const char* name) {
        return !wanted(name) ||
               photographer.save(directory + QLatin1Char('/') + QLatin1String(name) + QStringLiteral(".png"));
    };
    if (wanted("controls") || wanted("settings") || wanted("submenu")) {
        if (!photographer.load(QStringLiteral("sample"))) return photographer.error;
        photographer.seek(6.2);
        photographer.showControls();
        if (!save("controls")) return photographer.error;
        photographer.showSettings();
        if (only == QLatin1String("settings") && !save("settings")) return photographer.error;
        photographer.showSpeeds();
        if (!save("submenu")) return photographer.error;
    }
    if (wanted("live")) {
        if (!photographer.load(QStringLiteral("live"))) return photographer.error;
        photographer.showControls();
        if (!save("live")) return photographer.error;
    }
    if (wanted("soon") && photographer.load(QStringLiteral("live-soon"))) save("soon");
    return photographer.error;
}

}  // namespace quorel::player_window
