#include "quorel/sideload/master_playlist_parser.h"

#include <utility>

#include "quorel/foundation/log.h"
#include "quorel/sideload/connector.h"
#include "quorel/sideload/hls_line.h"
#include "quorel/sideload/line_cursor.h"
#include "quorel/sideload/uri_resolution.h"

namespace quorel {

std::shared_ptr<MasterPlaylistParser> MasterPlaylistParser::make(URL manifestURL,
                                                                 std::weak_ptr<UrlSession> session) {
    return std::shared_ptr<MasterPlaylistParser>(
        new MasterPlaylistParser(std::move(manifestURL), std::move(session)));
}

void MasterPlaylistParser::parse(Subtitles subtitles,
                                 std::function<void(std::optional<std::string> playlist)> completion) {
    auto self = std::static_pointer_cast<MasterPlaylistParser>(shared_from_this());
    fetch([self = std::move(self), subtitles = std::move(subtitles),
           completion = std::move(completion)](bool accepted) {
        if (!accepted) return completion(std::nullopt);
        std::string playlist = self->rewrite(subtitles);
        if (SideloadedSubtitleConnector::SHOW_DEBUG_LOGS) {
            logLine("[AVSubtitlesLoader] MASTER: +++++++");
            logLine(playlist);
            logLine("[AVSubtitlesLoader] MASTER: ------");
        }
        completion(std::move(playlist));
    });
}

std::string MasterPlaylistParser::rewrite(const Subtitles& subtitles) {
    constructedManifestArray_.clear();
    lastMediaLine_.reset();
    if (manifestData()) passLines();
    passRows(subtitles);
    std::string playlist;
    for (const std::string& line : constructedManifestArray_) {
        if (&line != &constructedManifestArray_.front()) playlist += '\n';
        playlist += line;
    }
    return playlist;
}

void MasterPlaylistParser::passLines() {
    const std::string group = "\"" + subtitlesGroupId_ + "\"";
    HLSLine line;
    LineCursor lines(*manifestData());
    while (const auto text = lines.next()) {
        line.parse(*text);
        absolutizeURIParameter(line);
        const bool isVariant = line.tag == "#EXT-X-STREAM-INF";
        if (isVariant) {
            line.paramsObject.set("SUBTITLES", group);
        } else if (line.tag == "#EXT-X-MEDIA" && line.paramsObject.value("TYPE") == "SUBTITLES") {
            line.paramsObject.set("GROUP-ID", group);
            lastMediaLine_ = constructedManifestArray_.size();
        }
        constructedManifestArray_.push_back(line.toString());
        if (!isVariant) continue;
        // RFC 8216 4.3.4.2: the URI line follows. Whatever stands there is taken for it.
        if (const auto uri = lines.next()) constructedManifestArray_.push_back(variantURI(*uri));
    }
}

std::string MasterPlaylistParser::variantURI(std::string_view line) const {
    std::string uri = "variantm3u8://";
    if (!resolution().append(line, uri)) return std::string(line);
    return uri;
}

void MasterPlaylistParser::passRows(const Subtitles& subtitles) {
    for (const auto& track : subtitles) {
        const std::optional<URL> src = track ? track->src() : std::nullopt;
        if (!src || !track->label) continue;
        std::string row = "#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID=\"" + subtitlesGroupId_;
        row.append("\",NAME=\"").append(*track->label);
        row.append("\",URI=\"subtitlesm3u8://");
        row.append(addingPercentEncoding(src->absoluteString(), CharacterSet::urlQueryAllowed));
        row.append("\",LANGUAGE=\"").append(track->srclang).append("\"");
        // The place stays, so each row comes before the one of the track before it.
        const auto place = lastMediaLine_ ? static_cast<std::ptrdiff_t>(*lastMediaLine_)
                                          : static_cast<std::ptrdiff_t>(constructedManifestArray_.size());
        constructedManifestArray_.insert(constructedManifestArray_.begin() + place, std::move(row));
    }
}

}  // namespace quorel
