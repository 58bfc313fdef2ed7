// URL loading: the session that runs requests (on libcurl), with one seam for whatever wants to stand between a
// request and the network.
//
//   UrlSession session;
//   DataAndResponse reply = co_await session.data(URLRequest(*URL::parse("https://api.example/v1/x")));
//   if (reply.response.statusCode == 200) use(reply.data);
//
// A session may be used from any thread. Completions run on the session's own thread, which starts with the first
// task: they must not block it and must not throw. co_await data(...) goes on where the awaiting task lives; that
// executor must live until the load has ended, so destroy a session before the loops that wait for it.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "quorel/foundation/export.h"
#include "quorel/foundation/http_headers.h"
#include "quorel/foundation/task.h"
#include "quorel/foundation/url.h"
#include "quorel/foundation/url_error.h"
#include "quorel/foundation/url_protocol.h"
#include "quorel/foundation/url_request.h"

namespace quorel {

// One load. Made suspended; resume() starts it. A task that is running is kept alive by its session. Any thread.
class QUOREL_VISIBLE UrlSessionDataTask {
public:
    virtual ~UrlSessionDataTask() = default;
    virtual void resume() = 0;  // nothing for a task that was started
    // The completion gets URLError::cancelled, unless it has been called or is being called. Before resume() too.
    // When the session is gone, both functions call the completion of a suspended task, with the same error, on
    // the thread that calls them.
    virtual void cancel() = 0;
};

class QUOREL_FOUNDATION_API UrlSession {
public:
    // What holds for all loads of a session.
    struct Configuration {
        std::string caFile;  // PEM file of the trusted issuers; empty for the system's
        std::uint64_t maximumBodySize = std::uint64_t{1} << 30;  // bytes; a larger reply is an error
        unsigned maximumRedirects = 20;  // in a row; one more is URLError::tooManyRedirects
        unsigned maximumConnectionsPerHost = 6;  // further loads wait
        std::string userAgent;                                // empty for none
        std::vector<std::shared_ptr<UrlProtocol>> protocols;  // asked in this order, before the network
    };
    using Result = std::variant<DataAndResponse, std::exception_ptr>;
    using Completion = std::function<void(Result)>;

    // Throws URLError (unknown) when the process has no descriptors left.
    UrlSession();
    explicit UrlSession(Configuration configuration);
    // Cancels what is running and waits for the completions. Destroyed from one of its own completions it cannot wait:
    // the others follow on the same thread when that one has returned.
    ~UrlSession();
    UrlSession(const UrlSession&) = delete;
    UrlSession& operator=(const UrlSession&) = delete;

    // Only "http" and "https" go to the network; other schemes are unsupportedURL unless a protocol takes them.
    // Redirects are followed to http and https, with GET after a POST unless the status says otherwise (RFC 9110
    // 15.4); an Authorization field does not follow to another host. TLS certificates are verified against the
    // host's name. The environment's proxies (http_proxy and the like) are used, but never for loopback hosts.
    // Cookies and stored passwords are neither kept nor sent; a body is given as it came, encoded or not.
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
