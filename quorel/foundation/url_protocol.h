// The seam between a request and the network: whatever wants to answer, watch or change loads of a UrlSession.
//
//   struct Canned : UrlProtocol {
//       bool canInit(const URLRequest& request) const override { return request.url.host() == "canned.test"; }
//       void startLoading(const URLRequest& request, std::shared_ptr<UrlProtocolClient> client) override {
//           client->didReceiveResponse({request.url, 200, {}});
//           client->didFinishLoading();
//       }
//   };
//   session.registerProtocol(std::make_shared<Canned>());
#pragma once

#include <memory>
#include <string_view>

#include "quorel/foundation/export.h"
#include "quorel/foundation/url_error.h"
#include "quorel/foundation/url_request.h"

namespace quorel {

// Told what a protocol's load gives: at most one response, then data in pieces, then exactly one end. What comes
// after the end, or after the task was cancelled, is ignored, also when the session is gone. An end without a
// response is a failed load. Any thread.
class QUOREL_VISIBLE UrlProtocolClient {
public:
    virtual ~UrlProtocolClient() = default;
    // Before the data; once.
    virtual void didReceiveResponse(URLResponse response) = 0;
    virtual void didLoad(std::string_view data) = 0;  // appends to the body
    virtual void didFail(const URLError& error) = 0;  // counts as the end
    virtual void didFinishLoading() = 0;              // the body is whole
};

// A way to answer requests, asked before the network. Its functions are called on the session's thread, which
// they must not block; one that throws fails the load with what it threw.
class QUOREL_VISIBLE UrlProtocol {
public:
    virtual ~UrlProtocol() = default;
    // The first registered protocol that says yes gets the request.
    virtual bool canInit(const URLRequest& request) const = 0;
    virtual URLRequest canonicalRequest(URLRequest request) const { return request; }
    // Starts one load and returns at once. `client` may be kept for as long as the load takes.
    virtual void startLoading(const URLRequest& request, std::shared_ptr<UrlProtocolClient> client) = 0;
    // The load of this client was cancelled or grew past the session's limit; what it still gives is ignored.
    virtual void stopLoading(const std::shared_ptr<UrlProtocolClient>& client) { (void)client; }
};

}  // namespace quorel
