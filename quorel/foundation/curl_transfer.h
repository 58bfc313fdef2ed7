// Private to this room: one request on its way through libcurl. All of it on the thread of its session.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "quorel/foundation/http_headers.h"
#include "quorel/foundation/url_error.h"
#include "quorel/foundation/url_request.h"
#include "quorel/foundation/url_session.h"

namespace quorel {

class CurlTransfer {
public:
    using Clock = std::chrono::steady_clock;

    // Throws URLError for a request that cannot go to the network.
    CurlTransfer(const UrlSession::Configuration& configuration, URLRequest request);
    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;

    CURL* handle() const { return handle_.get(); }

    // When the transfer has made no progress for too long. Absent without a limit.
    std::optional<Clock::time_point> deadline();
    URLError timedOut() const { return failure(URLError::Code::timedOut); }

    // After libcurl has ended the transfer with `code`. Throws URLError.
    DataAndResponse takeResult(CURLcode code);

private:
    static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self);

    template <class Value>
    void set(CURLoption option, Value value);
    void setMethodAndBody();
    void setHeaders();
    void setTrust(const UrlSession::Configuration& configuration);
    bool takeHeaderLine(std::string_view line);
    bool takeBody(std::string_view data);
    std::string effectiveUrl() const;
    // "host port 443: what libcurl says", the latter on demand.
    enum class Reason { leaveOut, name };
    URLError failure(URLError::Code code, Reason reason = Reason::leaveOut) const;
    URLError failure(CURLcode code) const;
    URLError certificateFailure() const;

    struct CloseHandle {
        void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    };
    struct FreeList {
        void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    };

    const URLRequest request_;
    const std::uint64_t maximumBodySize_;
    std::unique_ptr<curl_slist, FreeList> sentHeaders_;
    char errorText_[CURL_ERROR_SIZE] = "";
    std::unique_ptr<CURL, CloseHandle> handle_;

    HTTPHeaders headers_;
    std::size_t headerBytes_ = 0;
    bool inHeaders_ = false;
    std::string body_;
    std::optional<URLError> refused_;  // why a callback stopped the transfer
    Clock::time_point lastProgress_;
    curl_off_t uploaded_ = 0;
};

}  // namespace quorel
