// The client of the content backend: four authenticated reads with JSON replies. No cache and no retry.
//
//   try {
//       PlayerConfigModel config = co_await api.fetchPlayerConfig("film-1");
//   } catch (const APIError& error) { ... }       // what the backend said
//   catch (const URLError& error) { ... }         // what the network said
//
// Instances do not change after they are made, so the operations may be awaited from any executor. Each reads the
// session's token on the main loop when it runs, waits and decodes on the background executor, and gives its
// result where its caller lives. The client and its session must outlive the operations.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "quorel/foundation/task.h"
#include "quorel/foundation/url.h"
#include "quorel/foundation/url_session.h"
#include "quorel/session/api_error.h"
#include "quorel/session/export.h"
#include "quorel/session/models.h"
#include "quorel/session/quorel.h"

namespace quorel {

class QUOREL_SESSION_API QuorelAPI {
public:
    // The client of Quorel::shared(), made by the first call, with the base URLs that the library was built with.
    static QuorelAPI& shared();

    // A text that is no URL is a programming error and stops the process. `baseURL` ends with "/".
    explicit QuorelAPI(Quorel& session, std::string_view baseURL = defaultBaseURL(),
                       std::string_view vantorURL = defaultVantorURL());
    QuorelAPI(const QuorelAPI&) = delete;
    QuorelAPI& operator=(const QuorelAPI&) = delete;

    // The cache variables QUOREL_API_BASE_URL and QUOREL_VANTOR_BASE_URL of the build.
    static std::string_view defaultBaseURL();
    static std::string_view defaultVantorURL();

    const URL& baseURL() const { return baseURL_; }
    const URL& vantorURL() const { return vantorURL_; }  // of a second backend, which no operation asks yet

    // Each throws APIError, or the URLError of a load that gave no reply (cancelled: the session has no services). An id
    // is appended as plain text; a "/" in it makes further path segments.
    Task<PlayerConfigModel> fetchPlayerConfig(std::string id) const;
    Task<PlayerStatus> fetchLiveStatus(std::string id) const;
    Task<VideoDetailModel> fetchVideoDetail(std::string id) const;
    Task<LiveStreamDetailModel> fetchLiveStreamDetails(std::string id) const;

private:
    template <class Model>
    Task<Model> fetch(std::string path) const;
    template <class Model>
    static Task<Model> sendRequest(std::weak_ptr<UrlSession> urlSession, URLRequest request);

    Quorel& session_;
    URL baseURL_;
    URL vantorURL_;
};

}  // namespace quorel
