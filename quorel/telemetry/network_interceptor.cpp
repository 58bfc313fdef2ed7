#include "quorel/telemetry/network_interceptor.h"

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "quorel/foundation/error.h"
#include "quorel/foundation/http_headers.h"
#include "quorel/foundation/log.h"
#include "quorel/foundation/text.h"
#include "quorel/foundation/url.h"
#include "quorel/foundation/url_error.h"

namespace quorel {

namespace {

// As in ["Accept": "*/*", "Range": "bytes=0-1"].
std::string textOf(const HTTPHeaders& headers) {
    std::string text;
    for (const auto& [name, value] : headers.fields()) {
        text += text.empty() ? "[\"" : ", \"";
        text += name + "\": \"" + value + "\"";
    }
    return text + "]";
}

void giveOn(UrlSession::Result result, UrlProtocolClient& client) {
    if (auto* reply = std::get_if<DataAndResponse>(&result)) {
        if (isValidUTF8(reply->data)) logLine("📥 Response: " + reply->data);
        client.didReceiveResponse(std::move(reply->response));
        client.didLoad(reply->data);
    } else {
        try {
            std::rethrow_exception(std::get<std::exception_ptr>(result));
        } catch (const URLError& error) {
            client.didFail(error);
        } catch (...) {
            client.didFail(URLError(URLError::Code::unknown, localizedDescription(std::current_exception())));
        }
    }
    // After a failure too, which to the client was the end already.
    client.didFinishLoading();
}

}  // namespace

bool NetworkInterceptor::canInit(const URLRequest& request) const {
    return !request.properties.contains(std::string(handledKey));
}

void NetworkInterceptor::startLoading(const URLRequest& request, std::shared_ptr<UrlProtocolClient> client) {
    logLine("📡 Intercepted Request: " + request.url.absoluteString());
    if (!request.headers.empty()) logLine("📝 Headers: " + textOf(request.headers));
    if (request.httpBody && isValidUTF8(*request.httpBody)) logLine("📦 Body: " + *request.httpBody);
    URLRequest copy = request;
    copy.properties.insert_or_assign(std::string(handledKey), "true");
    network_
        .dataTask(std::move(copy),
                  [client = std::move(client)](UrlSession::Result result) { giveOn(std::move(result), *client); })
        ->resume();
}

}  // namespace quorel
