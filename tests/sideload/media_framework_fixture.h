// An origin behind a session, and a media framework that brings requests under private schemes to a delegate.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>

#include "quorel/engine/media_framework.h"
#include "quorel/foundation/log.h"
#include "quorel/foundation/url_session.h"

namespace quorel::testing {

// https://origin.test: gives what it was told to, by path. "/hang/..." is never answered.
class Origin final : public UrlProtocol {
public:
    void serve(const std::string& path, std::string body) { bodies_[path] = std::move(body); }
    void redirect(const std::string& path, std::string to) { redirects_[path] = std::move(to); }
    void waitForHanging(int count) {
        std::unique_lock lock(mutex_);
        ASSERT_TRUE(changed_.wait_for(lock, std::chrono::seconds(30), [&] { return hung_ >= count; }));
    }
    // Until nobody waits for them any more.
    void waitForAbandonment() {
        std::unique_lock lock(mutex_);
        ASSERT_TRUE(changed_.wait_for(lock, std::chrono::seconds(30), [&] { return hanging_.empty(); }));
    }

    bool canInit(const URLRequest& request) const override { return request.url.host() == "origin.test"; }
    void startLoading(const URLRequest& request, std::shared_ptr<UrlProtocolClient> client) override {
        const std::string& text = request.url.absoluteString();
        std::string path = text.substr(text.find('/', 8), text.find('?') - text.find('/', 8));
        if (path.starts_with("/hang/")) {
            const std::lock_guard lock(mutex_);
            hanging_.insert(client);
            ++hung_;
            return changed_.notify_all();
        }
        URL from = request.url;
        if (const auto to = redirects_.find(path); to != redirects_.end()) {
            path = to->second;
            from = *URL::parse("https://origin.test" + path);
        }
        const auto body = bodies_.find(path);
        HTTPHeaders headers;
        headers.add("Server", "origin");
        client->didReceiveResponse({from, body != bodies_.end() ? 200 : 404, headers});
        if (body != bodies_.end()) client->didLoad(body->second);
        client->didFinishLoading();
    }

    void stopLoading(const std::shared_ptr<UrlProtocolClient>& client) override {
        const std::lock_guard lock(mutex_);
        hanging_.erase(client);
        changed_.notify_all();
    }

private:
    std::map<std::string, std::string> bodies_, redirects_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::set<std::shared_ptr<UrlProtocolClient>> hanging_;
    int hung_ = 0;
};

// What became of one request.
struct Loaded {
    bool handled = false;
    std::string body;
    std::string from;  // URL of the response
    std::optional<URLError::Code> error;
};

class LoadingRequest final : public AVAssetResourceLoadingRequest,
                             public AVAssetResourceLoadingDataRequest,
                             public std::enable_shared_from_this<LoadingRequest> {
public:
    explicit LoadingRequest(std::optional<URL> url) : url_(std::move(url)) {}

    std::optional<URL> request() const override { return url_; }
    void setResponse(URLResponse response) override {
        EXPECT_EQ(response.statusCode, 200);
        EXPECT_TRUE(response.headers.empty());
        loaded_.from = response.url.absoluteString();
    }
    std::shared_ptr<AVAssetResourceLoadingDataRequest> dataRequest() override { return shared_from_this(); }
    void respondWithData(std::string_view data) override { loaded_.body += data; }
    void finishLoading() override { done_.set_value(); }
    void finishLoadingWithError(const URLError& error) override {
        loaded_.error = error.code();
        done_.set_value();
    }
    Loaded wait(bool handled) {
        loaded_.handled = handled;
        const auto state = done_.get_future().wait_for(std::chrono::seconds(handled ? 30 : 0));
        EXPECT_TRUE(!handled || state == std::future_status::ready) << url_->absoluteString();
        return loaded_;
    }

private:
    const std::optional<URL> url_;
    std::promise<void> done_;
    Loaded loaded_;
};

inline Loaded load(ManifestInterceptor& delegate, const std::string& url) {
    const auto request = std::make_shared<LoadingRequest>(URL::parse(url));
    return request->wait(delegate.shouldWaitForLoadingOfRequestedResource(request));
}

inline std::string fetch(UrlSession& session, const std::string& url) {
    std::promise<std::string> body;
    session
        .dataTask(URLRequest(*URL::parse(url)),
                  [&](UrlSession::Result result) {
                      const auto* reply = std::get_if<DataAndResponse>(&result);
                      body.set_value(reply != nullptr ? reply->data : "failed");
                  })
        ->resume();
    return body.get_future().get();
}

// The text between `before` and `after`, behind the first `anchor`.
inline std::string cut(const std::string& text, const std::string& anchor, const std::string& before,
                       const std::string& after) {
    const std::size_t from = text.find(before, text.find(anchor));
    if (from == std::string::npos) return "";
    const std::size_t start = from + before.size();
    return text.substr(start, text.find(after, start) - start);
}

class SideloadTest : public ::testing::Test {
protected:
    SideloadTest() { session->registerProtocol(origin); }

    const std::shared_ptr<Origin> origin = std::make_shared<Origin>();
    const std::shared_ptr<UrlSession> session = std::make_shared<UrlSession>();
};

}  // namespace quorel::testing
