#include "quorel/httpserver/http_server_io.h"

#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <exception>
#include <map>
#include <mutex>
#include <new>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "quorel/foundation/error.h"
#include "quorel/foundation/fatal.h"
#include "quorel/foundation/log.h"
#include "quorel/foundation/text.h"
#include "quorel/httpserver/connection_threads.h"
#include "quorel/httpserver/inner_write_context.h"
#include "quorel/httpserver/latin1.h"

namespace quorel::http {

namespace {

// As many as the system grants. With 128, the usual number of old, a burst of 256 clients overflows the queue, and
// the rest of them wait a second until their handshake is repeated.
constexpr int listenBacklog = SOMAXCONN;

// Never destroyed: a connection may ask for it while the process ends.
const std::shared_ptr<const HttpHandler>& notFoundRoute() {
    static const auto& route = *new std::shared_ptr<const HttpHandler>(
        std::make_shared<HttpHandler>([](HttpRequest&) { return HttpResponse::notFound(); }));
    return route;
}

// Accepting must not be interrupted by the application's signal handlers: an interrupted accept(2) ends the
// server.
class SignalsHeldBack {
public:
    SignalsHeldBack() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsHeldBack() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsHeldBack(const SignalsHeldBack&) = delete;
    SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;

private:
    sigset_t before_{};
};

// From one start to the stop that follows it. A loop that is late to notice a stop must not take the next start
// for its own, so each start has a run of its own.
class Run {
public:
    Run(std::shared_ptr<Socket> listeningSocket, HttpLimits requestLimits, HttpConnectionLimits ofConnections)
        : listener(std::move(listeningSocket)), limits(requestLimits), connectionLimits(ofConnections) {}

    const std::shared_ptr<Socket> listener;
    const HttpLimits limits;
    const HttpConnectionLimits connectionLimits;
    ConnectionThreads threads;

    bool operating() const { return operating_.load(std::memory_order_acquire); }

    // False after end(), and for one too many: the socket is not wanted.
    bool insert(const std::shared_ptr<Socket>& socket) {
        const std::lock_guard lock(mutex_);
        if (!operating() || (connectionLimits.connections && sockets_.size() >= *connectionLimits.connections))
            return false;
        return sockets_.insert(socket).second;
    }
    void remove(const std::shared_ptr<Socket>& socket) {
        const std::lock_guard lock(mutex_);
        sockets_.erase(socket);
    }
    void end() {
        std::unordered_set<std::shared_ptr<Socket>> sockets;
        {
            const std::lock_guard lock(mutex_);
            operating_.store(false, std::memory_order_release);
            sockets.swap(sockets_);
        }
        for (const auto& socket : sockets) socket->close();
        listener->close();
        threads.close();
    }

private:
    std::mutex mutex_;
    std::atomic<bool> operating_{true};
    // By identity, not by descriptor: a number may be in use again before its former owner is removed.
    std::unordered_set<std::shared_ptr<Socket>> sockets_;
};

// Exactly these letters; the names of headers are lower case by now, their values are as sent.
bool asksForKeepAlive(const HttpRequest& request) {
    const auto header = request.headers.find("connection");
    return header != request.headers.end() && trimmedWhitespaceAndNewlines(header->second) == "keep-alive";
}

HttpResponse answer(HttpServerIO& server, HttpRequest& request) {
    try {
        HttpRouteMatch match = server.dispatch(request);
        request.params = std::move(match.params);
        return (*match.handler)(request);
    } catch (...) {
        logLine("Request handler failed: " + localizedDescription(std::current_exception()));
        return HttpResponse::internalServerError();
    }
}

// Gives whether the connection goes on.
bool respond(const Run& run, Socket& socket, const HttpResponse& response, bool keepAlive) {
    if (!run.operating()) return false;
    const HttpContent content = response.content();
    const bool goesOn = keepAlive && content.length != -1;

    std::string head;
    head.reserve(256);
    head.append("HTTP/1.1 ").append(std::to_string(response.statusCode())).append(" ");
    head.append(response.reasonPhrase());
    replaceLineEnds(head, 0);
    head.append("\r\n");
    if (content.length >= 0) head.append("Content-Length: ").append(std::to_string(content.length)).append("\r\n");
    if (goesOn) head.append("Connection: keep-alive\r\n");
    response.appendHeaderLines(head);
    head.append("\r\n");

    InnerWriteContext context(socket, std::move(head));
    if (content.prompt) {
        try {
            content.write(context);
        } catch (const SocketError&) {
            throw;
        } catch (...) {
            context.flush();
            throw;
        }
    }
    context.flush();
    if (!content.prompt && content.write) content.write(context);
    return goesOn;
}

// Serves one connection until it ends; the server is held only from a request to its response.
class Connection {
public:
    Connection(const Run& run, std::weak_ptr<HttpServerIO> server, const std::shared_ptr<Socket>& socket)
        : run_(run), server_(std::move(server)), socket_(socket), parser_(run.limits) {}

