#include "quorel/httpserver/file_handlers.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <tuple>

#include "quorel/httpserver/http_response.h"
#include "quorel/httpserver/mime_types.h"

namespace quorel::http {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

// outside.txt, and root/ with files, folders, links and a pipe.
class FileHandlers : public ::testing::Test {
protected:
    FileHandlers() {
        std::string pattern = (fs::temp_directory_path() / "quorel-files-XXXXXX").string();
        top_ = mkdtemp(pattern.data());
        root_ = top_ / "root";
        fs::create_directories(root_ / "sub" / "deep");
        write(top_ / "outside.txt", "outside");
        write(top_ / "root-twin.txt", "twin");
        write(root_ / "a.txt", "A");
        write(root_ / "index.html", "index");
        write(root_ / "sub" / "B.JPG", "B");
        write(root_ / "a&<'b'>\".txt", "odd");
        fs::create_symlink("sub/B.JPG", root_ / "inside");
        fs::create_symlink(root_ / "a.txt", root_ / "absolute-inside");
        fs::create_symlink("../outside.txt", root_ / "outside");
        fs::create_symlink(top_ / "outside.txt", root_ / "absolute-outside");
        fs::create_directory_symlink("..", root_ / "up");
        fs::create_directory_symlink(top_, root_ / "absolute-up");
        mkfifo((root_ / "pipe").c_str(), 0600);
    }
    ~FileHandlers() override { fs::remove_all(top_); }

    static void write(const fs::path& path, std::string_view text) { std::ofstream(path) << text; }

    // "status type length|body"; the parameter is one as the router gives it.
    static std::string ask(const HttpHandler& handler, const std::optional<std::string>& parameter) {
        struct Writer final : HttpResponseBodyWriter {
            std::string text;
            void write(std::FILE* file) override {
                for (int c; (c = std::fgetc(file)) != EOF;) text.push_back(static_cast<char>(c));
            }
            void write(std::span<const std::uint8_t> bytes) override { text.append(bytes.begin(), bytes.end()); }
            void write(std::string_view bytes) override { text.append(bytes); }
        } writer;
        HttpRequest request;
        request.path = "/files/";
        if (parameter) {
            request.params[":path"] = *parameter;
            request.path += addingPercentEncoding(*parameter, CharacterSet::unreserved);
        }
        const HttpResponse response = handler(request);
        const HttpHeaders headers = response.headers();
        std::string text = std::to_string(response.statusCode());
        for (const std::string_view name : {"Content-Type", "Content-Length"})
            if (const auto header = headers.find(name); header != headers.end()) text += " " + header->second;
        if (const HttpContent content = response.content(); content.write) content.write(writer);
        return writer.text.empty() ? text : text + "|" + writer.text;
    }

    fs::path top_;
    fs::path root_;
};

TEST_F(FileHandlers, NeverLeaveTheirDirectory) {
    const HttpHandler share = shareFilesFromDirectory(root_.string(), {"none.html", "index.html", "a.txt"});
    const HttpHandler browse = directoryBrowser(root_.string());
    const std::tuple<std::string, std::string_view, std::string_view> cases[] = {
        {"a.txt", "200 text/plain 1|A", "200|A"},
        {"sub/B.JPG", "200 image/jpeg 1|B", "200|B"},
        {"sub/../a.txt", "200 text/plain 1|A", "200|A"},
        {"inside", "200 application/octet-stream 1|B", "200|B"},
        {"absolute-inside", "200 application/octet-stream 1|A", "200|A"},
    };
    for (const auto& [path, shared, browsed] : cases) {
        EXPECT_EQ(ask(share, path), shared) << path;
        EXPECT_EQ(ask(browse, path), browsed) << path;
    }
    for (const std::string& path :
         {"missing.txt"s, "pipe"s, "a.txt/"s, "a.txt\0.jpg"s, ".."s, "../outside.txt"s, "../root/a.txt"s,
          "../root-twin.txt"s, "sub/../../outside.txt"s, "sub/deep/../../../outside.txt"s, "/etc/passwd"s,
          (root_ / "a.txt").string(), "outside"s, "absolute-outside"s, "up/outside.txt"s,
          "up/root/a.txt/../../.."s, "absolute-up/outside.txt"s, "absolute-up/root-twin.txt"s}) {
        EXPECT_EQ(ask(share, path), "404") << path;
        EXPECT_EQ(ask(browse, path), "404") << path;
    }
    EXPECT_EQ(ask(share, std::nullopt), "404");
    EXPECT_EQ(ask(share, ""), "200|index");
    EXPECT_EQ(ask(share, "sub"), "404");
    EXPECT_EQ(ask(shareFilesFromDirectory(root_.string(), {"../outside.txt"}), ""), "404");
    EXPECT_EQ(ask(shareFile((root_ / "a.txt").string()), std::nullopt), "200|A");
    EXPECT_EQ(ask(shareFile((root_ / "missing").string()), std::nullopt), "404");
    EXPECT_EQ(ask(shareFile(root_.string()), std::nullopt), "404");
}

TEST_F(FileHandlers, ListADirectoryAsLinksThatLeadBackToTheRoute) {
    const HttpHandler browse = directoryBrowser(root_.string());
    const std::string begin = "200 text/html|<html><head><meta charset=\"UTF-8\"></head><body><table>";
    const std::string end = "</table></body></html>";
    EXPECT_EQ(ask(browse, "sub"), begin +
                                      "<tr><td><a href=\"/files/sub%2FB.JPG\">B.JPG</a></td></tr>"
                                      "<tr><td><a href=\"/files/sub%2Fdeep\">deep/</a></td></tr>" +
                                      end);
    EXPECT_EQ(ask(browse, "sub/deep"), begin + end);
    for (const auto& root : {std::optional<std::string>(), std::optional<std::string>(".")}) {
        const std::string listing = ask(browse, root);
        EXPECT_NE(
            listing.find("<a href=\"/files/a%26%3C%27b%27%3E%22.txt\">a&amp;&lt;&#39;b&#39;&gt;&quot;.txt</a>"),
            listing.npos)
            << listing;
    }
}

TEST(MimeType, GoesByTheExtensionInAnyCase) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"A.JPG", "image/jpeg"},
        {"/x.y/list.m3u8", "application/vnd.apple.mpegurl"},
        {"seg.ts", "video/mp2t"},
        {"a.shtml", "text/html"},
        {"a.7z", "application/x-7z-compressed"},
        {"film.mp4/", "video/mp4"},
    };
    for (const auto& [path, type] : cases) EXPECT_EQ(mimeType(path), type) << path;
    for (const std::string_view path : {"archive.tar.gz", ".html", "dir.html/name", "name.", ""})
        EXPECT_EQ(mimeType(path), "application/octet-stream") << path;
    EXPECT_EQ(mimeType(*URL::parse("http://h/a.TXT?x=1.mp4")), "text/plain");
}

}  // namespace
}  // namespace quorel::http
