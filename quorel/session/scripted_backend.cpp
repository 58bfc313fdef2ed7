#include "quorel/session/scripted_backend.h"

#include "quorel/foundation/url.h"

namespace quorel {

ScriptedBackend::ScriptedBackend(std::string baseURL) : baseURL_(std::move(baseURL)) {}

std::string ScriptedBackend::pathOf(const URLRequest& request) const {
    return request.url.absoluteString().substr(baseURL_.size());
}

void ScriptedBackend::setAnswer(const std::string& path, Answer answer) {
    std::lock_guard lock(mutex_);
    answers_[path] = std::move(answer);
}

void ScriptedBackend::reply(const std::string& path, int status, std::string body) {
    setAnswer(path, {status, std::move(body), std::nullopt});
}

void ScriptedBackend::replyWithoutHTTP(const std::string& path, std::string body) {
    setAnswer(path, {std::nullopt, std::move(body), std::nullopt});
}

void ScriptedBackend::fail(const std::string& path, URLError::Code code) {
    setAnswer(path, {std::nullopt, {}, code});
}

void ScriptedBackend::hold(const std::string& path) {
    std::lock_guard lock(mutex_);
    held_.try_emplace(path);
}

void ScriptedBackend::release(const std::string& path) {
    std::vector<Waiting> waiting;
    {
        std::lock_guard lock(mutex_);
        if (auto node = held_.extract(path)) waiting = std::move(node.mapped());
    }
    for (const auto& [request, client] : waiting) tell(request, *client);
}

std::vector<URLRequest> ScriptedBackend::requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
}

std::vector<std::string> ScriptedBackend::paths() const {
    std::vector<std::string> result;
    for (const URLRequest& request : requests()) result.push_back(pathOf(request));
    return result;
}

void ScriptedBackend::forgetRequests() {
    const std::lock_guard lock(mutex_);
    requests_.clear();
}

bool ScriptedBackend::canInit(const URLRequest& request) const {
    return request.url.absoluteString().starts_with(baseURL_);
}

void ScriptedBackend::startLoading(const URLRequest& request, std::shared_ptr<UrlProtocolClient> client) {
    {
        std::lock_guard lock(mutex_);
        requests_.push_back(request);
        const auto held = held_.find(pathOf(request));
        if (held != held_.end()) {
            held->second.emplace_back(request, std::move(client));
            return;
        }
    }
    tell(request, *client);
}

void ScriptedBackend::tell(const URLRequest& request, UrlProtocolClient& client) const {
    Answer answer;
    {
        std::lock_guard lock(mutex_);
        const auto found = answers_.find(pathOf(request));
        if (found != answers_.end()) answer = found->second;
    }
    if (answer.failure) {
        client.didFail(URLError(*answer.failure));
        return;
    }
    client.didReceiveResponse(URLResponse{request.url, answer.status, {}});
    client.didLoad(answer.body);
    client.didFinishLoading();
}

}  // namespace quorel
