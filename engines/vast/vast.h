// What an ad server's answer says: VAST documents (IAB Video Ad Serving Template 2.0 to 4.2), VMAP documents (IAB Video
// Multiple Ad Playlist 1.0), as plain values. Only what a player of linear ads needs is kept.
//
//   const AdDocument document = parseAdDocument(bytes);
//   if (const auto* vast = std::get_if<VastDocument>(&document)) {
//       for (const VastAd& ad : vast->ads) { ... }
//   }
//
// Values and pure functions; any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "engines/vast/export.h"
#include "quorel/foundation/error.h"

namespace quorel::vast {

// An answer that cannot be used as a whole. What is wrong inside of one ad only takes that ad, or part of it, away.
class QUOREL_VISIBLE VastError : public Error {
public:
    enum class Code {
        notXML,        // not well-formed, or with a document type declaration
        tooLarge,      // more than 4 MiB, 50,000 nodes or 256 levels
        notAnAdReply,  // XML, but neither VAST nor VMAP
    };
    VastError(Code code, const std::string& detail)
        : Error("The ad server's answer cannot be read: " + detail + "."), code_(code) {}

    Code code() const { return code_; }

private:
    Code code_;
};

// VAST 4.2, 2.3.6.3.
enum class ErrorCode {
    xmlParsing = 100,
    schema = 101,
    linearity = 201,
    wrapperGeneral = 300,
    wrapperTimeout = 301,
    wrapperLimit = 302,
    noAdsAfterWrapper = 303,
    linearGeneral = 400,
    fileNotFound = 401,
    fileTimeout = 402,
    noSupportedFile = 403,
    fileNotDisplayable = 405,
};

// A place in an ad or in a content.
struct QUOREL_VAST_API TimeOffset {
    // How the place is written.
    enum class Kind { start, end, seconds, percent };
    Kind kind = Kind::start;
    double value = 0;  // seconds or percent, not negative

    // "start", "end", "hh:mm:ss", "hh:mm:ss.mmm", seconds ("12.5"), "25%". Absent for anything else, VMAP's positions
    // ("#2") too.
    static std::optional<TimeOffset> parse(std::string_view text);
    // In seconds; absent where the duration would have to be known, and finite, and is not.
    std::optional<double> at(std::optional<double> duration) const;
    bool operator==(const TimeOffset&) const = default;
};

// A request that tells an ad server what was seen.
struct QUOREL_VISIBLE Tracking {
    std::string event;                 // "start", "firstQuartile", ...
    std::optional<TimeOffset> offset;  // of "progress"
    std::string url;
    bool operator==(const Tracking&) const = default;
};

// One file of an ad, in one size and rate.
struct QUOREL_VISIBLE MediaFile {
    std::string url;
    std::string type;  // MIME type
    bool progressive = true;
    int width = 0;             // pixels; 0: not said
    int height = 0;            // pixels
    int bitrate = 0;           // kbit/s; the higher end of a range; 0: not said
    std::string apiFramework;  // not empty: a program that draws by itself
    bool operator==(const MediaFile&) const = default;
};

// An ad that plays in place of the content.
struct QUOREL_VISIBLE Linear {
    std::optional<double> duration;  // seconds
    std::optional<TimeOffset> skipOffset;
    std::vector<MediaFile> mediaFiles;
    std::vector<Tracking> trackings;
    std::optional<std::string> clickThrough;
    std::vector<std::string> clickTrackings;
    bool operator==(const Linear&) const = default;
};

// An ad that another tag has; what it adds is merged into that one.
struct QUOREL_VISIBLE Wrapper {
    std::string tagURL;
    bool followAdditionalWrappers = true;
    bool allowMultipleAds = false;
    bool operator==(const Wrapper&) const = default;
};

// What of the standard's types is not linear (companions, overlays, verification scripts) is passed over.
struct QUOREL_VISIBLE VastAd {
    std::string id;
    std::optional<int> sequence;  // 1 and up: its place in a pod
    std::string system;
    std::string title;
    std::vector<std::string> impressions;
    std::vector<std::string> errors;
    std::optional<Wrapper> wrapper;  // absent for an inline ad
    std::vector<Linear> linears;     // of a wrapper: only trackings and clicks
    bool operator==(const VastAd&) const = default;
};

// The ads of one tag.
struct QUOREL_VISIBLE VastDocument {
    std::string version;
    std::vector<std::string> errors;  // for an answer without ads
    std::vector<VastAd> ads;
    bool operator==(const VastDocument&) const = default;
};

// One break of a schedule.
struct QUOREL_VISIBLE AdBreak {
    TimeOffset timeOffset;
    std::string id;
    std::variant<std::string, VastDocument> source;  // a tag's URL, or the ads themselves
    std::vector<Tracking> trackings;                 // "breakStart", "breakEnd", "error"
    bool operator==(const AdBreak&) const = default;
};

// A schedule of breaks.
struct QUOREL_VISIBLE VmapDocument {
    std::string version;
    std::vector<AdBreak> breaks;  // those for linear ads whose place and source are understood
    bool operator==(const VmapDocument&) const = default;
};

using AdDocument = std::variant<VastDocument, VmapDocument>;

// Throws VastError.
QUOREL_VAST_API AdDocument parseAdDocument(std::string_view document);

}  // namespace quorel::vast
