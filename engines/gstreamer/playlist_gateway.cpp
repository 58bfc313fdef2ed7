#include "engines/gstreamer/playlist_gateway.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <random>
#include <string_view>
#include <utility>

#include "engines/gstreamer/failure.h"
#include "quorel/foundation/text.h"
#include "quorel/httpserver/http_response.h"

namespace quorel::gstreamer {
namespace {

using namespace std::chrono_literals;
using http::HttpResponse;

// The demuxer gives up after 10 seconds, and not gracefully.
constexpr auto longestWait = 9s;
// How long a playlist that was there before is asked for again, and how often.
constexpr auto longestRetry = 6s;
constexpr auto retryPause = 500ms;
// How long after it a failure to load a playlist explains that playback broke.
constexpr auto memory = 30s;

std::string makeToken() {
    std::random_device random;
    return fmt::format("{:08x}{:08x}{:08x}{:08x}", random(), random(), random(), random());
}

}  // namespace

GatewaySession::GatewaySession(UrlSession& session, std::string root, URL source)
    : urlSession_(session), root_(std::move(root)), source_(std::move(source)) {
    indexOf(source_, ResourceKind::playlist);
}

std::string GatewaySession::addressOf(std::size_t index) const {
    return fmt::format("{}/{}.m3u8", root_, index);
}

std::size_t GatewaySession::indexOf(const URL& url, ResourceKind kind) {
    const std::lock_guard lock(mutex_);
    const auto [entry, isNew] = indices_.try_emplace({url.absoluteString(), kind}, resources_.size());
    if (isNew) resources_.push_back({url, kind});
    return entry->second;
}

std::optional<std::string> GatewaySession::explanation() const {
    const std::lock_guard lock(mutex_);
    if (!failed_ || Clock::now() - failed_->when > memory) return {};
    return failed_->sentence;
}

void GatewaySession::close() {
    std::unique_lock lock(mutex_);
    closed_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return inside_ == 0; });
}

HttpResponse GatewaySession::answer(std::size_t index) {
    std::unique_lock lock(mutex_);
    if (closed_ || index >= resources_.size()) return HttpResponse::notFound();
    const Resource resource = resources_[index];
    ++inside_;
    lock.unlock();
    HttpResponse response = answerOpen(index, resource);
    lock.lock();
    --inside_;
    changed_.notify_all();
    return response;
}

