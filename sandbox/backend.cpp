#include "sandbox/backend.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <optional>
#include <utility>
#include <variant>

#include "quorel/foundation/date.h"
#include "quorel/foundation/error.h"
#include "quorel/foundation/http_headers.h"
#include "quorel/foundation/json.h"
#include "quorel/foundation/json_coding.h"
#include "quorel/session/models.h"
#include "sandbox/control_page.h"
#include "sandbox/landing_page.h"

namespace quorel::sandbox {

namespace {

double secondsSince1970() {
    using namespace std::chrono;
    return duration<double>(system_clock::now().time_since_epoch()).count();
}

std::optional<std::string> header(const http::HttpRequest& request, std::string_view name) {
    const auto found = request.headers.find(name);
    if (found == request.headers.end()) return std::nullopt;
    return found->second;
}

std::optional<std::string> query(const http::HttpRequest& request, std::string_view name) {
    for (const auto& [key, value] : request.queryParams) {
        if (key == name) return value;
    }
    return std::nullopt;
}

bool isRead(const http::HttpRequest& request) {
    return request.method == "GET" || request.method == "HEAD";
}

template <class Model>
Answer encoded(const Model& model) {
    JSONEncoder encoder;
    encoder.dateFormatter = DateFormatter("yyyy-MM-dd'T'HH:mm:ss.SSSZ");
    return Answer::json(200, encoder.encode(model));
}

bool asksForFault(const http::HttpRequest& request) {
    return std::any_of(request.queryParams.begin(), request.queryParams.end(), [](const auto& item) {
        return item.first == "delay" || item.first == "status" || item.first == "broken";
    });
}

Fault faultOfQuery(const http::HttpRequest& request) {
    std::map<std::string, std::string> values(request.queryParams.begin(), request.queryParams.end());
    values.erase("times");
    return Fault::parse(values);
}

// {"path": pattern, "delay": ...}: throws FaultError or JSONError.
std::pair<std::string, Fault> faultOfBody(const http::HttpRequest& request) {
    const JSONValue body = parseJSON(std::string(request.body.begin(), request.body.end()));
    std::map<std::string, std::string> values;
    for (const auto& [name, value] : body.asObject()) {
        const bool text = name == "path" || name == "broken";
        values[name] = text ? value.asString() : std::to_string(value.asInt());
    }
    const auto path = values.find("path");
    if (path == values.end()) throw FaultError("path is missing: a pattern such as /v1/videos/*");
    return {path->second, Fault::parse(values)};
}

}  // namespace

class Sandbox::Backend::Answering {
public:
    explicit Answering(Backend& backend) : backend_(backend) {
        const std::lock_guard lock(backend_.mutex_);
        ++backend_.answering_;
    }
    ~Answering() {
        const std::lock_guard lock(backend_.mutex_);
        --backend_.answering_;
        backend_.wake_.notify_all();
    }
    Answering(const Answering&) = delete;
    Answering& operator=(const Answering&) = delete;

private:
    Backend& backend_;
};

Sandbox::Backend::Backend(MediaFiles mediaFiles, std::string bearerToken)
    : files(std::move(mediaFiles)), token(std::move(bearerToken)), titles_(sampleTitles(secondsSince1970())) {
    for (const Title& title : titles_) liveDesk.follow(title, secondsSince1970());
}

Sandbox::Backend::~Backend() {
    stop();
}

void Sandbox::Backend::start(std::uint16_t port) {
    const std::lock_guard lock(mutex_);
    if (server_) return;
    const auto server = makeServer();
    server->listenAddressIPv4 = "127.0.0.1";
    server->start(port, true);
    port_ = server->port();
    stopping_ = false;
    server_ = server;
}

void Sandbox::Backend::stop() {
    std::unique_lock lock(mutex_);
    // First the connections, then those who wait to answer on them. They are waited for, so that no answer is being
    // made while the process ends.
    if (const auto server = std::exchange(server_, nullptr)) server->stop();
    stopping_ = true;
    wake_.notify_all();
    wake_.wait(lock, [this] { return answering_ == 0; });
}

std::string Sandbox::Backend::baseURL() const {
    const std::lock_guard lock(mutex_);
    return fmt::format("http://127.0.0.1:{}", port_);
}

std::vector<Title> Sandbox::Backend::titles() const {
    const std::lock_guard lock(mutex_);
    return titles_;
}

void Sandbox::Backend::setTitle(Title title) {
    liveDesk.follow(title, secondsSince1970());
    const std::lock_guard lock(mutex_);
    const auto same = [&](const Title& other) { return other.id == title.id; };
    const auto found = std::find_if(titles_.begin(), titles_.end(), same);
    if (found != titles_.end())
        *found = std::move(title);
    else
        titles_.push_back(std::move(title));
}

std::shared_ptr<http::HttpServer> Sandbox::Backend::makeServer() {
    auto server = std::make_shared<http::HttpServer>();
    // The server belongs to this backend, so its handlers must not keep the backend in turn.
    const auto guarded = [weak = weak_from_this()](auto give) {
        return [weak, give](http::HttpRequest& request) {
            const auto backend = weak.lock();
            if (!backend) return http::HttpResponse::internalServerError();
            const Answering answering(*backend);
            return give(*backend, request);
        };
    };
    const auto met = [&](Handler handler, bool isPost = false) {
        return guarded([handler, isPost](Backend& backend, http::HttpRequest& request) {
            return backend.answer(request, handler, isPost);
        });
    };
    const auto control = [&](Handler handler) {
        return guarded([handler](Backend& backend, http::HttpRequest& request) {
            return (backend.*handler)(request).response(request.method != "HEAD");
        });
    };
    (*server)["/v1/players/configuration/:id"] = met(&Backend::config);
    (*server)["/v1/videos/:id"] = met(&Backend::video);
    (*server)["/v1/live-streams/:id"] = met(&Backend::liveStream);
    (*server)["/v1/live-streams/:id/status"] = met(&Backend::liveStatus);
    (*server)["/live/:id/:1"] = met(&Backend::channel);
    (*server)["/live/:id/:1/:2"] = met(&Backend::channel);
    (*server)["/ads/tag/:name"] = met(&Backend::adTag);
    (*server)["/ads/track/:ad/:event"] = met(&Backend::trackAd);
    (*server)["/ads/stalls.m3u8"] = met(&Backend::stallingAd);
    (*server)["/ads"] = control(&Backend::adPage);
    (*server)["/_control/ads"] = control(&Backend::controlAds);
    (*server)["/e"] = met(&Backend::ingest, true);
    (*server)["/media/:1"] = met(&Backend::media);
    (*server)["/media/:1/:2"] = met(&Backend::media);
    (*server)["/media/:1/:2/:3"] = met(&Backend::media);
    (*server)["/"] = control(&Backend::page);
    (*server)["/_control/faults"] = control(&Backend::controlFaults);
    (*server)["/_control/requests"] = control(&Backend::controlRequests);
    (*server)["/_control/live"] = control(&Backend::controlLive);
    (*server)["/_control/pings"] = control(&Backend::controlPings);
    (*server)["/control"] = control(&Backend::controlPage);
    server->notFoundHandler = met(&Backend::unknown);
    return server;
}

http::HttpResponse Sandbox::Backend::answer(http::HttpRequest& request, Handler handler, bool isPost) {
    const auto number = log.arrived(
        {request.method, request.path, header(request, "authorization"), header(request, "range"), std::nullopt});
    const bool withBody = request.method != "HEAD";
    Answer answer;
    try {
        const Fault fault = asksForFault(request) ? faultOfQuery(request) : faults.take(request.path);
        if (fault.broken != Fault::Broken::stall) waitFor(fault.delay);
        const bool allowed = isPost ? request.method == "POST" : isRead(request);
        answer = allowed ? (this->*handler)(request) : Answer::methodNotAllowed(isPost ? "POST" : "GET, HEAD");
        answer = std::move(answer).after(fault, request.path);
    } catch (const FaultError& error) {
        answer = Answer::error(400, error.what());
    }
    log.answered(number, answer.status);
    return std::move(answer).response(withBody, [weak = weak_from_this()](std::chrono::milliseconds stall) {
        if (const auto backend = weak.lock()) backend->waitFor(stall);
    });
}

void Sandbox::Backend::waitFor(std::chrono::milliseconds delay) {
    if (delay.count() == 0) return;
    std::unique_lock lock(mutex_);
    wake_.wait_for(lock, delay, [this] { return stopping_; });
}

Answer Sandbox::Backend::page(http::HttpRequest& request) {
    if (!isRead(request)) return Answer::methodNotAllowed("GET, HEAD");
    return Answer::text(200, landingPage(titles(), baseURL(), token), "text/html; charset=utf-8");
}

Answer Sandbox::Backend::media(http::HttpRequest& request) {
    std::string path;
    for (const std::string_view key : {":1", ":2", ":3"}) {
        const auto segment = request.params.find(key);
        if (segment == request.params.end()) break;
        if (!path.empty()) path += '/';
        path += segment->second;
    }
    const MediaFile* file = files.find(path);
    if (file == nullptr) return unknown(request);
    // RFC 9110 14.2: ranges are for GET; 13.1.5: without validators, If-Range asks for the whole.
    const bool ranged = request.method == "GET" && !header(request, "if-range");
    return Answer::file(*file, ranged ? header(request, "range") : std::nullopt);
}

Answer Sandbox::Backend::forTitle(http::HttpRequest& request, bool live, const TitleReply& reply) {
    if (header(request, "authorization") != "Bearer " + token) {
        Answer refused = Answer::error(401, "a bearer token is needed, and this is not it");
        refused.headers.emplace("WWW-Authenticate", "Bearer realm=\"sandbox\"");
        return refused;
    }
    const std::string& id = request.params[":id"];
    for (const Title& title : titles()) {
        if (title.id == id && (!live || title.isLive())) return reply(title);
    }
    return Answer::error(404,
                         fmt::format("there is no {} with the id '{}'", live ? "live stream" : "content", id));
}

Answer Sandbox::Backend::config(http::HttpRequest& request) {
    return forTitle(request, false, [this](const Title& title) { return encoded(configReply(title, baseURL())); });
}

Answer Sandbox::Backend::video(http::HttpRequest& request) {
    return forTitle(request, false, [this](const Title& title) {
        if (title.isLive()) return Answer::error(404, fmt::format("'{}' is a live stream", title.id));
        return encoded(videoReply(title, baseURL()));
    });
}

Answer Sandbox::Backend::liveStream(http::HttpRequest& request) {
    return forTitle(request, true,
                    [this](const Title& title) { return encoded(liveStreamReply(title, baseURL())); });
}

Answer Sandbox::Backend::liveStatus(http::HttpRequest& request) {
    return forTitle(request, true, [this](const Title& title) {
        return encoded(statusReply(title, baseURL(), secondsSince1970()));
    });
}

Answer Sandbox::Backend::channel(http::HttpRequest& request) {
    const auto file = request.params.find(":2");
    const bool inRendition = file != request.params.end();
    const std::string& first = request.params[":1"];
    for (const Title& title : titles()) {
        if (title.id != request.params[":id"] || !title.isLive()) continue;
        return liveDesk.answer(title, inRendition ? first : "", inRendition ? file->second : first, baseURL(),
                               secondsSince1970());
    }
    return unknown(request);
}

Answer Sandbox::Backend::ingest(http::HttpRequest& request) {
    HTTPHeaders headers;
    for (const auto& [name, value] : request.headers) headers.add(name, value);
    const PingRecord record =
        checkedPing(secondsSince1970(), headers, std::string(request.body.begin(), request.body.end()));
    pings.arrived(record);
    if (record.problems.empty()) return Answer::text(204, "", "text/plain");
    return Answer::json(400, JSONEncoder().encode(record));
}

Answer Sandbox::Backend::adTag(http::HttpRequest& request) {
    return AdServer::tag(request.params[":name"], std::atoi(query(request, "hop").value_or("0").c_str()),
                         baseURL());
}

Answer Sandbox::Backend::stallingAd(http::HttpRequest&) {
    return AdServer::stallingPlaylist(baseURL());
}

Answer Sandbox::Backend::trackAd(http::HttpRequest& request) {
    ads.tracked({secondsSince1970(), request.params[":ad"], request.params[":event"], query(request, "code")});
    return Answer::text(204, "", "text/plain");
}

Answer Sandbox::Backend::adPage(http::HttpRequest& request) {
    if (!isRead(request)) return Answer::methodNotAllowed("GET, HEAD");
    return Answer::text(200, AdServer::page(baseURL()), "text/html; charset=utf-8");
}

Answer Sandbox::Backend::controlAds(http::HttpRequest& request) {
    if (request.method == "DELETE")
        ads.clear();
    else if (!isRead(request))
        return Answer::methodNotAllowed("GET, HEAD, DELETE");
    return Answer::json(200, JSONEncoder().encode(ads.events()));
}

Answer Sandbox::Backend::unknown(http::HttpRequest& request) {
    return Answer::error(404, fmt::format("there is nothing at {}; see {}/", request.path, baseURL()));
}

Answer Sandbox::Backend::controlFaults(http::HttpRequest& request) {
    if (request.method == "DELETE") {
        faults.clear();
    } else if (request.method == "POST") {
        try {
            auto [pattern, fault] = faultOfBody(request);
            faults.set(std::move(pattern), fault);
        } catch (const Error& error) {
            return Answer::error(400, error.what());
        }
    } else if (!isRead(request)) {
        return Answer::methodNotAllowed("GET, HEAD, POST, DELETE");
    }
    return Answer::json(200, serializeJSON(faults.list()));
}

Answer Sandbox::Backend::controlLive(http::HttpRequest& request) {
    const double now = secondsSince1970();
    if (request.method == "POST") {
        try {
            const JSONValue wanted = parseJSON(std::string(request.body.begin(), request.body.end()));
            const std::string& id = wanted["id"].asString();
            const auto all = titles();
            const auto found = std::find_if(all.begin(), all.end(),
                                            [&id](const Title& one) { return one.id == id && one.isLive(); });
            if (found == all.end()) return Answer::error(404, fmt::format("there is no live stream '{}'", id));
            setTitle(LiveDesk::changed(*found, wanted.asObject(), now));
        } catch (const Error& error) {
            return Answer::error(400, error.what());
        }
    } else if (!isRead(request)) {
        return Answer::methodNotAllowed("GET, HEAD, POST");
    }
    JSONArray list;
    for (const Title& title : titles()) {
        if (title.isLive()) list.push_back(liveDesk.describe(title, now));
    }
    return Answer::json(200, serializeJSON(list));
}

Answer Sandbox::Backend::controlPings(http::HttpRequest& request) {
    if (request.method == "DELETE")
        pings.clear();
    else if (!isRead(request))
        return Answer::methodNotAllowed("GET, HEAD, DELETE");
    return Answer::json(200, JSONEncoder().encode(pings.all()));
}

Answer Sandbox::Backend::controlPage(http::HttpRequest& request) {
    if (!isRead(request)) return Answer::methodNotAllowed("GET, HEAD");
    return Answer::text(200, std::string(sandbox::controlPage()), "text/html; charset=utf-8");
}

Answer Sandbox::Backend::controlRequests(http::HttpRequest& request) {
    if (request.method == "DELETE")
        log.clear();
    else if (!isRead(request))
        return Answer::methodNotAllowed("GET, HEAD, DELETE");
    return Answer::json(200, JSONEncoder().encode(log.all()));
}

}  // namespace quorel::sandbox
