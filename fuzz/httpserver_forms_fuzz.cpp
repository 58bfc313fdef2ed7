// A content type in the first line, a body in the rest: forms come out with an entry for each piece, parts hold
// bytes of the body.
#include <algorithm>
#include <cstdint>
#include <string_view>

#include "quorel/foundation/fatal.h"
#include "quorel/foundation/text.h"
#include "quorel/httpserver/http_request.h"

using quorel::fatal;
using quorel::http::HttpRequest;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::size_t lineEnd = std::min(bytes.find('\n'), bytes.size());
    const std::string_view body = bytes.substr(std::min(lineEnd + 1, bytes.size()));
    HttpRequest request;
    request.headers["content-type"] = bytes.substr(0, lineEnd);
    request.body.assign(body.begin(), body.end());

    const auto form = request.parseUrlencodedForm();
    if (!form.empty() && form.size() != static_cast<std::size_t>(std::count(body.begin(), body.end(), '&')) + 1)
        fatal("not one entry for each piece");
    for (const auto& [name, value] : form)
        if (!quorel::isValidUTF8(name) || !quorel::isValidUTF8(value)) fatal("a form entry that is no text");

    std::size_t total = 0;
    for (const auto& part : request.parseMultiPartFormData()) {
        total += part.body.size();
        const std::string_view content(reinterpret_cast<const char*>(part.body.data()), part.body.size());
        if (!content.empty() && body.find(content) == body.npos) fatal("a part that is not in the body");
        (void)part.name();
        (void)part.fileName();
    }
    if (total > body.size()) fatal("parts hold more than the body");
    return 0;
}
