// What is asked of a URL and what comes back. Values; any thread.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>

#include "quorel/foundation/export.h"
#include "quorel/foundation/http_headers.h"
#include "quorel/foundation/url.h"

namespace quorel {

// Accepted and handed to protocols. The session keeps no cache, so all of them load from the origin.
enum class CachePolicy {
    useProtocolCachePolicy,
    reloadIgnoringLocalCacheData,
    returnCacheDataElseLoad,
    returnCacheDataDontLoad,
};

struct QUOREL_VISIBLE URLRequest {
    explicit URLRequest(URL requestUrl) : url(std::move(requestUrl)) {}

    URL url;
    std::string httpMethod = "GET";
    // Sent as they stand, besides Host, "Accept: */*" and Content-Length, which a field of the same name
    // replaces. A Content-Type is not made up for a body.
    HTTPHeaders headers;
    std::optional<std::string> httpBody;
    CachePolicy cachePolicy = CachePolicy::useProtocolCachePolicy;
    // Seconds without any progress, from the start of the request on; 0 or less for no limit. Connecting,
    // with TLS, has to end within it too. A load by a protocol is not timed.
    double timeoutInterval = 60.0;
    // For protocols that mark their own copies of a request; not sent.
    std::map<std::string, std::string> properties;
};

// What came back, without its body.
struct QUOREL_VISIBLE URLResponse {
    URL url;                        // where the reply came from, redirects followed
    std::optional<int> statusCode;  // absent when the reply is not an HTTP reply
    HTTPHeaders headers;            // of the last reply, without those of redirects on the way

    bool isHTTP() const { return statusCode.has_value(); }
};

// A whole reply: the body as it came, and the rest.
struct QUOREL_VISIBLE DataAndResponse {
    std::string data;
    URLResponse response;
};

}  // namespace quorel
