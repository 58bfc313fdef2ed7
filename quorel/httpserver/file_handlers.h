// Route handlers that serve files.
//
//   server->get["/logo"] = shareFile("/srv/app/logo.png");
//   server->get["/files/:path"] = shareFilesFromDirectory("/srv/app/public");
//
// A route parameter holds one path segment, so a file in a folder below is asked for with the slash encoded:
// /files/posters%2Ffilm.jpg. The handlers of a directory never leave it: "..", absolute paths and symbolic links
// that lead out of it count as files that cannot be opened. All answers with a file close the connection.
#pragma once

#include <string>
#include <vector>

#include "quorel/httpserver/export.h"
#include "quorel/httpserver/http_request.h"

namespace quorel::http {

// 200 with the file, opened anew for each request; 404 when it cannot be opened.
QUOREL_HTTPSERVER_API HttpHandler shareFile(std::string path);

// The first route parameter is the path below `directory`. 200 with Content-Type and Content-Length, or 404: no
// such file, not a regular file, no parameter. For an empty parameter the first of `defaults` that opens is
// served.
QUOREL_HTTPSERVER_API HttpHandler shareFilesFromDirectory(std::string directory,
                                                          std::vector<std::string> defaults = {"index.html",
                                                                                               "default.html"});

// The first route parameter (none: the directory itself) is a path below `dir`: an HTML table of links for a
// directory, the file for a file, 404 for what cannot be opened.
QUOREL_HTTPSERVER_API HttpHandler directoryBrowser(std::string dir);

}  // namespace quorel::http
