#include "quorel/session/quorel_api.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "quorel/foundation/fatal.h"
#include "quorel/foundation/url_error.h"

namespace quorel {
namespace {

constexpr double requestTimeout = 60.0;  // seconds

URL urlOrFatal(std::string_view text) {
    std::optional<URL> url = URL::parse(text);
    if (!url || !url->scheme()) fatal("a backend base URL does not parse: " + std::string(text));
    return *url;
}

URLError withoutServices() {
    return URLError(URLError::Code::cancelled, "the session has no services");
}

// A host may take its services back at this very moment. The session is let go of again before the reply is waited for,
// because it has to end before the executors that its completions go to.
CompletionAwaiter<DataAndResponse> load(const std::weak_ptr<UrlSession>& urlSession, URLRequest request) {
    const std::shared_ptr<UrlSession> alive = urlSession.lock();
    if (!alive) throw withoutServices();
    return alive->data(std::move(request));
}

}  // namespace

QuorelAPI& QuorelAPI::shared() {
    static QuorelAPI& api = *new QuorelAPI(Quorel::shared());
    return api;
}

std::string_view QuorelAPI::defaultBaseURL() {
    return QUOREL_API_BASE_URL;
}
std::string_view QuorelAPI::defaultVantorURL() {
    return QUOREL_VANTOR_BASE_URL;
}

QuorelAPI::QuorelAPI(Quorel& session, std::string_view baseURL, std::string_view vantorURL)
    : session_(session), baseURL_(urlOrFatal(baseURL)), vantorURL_(urlOrFatal(vantorURL)) {}

Task<PlayerConfigModel> QuorelAPI::fetchPlayerConfig(std::string id) const {
    return fetch<PlayerConfigModel>("players/configuration/" + id);
}

Task<PlayerStatus> QuorelAPI::fetchLiveStatus(std::string id) const {
    return fetch<PlayerStatus>("live-streams/" + id + "/status");
}

Task<VideoDetailModel> QuorelAPI::fetchVideoDetail(std::string id) const {
    return fetch<VideoDetailModel>("videos/" + id);
}

Task<LiveStreamDetailModel> QuorelAPI::fetchLiveStreamDetails(std::string id) const {
    return fetch<LiveStreamDetailModel>("live-streams/" + id);
}

template <class Model>
Task<Model> QuorelAPI::fetch(std::string path) const {
    if (!session_.hasServices()) throw withoutServices();
    co_await resumeOn(*session_.services().mainLoop);
    const std::optional<std::string> token = session_.quorelToken();
    const std::weak_ptr<UrlSession> urlSession = session_.services().urlSession;
    co_await resumeOn(*session_.services().background);
    if (!token) throw APIError(APIError::Code::missingTokenError);

    URLRequest request(baseURL_.appendingPathComponent(path));
    request.headers.add("Authorization", "Bearer " + *token);
    request.timeoutInterval = requestTimeout;
    co_return co_await sendRequest<Model>(urlSession, std::move(request));
}

template <class Model>
Task<Model> QuorelAPI::sendRequest(std::weak_ptr<UrlSession> urlSession, URLRequest request) {
    const DataAndResponse reply = co_await load(urlSession, std::move(request));
    if (!reply.response.isHTTP()) throw APIError(APIError::Code::authorizationError);
    const int status = *reply.response.statusCode;
    if (status == 401) throw APIError(APIError::Code::authorizationError);
    if (status < 200 || status > 299) throw APIError(APIError::Code::unknownContent);

    // The backend writes its dates with and without fractional seconds. Whatever the first pattern stumbles over,
    // the whole body gets a second chance.
    for (const char* pattern : {"yyyy-MM-dd'T'HH:mm:ss.SSSZ", "yyyy-MM-dd'T'HH:mm:ssZ"}) {
        try {
            JSONDecoder decoder;
            decoder.dateFormatter = DateFormatter(pattern);
            co_return decoder.decode<Model>(reply.data);
        } catch (const JSONError&) {
        }
    }
    throw APIError(APIError::Code::decodeError);
}

}  // namespace quorel
