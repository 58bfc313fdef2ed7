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
// For how long a live stream goes on with the playlist that it has while its server is away. The demuxer would end at
// once; so it plays what it has, asks again by itself, and catches up when the server is back.
constexpr auto longestOutage = 60s;
// How long after it a failure to load a playlist explains that playback broke.
constexpr auto memory = 30s;

std::string makeToken() {
    std::random_device random;
    return fmt::format("{:08x}{:08x}{:08x}{:08x}", random(), random(), random(), random());
}

HttpResponse playlistOf(const std::string& text) {
    return HttpResponse::ok(
        http::HttpResponseBody::data({text.begin(), text.end()}, "application/vnd.apple.mpegurl"));
}

// All of it, or the range of bytes that the demuxer asks for where a playlist says EXT-X-BYTERANGE (RFC 9110 14.2).
HttpResponse partOf(std::string data, const http::HttpRequest& request) {
    const auto header = request.headers.find("range");
    std::string_view range =
        header != request.headers.end() ? std::string_view(header->second) : std::string_view{};
    if (!range.starts_with("bytes="))
        return HttpResponse::ok(http::HttpResponseBody::data({data.begin(), data.end()}));
    range.remove_prefix(6);
    std::size_t first = 0;
    std::size_t last = data.size() - 1;
    const auto begin = std::from_chars(range.data(), range.data() + range.size(), first);
    const char* const end = range.data() + range.size();
    if (begin.ec == std::errc{} && begin.ptr != end && begin.ptr + 1 != end) {
        std::from_chars(begin.ptr + 1, end, last);
    }
    if (begin.ec != std::errc{} || first >= data.size() || last < first) {
        return HttpResponse::raw(416, "Range Not Satisfiable");
    }
    last = std::min(last, data.size() - 1);
    const http::HttpHeaders headers{{"Content-Range", fmt::format("bytes {}-{}/{}", first, last, data.size())},
                                    {"Content-Length", std::to_string(last - first + 1)}};
    return HttpResponse::raw(206, "Partial Content", headers,
                             [part = data.substr(first, last - first + 1)](http::HttpResponseBodyWriter& out) {
                                 out.write(std::string_view(part));
                             });
}

}  // namespace

GatewaySession::GatewaySession(GatewaySource source, std::string root)
    : root_(std::move(root)),
      source_(source.address),
      sourceUri_(source.loader->rootAddress(source.address)),
      onRenditions_(std::move(source.onRenditions)),
      loader_(std::move(source.loader)) {
    indexOf(sourceUri_, ResourceKind::playlist);
}

std::string GatewaySession::addressOf(std::size_t index) const {
    return fmt::format("{}/{}.m3u8", root_, index);
}

std::size_t GatewaySession::indexOf(const std::string& uri, ResourceKind kind) {
    const std::lock_guard lock(mutex_);
    const auto [entry, isNew] = indices_.try_emplace({uri, kind}, resources_.size());
    if (isNew) resources_.push_back({uri, kind});
    return entry->second;
}

std::optional<GatewaySession::Explanation> GatewaySession::explanation() const {
    const std::lock_guard lock(mutex_);
    if (!failed_ || Clock::now() - failed_->when > memory) return {};
    return failed_->explanation;
}

void GatewaySession::close() {
    std::unique_lock lock(mutex_);
    closed_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return inside_ == 0; });
    const auto last = std::exchange(loader_, nullptr);
    lock.unlock();
}

HttpResponse GatewaySession::answer(std::size_t index, const http::HttpRequest& request) {
    std::unique_lock lock(mutex_);
    if (closed_ || index >= resources_.size()) return HttpResponse::notFound();
    const Resource resource = resources_[index];
    ++inside_;
    lock.unlock();
    HttpResponse response = answerOpen(index, resource, request);
    lock.lock();
    --inside_;
    changed_.notify_all();
    return response;
}

