// The facade for QML: nine properties that follow the player, and eight commands.
//
//   PlayerController { id: player }
//   QuorelPlayer { contentId: "film-1"; controller: player }
//   Text { text: player.isPlaying ? "playing" : "paused"; TapHandler { onTapped: player.togglePlayPause() } }
//
// GUI thread. Writing a property changes the property and nothing else, as with quorel::PlayerController.
#pragma once

#include <QObject>
#include <QStringList>
#include <QVariant>
#include <memory>
#include <vector>

#include "hosts/qt/export.h"
#include "quorel/facade/player_controller.h"

namespace quorel::qt {

class QUOREL_QT_API PlayerControllerObject : public QObject {
    Q_OBJECT
    Q_PROPERTY(
        QVariant metadata READ metadata WRITE setMetadata NOTIFY metadataChanged)  // {isLive, duration} or null
    Q_PROPERTY(bool isPlaying READ isPlaying WRITE setIsPlaying NOTIFY isPlayingChanged)
    Q_PROPERTY(double currentTime READ currentTime WRITE setCurrentTime NOTIFY currentTimeChanged)  // seconds
    Q_PROPERTY(double duration READ duration WRITE setDuration NOTIFY durationChanged)              // seconds
    Q_PROPERTY(bool isBuffering READ isBuffering WRITE setIsBuffering NOTIFY isBufferingChanged)
    Q_PROPERTY(bool isMuted READ isMuted WRITE setIsMuted NOTIFY isMutedChanged)
    Q_PROPERTY(QVariant subtitle READ subtitle WRITE setSubtitle NOTIFY subtitleChanged)  // language code or null
    Q_PROPERTY(QStringList availableSubtitles READ availableSubtitles WRITE setAvailableSubtitles NOTIFY
                   availableSubtitlesChanged)
    Q_PROPERTY(double playbackRate READ playbackRate WRITE setPlaybackRate NOTIFY playbackRateChanged)

public:
    explicit PlayerControllerObject(QObject* parent = nullptr);

    const std::shared_ptr<PlayerController>& facade() const { return facade_; }

    QVariant metadata() const;
    void setMetadata(const QVariant& metadata);
    bool isPlaying() const { return facade_->isPlaying; }
    void setIsPlaying(bool isPlaying) { facade_->isPlaying = isPlaying; }
    double currentTime() const { return facade_->currentTime; }
    void setCurrentTime(double time) { facade_->currentTime = time; }
    double duration() const { return facade_->duration; }
    void setDuration(double duration) { facade_->duration = duration; }
    bool isBuffering() const { return facade_->isBuffering; }
    void setIsBuffering(bool isBuffering) { facade_->isBuffering = isBuffering; }
    bool isMuted() const { return facade_->isMuted; }
    void setIsMuted(bool isMuted) { facade_->isMuted = isMuted; }
    QVariant subtitle() const;
    void setSubtitle(const QVariant& subtitle);
    QStringList availableSubtitles() const;
    void setAvailableSubtitles(const QStringList& subtitles);
    double playbackRate() const { return facade_->playbackRate; }
    void setPlaybackRate(double rate) { facade_->playbackRate = rate; }

    // The facade's commands, by their names there. Times in seconds.
    Q_INVOKABLE void togglePlayPause() { facade_->togglePlayPause(); }
    Q_INVOKABLE void play() { facade_->play(); }
    Q_INVOKABLE void pause() { facade_->pause(); }
    Q_INVOKABLE void seekTo(double time) { facade_->seekTo(time); }
    Q_INVOKABLE void mute() { facade_->mute(); }
    Q_INVOKABLE void unmute() { facade_->unmute(); }
    Q_INVOKABLE void selectSubtitle(const QVariant& subtitle);  // a language code, or null for none
    Q_INVOKABLE void selectPlaybackRate(double rate) { facade_->selectPlaybackRate(rate); }

Q_SIGNALS:
    // After the change, as QML expects it.
    void metadataChanged();
    void isPlayingChanged();
    void currentTimeChanged();
    void durationChanged();
    void isBufferingChanged();
    void isMutedChanged();
    void subtitleChanged();
    void availableSubtitlesChanged();
    void playbackRateChanged();

private:
    const std::shared_ptr<PlayerController> facade_ = PlayerController::make();
    std::vector<Subscription> subscriptions_;
};

}  // namespace quorel::qt
