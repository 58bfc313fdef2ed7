// Private to this room. What the text tracks of a source are made from: the renditions that its master playlist
// names, a way to load what belongs to them, and the relation between the stream's time stamps and the player's
// clock.
//
// Subtitles are taken out of the playlists before GStreamer sees them, because hlsdemux2 breaks the whole playback over
// one missing file. They are loaded here, apart from the film, and a failure of theirs never reaches it.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "quorel/foundation/url.h"

namespace quorel::gstreamer {

// An EXT-X-MEDIA of TYPE=SUBTITLES or CLOSED-CAPTIONS (RFC 8216 4.3.4.1), in the order of the playlist.
struct SubtitleRendition {
    enum class Kind { subtitles, closedCaptions };
    Kind kind = Kind::subtitles;
    std::string name;
    std::string language;  // RFC 5646 tag; "" when the playlist has none
    std::string groupId;
    std::string characteristics;  // separated by commas, "" for none
    std::string instreamId;       // "CC1" ... "SERVICE63" of closed captions
    // Absolute, or under a private scheme; only fetch() knows what to do with it. "" for closed captions, which come
    // within the picture.
    std::string uri;
    bool isDefault = false;
    bool autoselect = false;
    bool forced = false;

    bool operator==(const SubtitleRendition&) const = default;
};

struct FetchedText {
    std::string data;
    URL url;  // where it came from, redirects followed: the base of what is relative in it
};
// The text, or a sentence for a log that says why there is none.
using FetchResult = std::variant<FetchedText, std::string>;
using FetchCompletion = std::function<void(FetchResult)>;

// Releasing it cancels: the completion is not called any more.
class FetchTask {
public:
    virtual ~FetchTask() = default;
};

// Loads an address of a rendition or of a segment of one: by the source's delegate under a private scheme, from the
// network otherwise. `uri` is what a playlist says, made absolute against FetchedText::url where it is relative
// (URL::resolving). The main thread; the completion comes there too, once and at a later turn, within a time-out.
using Fetch = std::function<std::shared_ptr<FetchTask>(const std::string& uri, FetchCompletion completion)>;

// What X-TIMESTAMP-MAP needs (RFC 8216 3.5): a moment of the stream on both clocks. It is that of the first segment's
// first time stamp, on an MPEG-2 clock of 33 bits or from the tfdt box of fragmented MP4. A time stamp `t` of the same
// clock, in seconds and brought to within half a wrap (2^33 / 90000 s) of mediaTimestamp, lies at
// playerTime + t - mediaTimestamp.
struct TimelineAnchor {
    double mediaTimestamp = 0;  // seconds
    double playerTime = 0;      // seconds on the clock of currentTime; 0 but for live streams

    bool operator==(const TimelineAnchor&) const = default;
};

// Of one source. It comes before LOADED_META_DATA; the anchor follows with the first segment, at the latest just before
// that event, and stays absent for streams of other kinds.
struct SubtitleSource {
    std::vector<SubtitleRendition> renditions;
    Fetch fetch;
    std::function<std::optional<TimelineAnchor>()> anchor;
};

}  // namespace quorel::gstreamer
