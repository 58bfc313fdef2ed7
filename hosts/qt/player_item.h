// The player as a Qt Quick item: "import Quorel", QuorelPlayer.
//
//   QuorelPlayer {
//       anchors.fill: parent
//       focus: true                     // space, arrows, f, m, Escape, Tab
//       contentId: "film-1"
//       subtitle: "pt-br"
//       controller: player              // a PlayerController; may be left out
//   }
//
// The process's session must be installed and initialised before. What is set is used when the item is complete; from
// then on another contentId makes the player anew, and everything else waits for that.
//
// Keys: space plays and pauses, left and right skip 10 seconds, up and down change the volume, m mutes, f goes to
// full screen and back, Escape closes what is open, Tab and Enter go through the controls. Full screen is a window of
// its own, on the screen that the item is on.
#pragma once

#include <QPointer>
#include <QQuickWindow>
#include <QVariantMap>
#include <memory>
#include <optional>

#include "hosts/qt/export.h"
#include "hosts/qt/player_controller_object.h"
#include "hosts/qt/tree_item.h"
#include "quorel/facade/quorel_player_swift_ui.h"

namespace quorel::qt {

class QUOREL_QT_API PlayerItem : public TreeItem {
    Q_OBJECT
    Q_PROPERTY(QString contentId READ contentId WRITE setContentId NOTIFY contentIdChanged)
    Q_PROPERTY(bool hideUI MEMBER hideUI_)
    Q_PROPERTY(double startTime MEMBER startTime_)  // seconds
    Q_PROPERTY(QString subtitle MEMBER subtitle_)   // empty for none
    Q_PROPERTY(QVariantMap customImaParams MEMBER customImaParams_)
    Q_PROPERTY(quorel::qt::PlayerControllerObject* controller READ controller WRITE setController NOTIFY
                   controllerChanged)
    Q_PROPERTY(bool isFullScreen READ isFullScreen NOTIFY isFullScreenChanged)
    // The window that fills the screen, for what an application wants to show there, too; null otherwise. What it puts
    // into the window's contentItem it takes out again at isFullScreenChanged, at the latest.
    Q_PROPERTY(QQuickWindow* fullScreenWindow READ fullScreenWindow NOTIFY isFullScreenChanged)
    // "idle", or of live content "startSoon", "paused", "shutdown" or "live", so that an application can show a
    // screen or a badge of its own: the player shows none.
    Q_PROPERTY(QString contentState READ contentState NOTIFY contentStateChanged)

public:
    explicit PlayerItem(QQuickItem* parent = nullptr);
    ~PlayerItem() override;

    QString contentId() const { return contentId_; }
    void setContentId(const QString& id);
    PlayerControllerObject* controller() const { return controllerObject_; }
    void setController(PlayerControllerObject* controller);
    bool isFullScreen() const { return fullScreen_ != nullptr; }
    // Null while there is none.
    QQuickWindow* fullScreenWindow() const { return fullScreen_; }
    const std::shared_ptr<QuorelPlayerViewController>& player() const { return player_; }
    QString contentState() const { return contentState_; }

    // Makes the player anew, as another contentId does: for live content that may have begun meanwhile.
    Q_INVOKABLE void reload();

Q_SIGNALS:
    // After the change, as QML expects it.
    void contentIdChanged();
    void controllerChanged();
    void isFullScreenChanged();
    void contentStateChanged();

protected:
    void componentComplete() override;
    void updatePolish() override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void makePlayer();
    void dropPlayer();
    void present(const std::shared_ptr<ui::ViewController>& screen);
    bool handleKey(int key);

    QString contentId_;
    bool hideUI_ = false;
    double startTime_ = 0;
    QString subtitle_;
    QVariantMap customImaParams_;
    QPointer<PlayerControllerObject> controllerObject_;
    std::shared_ptr<QuorelPlayerSwiftUI::Coordinator> coordinator_;
    std::shared_ptr<PlayerController> facade_;
    std::shared_ptr<QuorelPlayerViewController> player_;
    QPointer<QQuickWindow> fullScreen_;
    QString contentState_ = QStringLiteral("idle");
};

}  // namespace quorel::qt
