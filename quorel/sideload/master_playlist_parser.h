// Rewrites a master playlist (RFC 8216 4.3.4) so that it offers subtitle files as if they had been in the stream.
//
//   auto parser = MasterPlaylistParser::make(url, session);
//   parser->parse(tracks, [](std::optional<std::string> playlist) { ... });
//
// All subtitle renditions, old and new, are in one group, which every variant names. Variants are moved to the scheme
// "variantm3u8" in front of their whole URL, so that whoever loads the playlist brings them to the loader, too; new
// renditions have "subtitlesm3u8". Everything else stays, with absolute URIs in attributes.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/engine/source_description.h"
#include "quorel/foundation/url.h"
#include "quorel/foundation/url_session.h"
#include "quorel/sideload/export.h"
#include "quorel/sideload/playlist_parser.h"

namespace quorel {

class QUOREL_SIDELOAD_API MasterPlaylistParser final : public PlaylistParser {
public:
    using Subtitles = std::vector<std::shared_ptr<const TextTrackDescription>>;

    // Without a session for playlists that come by accept().
    static std::shared_ptr<MasterPlaylistParser> make(URL manifestURL, std::weak_ptr<UrlSession> session = {});

    // Fetches and rewrites. Absent when no playlist came. The parser lives until then.
    void parse(Subtitles subtitles, std::function<void(std::optional<std::string> playlist)> completion);

    // The playlist that was accepted, rewritten.
    //
    // Tracks without a label, and those whose address is none, are left out. A label goes in unescaped. The new rows
    // stand in front of the last subtitle rendition, the last of the tracks first; in a playlist without
    // one they are its last lines, in the order of the tracks.
    std::string rewrite(const Subtitles& subtitles);

private:
    using PlaylistParser::PlaylistParser;

    void passLines();
    void passRows(const Subtitles& subtitles);
    std::string variantURI(std::string_view line) const;

    std::vector<std::string> constructedManifestArray_;
    std::optional<std::size_t> lastMediaLine_;  // of a subtitle rendition, in the output
    const std::string subtitlesGroupId_ = "THEOsubs";
};

}  // namespace quorel
