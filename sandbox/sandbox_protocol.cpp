#include "sandbox/sandbox_protocol.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>

#include "quorel/foundation/error.h"
#include "quorel/foundation/text.h"
#include "quorel/foundation/url_error.h"
#include "quorel/session/quorel_api.h"
#include "quorel/telemetry/analytics_api.h"

namespace quorel::sandbox {

namespace {

std::optional<URL> redirected(const URL& url, const URL& server) {
    const URLComponents target(server);
    URLComponents parts(url);
    parts.scheme = target.scheme;
    parts.percentEncodedUserInfo = target.percentEncodedUserInfo;
    parts.percentEncodedHost = target.percentEncodedHost;
    parts.port = target.port;
    std::string prefix = target.percentEncodedPath;
    while (prefix.ends_with('/')) prefix.pop_back();
    parts.percentEncodedPath = prefix + parts.percentEncodedPath;
    return parts.url();
}

std::optional<URL> withoutTLS(const URL& url) {
    URLComponents parts(url);
    parts.scheme = "http";
    return parts.url();
}

void deliver(UrlSession::Result result, const URL& asked, UrlProtocolClient& client) {
    if (auto* reply = std::get_if<DataAndResponse>(&result)) {
        reply->response.url = asked;
        client.didReceiveResponse(std::move(reply->response));
        client.didLoad(reply->data);
        client.didFinishLoading();
        return;
    }
    try {
        std::rethrow_exception(std::get<std::exception_ptr>(result));
    } catch (const URLError& error) {
        client.didFail(error);
    } catch (...) {
        client.didFail(URLError(URLError::Code::unknown, localizedDescription(std::current_exception())));
    }
}

}  // namespace

std::vector<std::string> SandboxProtocol::serviceHosts() {
    std::vector<std::string> hosts;
    for (const std::string_view base :
         {QuorelAPI::defaultBaseURL(), QuorelAPI::defaultVantorURL(), AnalyticsAPI::defaultBaseURL()}) {
        const auto url = URL::parse(base);
        if (url && url->host()) hosts.push_back(asciiLowercased(*url->host()));
    }
    return hosts;
}

SandboxProtocol::SandboxProtocol(URL server, const std::shared_ptr<UrlSession>& network,
                                 std::vector<std::string> hosts)
    : server_(std::move(server)), hosts_(std::move(hosts)), network_(network) {}

bool SandboxProtocol::canInit(const URLRequest& request) const {
    const auto scheme = request.url.scheme();
    const auto host = request.url.host();
    if (!scheme || !host) return false;
    if (!asciiEqualsIgnoringCase(*scheme, "https") && !asciiEqualsIgnoringCase(*scheme, "http")) return false;
    if (std::find(hosts_.begin(), hosts_.end(), asciiLowercased(*host)) != hosts_.end()) return true;
    return asciiEqualsIgnoringCase(*scheme, "https") && isServer(request.url);
}

bool SandboxProtocol::isServer(const URL& url) const {
    const auto isLoopback = [](const URL& one) { return one.host() == "127.0.0.1" || one.host() == "localhost"; };
    const bool isSameHost = url.host() == server_.host() || (isLoopback(url) && isLoopback(server_));
    return server_.scheme() == "http" && isSameHost && url.port() == server_.port();
}

void SandboxProtocol::startLoading(const URLRequest& request, std::shared_ptr<UrlProtocolClient> client) {
    auto url = redirected(request.url, server_);
    URL named = request.url;
    if (isServer(request.url)) {
        url = withoutTLS(request.url);
        named = url.value_or(named);
    }
    const auto network = network_.lock();
    if (!network) return client->didFail(URLError(URLError::Code::cancelled));
    if (!url) return client->didFail(URLError(URLError::Code::badURL, request.url.absoluteString()));
    URLRequest moved = request;
    moved.url = *url;
    const auto task = network->dataTask(
        std::move(moved),
        [client, asked = std::move(named), weak = std::weak_ptr(loads_)](UrlSession::Result result) {
            if (const auto loads = weak.lock()) {
                const std::lock_guard lock(loads->mutex);
                loads->byClient.erase(client);
            }
            deliver(std::move(result), asked, *client);
        });
    {
        const std::lock_guard lock(loads_->mutex);
        loads_->byClient.emplace(client, task);
    }
    task->resume();
}

void SandboxProtocol::stopLoading(const std::shared_ptr<UrlProtocolClient>& client) {
    std::shared_ptr<UrlSessionDataTask> task;
    {
        const std::lock_guard lock(loads_->mutex);
        if (const auto node = loads_->byClient.extract(client)) task = node.mapped();
    }
    if (task) task->cancel();
}

}  // namespace quorel::sandbox