    void handle() {
        if (run_.connectionLimits.patience) socket_->setWriteTimeout(*run_.connectionLimits.patience);
        try {
            while (run_.operating() && handleRequest()) {
            }
        } catch (const Error&) {
            // The client has closed or sent garbage: no answer goes out.
        } catch (...) {
            logLine("Connection failed: " + localizedDescription(std::current_exception()));
        }
        if (moreMayCome_ || socket_->hasUnreadBytes()) socket_->linger();
        socket_->close();
    }

private:
    bool handleRequest() {
        if (const auto patience = run_.connectionLimits.patience)
            socket_->setReadDeadline(std::chrono::steady_clock::now() + *patience);
        HttpRequest request = parser_.readHttpRequest(*socket_);
        std::shared_ptr<HttpServerIO> server = server_.lock();
        if (!server) return false;

        request.address = peer();
        const HttpResponse response = answer(*server, request);
        // A chunked body is not read, and may be on its way still. What comes next is not to be taken for a request:
        // it is somebody's content (RFC 9112 6.1, 11.2).
        moreMayCome_ = request.headers.contains("transfer-encoding");
        bool keepAlive = asksForKeepAlive(request) && !moreMayCome_;
        if (run_.operating()) {
            try {
                keepAlive = respond(run_, *socket_, response, keepAlive);
            } catch (...) {
                // Part of it may have gone out, and the peer would take the next response for the rest.
                keepAlive = false;
                logLine("Failed to send response: " + localizedDescription(std::current_exception()));
            }
        }
        if (const HttpSessionFunction& session = response.sessionFunction()) {
            if (const auto listener = server->delegate.lock()) listener->socketTakenOver(socket_);
            server = nullptr;
            if (run_.connectionLimits.patience) {
                socket_->setReadDeadline(std::nullopt);
                socket_->setWriteTimeout({});
            }
            session(socket_);
            return false;
        }
        return keepAlive;
    }

    const std::optional<std::string>& peer() {
        if (!peerAsked_) {
            peerAsked_ = true;
            try {
                peer_ = socket_->peername();
            } catch (const SocketError&) {
            }
        }
        return peer_;
    }

    const Run& run_;
    const std::weak_ptr<HttpServerIO> server_;
    const std::shared_ptr<Socket>& socket_;
    const HttpParser parser_;
    bool peerAsked_ = false;
    std::optional<std::string> peer_;
    bool moreMayCome_ = false;
};

}  // namespace

// What the server and its threads share; the threads need no server to accept, to wait for requests and to end.
class HttpServerIO::Loop : public std::enable_shared_from_this<Loop> {
public:
    void start(const std::weak_ptr<HttpServerIO>& server, std::uint16_t port, bool forceIPv4,
               const std::optional<std::string>& address, HttpLimits requestLimits,
               HttpConnectionLimits ofConnections) {
        const std::lock_guard lock(mutex_);
        if (state() == HttpServerIOState::running) return;
        setState(HttpServerIOState::starting);
        auto run = std::make_shared<Run>(Socket::tcpSocketForListen(port, forceIPv4, listenBacklog, address),
                                         requestLimits, ofConnections);
        if (!run->threads.run([self = shared_from_this(), run, server] { self->acceptLoop(run, server); })) {
            run->end();
            throw SocketError(SocketError::Code::listenFailed, "No thread for the accept loop");
        }
        run_ = std::move(run);
        setState(HttpServerIOState::running);
    }

    void stop() {
        const std::lock_guard lock(mutex_);
        end();
    }

    HttpServerIOState state() const {
        const std::int32_t value = stateValue_.load(std::memory_order_acquire);
        if (value < 0 || value > 3) fatal("The server's state is none of those there are.");
        return static_cast<HttpServerIOState>(value);
    }

    std::shared_ptr<Socket> socket() const {
        const std::lock_guard lock(mutex_);
        return run_ ? run_->listener : std::make_shared<Socket>(-1);
    }

private:
    void setState(HttpServerIOState state) {
        stateValue_.store(static_cast<std::int32_t>(state), std::memory_order_release);
    }

    void end() {
        if (state() != HttpServerIOState::running) return;
        setState(HttpServerIOState::stopping);
        run_->end();
        setState(HttpServerIOState::stopped);
    }

    void acceptLoop(const std::shared_ptr<Run>& run, const std::weak_ptr<HttpServerIO>& server) {
        const SignalsHeldBack heldBack;
        try {
            while (true) acceptConnection(run, server);
        } catch (const SocketError&) {
            // Any failure to accept stops the server, be it stop() itself or a lack of descriptors.
            const std::lock_guard lock(mutex_);
            if (run_ == run) end();
        }
    }

    static void acceptConnection(const std::shared_ptr<Run>& run, const std::weak_ptr<HttpServerIO>& server) {
        std::shared_ptr<Socket> client;
        bool served = false;
        try {
            client = run->listener->acceptClientSocket();
            served = run->insert(client) && run->threads.run([run, server, client] {
                Connection(*run, server, client).handle();
                run->remove(client);
            });
        } catch (const std::bad_alloc&) {
            // This connection ends, and the others go on.
        }
        if (client && !served) run->remove(client);
    }

    mutable std::mutex mutex_;
    std::atomic<std::int32_t> stateValue_{static_cast<std::int32_t>(HttpServerIOState::stopped)};
    std::shared_ptr<Run> run_;
};

HttpServerIO::HttpServerIO() : loop_(std::make_shared<Loop>()) {}

HttpServerIO::~HttpServerIO() {
    stop();
}

void HttpServerIO::start(std::uint16_t port, bool forceIPv4, QualityOfService) {
    const std::weak_ptr<HttpServerIO> self = weak_from_this();
    if (self.expired()) fatal("A server is started that no std::shared_ptr owns.");
    loop_->start(self, port, forceIPv4, forceIPv4 ? listenAddressIPv4 : listenAddressIPv6, limits,
                 connectionLimits);
}

void HttpServerIO::stop() {
    loop_->stop();
}

std::uint16_t HttpServerIO::port() const {
    return socket()->port();
}

bool HttpServerIO::isIPv4() const {
    return socket()->isIPv4();
}

HttpServerIOState HttpServerIO::state() const {
    return loop_->state();
}

std::shared_ptr<Socket> HttpServerIO::socket() const {
    return loop_->socket();
}

HttpRouteMatch HttpServerIO::dispatch(HttpRequest&) {
    return {{}, notFoundRoute()};
}

}  // namespace quorel::http
