// One answer of the sandbox before it goes out, so that HEAD and faults can still change it. Private to this room.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "quorel/foundation/json.h"
#include "quorel/httpserver/http_response.h"
#include "sandbox/byte_range.h"
#include "sandbox/faults.h"
#include "sandbox/media_files.h"

namespace quorel::sandbox {

class Answer {
public:
    int status = 200;
    http::HttpHeaders headers;

    static Answer text(int status, std::string body, std::string contentType);
    static Answer json(int status, std::string body);
    static Answer error(int status, const std::string& what);  // {"error": what}
    static Answer methodNotAllowed(std::string_view allowed);
    static Answer file(const MediaFile& file, std::optional<std::string_view> rangeHeader);

    // What is left of the answer after the fault; its delay is not waited for here.
    Answer after(const Fault& fault) &&;
    // With Content-Length, and without the body for HEAD (RFC 9110 9.3.2). The connection closes behind it.
    http::HttpResponse response(bool withBody) &&;

private:
    std::string body_;
    std::filesystem::path file_;  // empty: the body is body_
    ByteRange range_;             // of the file
    bool cut_ = false;
};

}  // namespace quorel::sandbox
