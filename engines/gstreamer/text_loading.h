// Private to this room. Brings the cues of one subtitle rendition, for as long as its track wants them.
//
// A short playlist is loaded whole, a longer one around the position, a live one as it grows. Nothing that goes wrong
// here reaches the film: it is one line of the log. All of it belongs to the main thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engines/gstreamer/gstreamer_engine.h"
#include "engines/gstreamer/subtitle_renditions.h"
#include "engines/gstreamer/text_playlist.h"
#include "engines/gstreamer/text_webvtt.h"
#include "quorel/foundation/run_loop.h"

namespace quorel::gstreamer {

// Where the cue clock's 0 of a file lies on the player's clock (RFC 8216 3.5). `cue` is the start of a cue of the file,
// `expected` where it should come to lie to within half a wrap of the 33-bit clock. Without an anchor there is nothing
// to relate a map to, and the file counts as one without.
double cueClockOffset(const std::optional<TimestampMap>& map, const std::optional<TimelineAnchor>& anchor,
                      double cue, double expected);

class SubtitleLoader;

// Lets one rendition at a time ask the source's delegate: a subtitle service that works for one job at a time may
// answer every request for a file with the job of the playlist that it gave last.
class LoadingLane {
public:
    // Calls enterLane() of the loader when it is its turn, now or later; urgent ones come first.
    void ask(const std::shared_ptr<SubtitleLoader>& loader, bool urgent);
    void leave(const SubtitleLoader* loader);

private:
    void next();

    std::deque<std::weak_ptr<SubtitleLoader>> waiting_;
    const SubtitleLoader* holder_ = nullptr;
    std::string last_;  // the rendition whose playlist was loaded last
};

// A playlist with the address that its parts are relative to.
struct LoadedPlaylist {
    SubtitlePlaylist playlist;
    URL url;
};

class SubtitleLoader : public std::enable_shared_from_this<SubtitleLoader> {
public:
    struct Environment {
        RunLoop& loop;
        Fetch fetch;
        std::function<std::optional<TimelineAnchor>()> anchor;
        std::shared_ptr<LoadingLane> lane;
        GStreamerOptions::MissingTimestampMap missingMap;
        Duration joined;  // the loop's time when the source became playable
    };
    struct Listener {
        // The cues of a segment, on the player's clock. Either may stop and release the loader.
        std::function<void(std::uint64_t segment, std::vector<WebVTTCueBlock> cues)> loaded;
        std::function<void(std::uint64_t segment)> dropped;
    };

    SubtitleLoader(Environment environment, SubtitleRendition rendition, bool urgent, Listener listener);
    ~SubtitleLoader();
    SubtitleLoader(const SubtitleLoader&) = delete;
    SubtitleLoader& operator=(const SubtitleLoader&) = delete;

    // `known` is what an earlier loader of the rendition has read: it is used where asking again could have the
    // delegate forget what somebody told it of the file since.
    void start(double position, std::optional<LoadedPlaylist> known);
    // Often while playing, and after each jump.
    void moveTo(double position);
    // Cancels everything; nothing is told any more.
    void stop();
    // Of a rendition that does not change; absent before it is loaded.
    std::optional<LoadedPlaylist> completePlaylist() const;

    // For the lane: `again` where this rendition was the last one in it.
    void enterLane(bool again);
    const std::string& uri() const { return rendition_.uri; }

private:
    using Segment = SubtitlePlaylist::Segment;
    struct Held {
        double start = 0;  // of the segment, on the player's clock
        double end = 0;
        std::size_t bytes = 0;
    };

    bool isPrivate() const;
    void proceed();
    void wakeIn(double seconds);
    void fetchPlaylist();
    void takePlaylist(FetchResult result);
    void placeOnClock(const std::optional<LoadedPlaylist>& before);
    const Segment* nextWanted() const;
    void fetchSegment(Segment segment);
    void takeSegment(const Segment& segment, FetchResult result);
    void place(const Segment& segment, WebVTTFile& file);
    double correction(const Segment& segment, const TimestampMap& map, double offset, double first);
    void failSegment(const Segment& segment, const std::string& sentence, bool mayPass);
    void trim();
    void forget();
    void leaveLane();
    void complain(const std::string& sentence);

    const Environment environment_;
    const SubtitleRendition rendition_;
    const bool urgent_;
    const Listener listener_;
    double position_ = 0;
    std::optional<LoadedPlaylist> current_;
    double start_ = 0;  // of the playlist, on the player's clock
    std::shared_ptr<FetchTask> task_;
    RunLoop::TimerId timer_ = 0;
    RunLoop::TimerId laneTimer_ = 0;
    bool stopped_ = false;
    bool waitsForLane_ = false;
    bool inLane_ = false;
    bool hadLane_ = false;
    bool isLarge_ = false;  // too large to be kept whole
    bool complained_ = false;
    int playlistFailures_ = 0;
    Duration playlistDue_{0};  // when to load it (again)
    std::map<std::uint64_t, Held> held_;
    struct Trouble {
        int count = 0;
        Duration again{0};
    };
    std::map<std::uint64_t, Trouble> troubles_;
    std::size_t bytes_ = 0;
    std::uint64_t firstPeriod_ = 0;            // the discontinuity sequence that the anchor belongs to
    std::map<std::uint64_t, double> periods_;  // by discontinuity: what its time stamps are off
};

}  // namespace quorel::gstreamer
