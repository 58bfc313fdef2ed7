// A subtitle file that says where its times lie on the stream's clock, or wants that found out.
//
//   auto track = std::make_shared<SSTextTrackDescription>("https://subs.example/pt.vtt", "pt", false,
//                                                         TextTrackKind::subtitles, "Português");
//   track->automaticTimestampSyncEnabled = true;
//   source.textTracks = {{track}};
#pragma once

#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "quorel/engine/source_description.h"
#include "quorel/foundation/error.h"
#include "quorel/foundation/json.h"
#include "quorel/foundation/url.h"
#include "quorel/foundation/url_session.h"
#include "quorel/sideload/export.h"
#include "quorel/sideload/timestamp_map.h"

namespace quorel {

class QUOREL_SIDELOAD_API SSTextTrackDescription final : public TextTrackDescription {
public:
    using TextTrackDescription::TextTrackDescription;
    // The same with a URL in place of its text.
    SSTextTrackDescription(const URL& source, std::string languageTag,
                           std::optional<bool> defaultTrack = std::nullopt,
                           std::optional<TextTrackKind> trackKind = std::nullopt,
                           std::optional<std::string> trackLabel = std::nullopt,
                           std::optional<TextTrackFormat> fileFormat = std::nullopt)
        : TextTrackDescription(source.absoluteString(), std::move(languageTag), defaultTrack, trackKind,
                               std::move(trackLabel), fileFormat) {}

    // From an object with "src" and "srclang", and "isDefault", "kind", "label" and "format" where they are known, by
    // the names of their enumerations. What this class adds has its defaults. Throws JSONError.
    static SSTextTrackDescription decode(const JSONValue& json);

    // Written into the file, in place of a map it has, when both values are there.
    WebVttTimestamp vttTimestamp;
    // Whether the map may be measured while the track plays, and the track be restarted with it, once.
    bool automaticTimestampSyncEnabled = false;

    // Why a file has no map.
    class QUOREL_SIDELOAD_API TimestampError : public Error {
    public:
        enum class Code { timestampNotFound };
        explicit TimestampError(Code code);
        Code code() const { return code_; }

    private:
        Code code_;
    };

    // Loads the file and gives its map, with a null error. Gives an empty one otherwise, with TimestampError where the
    // file has none, with the session's error where the load failed, and with null for a file that is not UTF-8 or
    // an address that is none. On the session's thread, or at once in the last case.
    void extractSourceTimestamp(
        UrlSession& session,
        std::function<void(WebVttTimestamp timestamp, std::exception_ptr error)> completion) const;
};

}  // namespace quorel
