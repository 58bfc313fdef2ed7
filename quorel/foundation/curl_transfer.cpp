#include "quorel/foundation/curl_transfer.h"

#include <openssl/x509_vfy.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "quorel/foundation/text.h"
#include "quorel/foundation/url.h"

namespace quorel {
namespace {

// A server that never stops sending header fields is cut off here. (libcurl does so too in some versions, at 300
// KB, and calls it a lost connection.)
constexpr std::size_t maximumHeaderBytes = std::size_t{256} * 1024;

bool isToken(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
               std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
    });
}

bool isLoopback(std::string_view host) {
    return asciiEqualsIgnoringCase(host, "localhost") || host == "::1" || host.starts_with("127.");
}

bool isHTTP(const std::optional<std::string>& scheme) {
    return scheme && (asciiEqualsIgnoringCase(*scheme, "http") || asciiEqualsIgnoringCase(*scheme, "https"));
}

URLRequest checked(URLRequest request) {
    using enum URLError::Code;
    const std::string& text = request.url.absoluteString();
    if (!isHTTP(request.url.scheme())) throw URLError(unsupportedURL, text);
    if (request.url.host().value_or("").empty()) throw URLError(badURL, text);
    if (!isToken(request.httpMethod)) throw URLError(badRequest, "method \"" + request.httpMethod + "\"");
    for (const auto& [name, value] : request.headers.fields()) {
        using namespace std::string_view_literals;
        if (!isToken(name) || value.find_first_of("\r\n\0"sv) != std::string::npos) {
            throw URLError(badRequest, "header field \"" + name + "\"");
        }
    }
    return request;
}

long milliseconds(double seconds) {
    return static_cast<long>(std::min(std::max(seconds * 1000.0, 1.0), double{std::numeric_limits<int>::max()}));
}

bool hasLimit(double timeoutInterval) {
    return std::isfinite(timeoutInterval) && timeoutInterval > 0;
}

}  // namespace

CurlTransfer::CurlTransfer(const UrlSession::Configuration& configuration, URLRequest request)
    : request_(checked(std::move(request))),
      maximumBodySize_(configuration.maximumBodySize),
      handle_(curl_easy_init()),
      lastProgress_(Clock::now()) {
    if (!handle_) throw URLError(URLError::Code::unknown, "libcurl has no memory left");
    std::string target = request_.url.absoluteString();
    target.erase(std::min(target.find('#'), target.size()));
    set(CURLOPT_URL, target.c_str());
    // The path goes out as it is written, dot segments included.
    set(CURLOPT_PATH_AS_IS, 1L);
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    set(CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_2TLS});
    set(CURLOPT_FOLLOWLOCATION, 1L);
    set(CURLOPT_MAXREDIRS, static_cast<long>(std::min(configuration.maximumRedirects, 1000U)));
    set(CURLOPT_NOSIGNAL, 1L);
    // A name look-up that hangs is left behind; without this, cancelling would wait for it.
    set(CURLOPT_QUICK_EXIT, 1L);
    if (hasLimit(request_.timeoutInterval)) {
        set(CURLOPT_CONNECTTIMEOUT_MS, milliseconds(request_.timeoutInterval));
    }
    if (!configuration.userAgent.empty()) set(CURLOPT_USERAGENT, configuration.userAgent.c_str());
    if (isLoopback(request_.url.host().value_or(""))) set(CURLOPT_PROXY, "");
    set(CURLOPT_ERRORBUFFER, errorText_);
    set(CURLOPT_HEADERFUNCTION, &CurlTransfer::onHeader);
    set(CURLOPT_HEADERDATA, static_cast<void*>(this));
    set(CURLOPT_WRITEFUNCTION, &CurlTransfer::onBody);
    set(CURLOPT_WRITEDATA, static_cast<void*>(this));
    setMethodAndBody();
    setHeaders();
    setTrust(configuration);
}

template <class Value>
void CurlTransfer::set(CURLoption option, Value value) {
    const CURLcode code = curl_easy_setopt(handle_.get(), option, value);
    if (code != CURLE_OK) throw URLError(URLError::Code::unknown, curl_easy_strerror(code));
}

