#include "engines/simulated/manifest_request.h"

#include <utility>

namespace quorel::simulated {

ManifestRequest::ManifestRequest(URL url, std::shared_ptr<RunLoop> loop, Completion completion)
    : url_(std::move(url)), loop_(std::move(loop)), completion_(std::move(completion)) {}

ManifestRequest::~ManifestRequest() {
    finishWithProblem("let go of it without an answer.");
}

void ManifestRequest::respondWithData(std::string_view data) {
    const std::lock_guard lock(mutex_);
    if (completion_) data_.append(data);
}

void ManifestRequest::finishLoading() {
    Completion completion;
    ManifestAnswer answer;
    {
        const std::lock_guard lock(mutex_);
        completion = std::exchange(completion_, nullptr);
        answer.data = std::move(data_);
    }
    if (!completion) return;
    if (answer.data.empty()) answer.problem = "answered without any data.";
    loop_->post([completion = std::move(completion), answer = std::move(answer)] { completion(answer); });
}

void ManifestRequest::finishLoadingWithError(const URLError& error) {
    finishWithProblem("failed: " + error.localizedDescription());
}

void ManifestRequest::finishWithProblem(std::string problem) {
    Completion completion;
    {
        const std::lock_guard lock(mutex_);
        completion = std::exchange(completion_, nullptr);
        data_.clear();
    }
    if (!completion) return;
    loop_->post([completion = std::move(completion), problem = std::move(problem)] { completion({{}, problem}); });
}

}  // namespace quorel::simulated
