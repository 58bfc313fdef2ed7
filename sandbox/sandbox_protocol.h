// Brings the requests for some hosts to a server elsewhere: "https://api.example/v1/x" is asked of
// "http://127.0.0.1:8080/v1/x". Everything else of the request, and the reply, stay as they are; the reply's URL
// is the one that was asked for. The server's own address is taken with "https" too: sideloading asks for the master
// playlist of every stream so, and the sandbox speaks no TLS. That is like a redirect: the reply has the URL with
// "http", so that what a playlist names is asked for without TLS.
//
//   auto network = std::make_shared<UrlSession>();
//   session.registerProtocol(std::make_shared<SandboxProtocol>(*URL::parse("http://127.0.0.1:8080"), network));
//
// Any thread.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "quorel/foundation/url.h"
#include "quorel/foundation/url_protocol.h"
#include "quorel/foundation/url_request.h"
#include "quorel/foundation/url_session.h"

namespace quorel::sandbox {

class SandboxProtocol final : public UrlProtocol {
public:
    // The hosts of the SDK's backends and of its analytics, as this library was built.
    static std::vector<std::string> serviceHosts();

    // `server` gives the scheme, host and port to go to; a path of it is put before the request's. `network` is what
    // the requests go out by, and belongs to somebody else: once it is gone, they fail. (The last reference to a
    // protocol may go on a thread of that very session, which must not end its own session.)
    SandboxProtocol(URL server, const std::shared_ptr<UrlSession>& network,
                    std::vector<std::string> hosts = serviceHosts());

    bool canInit(const URLRequest& request) const override;
    void startLoading(const URLRequest& request, std::shared_ptr<UrlProtocolClient> client) override;
    void stopLoading(const std::shared_ptr<UrlProtocolClient>& client) override;

private:
    bool isServer(const URL& url) const;

    struct Loads {
        std::mutex mutex;
        std::map<std::shared_ptr<UrlProtocolClient>, std::shared_ptr<UrlSessionDataTask>> byClient;
    };

    const URL server_;
    const std::vector<std::string> hosts_;
    const std::shared_ptr<Loads> loads_ = std::make_shared<Loads>();
    const std::weak_ptr<UrlSession> network_;
};

}  // namespace quorel::sandbox