void CurlTransfer::setMethodAndBody() {
    const std::string& method = request_.httpMethod;
    const bool isHead = method == "HEAD";
    if (!isHead && maximumBodySize_ <= static_cast<std::uint64_t>(std::numeric_limits<curl_off_t>::max())) {
        set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(maximumBodySize_));
    }
    if (isHead && !request_.httpBody) {
        set(CURLOPT_NOBODY, 1L);
        return;
    }
    if (request_.httpBody || method == "POST") {
        const std::string_view body = request_.httpBody ? *request_.httpBody : std::string_view("");
        set(CURLOPT_POST, 1L);
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
        set(CURLOPT_POSTFIELDS, body.data());
        if (method == "POST") return;
    } else if (method == "GET") {
        return;
    }
    set(CURLOPT_CUSTOMREQUEST, method.c_str());
}

void CurlTransfer::setHeaders() {
    const auto append = [this](const std::string& line) {
        curl_slist* list = curl_slist_append(sentHeaders_.get(), line.c_str());
        if (list == nullptr) throw URLError(URLError::Code::unknown, "libcurl has no memory left");
        (void)sentHeaders_.release();
        sentHeaders_.reset(list);
    };
    for (const auto& [name, value] : request_.headers.fields()) {
        // libcurl takes "name:" for a wish to leave the field out, and "name;" for an empty one.
        append(trimmedBlanks(value).empty() ? name + ";" : name + ": " + value);
    }
    for (const char* const invented : {"Expect", "Content-Type"}) {
        if (!request_.headers.value(invented)) append(std::string(invented) + ":");
    }
    set(CURLOPT_HTTPHEADER, sentHeaders_.get());
}

void CurlTransfer::setTrust(const UrlSession::Configuration& configuration) {
    set(CURLOPT_SSL_VERIFYPEER, 1L);
    set(CURLOPT_SSL_VERIFYHOST, 2L);
    if (configuration.caFile.empty()) return;
    set(CURLOPT_CAINFO, configuration.caFile.c_str());
    // The system's directory of issuers would be trusted beside the file.
    set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
}

std::size_t CurlTransfer::onHeader(char* data, std::size_t size, std::size_t count, void* self) {
    const std::string_view line(data, size * count);
    return static_cast<CurlTransfer*>(self)->takeHeaderLine(line) ? line.size() : 0;
}

std::size_t CurlTransfer::onBody(char* data, std::size_t size, std::size_t count, void* self) {
    const std::string_view piece(data, size * count);
    return static_cast<CurlTransfer*>(self)->takeBody(piece) ? piece.size() : 0;
}

bool CurlTransfer::takeHeaderLine(std::string_view line) {
    lastProgress_ = Clock::now();
    headerBytes_ += line.size();
    if (headerBytes_ > maximumHeaderBytes) {
        refused_ = failure(URLError::Code::badServerResponse);
        return false;
    }
    while (line.ends_with('\n') || line.ends_with('\r')) line.remove_suffix(1);
    const std::size_t colon = line.find(':');
    if (line.starts_with("HTTP/")) {
        // The first line of a response: of a 1xx one, of a redirect, or of the one that counts.
        headers_ = {};
        body_.clear();
        inHeaders_ = true;
    } else if (line.empty()) {
        inHeaders_ = false;
    } else if (inHeaders_ && colon != std::string_view::npos) {
        headers_.add(line.substr(0, colon), trimmedBlanks(line.substr(colon + 1)));
    }
    return true;
}

bool CurlTransfer::takeBody(std::string_view data) {
    lastProgress_ = Clock::now();
    if (data.size() > maximumBodySize_ - body_.size()) {
        refused_ = failure(URLError::Code::dataLengthExceedsMaximum);
        return false;
    }
    body_ += data;
    return true;
}

std::optional<CurlTransfer::Clock::time_point> CurlTransfer::deadline() {
    if (!hasLimit(request_.timeoutInterval)) return std::nullopt;
    curl_off_t uploaded = 0;
    curl_easy_getinfo(handle_.get(), CURLINFO_SIZE_UPLOAD_T, &uploaded);
    if (uploaded != uploaded_) {
        uploaded_ = uploaded;
        lastProgress_ = Clock::now();
    }
    return lastProgress_ + std::chrono::milliseconds(milliseconds(request_.timeoutInterval));
}

DataAndResponse CurlTransfer::takeResult(CURLcode code) {
    if (refused_) throw URLError(*refused_);
    if (code != CURLE_OK) throw failure(code);
    long status = 0;
    long redirects = 0;
    curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
    curl_easy_getinfo(handle_.get(), CURLINFO_REDIRECT_COUNT, &redirects);
    URLResponse response{request_.url, static_cast<int>(status), std::move(headers_)};
    if (redirects > 0) response.url = URL::parse(effectiveUrl()).value_or(request_.url);
    return {std::move(body_), std::move(response)};
}