HttpResponse GatewaySession::answerOpen(std::size_t index, Resource resource) {
    const auto begun = Clock::now();
    for (;;) {
        Outcome outcome = load(resource, begun + longestWait);
        std::unique_lock lock(mutex_);
        if (closed_) return HttpResponse::notFound();
        if (Reply* const reply = std::get_if<Reply>(&outcome)) {
            resources_[index].loadedBefore = true;
            if (failed_ && failed_->index == index) failed_.reset();
            lock.unlock();
            return give(std::move(*reply), resource.kind);
        }
        const Refusal& refusal = std::get<Refusal>(outcome);
        // A network that comes back in time was never away.
        const bool again =
            resource.loadedBefore && refusal.mayPass && Clock::now() + retryPause < begun + longestRetry;
        if (!again) {
            failed_ = Failed{index, refusal.sentence, Clock::now()};
            // Without a key the demuxer goes on with what is left in memory; zeros do no harm, and end in an error.
            if (resource.kind == ResourceKind::key)
                return HttpResponse::raw(200, "OK", {}, [](auto& out) {
                    out.write(std::string_view("\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 16));
                });
            return HttpResponse::raw(refusal.status, "Playlist Not Available");
        }
        changed_.wait_for(lock, retryPause, [this] { return closed_; });
    }
}

HttpResponse GatewaySession::give(Reply reply, ResourceKind kind) {
    std::string data = std::move(reply.data);
    if (kind == ResourceKind::playlist) {
        data = rewritePlaylist(data, reply.from, [this](const URL& url, ResourceKind part) {
                   return addressOf(indexOf(url, part));
               }).value_or("");
    }
    return HttpResponse::ok(
        http::HttpResponseBody::data({data.begin(), data.end()}, "application/vnd.apple.mpegurl"));
}

GatewaySession::Outcome GatewaySession::load(const Resource& resource, Clock::time_point deadline) {
    URLRequest request(resource.url);
    request.timeoutInterval = std::max(1.0, std::chrono::duration<double>(deadline - Clock::now()).count());
    struct Wait {
        std::optional<UrlSession::Result> result;
    };
    const auto wait = std::make_shared<Wait>();
    const auto task = urlSession_.dataTask(request, [this, wait](UrlSession::Result result) {
        const std::lock_guard lock(mutex_);
        wait->result = std::move(result);
        changed_.notify_all();
    });
    task->resume();
    std::unique_lock lock(mutex_);
    changed_.wait_until(lock, deadline, [&] { return wait->result || closed_; });
    if (!wait->result) {
        lock.unlock();
        task->cancel();
        lock.lock();
        changed_.wait(lock, [&] { return wait->result.has_value(); });
        return Refusal{504, nameOf(resource) + " could not be loaded. The server does not answer."};
    }
    UrlSession::Result result = std::move(*wait->result);
    lock.unlock();
    return judge(resource, std::move(result));
}

GatewaySession::Outcome GatewaySession::judge(const Resource& resource, UrlSession::Result result) const {
    const std::string name = nameOf(resource);
    DataAndResponse reply{{}, {resource.url, {}, {}}};
    try {
        if (auto* const error = std::get_if<std::exception_ptr>(&result)) std::rethrow_exception(*error);
        reply = std::move(std::get<DataAndResponse>(result));
    } catch (const URLError& error) {
        return Refusal{502, fmt::format("{} could not be loaded. {}", name, error.what())};
    }
    const int status = reply.response.statusCode.value_or(200);
    if (status >= 400) return Refusal{status, describeStatus(name, status)};
    if (resource.kind == ResourceKind::playlist && !isPlaylist(reply.data)) {
        return Refusal{502, describeNoPlaylist(name, reply.data), false};
    }
    return Reply{std::move(reply.data), std::move(reply.response.url)};
}

std::string GatewaySession::nameOf(const Resource& resource) const {
    const std::string stream = source_.absoluteString();
    const std::string url = resource.url.absoluteString();
    if (url == stream) return "The stream " + stream;
    return fmt::format("The {} {} of the stream {}", resource.kind == ResourceKind::key ? "key" : "playlist", url,
                       stream);
}

PlaylistGateway::PlaylistGateway(UrlSession& session) : urlSession_(session) {}

PlaylistGateway::~PlaylistGateway() {
    if (server_) server_->stop();
}

std::shared_ptr<GatewaySession> PlaylistGateway::open(const std::string& source, const std::string& type) {
    auto url = URL::parse(source);
    if (!url) return nullptr;
    const std::string scheme = asciiLowercased(url->scheme().value_or(""));
    if (scheme != "http" && scheme != "https") return nullptr;
    const bool saysPlaylist = asciiLowercased(type).find("mpegurl") != std::string::npos;
    if (!saysPlaylist && !asciiEqualsIgnoringCase(url->pathExtension(), "m3u8")) return nullptr;
    const std::lock_guard lock(mutex_);
    if (!startServer()) return nullptr;
    const std::string token = makeToken();
    auto session = std::make_shared<GatewaySession>(
        urlSession_, fmt::format("http://127.0.0.1:{}/{}", port_, token), std::move(*url));
    const std::lock_guard sessionsLock(sessions_->mutex);
    std::erase_if(sessions_->byToken, [](const auto& entry) { return entry.second.expired(); });
    sessions_->byToken.emplace(token, session);
    return session;
}

bool PlaylistGateway::startServer() {
    if (server_) return true;
    auto server = std::make_shared<http::HttpServer>();
    server->listenAddressIPv4 = "127.0.0.1";
    server->get["/:token/:file"] = [sessions = sessions_](http::HttpRequest& request) {
        const std::string& file = request.params.at(":file");
        std::size_t index = 0;
        const auto number = std::from_chars(file.data(), file.data() + file.size(), index);
        std::shared_ptr<GatewaySession> session;
        {
            const std::lock_guard lock(sessions->mutex);
            const auto entry = sessions->byToken.find(request.params.at(":token"));
            if (entry != sessions->byToken.end()) session = entry->second.lock();
        }
        if (!session || number.ec != std::errc{}) return HttpResponse::notFound();
        return session->answer(index);
    };
    try {
        server->start(0, true);
        port_ = server->port();
    } catch (const Error&) {
        return false;
    }
    server_ = std::move(server);
    return true;
}

}  // namespace quorel::gstreamer