HttpResponse GatewaySession::answerOpen(std::size_t index, Resource resource, const http::HttpRequest& request) {
    const auto begun = Clock::now();
    for (;;) {
        ResourceLoader::Result result = load(resource, begun + longestWait);
        std::string complaint;
        if (Loaded* const loaded = std::get_if<Loaded>(&result);
            loaded != nullptr && resource.kind == ResourceKind::playlist && !isPlaylist(loaded->data)) {
            complaint = describeNoPlaylist(nameOf(resource), loaded->data);
            result = Refusal{.isTemporary = false};
        }
        std::unique_lock lock(mutex_);
        if (closed_) return HttpResponse::notFound();
        if (Loaded* const loaded = std::get_if<Loaded>(&result)) {
            resources_[index].loadedBefore = true;
            if (failed_ && failed_->index == index) failed_.reset();
            lock.unlock();
            return give(std::move(*loaded), index, resource.kind, request);
        }
        const Refusal& refusal = std::get<Refusal>(result);
        if (refusal.isTemporary && !resource.lastWindow.empty() &&
            Clock::now() - resource.lastLoad < longestOutage) {
            failed_ = Failed{index, {refusal.sentence(nameOf(resource)), refusal.isVague}, Clock::now()};
            return playlistOf(resource.lastWindow);
        }
        // A network that comes back in time was never away.
        const bool again =
            resource.loadedBefore && refusal.isTemporary && Clock::now() + retryPause < begun + longestRetry;
        if (!again) {
            if (complaint.empty()) complaint = refusal.sentence(nameOf(resource));
            failed_ = Failed{index, {complaint, refusal.isVague}, Clock::now()};
            // Without a key the demuxer goes on with what is left in memory; zeros do no harm, and end in an error.
            if (resource.kind == ResourceKind::key) {
                return HttpResponse::ok(http::HttpResponseBody::data(std::vector<std::uint8_t>(16)));
            }
            return HttpResponse::raw(refusal.status, "Not Available");
        }
        changed_.wait_for(lock, retryPause, [this] { return closed_; });
    }
}

HttpResponse GatewaySession::give(Loaded loaded, std::size_t index, ResourceKind kind,
                                  const http::HttpRequest& request) {
    if (kind != ResourceKind::playlist) return partOf(std::move(loaded.data), request);
    auto playlist = rewritePlaylist(loaded.data, loaded.url, [this](const std::string& uri, ResourceKind part) {
        return addressOf(indexOf(uri, part));
    });
    if (!playlist) return HttpResponse::notFound();
    const auto has = [&](const char* tag) { return playlist->text.find(tag) != std::string::npos; };
    const bool isLive = has("#EXTINF") && !has("#EXT-X-ENDLIST");
    std::unique_lock lock(mutex_);
    resources_[index].lastWindow = isLive ? playlist->text : std::string();
    resources_[index].lastLoad = Clock::now();
    const bool tell = !playlist->renditions.empty() && !std::exchange(renditionsTold_, true);
    lock.unlock();
    if (tell && onRenditions_) onRenditions_(std::move(playlist->renditions));
    return playlistOf(playlist->text);
}

ResourceLoader::Result GatewaySession::load(const Resource& resource, Clock::time_point deadline) {
    std::unique_lock lock(mutex_);
    const auto loader = loader_;
    lock.unlock();
    std::optional<ResourceLoader::Result> reply;  // stays until the load has ended, which this waits for
    const double timeout = std::max(1.0, std::chrono::duration<double>(deadline - Clock::now()).count());
    const auto running = loader->load(resource.uri, timeout, [this, &reply](ResourceLoader::Result result) {
        const std::lock_guard guard(mutex_);
        reply = std::move(result);
        changed_.notify_all();
    });
    lock.lock();
    changed_.wait_until(lock, deadline, [&] { return reply || closed_; });
    if (reply) return std::move(*reply);
    lock.unlock();
    running->cancel();
    lock.lock();
    changed_.wait(lock, [&] { return reply.has_value(); });
    return Refusal{.status = 504, .reason = "The server does not answer."};
}

std::string GatewaySession::nameOf(const Resource& resource) const {
    if (resource.uri == sourceUri_) return "The stream " + source_;
    const char* const what = resource.kind == ResourceKind::key        ? "key"
                             : resource.kind == ResourceKind::playlist ? "playlist"
                                                                       : "part";
    return fmt::format("The {} {} of the stream {}", what, resource.uri, source_);
}

PlaylistGateway::~PlaylistGateway() {
    if (server_) server_->stop();
}

bool PlaylistGateway::takes(const GatewaySource& source) {
    if (!goesOverHttp(source.address)) return false;
    if (source.loader->intercepts() || asciiLowercased(source.type).find("mpegurl") != std::string::npos)
        return true;
    const auto url = URL::parse(source.address);
    return url && asciiEqualsIgnoringCase(url->pathExtension(), "m3u8");
}

std::shared_ptr<GatewaySession> PlaylistGateway::open(GatewaySource source) {
    const std::lock_guard lock(mutex_);
    if (!startServer()) return nullptr;
    const std::string token = makeToken();
    auto session =
        std::make_shared<GatewaySession>(std::move(source), fmt::format("http://127.0.0.1:{}/{}", port_, token));
    const std::lock_guard sessionsLock(sessions_->mutex);
    std::erase_if(sessions_->byToken, [](const auto& entry) { return entry.second.expired(); });
    sessions_->byToken.emplace(token, session);
    return session;
}

bool PlaylistGateway::startServer() {
    // A server stops by itself when the process has run out of descriptors, which need not last.
    if (server_ && server_->operating()) return true;
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
        return session->answer(index, request);
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