std::string CurlTransfer::effectiveUrl() const {
    const char* text = nullptr;
    curl_easy_getinfo(handle_.get(), CURLINFO_EFFECTIVE_URL, &text);
    return text != nullptr ? text : "";
}

URLError CurlTransfer::failure(URLError::Code code, Reason reason) const {
    const URL url = URL::parse(effectiveUrl()).value_or(request_.url);
    const bool secure = asciiEqualsIgnoringCase(url.scheme().value_or(""), "https");
    std::string detail =
        url.host().value_or("") + " port " + std::to_string(url.port().value_or(secure ? 443 : 80));
    if (reason == Reason::name && errorText_[0] != '\0') detail.append(": ").append(errorText_);
    return URLError(code, detail);
}

URLError CurlTransfer::certificateFailure() const {
    long verified = X509_V_OK;
    curl_easy_getinfo(handle_.get(), CURLINFO_SSL_VERIFYRESULT, &verified);
    switch (verified) {
        // libcurl compares the name itself, before it has asked for the result of what OpenSSL verified.
        case X509_V_OK:
        case X509_V_ERR_UNSPECIFIED:
        case X509_V_ERR_HOSTNAME_MISMATCH:
        case X509_V_ERR_IP_ADDRESS_MISMATCH:
            return failure(URLError::Code::serverCertificateWrongHost);
        case X509_V_ERR_CERT_HAS_EXPIRED:
        case X509_V_ERR_CERT_NOT_YET_VALID:
            return failure(URLError::Code::serverCertificateHasBadDate);
        default:
            return failure(URLError::Code::serverCertificateUntrusted, Reason::name);
    }
}

URLError CurlTransfer::failure(CURLcode code) const {
    using enum URLError::Code;
    switch (code) {
        case CURLE_OPERATION_TIMEDOUT:
            return failure(timedOut);
        case CURLE_URL_MALFORMAT:
            return URLError(badURL, effectiveUrl());
        case CURLE_COULDNT_RESOLVE_HOST:
            return failure(cannotFindHost);
        case CURLE_COULDNT_RESOLVE_PROXY:
        case CURLE_PROXY:
            return failure(cannotConnectToHost, Reason::name);
        case CURLE_COULDNT_CONNECT:
            return failure(cannotConnectToHost);
        case CURLE_SEND_ERROR:
        case CURLE_RECV_ERROR:
        case CURLE_GOT_NOTHING:
        case CURLE_PARTIAL_FILE:
            return failure(networkConnectionLost, Reason::name);
        case CURLE_TOO_MANY_REDIRECTS:
            return failure(tooManyRedirects);
        case CURLE_FILESIZE_EXCEEDED:
            return failure(dataLengthExceedsMaximum);
        case CURLE_HTTP2:
        case CURLE_HTTP2_STREAM:
            return failure(badServerResponse, Reason::name);
        case CURLE_WEIRD_SERVER_REPLY:
        case CURLE_BAD_CONTENT_ENCODING:
            return failure(cannotParseResponse, Reason::name);
        case CURLE_UNSUPPORTED_PROTOCOL: {
            // Of a redirect, or of a reply without a status line, which libcurl takes for HTTP/0.9.
            const std::optional<URL> url = URL::parse(effectiveUrl());
            if (url && !isHTTP(url->scheme())) return URLError(unsupportedURL, url->absoluteString());
            return failure(cannotParseResponse);
        }
        case CURLE_OUT_OF_MEMORY: {
            // So libcurl ends a header line without end, too.
            long sent = 0;
            curl_easy_getinfo(handle_.get(), CURLINFO_REQUEST_SIZE, &sent);
            if (sent > 0 && body_.empty()) return failure(badServerResponse);
            return URLError(unknown, curl_easy_strerror(code));
        }
        case CURLE_PEER_FAILED_VERIFICATION:
            return certificateFailure();
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_CIPHER:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_ENGINE_INITFAILED:
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_USE_SSL_FAILED:
            return failure(secureConnectionFailed, Reason::name);
        default: {
            const std::string detail = errorText_[0] != '\0' ? errorText_ : curl_easy_strerror(code);
            return URLError(unknown, detail);
        }
    }
}

}  // namespace quorel
