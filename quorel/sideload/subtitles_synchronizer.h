// Finds out at run time how far the times of a subtitle file lie from the stream's clock, and restarts the track with a
// map that makes up for it.
//
// For each track whose description asks for it, the file as it was published is loaded. When a cue ends on the screen,
// its end in the file is compared with the player's position; more than 0.1 seconds apart gives a map
//
//   MPEGTS = (end in the file - position) x 90000, LOCAL = the description's local time, or 0
//
// which is handed to the delegate, and the track is disabled and enabled again. Each track is corrected once.
//
// Made and used on the engine's thread; correction() may be called from any thread. Listeners are left on the engine
// and do nothing once the synchroniser is gone.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "quorel/engine/media_framework.h"
#include "quorel/engine/player.h"
#include "quorel/engine/text_tracks.h"
#include "quorel/sideload/export.h"
#include "quorel/sideload/text_track_description.h"
#include "quorel/sideload/timestamp_map.h"

namespace quorel {

// Who gives the file to the engine, and can give it another map.
class QUOREL_VISIBLE SubtitlesSynchronizerDelegate {
public:
    virtual ~SubtitlesSynchronizerDelegate() = default;
    // Gives the job of the moment another map; false without a job.
    virtual bool setTimestamp(const WebVttTimestamp& timestamp) = 0;
};

// Not corrected, disabled for its correction, enabled again with it. There is no way back.
enum class SyncTaskStatus { idle, resolving, resolved };

// How far the measuring of one track has come.
struct QUOREL_VISIBLE SyncTask {
    std::vector<WebVTTCue> webVtt;
    SyncTaskStatus status = SyncTaskStatus::idle;
    std::optional<TextTrackMode> mode;          // to restore
    std::optional<WebVttTimestamp> correction;  // what was handed to the delegate
};

class QUOREL_SIDELOAD_API SubtitlesSynchronizer : public std::enable_shared_from_this<SubtitlesSynchronizer> {
public:
    // Without a player nothing is observed.
    static std::shared_ptr<SubtitlesSynchronizer> make(const std::shared_ptr<THEOplayer>& player,
                                                       std::shared_ptr<WebVTTParser> parser);

    // Who is told of a map; before the first cue.
    void setDelegate(std::weak_ptr<SubtitlesSynchronizerDelegate> delegate) { delegate_ = std::move(delegate); }

    // The map that the track of this label was corrected with. A restarted track asks for its playlist again, and the
    // job made from it must not lose the map.
    std::optional<WebVttTimestamp> correction(const std::string& label) const;
    // By label; tracks of one label share a task.
    std::map<std::string, SyncTask> trackSyncMap() const;

private:
    using Description = std::shared_ptr<const SSTextTrackDescription>;

    SubtitlesSynchronizer(std::weak_ptr<THEOplayer> player, std::shared_ptr<WebVTTParser> parser)
        : player_(std::move(player)), parser_(std::move(parser)) {}

    void observe(THEOplayer& player);
    void trackAdded(const std::shared_ptr<Track>& added);
    void cueEnded(const std::shared_ptr<TextTrackCue>& cue, const Description& description);
    void trackChanged(const std::shared_ptr<Track>& changed);
    std::optional<double> endInFile(const std::string& label, const std::string& contentString) const;

    const std::weak_ptr<THEOplayer> player_;
    const std::shared_ptr<WebVTTParser> parser_;
    std::weak_ptr<SubtitlesSynchronizerDelegate> delegate_;
    mutable std::mutex mutex_;  // files come on other threads
    std::map<std::string, SyncTask> trackSyncMap_;
};

}  // namespace quorel
