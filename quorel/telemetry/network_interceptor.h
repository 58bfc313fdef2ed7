// Shows a developer what goes over the network: prints each request and its response, and passes both on unchanged.
// Nothing registers it; a debugging build does:
//
//   services.urlSession->registerProtocol(std::make_shared<NetworkInterceptor>());
//
// Registered last it is asked first, and takes every request. Its own copies go out by a session of its own, which no
// other protocol sees; so what another protocol would answer is to be watched behind that one. Responses are held
// whole and given on in one piece, without a way to stop: not for production traffic. Header fields are printed as
// they are, bearer tokens among them.
//
// Any thread.
#pragma once

#include <memory>
#include <string_view>

#include "quorel/foundation/url_protocol.h"
#include "quorel/foundation/url_request.h"
#include "quorel/foundation/url_session.h"
#include "quorel/telemetry/export.h"

namespace quorel {

class QUOREL_TELEMETRY_API NetworkInterceptor final : public UrlProtocol {
public:
    // A request with this property is an interceptor's own copy, and is not intercepted again.
    static constexpr std::string_view handledKey = "NetworkInterceptorHandled";

    bool canInit(const URLRequest& request) const override;
    void startLoading(const URLRequest& request, std::shared_ptr<UrlProtocolClient> client) override;
    // A load that is cancelled runs on to its end, and its result still goes to the client.
    void stopLoading(const std::shared_ptr<UrlProtocolClient>&) override {}

private:
    // One for all loads, so that they share connections. It ends with the interceptor, and with it what still runs.
    UrlSession network_;
};

}  // namespace quorel
