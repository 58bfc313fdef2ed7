#include <gmock/gmock.h>

#include <cmath>
#include <set>

#include "quorel/foundation/text.h"
#include "sandbox/byte_range.h"
#include "tests/sandbox/sandbox_fixture.h"

namespace quorel::sandbox {
namespace {

// The URIs that a playlist names, on lines of their own and in attributes (RFC 8216 4.1, 4.2).
std::vector<std::string> urisOf(std::string_view playlist) {
    std::vector<std::string> uris;
    for (const std::string_view line : split(playlist, '\n', EmptyPieces::drop)) {
        if (!line.starts_with('#')) uris.emplace_back(line);
        const std::size_t begin = line.find("URI=\"");
        if (begin == std::string_view::npos) continue;
        const std::string_view rest = line.substr(begin + 5);
        uris.emplace_back(rest.substr(0, rest.find('"')));
    }
    return uris;
}

double durationOf(std::string_view playlist) {
    double sum = 0;
    for (const std::string_view line : split(playlist, '\n', EmptyPieces::drop)) {
        if (line.starts_with("#EXTINF:")) sum += std::stod(std::string(line.substr(8)));
    }
    return sum;
}

TEST_F(SandboxTest, EveryTitlesPlaylistTreeIsWhole) {
    const struct {
        const char* id;
        std::size_t files;  // master, media playlists, segments, and what else there is
    } cases[] = {
        {"sample", 1 + 3 * (1 + 15)},
        {"sample-aes", 1 + 3 * (1 + 15) + 1},
        {"sample-fmp4", 1 + 3 * (1 + 15 + 1)},
        {"sample-audio", 1 + 2 * (1 + 15) + 2 * (1 + 16)},
    };
    for (const auto& one : cases) {
        std::vector<URL> left = {*URL::parse(at("/media/" + std::string(one.id) + "/master.m3u8"))};
        std::set<URL> seen;
        while (!left.empty()) {
            const URL url = left.back();
            left.pop_back();
            if (!seen.insert(url).second) continue;
            SCOPED_TRACE(url.absoluteString());
            const DataAndResponse reply = load(url.absoluteString());
            ASSERT_EQ(reply.response.statusCode, 200);
            const std::string extension = url.pathExtension();
            if (extension == "m3u8") {
                EXPECT_EQ(reply.response.headers.value("Content-Type"),
                          "application/vnd.apple.mpegurl; charset=utf-8");
                ASSERT_TRUE(reply.data.starts_with("#EXTM3U\n"));
                if (reply.data.find("#EXTINF:") != std::string::npos) {
                    EXPECT_NEAR(durationOf(reply.data), 30, 0.05);
                    EXPECT_TRUE(reply.data.ends_with("#EXT-X-ENDLIST\n"));
                }
                for (const std::string& uri : urisOf(reply.data)) left.push_back(*url.resolving(uri));
            } else if (extension == "ts") {
                const bool clear = std::string_view(one.id) != "sample-aes";
                EXPECT_EQ(reply.data.size() % (clear ? 188 : 16), 0u);
                EXPECT_EQ(reply.data.starts_with('\x47'), clear);
            } else if (extension == "mp4" || extension == "m4s") {
                EXPECT_EQ(reply.data.substr(4, 4), extension == "mp4" ? "ftyp" : "styp");
            }
        }
        EXPECT_EQ(seen.size(), one.files) << one.id;
    }
}

TEST_F(SandboxTest, ServesByteRanges) {
    const std::string whole = "quorel-sandbox-k";
    const struct {
        const char* range;
        int status;
        const char* contentRange;
        std::string body;
    } cases[] = {
        {"bytes=0-5", 206, "bytes 0-5/16", "quorel"},
        {"BYTES=7-", 206, "bytes 7-15/16", "sandbox-k"},
        {"bytes=-1", 206, "bytes 15-15/16", "k"},
        {"bytes=-99", 206, "bytes 0-15/16", whole},
        {"bytes=15-99999999999999999999999", 206, "bytes 15-15/16", "k"},
        {"bytes=16-", 416, "bytes */16", ""},
        {"bytes=-0", 416, "bytes */16", ""},
        {"bytes=5-4", 200, nullptr, whole},
        {"bytes=0-1,3-4", 200, nullptr, whole},
        {"bytes=a-b", 200, nullptr, whole},
        {"bytes=-", 200, nullptr, whole},
        {"lines=0-1", 200, nullptr, whole},
    };
    for (const auto& one : cases) {
        const auto reply = load(at("/media/sample-aes/key.bin"), header("Range", one.range));
        EXPECT_EQ(reply.response.statusCode, one.status) << one.range;
        EXPECT_EQ(reply.response.headers.value("Content-Range"),
                  one.contentRange ? std::optional<std::string>(one.contentRange) : std::nullopt);
        if (one.status != 416) {
            EXPECT_EQ(reply.data, one.body) << one.range;
        }
    }
    HTTPHeaders conditional = header("Range", "bytes=0-5");
    conditional.set("If-Range", "\"some-tag\"");
    EXPECT_EQ(load(at("/media/sample-aes/key.bin"), conditional).data, whole);
    const auto head = load(at("/media/sample-aes/key.bin"), header("Range", "bytes=0-5"), "HEAD");
    EXPECT_EQ(head.response.statusCode, 200);
    EXPECT_EQ(head.response.headers.value("Content-Length"), "16");
    EXPECT_EQ(resolveRange("bytes=0-", 0).kind, RangeAnswer::Kind::unsatisfiable);

    // Across the size of the pieces in which files go out.
    const std::string segment = at("/media/sample/720/segment-03.ts");
    EXPECT_EQ(load(segment, header("Range", "bytes=65000-140000")).data, load(segment).data.substr(65000, 75001));
}

}  // namespace
}  // namespace quorel::sandbox
