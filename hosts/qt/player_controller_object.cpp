#include "hosts/qt/player_controller_object.h"

#include <QVariantMap>

namespace quorel::qt {
namespace {

QVariant variantOf(const std::optional<std::string>& text) {
    return text ? QVariant(QString::fromStdString(*text)) : QVariant::fromValue(nullptr);
}

std::optional<std::string> textOfVariant(const QVariant& value) {
    if (!value.isValid() || value.isNull() || value.typeId() != QMetaType::QString) return std::nullopt;
    return value.toString().toStdString();
}

}  // namespace

PlayerControllerObject::PlayerControllerObject(QObject* parent) : QObject(parent) {
    // The stream tells before the change, QML wants to know after it.
    const auto tell = [this](auto& property, void (PlayerControllerObject::*changed)()) {
        subscriptions_.push_back(property.stream().subscribe(
            [this, changed](const auto&) { QMetaObject::invokeMethod(this, changed, Qt::QueuedConnection); }));
    };
    tell(facade_->metadata, &PlayerControllerObject::metadataChanged);
    tell(facade_->isPlaying, &PlayerControllerObject::isPlayingChanged);
    tell(facade_->currentTime, &PlayerControllerObject::currentTimeChanged);
    tell(facade_->duration, &PlayerControllerObject::durationChanged);
    tell(facade_->isBuffering, &PlayerControllerObject::isBufferingChanged);
    tell(facade_->isMuted, &PlayerControllerObject::isMutedChanged);
    tell(facade_->subtitle, &PlayerControllerObject::subtitleChanged);
    tell(facade_->availableSubtitles, &PlayerControllerObject::availableSubtitlesChanged);
    tell(facade_->playbackRate, &PlayerControllerObject::playbackRateChanged);
}

QVariant PlayerControllerObject::metadata() const {
    const auto& metadata = facade_->metadata.get();
    if (!metadata) return QVariant::fromValue(nullptr);
    return QVariantMap{{QStringLiteral("isLive"), metadata->isLive},
                       {QStringLiteral("duration"), metadata->duration}};
}

void PlayerControllerObject::setMetadata(const QVariant& metadata) {
    const QVariantMap map = metadata.toMap();
    if (map.isEmpty()) {
        facade_->metadata = std::nullopt;
    } else {
        facade_->metadata = VideoMetadata{map.value(QStringLiteral("isLive")).toBool(),
                                          map.value(QStringLiteral("duration")).toDouble()};
    }
}

QVariant PlayerControllerObject::subtitle() const {
    return variantOf(facade_->subtitle);
}

void PlayerControllerObject::setSubtitle(const QVariant& subtitle) {
    facade_->subtitle = textOfVariant(subtitle);
}

QStringList PlayerControllerObject::availableSubtitles() const {
    QStringList list;
    for (const std::string& code : facade_->availableSubtitles.get()) list.push_back(QString::fromStdString(code));
    return list;
}

void PlayerControllerObject::setAvailableSubtitles(const QStringList& subtitles) {
    std::vector<std::string> codes;
    for (const QString& code : subtitles) codes.push_back(code.toStdString());
    facade_->availableSubtitles = std::move(codes);
}

void PlayerControllerObject::selectSubtitle(const QVariant& subtitle) {
    facade_->selectSubtitle(textOfVariant(subtitle));
}

}  // namespace quorel::qt
