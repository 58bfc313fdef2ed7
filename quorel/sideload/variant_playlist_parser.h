// Rewrites a media playlist (RFC 8216 4.3.3) that was reached under a private scheme, where no relative reference
// would resolve: every URI becomes absolute. On the way the durations of its segments are added up.
//
//   auto parser = VariantPlaylistParser::make(url, session);
//   parser->parse([](std::shared_ptr<VariantPlaylistParser> parsed) { use(*parsed->manifestData()); });
#pragma once

#include <functional>
#include <memory>

#include "quorel/foundation/url.h"
#include "quorel/foundation/url_session.h"
#include "quorel/sideload/export.h"
#include "quorel/sideload/playlist_parser.h"

namespace quorel {

class QUOREL_SIDELOAD_API VariantPlaylistParser final : public PlaylistParser {
public:
    // Without a session for playlists that come by accept().
    static std::shared_ptr<VariantPlaylistParser> make(URL manifestURL, std::weak_ptr<UrlSession> session = {});

    // Fetches and rewrites. Gives the parser, whose manifestData() is the new playlist, or null when none came.
    void parse(std::function<void(std::shared_ptr<VariantPlaylistParser> parsed)> completion);

    // Replaces the playlist that was accepted by its rewritten form, in time proportional to its length. Segments keep
    // their own scheme. Empty lines and URIs that cannot be resolved are left out.
    //
    // The duration of an #EXTINF is read from all digits and points of its line, deliberately: a title's count, too.
    // Where they give no number, the playlist ends before that line, without an error.
    void rewrite();

    double totalPlayListDuration() const { return totalPlayListDuration_; }  // seconds

private:
    using PlaylistParser::PlaylistParser;

    double totalPlayListDuration_ = 0;
};

}  // namespace quorel
