// The files below the media directory, listed once: what is not in the list is not served, so no path of a request
// ever reaches the file system. Immutable after construction; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>

namespace quorel::sandbox {

// One file and how it is announced.
struct MediaFile {
    std::filesystem::path path;
    std::uint64_t size = 0;        // bytes
    std::string_view contentType;  // with a charset where the type is text
};

class MediaFiles {
public:
    // Throws std::filesystem::filesystem_error when the directory cannot be read.
    explicit MediaFiles(const std::filesystem::path& directory);

    // By the path below the directory, as in "sample/360/playlist.m3u8"; null when there is none.
    const MediaFile* find(std::string_view relativePath) const;
    std::size_t count() const { return files_.size(); }

private:
    std::map<std::string, MediaFile, std::less<>> files_;
};

}  // namespace quorel::sandbox
