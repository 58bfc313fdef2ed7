// One answer of the sandbox before it goes out, so that HEAD and faults can still change it. Private to this room.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "quorel/foundation/json.h"
#include "quorel/httpserver/http_request.h"
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

    // What is left of the answer to a request for `path` after the fault; a delay before it is not waited for here.
    Answer after(const Fault& fault, const std::string& path) &&;
    // With Content-Length, and without the body for HEAD (RFC 9110 9.3.2). The connection closes behind it. `wait` is
    // called in the middle of an answer that stalls.
    using Wait = std::function<void(std::chrono::milliseconds)>;
    http::HttpResponse response(bool withBody, const Wait& wait = {}) &&;

private:
    std::string body_;
    std::filesystem::path file_;  // empty: the body is body_
    ByteRange range_;             // of the file
    bool cut_ = false;
    std::chrono::milliseconds stall_{0};  // behind the half of one that is cut
};

}  // namespace quorel::sandbox
