// The server's loop: listens, accepts, reads requests and writes responses, one thread per connection.
//
// Use HttpServer (http_server.h), which adds routes; derive from this class to dispatch requests yourself.
//
// A server belongs to a std::shared_ptr. Its threads hold it only while they serve a request: releasing the last
// reference stops it, at once or when the handlers that are running have returned. Public fields are set before
// start(); start(), stop() and the queries may come from any thread, handlers included.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "quorel/httpserver/export.h"
#include "quorel/httpserver/http_parser.h"
#include "quorel/httpserver/http_request.h"
#include "quorel/httpserver/http_response.h"
#include "quorel/httpserver/http_router.h"
#include "quorel/httpserver/socket.h"

namespace quorel::http {

// Where a server is in its life.
enum class HttpServerIOState : std::int32_t { starting = 0, running = 1, stopping = 2, stopped = 3 };

// How urgent the work of a server's threads is, lowest first. Linux lets an unprivileged thread lower its priority
// but never raise it again, which would spoil the pooled threads, so every class runs at the priority of the
// process.
enum class QualityOfService { background, utility, standard, userInitiated, userInteractive };

// Hears of connections that are not HTTP any more.
class QUOREL_VISIBLE HttpServerIODelegate {
public:
    virtual ~HttpServerIODelegate() = default;

    // A response has taken the connection over; its session function runs next. On the connection's thread.
    virtual void socketTakenOver(const std::shared_ptr<Socket>& socket) = 0;
};

// What the connections of a server may cost. Nothing is bounded until an application says so; one that listens to a
// network should, since each connection holds a thread and a descriptor.
struct QUOREL_VISIBLE HttpConnectionLimits {
    // So many at once; those beyond are closed as they come, without an answer. Sessions (WebSockets) count.
    std::optional<std::size_t> connections;
    // Within so long after a connection's begin, or after the last response, the next request has to be there wholly,
    // its body included; and a response's bytes wait no longer than that for a peer that takes none. Then the connection
    // ends without an answer. Handlers and sessions take their time.
    std::optional<std::chrono::milliseconds> patience;

    bool operator==(const HttpConnectionLimits&) const = default;
};

class QUOREL_HTTPSERVER_API HttpServerIO : public std::enable_shared_from_this<HttpServerIO> {
public:
    HttpServerIO();
    virtual ~HttpServerIO();  // stops
    HttpServerIO(const HttpServerIO&) = delete;
    HttpServerIO& operator=(const HttpServerIO&) = delete;

    std::weak_ptr<HttpServerIODelegate> delegate;
    std::optional<std::string> listenAddressIPv4;  // absent: all interfaces
    std::optional<std::string> listenAddressIPv6;  // absent: all interfaces
    HttpLimits limits;                             // a request beyond them ends its connection without an answer
    HttpConnectionLimits connectionLimits;

    // Listens on `port` (0: the system chooses, see port()) of the IPv6 address, or of the IPv4 one, and returns.
    // A running server stays as it is. Throws SocketError; the state is `starting` then, and start() may be called
    // again. A later failure of accept(2) stops the server (when the process is out of descriptors, for one).
    void start(std::uint16_t port = 8080, bool forceIPv4 = false,
               QualityOfService priority = QualityOfService::background);

    // Closes the listening socket and all connections, waking those that wait; requests being handled run to their
    // end and their responses are dropped. Does not wait: what handlers and sessions refer to is theirs to hold, by a
    // std::shared_ptr, and not a local variable's. A server that is not running stays as it is.
    void stop();

    std::uint16_t port() const;  // throws SocketError (getSockNameFailed) when not listening
    bool isIPv4() const;         // the same
    HttpServerIOState state() const;
    bool operating() const { return state() == HttpServerIOState::running; }
    // The listening socket: one with descriptor -1 before the first start, a closed one after stop().
    std::shared_ptr<Socket> socket() const;

    // What answers the request: the handler is called with it, after `params` was stored in it. Runs on the
    // connection's thread. Here every request is answered by HttpResponse::notFound.
    virtual HttpRouteMatch dispatch(HttpRequest& request);

private:
    class Loop;

    std::shared_ptr<Loop> loop_;
};

}  // namespace quorel::http
