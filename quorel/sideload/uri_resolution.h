// Private to this room: how the URIs of a playlist become absolute. By rules of its own, which differ from RFC 3986 in
// what playlists in the field have come to rely on.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "quorel/foundation/url.h"

namespace quorel {

class URIResolution {
public:
    explicit URIResolution(const URL& manifestURL);

    // A URI with a scheme comes back with its percent escapes removed as far as a URL can do without them. Any other
    // one is appended to the directory of the playlist as a path, also if it begins with "/" or holds "..", and gets
    // its query items without empty ones; see PlaylistParser::resolveURI.
    std::optional<URL> resolve(std::string_view text) const;

    // Appends the same in place of making a URL; false, and nothing is appended, where there is none. Quick for the
    // URIs that playlists are full of.
    bool append(std::string_view text, std::string& out) const;

private:
    bool appendPlain(std::string_view text, std::string& out) const;

    URL directory_;
    std::string prefix_;  // what stands before an appended path; empty where it depends on the path
};

}  // namespace quorel
