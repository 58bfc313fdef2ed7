#include "quorel/sideload/subtitles_synchronizer.h"

#include <array>
#include <charconv>
#include <cmath>
#include <utility>

#include "quorel/engine/events.h"
#include "quorel/engine/source_description.h"
#include "quorel/foundation/url.h"

namespace quorel {
namespace {

constexpr double mpegtsTicksPerSecond = 90000.0;  // RFC 8216 3.5
constexpr double tolerance = 0.1;                 // seconds
constexpr double latestExit = 0.25;               // seconds

// The shortest decimal that reads back as the number, with a fraction also where it is whole: "225000.0". Deliberately
// no integer, though the clock counts in whole ticks.
std::string decimalText(double number) {
    std::array<char, 400> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed).ptr;
    std::string result(text.data(), end);
    if (result.find_first_of(".in") == std::string::npos) result += ".0";
    return result;
}

std::shared_ptr<const SSTextTrackDescription> descriptionOf(const THEOplayer& player, const std::string& label) {
    const auto& source = player.source();
    if (!source || !source->textTracks) return nullptr;
    for (const auto& description : *source->textTracks) {
        if (description && description->label == label) {
            return std::dynamic_pointer_cast<const SSTextTrackDescription>(description);
        }
    }
    return nullptr;
}

}  // namespace

std::shared_ptr<SubtitlesSynchronizer> SubtitlesSynchronizer::make(const std::shared_ptr<THEOplayer>& player,
                                                                   std::shared_ptr<WebVTTParser> parser) {
    std::shared_ptr<SubtitlesSynchronizer> synchronizer(new SubtitlesSynchronizer(player, std::move(parser)));
    if (player) synchronizer->observe(*player);
    return synchronizer;
}

void SubtitlesSynchronizer::observe(THEOplayer& player) {
    player.textTracks().addEventListener(TextTrackListEventTypes::ADD_TRACK,
                                         [weak = weak_from_this()](const AddTrackEvent& event) {
                                             if (const auto self = weak.lock()) self->trackAdded(event.track);
                                         });
    player.textTracks().addEventListener(TextTrackListEventTypes::CHANGE,
                                         [weak = weak_from_this()](const TrackChangeEvent& event) {
                                             if (const auto self = weak.lock()) self->trackChanged(event.track);
                                         });
}

std::optional<WebVttTimestamp> SubtitlesSynchronizer::correction(const std::string& label) const {
    const std::lock_guard lock(mutex_);
    const auto task = trackSyncMap_.find(label);
    return task == trackSyncMap_.end() ? std::nullopt : task->second.correction;
}

std::map<std::string, SyncTask> SubtitlesSynchronizer::trackSyncMap() const {
    const std::lock_guard lock(mutex_);
    return trackSyncMap_;
}

void SubtitlesSynchronizer::trackAdded(const std::shared_ptr<Track>& added) {
    const auto track = std::dynamic_pointer_cast<TextTrack>(added);
    const std::shared_ptr<THEOplayer> player = player_.lock();
    if (!track || !player) return;
    const Description description = descriptionOf(*player, track->label());
    const std::optional<URL> src = description ? description->src() : std::nullopt;
    if (!src || !description->automaticTimestampSyncEnabled) return;
    // A file that cannot be loaded has no cues, and its track is never corrected.
    parser_->getVttContent(src->absoluteString(), [weak = weak_from_this(), label = track->label()](
                                                      std::string content, std::exception_ptr) {
        const auto self = weak.lock();
        if (!self) return;
        SyncTask task;
        task.webVtt = self->parser_->cues(content);
        const std::lock_guard lock(self->mutex_);
        self->trackSyncMap_.insert_or_assign(label, std::move(task));
    });
    track->addEventListener(TextTrackEventTypes::EXIT_CUE,
                            [weak = weak_from_this(), description](const ExitCueEvent& event) {
                                if (const auto self = weak.lock()) self->cueEnded(event.cue, description);
                            });
}

// Plain containment: a short cue may be taken for an earlier one that holds its text.
std::optional<double> SubtitlesSynchronizer::endInFile(const std::string& label,
                                                       const std::string& contentString) const {
    const std::lock_guard lock(mutex_);
    const auto task = trackSyncMap_.find(label);
    if (task == trackSyncMap_.end() || task->second.status != SyncTaskStatus::idle) return std::nullopt;
    for (const WebVTTCue& cue : task->second.webVtt) {
        if (cue.text.find(contentString) != std::string::npos) return cue.endTime;
    }
    return std::nullopt;
}

void SubtitlesSynchronizer::cueEnded(const std::shared_ptr<TextTrackCue>& cue, const Description& description) {
    const std::shared_ptr<TextTrack> track = cue ? cue->track() : nullptr;
    const std::shared_ptr<THEOplayer> player = player_.lock();
    if (!track || !player) return;
    const std::optional<std::string> contentString = cue->contentString();
    if (!contentString || contentString->empty()) return;
    const std::optional<double> endTime = endInFile(track->label(), *contentString);
    if (!endTime) return;
    // The cue has just ended on the player's clock, unless somebody sought away from it: that says nothing of the file.
    const double position = player->currentTime();
    if (std::abs(cue->endTime() - position) > latestExit) return;
    const double delta = *endTime - position;
    if (!(std::abs(delta) > tolerance) || !std::isfinite(delta)) return;

    WebVttTimestamp timestamp;
    timestamp.pts = decimalText(delta * mpegtsTicksPerSecond);
    timestamp.localTime = description->vttTimestamp.localTime.value_or("00:00:00.000");
    const auto delegate = delegate_.lock();
    const bool wasTaken = delegate && delegate->setTimestamp(timestamp);
    {
        const std::lock_guard lock(mutex_);
        SyncTask& task = trackSyncMap_[track->label()];
        if (wasTaken) task.correction = std::move(timestamp);
        task.status = SyncTaskStatus::resolving;
        task.mode = track->mode();
    }
    track->setMode(TextTrackMode::disabled);
}

void SubtitlesSynchronizer::trackChanged(const std::shared_ptr<Track>& changed) {
    const auto track = std::dynamic_pointer_cast<TextTrack>(changed);
    if (!track) return;
    std::optional<TextTrackMode> mode;
    {
        const std::lock_guard lock(mutex_);
        const auto task = trackSyncMap_.find(track->label());
        if (task == trackSyncMap_.end() || task->second.status != SyncTaskStatus::resolving) return;
        task->second.status = SyncTaskStatus::resolved;
        mode = task->second.mode;
    }
    if (mode) track->setMode(*mode);
}

}  // namespace quorel
