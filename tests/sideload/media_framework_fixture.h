// An origin on real sockets, a session that reaches it as https://origin.test, and a media framework that brings
// requests under private schemes to a delegate.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "quorel/engine/media_framework.h"
#include "quorel/foundation/log.h"
#include "quorel/httpserver/http_server.h"

namespace quorel::testing {

// Serves what it is given, by path. "/hang/..." is not answered before the origin ends.
class Origin {
public:
    Origin() {
        server_->listenAddressIPv4 = "127.0.0.1";
        server_->notFoundHandler = [this](http::HttpRequest& request) { return answer(request.path); };
        server_->start(0, true);
    }
    ~Origin() {
        {
            const std::lock_guard lock(mutex_);
            ended_ = true;
        }
        changed_.notify_all();
        server_->stop();
    }

    std::string address() const { return "http://127.0.0.1:" + std::to_string(server_->port()); }
    void serve(const std::string& path, std::string body) { bodies_[path] = std::move(body); }
    void redirect(const std::string& path, std::string to) { redirects_[path] = std::move(to); }
    void waitForHanging(int count) {
        std::unique_lock lock(mutex_);
        ASSERT_TRUE(changed_.wait_for(lock, std::chrono::seconds(30), [&] { return hanging_ >= count; }));
    }

private:
    http::HttpResponse answer(const std::string& path) {
        if (path.starts_with("/hang/")) {
            std::unique_lock lock(mutex_);
            ++hanging_;
            changed_.notify_all();
            changed_.wait(lock, [this] { return ended_; });
        }
        if (const auto to = redirects_.find(path); to != redirects_.end())
            return http::HttpResponse::movedTemporarily(to->second);
        const auto body = bodies_.find(path);
        if (body == bodies_.end()) return http::HttpResponse::notFound();
        return http::HttpResponse::ok(http::HttpResponseBody::text(body->second));
    }

    const std::shared_ptr<http::HttpServer> server_ = std::make_shared<http::HttpServer>();
    std::map<std::string, std::string> bodies_, redirects_;
    std::mutex mutex_;
    std::condition_variable changed_;
    int hanging_ = 0;
    bool ended_ = false;
};

// Takes https requests for origin.test over http to the origin, and tells of redirects as if they were on https.
class OriginProtocol final : public UrlProtocol {
public:
    OriginProtocol(std::string address, UrlSession& network) : address_(std::move(address)), network_(network) {}

    bool canInit(const URLRequest& request) const override { return request.url.host() == "origin.test"; }
    void startLoading(const URLRequest& request, std::shared_ptr<UrlProtocolClient> client) override {
        const std::string& text = request.url.absoluteString();
        const auto url = URL::parse(address_ + text.substr(text.find('/', 8)));
        const auto task =
            network_.dataTask(URLRequest(*url), [address = address_, client](UrlSession::Result result) {
                auto* reply = std::get_if<DataAndResponse>(&result);
                if (reply == nullptr) return client->didFail(URLError(URLError::Code::networkConnectionLost));
                const std::string from = reply->response.url.absoluteString().substr(address.size());
                reply->response.url = *URL::parse("https://origin.test" + from);
                client->didReceiveResponse(reply->response);
                client->didLoad(reply->data);
                client->didFinishLoading();
            });
        {
            const std::lock_guard lock(mutex_);
            tasks_[client] = task;
        }
        task->resume();
    }
    void stopLoading(const std::shared_ptr<UrlProtocolClient>& client) override {
        const std::lock_guard lock(mutex_);
        if (const auto task = tasks_.extract(client)) task.mapped()->cancel();
    }

private:
    const std::string address_;
    std::mutex mutex_;
    std::map<std::shared_ptr<UrlProtocolClient>, std::shared_ptr<UrlSessionDataTask>> tasks_;
    UrlSession& network_;
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

// The session that goes out for the other one ends after it.
struct Network {
    explicit Network(const Origin& origin) {
        session->registerProtocol(std::make_shared<OriginProtocol>(origin.address(), outside));
    }
    UrlSession outside;
    const std::shared_ptr<UrlSession> session = std::make_shared<UrlSession>();
};

class SideloadTest : public ::testing::Test {
protected:
    Origin origin;
    Network network{origin};
    const std::shared_ptr<UrlSession>& session = network.session;
};

}  // namespace quorel::testing
