#include "quorel/telemetry/analytics_api.h"

#include <string>
#include <utility>

#include "quorel/foundation/fatal.h"

namespace quorel {

namespace {

URL parsed(std::string_view text) {
    const auto url = URL::parse(text);
    if (!url) fatal("the ingest URL \"" + std::string(text) + "\" does not parse");
    return *url;
}

}  // namespace

std::string_view AnalyticsAPI::defaultBaseURL() {
    return QUOREL_INGEST_URL;
}

AnalyticsAPI::AnalyticsAPI(Quorel& session, std::string_view ingestURL)
    : session_(session), baseURL_(parsed(ingestURL)) {}

void AnalyticsAPI::post(const JSONObject& payload) {
    const auto& ssid = session_.ssid();
    if (!ssid || !session_.hasServices()) return;
    URLRequest request(baseURL_);
    request.timeoutInterval = 60.0;
    request.headers.add("x-quorel-ssid", *ssid);
    request.httpMethod = "POST";
    try {
        request.httpBody = serializeJSON(payload);
        request.headers.add("Content-Type", "application/json");
    } catch (const JSONError&) {
        // Deliberate: a POST without a body still says that somebody is there.
    }
    session_.services().urlSession->dataTask(std::move(request), [](const UrlSession::Result&) {})->resume();
}

}  // namespace quorel
