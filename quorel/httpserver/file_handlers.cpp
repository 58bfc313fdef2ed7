#include "quorel/httpserver/file_handlers.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "quorel/foundation/text.h"
#include "quorel/foundation/url.h"
#include "quorel/httpserver/http_response.h"
#include "quorel/httpserver/mime_types.h"
#include "quorel/httpserver/open_beneath.h"

namespace quorel::http {

namespace {

HttpResponse fileResponse(OpenFile file, HttpHeaders headers) {
    return HttpResponse::rawFile(200, "OK", std::move(headers), std::move(file));
}

struct Entry {
    std::string name;
    bool isDirectory;
};

std::vector<Entry> sortedEntries(Descriptor directory) {
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(fdopendir(directory.get()), closedir);
    if (!stream) return {};
    directory.release();
    std::vector<Entry> entries;
    while (const dirent* entry = readdir(stream.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") entries.push_back({std::string(name), entry->d_type == DT_DIR});
    }
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.name < b.name; });
    return entries;
}

std::string escapedHTML(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\'':
                escaped += "&#39;";
                break;
            default:
                escaped.push_back(c);
        }
    }
    return escaped;
}

// The request's path in which the parameter's segment is replaced, so that a link leads back to the same route.
std::string linkTo(const HttpRequest& request, const std::optional<std::string>& parameter,
                   std::string_view path) {
    auto segments = split(request.path, '/', EmptyPieces::drop);
    const std::string encoded = addingPercentEncoding(path, CharacterSet::unreserved);
    const auto place = std::find_if(segments.rbegin(), segments.rend(), [&](std::string_view segment) {
        return parameter && removingPercentEncoding(segment) == parameter;
    });
    if (place == segments.rend()) {
        segments.push_back(encoded);
    } else {
        *place = encoded;
    }
    std::string link;
    for (const std::string_view segment : segments) link.append("/").append(segment);
    return link;
}

HttpResponse listing(const HttpRequest& request, const std::optional<std::string>& parameter,
                     Descriptor directory) {
    std::string prefix = parameter.value_or("");
    if (prefix == ".") prefix.clear();
    if (!prefix.empty() && !prefix.ends_with('/')) prefix.push_back('/');

    std::string html = "<html><head><meta charset=\"UTF-8\"></head><body><table>";
    for (const Entry& entry : sortedEntries(std::move(directory))) {
        html.append("<tr><td><a href=\"").append(escapedHTML(linkTo(request, parameter, prefix + entry.name)));
        html.append("\">").append(escapedHTML(entry.name)).append(entry.isDirectory ? "/" : "");
        html.append("</a></td></tr>");
    }
    html.append("</table></body></html>");
    return HttpResponse::ok(HttpResponseBody::html(std::move(html)));
}

std::optional<std::string> firstParameter(const HttpRequest& request) {
    if (request.params.empty()) return std::nullopt;
    return request.params.begin()->second;
}

}  // namespace

HttpHandler shareFile(std::string path) {
    return [path = std::move(path)](HttpRequest&) {
        off_t size = 0;
        OpenFile file = readableFile(Descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)), size);
        return file ? fileResponse(std::move(file), {}) : HttpResponse::notFound();
    };
}

HttpHandler shareFilesFromDirectory(std::string directory, std::vector<std::string> defaults) {
    return [directory = std::move(directory), defaults = std::move(defaults)](HttpRequest& request) {
        const std::optional<std::string> path = firstParameter(request);
        if (!path) return HttpResponse::notFound();
        off_t size = 0;
        if (path->empty()) {
            for (const std::string& name : defaults)
                if (OpenFile file = readableFile(openBeneath(directory, name), size))
                    return fileResponse(std::move(file), {});
            return HttpResponse::notFound();
        }
        OpenFile file = readableFile(openBeneath(directory, *path), size);
        if (!file) return HttpResponse::notFound();
        return fileResponse(std::move(file), {{"Content-Type", std::string(mimeType(*path))},
                                              {"Content-Length", std::to_string(size)}});
    };
}

HttpHandler directoryBrowser(std::string dir) {
    return [dir = std::move(dir)](HttpRequest& request) {
        const std::optional<std::string> path = firstParameter(request);
        Descriptor opened = openBeneath(dir, path.value_or(""));
        struct stat status {};
        if (!opened || fstat(opened.get(), &status) == -1) return HttpResponse::notFound();
        if (S_ISDIR(status.st_mode)) return listing(request, path, std::move(opened));
        off_t size = 0;
        OpenFile file = readableFile(std::move(opened), size);
        return file ? fileResponse(std::move(file), {}) : HttpResponse::notFound();
    };
}

}  // namespace quorel::http
