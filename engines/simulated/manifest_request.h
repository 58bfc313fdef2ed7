// Private to this room. The request that the simulated engine brings to a manifest interceptor.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "quorel/engine/media_framework.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/foundation/url.h"
#include "quorel/foundation/url_error.h"
#include "quorel/foundation/url_request.h"

namespace quorel::simulated {

struct ManifestAnswer {
    std::string data;
    std::optional<std::string> problem;  // why there is none, as the end of a sentence
};

class ManifestRequest final : public AVAssetResourceLoadingRequest,
                              public AVAssetResourceLoadingDataRequest,
                              public std::enable_shared_from_this<ManifestRequest> {
public:
    using Completion = std::function<void(ManifestAnswer)>;

    // `completion` runs once on the loop, also when the request is released without an answer.
    ManifestRequest(URL url, std::shared_ptr<RunLoop> loop, Completion completion);
    ~ManifestRequest() override;

    std::optional<URL> request() const override { return url_; }
    void setResponse(URLResponse) override {}  // a simulated source plays whatever its type
    std::shared_ptr<AVAssetResourceLoadingDataRequest> dataRequest() override { return shared_from_this(); }
    void respondWithData(std::string_view data) override;
    void finishLoading() override;
    void finishLoadingWithError(const URLError& error) override;
    // For the engine, when the delegate refused.
    void finishWithProblem(std::string problem);

private:
    const URL url_;
    const std::shared_ptr<RunLoop> loop_;
    std::mutex mutex_;
    std::string data_;
    Completion completion_;  // empty once finished
};

}  // namespace quorel::simulated
