#include "hosts/qt/player_item.h"

#include <QEvent>
#include <QQmlEngine>
#include <algorithm>
#include <utility>

#include "quorel/session/quorel.h"

namespace quorel::qt {
namespace {

constexpr double volumeStep = 0.1;

QString nameOf(ContentState state) {
    switch (state) {
        case ContentState::idle:
            break;
        case ContentState::startSoon:
            return QStringLiteral("startSoon");
        case ContentState::paused:
            return QStringLiteral("paused");
        case ContentState::shutdown:
            return QStringLiteral("shutdown");
        case ContentState::live:
            return QStringLiteral("live");
    }
    return QStringLiteral("idle");
}

}  // namespace

PlayerItem::PlayerItem(QQuickItem* parent) : TreeItem(parent) {
    setKeyHandler([this](int key) { return handleKey(key); });
}

PlayerItem::~PlayerItem() {
    dropPlayer();
}

void PlayerItem::setContentId(const QString& id) {
    if (contentId_ == id) return;
    contentId_ = id;
    Q_EMIT contentIdChanged();
    if (isComponentComplete()) makePlayer();
}

void PlayerItem::setController(PlayerControllerObject* controller) {
    if (controllerObject_ == controller) return;
    controllerObject_ = controller;
    Q_EMIT controllerChanged();
}

void PlayerItem::componentComplete() {
    TreeItem::componentComplete();
    makePlayer();
}

void PlayerItem::reload() {
    if (isComponentComplete()) makePlayer();
}

// Each state comes with a change of the tree. QML hears of it later, since it may place things.
void PlayerItem::updatePolish() {
    TreeItem::updatePolish();
    const QString state = player_ ? nameOf(player_->contentState()) : QStringLiteral("idle");
    if (state == contentState_) return;
    contentState_ = state;
    QMetaObject::invokeMethod(this, &PlayerItem::contentStateChanged, Qt::QueuedConnection);
}

void PlayerItem::makePlayer() {
    dropPlayer();
    QuorelPlayerSwiftUI::Arguments arguments;
    if (!contentId_.isEmpty()) arguments.contentId = contentId_.toStdString();
    arguments.hideUI = hideUI_;
    arguments.startTime = startTime_;
    if (!subtitle_.isEmpty()) arguments.subtitle = subtitle_.toStdString();
    for (auto entry = customImaParams_.cbegin(); entry != customImaParams_.cend(); ++entry) {
        arguments.customImaParams[entry.key().toStdString()] = entry.value().toString().toStdString();
    }
    if (controllerObject_) arguments.controller = controllerObject_->facade();
    const QuorelPlayerSwiftUI value(std::move(arguments));
    coordinator_ = value.makeCoordinator();
    facade_ = value.controller;
    player_ = value.makeUIViewController({coordinator_});
    player_->setPresenter([item = QPointer(this)](const std::shared_ptr<ui::ViewController>& screen, bool) {
        if (item) item->present(screen);
    });
    setViewController(player_, Quorel::shared().services().mainLoop);
}

void PlayerItem::dropPlayer() {
    if (!player_) return;
    present(nullptr);
    player_->setPresenter({});
    setViewController(nullptr, nullptr);
    QuorelPlayerSwiftUI::dismantleUIViewController(*player_, *coordinator_);
    player_ = nullptr;
    coordinator_ = nullptr;
    facade_ = nullptr;
}

void PlayerItem::present(const std::shared_ptr<ui::ViewController>& screen) {
    if (QQuickWindow* const old = fullScreen_) {
        fullScreen_ = nullptr;
        old->removeEventFilter(this);
        old->hide();
        old->deleteLater();
        layoutAgain();  // the picture comes back at the size it had there
    }
    if (screen) {
        auto* const shown = new QQuickWindow;
        shown->setColor(Qt::black);
        shown->setTitle(window() != nullptr ? window()->title() : QString());
        if (window() != nullptr) shown->setScreen(window()->screen());
        auto* const item = new TreeItem(shown->contentItem());
        QQmlEngine::setContextForObject(item, qmlContext(this));
        item->setKeyHandler([player = QPointer(this)](int key) { return player && player->handleKey(key); });
        const auto fill = [shown, item] { item->setSize(QSizeF(shown->size())); };
        connect(shown, &QQuickWindow::widthChanged, item, fill);
        connect(shown, &QQuickWindow::heightChanged, item, fill);
        shown->installEventFilter(this);
        fullScreen_ = shown;
        shown->showFullScreen();
        fill();
        item->setViewController(screen, Quorel::shared().services().mainLoop);
        item->forceActiveFocus();
        shown->requestActivate();
    }
    Q_EMIT isFullScreenChanged();
}

// A full-screen window that somebody closes leads back in good order.
bool PlayerItem::eventFilter(QObject* watched, QEvent* event) {
    if (watched == fullScreen_ && event->type() == QEvent::Close && player_) {
        event->ignore();
        player_->toggleFullScreen();
        return true;
    }
    return TreeItem::eventFilter(watched, event);
}

bool PlayerItem::handleKey(int key) {
    const auto overlay = player_ ? player_->playerUI() : nullptr;
    const auto engine = player_ ? player_->player() : nullptr;
    if (!overlay || !engine) return false;
    // Live content has no skips, and the overlay hides its buttons then; so have the keys.
    const bool canSkip = !overlay->skipForwardButton()->isHidden();
    switch (key) {
        case Qt::Key_Space:
            overlay->togglePlayPause();
            return true;
        case Qt::Key_Left:
            if (canSkip) overlay->skipBackward();
            return true;
        case Qt::Key_Right:
            if (canSkip) overlay->skipForward();
            return true;
        case Qt::Key_Up:
            engine->setVolume(std::min(1.0, engine->volume() + volumeStep));
            return true;
        case Qt::Key_Down:
            engine->setVolume(std::max(0.0, engine->volume() - volumeStep));
            return true;
        case Qt::Key_M:
            if (engine->muted()) {
                player_->unmute();
            } else {
                player_->mute();
            }
            return true;
        case Qt::Key_F:
            overlay->toggleFullScreen();
            return true;
        case Qt::Key_Escape:
            if (overlay->settingsContainer()->isSubmenuOpen()) {
                overlay->settingsContainer()->submenu()->close();
            } else if (overlay->isSettingsOpen()) {
                overlay->closeSettings();
            } else if (player_->isFullScreen()) {
                player_->toggleFullScreen();
            } else {
                return false;
            }
            return true;
        default:
            return false;
    }
}

}  // namespace quorel::qt
