// One HTTP request as a route handler sees it, with its body decoded as a form on demand.
//
//   server->post["/notes/:id"] = [](HttpRequest& request) {
//       std::string id = request.params.at(":id");
//       for (auto& [name, value] : request.parseUrlencodedForm()) ...
//       return HttpResponse::ok(HttpResponseBody::text("saved"));
//   };
//
// Belongs to the thread that serves its connection; a reference to it is good for the handler's call.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quorel/httpserver/export.h"

namespace quorel::http {

class QUOREL_HTTPSERVER_API HttpResponse;

using HttpHeaders = std::map<std::string, std::string, std::less<>>;
using HttpParams = std::map<std::string, std::string, std::less<>>;

struct QUOREL_HTTPSERVER_API HttpRequest {
    // What one part of a multipart/form-data body (RFC 7578) holds.
    struct QUOREL_HTTPSERVER_API MultiPart {
        HttpHeaders headers;  // keys in lower case, values without surrounding blanks
        std::vector<std::uint8_t> body;

        // From "content-disposition", without surrounding quotes; absent when it has none.
        std::optional<std::string> name() const;
        std::optional<std::string> fileName() const;

        bool operator==(const MultiPart&) const = default;
    };

    // The path and the query of the request target with their percent escapes as the client sent them; the router
    // decodes path segments. An absent query value is "".
    std::string path;
    std::vector<std::pair<std::string, std::string>> queryParams;
    std::string method;   // as sent
    HttpHeaders headers;  // keys in lower case, values without surrounding blanks; of equal names the last counts
    std::vector<std::uint8_t> body;
    std::optional<std::string> address;  // the peer's numeric host
    HttpParams params;                   // route parameters, keys with their colon: {":id", "7"}

    // Whether `token` is among the comma-separated values of the header, which are compared in lower case while
    // `token` is taken as it is. `headerName` in lower case.
    bool hasTokenForHeader(std::string_view headerName, std::string_view token) const;

    // The body as application/x-www-form-urlencoded, in order. A piece that is not exactly name=value (no "=", two
    // of them, a bad escape) is the entry ("", ""). "+" becomes a blank after the escapes are decoded, so "%2B"
    // does too. Empty for another content type and for a body that is not UTF-8.
    std::vector<std::pair<std::string, std::string>> parseUrlencodedForm() const;

    // The body as multipart/form-data, in order; what is cut off is left out. Empty for another content type and
    // without a boundary. Quotes around the boundary count as part of it. A part's header line that has two
    // colons is dropped.
    std::vector<MultiPart> parseMultiPartFormData() const;
};

// Answers a request. Runs on the connection's thread and may block; other connections go on.
using HttpHandler = std::function<HttpResponse(HttpRequest&)>;

}  // namespace quorel::http
