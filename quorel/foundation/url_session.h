// URL loading: requests, responses, and the session that runs them (on libcurl), with one seam for whatever
// wants to stand between a request and the network.
//
//   UrlSession session;
//   DataAndResponse reply = co_await session.data(URLRequest(*URL::parse("https://api.example/v1/x")));
//   if (reply.response.statusCode == 200) use(reply.data);
//
// A session may be used from any thread. Completions run on the session's own thread: they must not block it.
// co_await data(...) goes on where the awaiting task lives.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "quorel/foundation/error.h"
#include "quorel/foundation/task.h"
#include "quorel/foundation/url.h"

namespace quorel {

// A load that gave no usable reply. HTTP statuses are not errors here; they are in the response.
class URLError : public Error {
public:
    enum class Code {
        unknown,
        cancelled,
        badURL,
        unsupportedURL,
        timedOut,
        cannotFindHost,
        cannotConnectToHost,
        networkConnectionLost,
        tooManyRedirects,
        badServerResponse,
        secureConnectionFailed,       // TLS could not be negotiated
        serverCertificateUntrusted,   // unknown issuer
        serverCertificateHasBadDate,  // expired or not yet valid
        serverCertificateWrongHost,
        dataLengthExceedsMaximum,     // the body grew past the configured limit
        cannotParseResponse,
    };
    // The text names the case in a sentence; `detail`, when given, follows it in brackets.
    explicit URLError(Code code, std::string_view detail = {});

    Code code() const { return code_; }

private:
    Code code_;
};

// Header fields in their order, names compared without case (RFC 9110 5.1).
class HTTPHeaders {
public:
    using Field = std::pair<std::string, std::string>;

    std::optional<std::string> value(std::string_view name) const;  // several of one name are joined by ", "
    void set(std::string_view name, std::string_view value);        // replaces all of that name
    void add(std::string_view name, std::string_view value);
    void remove(std::string_view name);
    bool empty() const { return fields_.empty(); }
    const std::vector<Field>& fields() const { return fields_; }
    bool operator==(const HTTPHeaders&) const = default;

private:
    std::vector<Field> fields_;
};

// Accepted and handed to protocols. The session keeps no cache, so all of them load from the origin.
enum class CachePolicy {
    useProtocolCachePolicy,
    reloadIgnoringLocalCacheData,
    returnCacheDataElseLoad,
    returnCacheDataDontLoad,
};

struct URLRequest {
    explicit URLRequest(URL requestUrl) : url(std::move(requestUrl)) {}

    URL url;
    std::string httpMethod = "GET";
    HTTPHeaders headers;
    std::optional<std::string> httpBody;
    CachePolicy cachePolicy = CachePolicy::useProtocolCachePolicy;
    double timeoutInterval = 60.0;  // seconds without any progress, from the start of the request on
    // For protocols that mark their own copies of a request; not sent.
    std::map<std::string, std::string> properties;
};

struct URLResponse {
    URL url;                        // where the reply came from, redirects followed
    std::optional<int> statusCode;  // absent when the reply is not an HTTP reply
    HTTPHeaders headers;

    bool isHTTP() const { return statusCode.has_value(); }
};

struct DataAndResponse {
    std::string data;
    URLResponse response;
};

// Told what a protocol's load gives: at most one response, then data in pieces, then exactly one end. What comes
// after the end, or after the task was cancelled, is ignored. Any thread.
class UrlProtocolClient {
public:
    virtual ~UrlProtocolClient() = default;
    virtual void didReceiveResponse(URLResponse response) = 0;
    virtual void didLoad(std::string_view data) = 0;
    virtual void didFail(const URLError& error) = 0;  // counts as the end
    virtual void didFinishLoading() = 0;
};

// A way to answer requests, asked before the network: the seam for interceptors, local backends and tests.
class UrlProtocol {
public:
    virtual ~UrlProtocol() = default;
    // Any thread. The first registered protocol that says yes gets the request.
    virtual bool canInit(const URLRequest& request) const = 0;
    virtual URLRequest canonicalRequest(URLRequest request) const { return request; }
    // Starts one load and returns at once. `client` may be kept for as long as the load takes.
    virtual void startLoading(const URLRequest& request, std::shared_ptr<UrlProtocolClient> client) = 0;
    // The load of this client was cancelled; what it still gives is ignored.
    virtual void stopLoading(const std::shared_ptr<UrlProtocolClient>& client) { (void)client; }
};

// One load. Made suspended; resume() starts it. A task that is running is kept alive by its session.
class UrlSessionDataTask {
public:
    virtual ~UrlSessionDataTask() = default;
    virtual void resume() = 0;
    // The completion gets URLError::cancelled, unless it has been called or is being called. Before resume() too.
    virtual void cancel() = 0;
};

class UrlSession {
public:
    struct Configuration {
        std::string caFile;            // PEM file of trusted issuers; empty for the system's
        std::uint64_t maximumBodySize = std::uint64_t{1} << 30;  // bytes; a larger reply is an error
        unsigned maximumRedirects = 20;
        unsigned maximumConnectionsPerHost = 6;
        std::string userAgent;         // empty for none
        std::vector<std::shared_ptr<UrlProtocol>> protocols;  // asked in this order, before the network
    };
    using Result = std::variant<DataAndResponse, std::exception_ptr>;
    using Completion = std::function<void(Result)>;

    UrlSession();
    explicit UrlSession(Configuration configuration);
    // Cancels what is running and waits for the completions. Must not be destroyed from a completion.
    ~UrlSession();
    UrlSession(const UrlSession&) = delete;
    UrlSession& operator=(const UrlSession&) = delete;

    // Only "http" and "https" go to the network; other schemes are unsupportedURL unless a protocol takes them.
    // Redirects are followed to http and https. TLS certificates are verified against the host's name.
    std::shared_ptr<UrlSessionDataTask> dataTask(URLRequest request, Completion completion);

    // For co_await in a Task; throws URLError.
    CompletionAwaiter<DataAndResponse> data(URLRequest request);

    // Later registrations are asked first. Takes effect for tasks made from then on.
    void registerProtocol(std::shared_ptr<UrlProtocol> protocol);
    void unregisterProtocol(const std::shared_ptr<UrlProtocol>& protocol);

private:
    class Engine;
    std::shared_ptr<Engine> engine_;
};

}  // namespace quorel
