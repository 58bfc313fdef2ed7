#include "sandbox/media_files.h"

#include "quorel/httpserver/mime_types.h"

namespace quorel::sandbox {

namespace {

std::string_view contentType(const std::filesystem::path& path) {
    const std::string extension = path.extension().string();
    // Types that the server's general table does not know, or that need the charset: RFC 8216 4 for playlists,
    // RFC 8216 3.3 for the fragments.
    if (extension == ".m3u8") return "application/vnd.apple.mpegurl; charset=utf-8";
    if (extension == ".m4s") return "video/iso.segment";
    if (extension == ".srt") return "application/x-subrip; charset=utf-8";
    return http::mimeType(path.string());
}

}  // namespace

MediaFiles::MediaFiles(const std::filesystem::path& directory) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
        if (!entry.is_regular_file()) continue;
        files_.emplace(entry.path().lexically_relative(directory).generic_string(),
                       MediaFile{entry.path(), entry.file_size(), contentType(entry.path())});
    }
}

const MediaFile* MediaFiles::find(std::string_view relativePath) const {
    const auto found = files_.find(relativePath);
    return found == files_.end() ? nullptr : &found->second;
}

}  // namespace quorel::sandbox
