// A backend that says what a test wrote for it, in place of the network; for this SDK's tests and for those of
// applications.
//
//   auto backend = std::make_shared<ScriptedBackend>("https://api.quorel.example/v1/");
//   backend->reply("players/configuration/film-1", 200, R"({"title":"Film", ...})");
//   services.urlSession->registerProtocol(backend);
//   ...
//   EXPECT_EQ(backend->paths(), (std::vector<std::string>{"players/configuration/film-1", "videos/film-1"}));
//
// Any thread.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "quorel/foundation/url_error.h"
#include "quorel/foundation/url_protocol.h"
#include "quorel/foundation/url_request.h"
#include "quorel/foundation/url_session.h"
#include "quorel/session/export.h"

namespace quorel {

class QUOREL_SESSION_API ScriptedBackend final : public UrlProtocol {
public:
    // Takes every request whose URL begins with `baseURL`; paths below are what follows it. A path without a
    // script is answered with status 404.
    explicit ScriptedBackend(std::string baseURL);

    // From now on, and also for held requests that are let go later.
    void reply(const std::string& path, int status, std::string body);
    void replyWithoutHTTP(const std::string& path, std::string body);
    void fail(const std::string& path, URLError::Code code);

    // Requests for the path wait until release() lets go of all of them and of those to come.
    void hold(const std::string& path);
    void release(const std::string& path);

    // What was asked so far, in the order of arrival.
    std::vector<URLRequest> requests() const;
    std::vector<std::string> paths() const;
    void forgetRequests();

    bool canInit(const URLRequest& request) const override;
    void startLoading(const URLRequest& request, std::shared_ptr<UrlProtocolClient> client) override;

private:
    struct Answer {
        std::optional<int> status = 404;
        std::string body;
        std::optional<URLError::Code> failure;
    };
    using Waiting = std::pair<URLRequest, std::shared_ptr<UrlProtocolClient>>;

    std::string pathOf(const URLRequest& request) const;
    void setAnswer(const std::string& path, Answer answer);
    void tell(const URLRequest& request, UrlProtocolClient& client) const;

    const std::string baseURL_;
    mutable std::mutex mutex_;
    std::map<std::string, Answer> answers_;
    std::map<std::string, std::vector<Waiting>> held_;
    std::vector<URLRequest> requests_;
};

}  // namespace quorel
