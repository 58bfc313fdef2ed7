// What the two rewriters of playlists have in common: the download, the check that it is a playlist, and absolute
// URIs. Use MasterPlaylistParser and VariantPlaylistParser.
//
// A parser serves one request. It belongs to a std::shared_ptr and to one thread at a time: that of its maker until
// fetch(), then the URL session's.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "quorel/foundation/url.h"
#include "quorel/foundation/url_session.h"
#include "quorel/sideload/export.h"
#include "quorel/sideload/hls_line.h"

namespace quorel {

class QUOREL_VISIBLE URIResolution;

class QUOREL_SIDELOAD_API PlaylistParser : public std::enable_shared_from_this<PlaylistParser> {
public:
    virtual ~PlaylistParser();
    PlaylistParser(const PlaylistParser&) = delete;
    PlaylistParser& operator=(const PlaylistParser&) = delete;

    // Loads `manifestURL` and gives whether a playlist came, on the session's thread, or at once when the session is
    // gone. The completion keeps the parser alive, or it gets false. HTTP statuses do not count: an error page is
    // no playlist.
    void fetch(std::function<void(bool accepted)> completion);
    // Ends a fetch() that is under way, which then gives false. Any thread.
    void cancel();
    // A body that came otherwise. It is kept when it is UTF-8 and its first line holds "#EXTM3U" anywhere, be it
    // behind a byte-order mark; gives whether it was.
    bool accept(std::string body);

    // Absent when there is none: for an empty text, or one whose percent escapes are broken.
    //
    // The text's percent escapes are removed first. If that gives a URL with a scheme, it is the result. Otherwise
    // escapes are removed once more (if that fails, the relative URL is the result), and what stands before the "?"
    // is appended to the directory of `manifestURL` as a path component: "/a.ts" and "../a.ts" end below that
    // directory, whose query plays no part. Query items go on in their order, without empty ones; anything behind
    // a second "?" is dropped.
    std::optional<URL> resolveURI(std::string_view text) const;
    // Resolves the attribute URI of the line, if it has one.
    void absolutizeURIParameter(HLSLine& line) const;

    const URL& manifestURL() const {
        return manifestURL_;
    }  // after fetch(): that of the reply, redirects followed
    const std::optional<std::string>& manifestData() const { return manifestData_; }

protected:
    // The session is held weakly.
    PlaylistParser(URL manifestURL, std::weak_ptr<UrlSession> session);

    const URIResolution& resolution() const;

    std::optional<std::string> manifestData_;

private:
    bool take(UrlSession::Result result);

    URL manifestURL_;
    const std::weak_ptr<UrlSession> session_;
    mutable std::unique_ptr<URIResolution> resolution_;  // made for the manifestURL_ of the moment
    std::mutex mutex_;
    std::shared_ptr<UrlSessionDataTask> task_;
};

}  // namespace quorel
