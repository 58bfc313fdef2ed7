#include "engines/gstreamer/resource_loader.h"

#include <fmt/format.h>

#include <utility>

#include "engines/gstreamer/failure.h"
#include "engines/gstreamer/playlist_rewriting.h"

namespace quorel::gstreamer {
namespace {

constexpr int mostRedirects = 10;
// What a delegate may answer with; the network has the same limit.
constexpr std::size_t mostBytes = std::size_t{16} << 20;

ResourceLoader::Result judge(std::string data, const URLResponse& response) {
    const int status = response.statusCode.value_or(200);
    if (status >= 400) return ResourceLoader::Refusal{status};
    return ResourceLoader::Loaded{std::move(data), response.url};
}

}  // namespace

std::string ResourceLoader::Refusal::sentence(const std::string& what) const {
    if (reason.empty()) return describeStatus(what, status);
    return fmt::format("{} could not be loaded. {}", what, reason);
}

// A loading request for the delegate. One that nobody holds any more is as good as refused.
class ResourceLoader::Request final : public AVAssetResourceLoadingRequest,
                                      public AVAssetResourceLoadingDataRequest,
                                      public std::enable_shared_from_this<Request> {
public:
    struct Answer {
        std::string data;
        std::optional<URLResponse> response;
    };
    using Finish = std::function<void(std::variant<Answer, Refusal>)>;

    Request(const std::string& uri, Finish finish) : url_(URL::parse(uri)), finish_(std::move(finish)) {}
    ~Request() override {
        finishWith(Refusal{.reason = "The resource loader delegate dropped the request without an answer."});
    }

    std::optional<URL> request() const override { return url_; }
    void setResponse(URLResponse response) override {
        const std::lock_guard lock(mutex_);
        answer_.response = std::move(response);
    }
    std::shared_ptr<AVAssetResourceLoadingDataRequest> dataRequest() override { return shared_from_this(); }
    void respondWithData(std::string_view data) override {
        const std::lock_guard lock(mutex_);
        if (!finish_) return;
        tooLong_ = tooLong_ || data.size() > mostBytes - answer_.data.size();
        if (!tooLong_) answer_.data += data;
    }
    void finishLoading() override {
        std::unique_lock lock(mutex_);
        if (tooLong_) {
            lock.unlock();
            const URLError error(URLError::Code::dataLengthExceedsMaximum);
            finishWith(Refusal{.reason = error.what(), .isTemporary = false});
            return;
        }
        Answer answer = std::exchange(answer_, {});
        lock.unlock();
        finishWith(std::move(answer));
    }
    void finishLoadingWithError(const URLError& error) override {
        // What delegates say when they could do nothing with a reply, or have none.
        const bool isVague = error.code() == URLError::Code::cannotParseResponse;
        finishWith(Refusal{.reason = isVague ? "The resource loader delegate could not read it." : error.what(),
                           .isVague = isVague});
    }

    void finishWith(std::variant<Answer, Refusal> result) {
        std::unique_lock lock(mutex_);
        const Finish finish = std::exchange(finish_, nullptr);
        lock.unlock();
        if (finish) finish(std::move(result));
    }

private:
    const std::optional<URL> url_;
    std::mutex mutex_;
    Finish finish_;
    Answer answer_;
    bool tooLong_ = false;
};

class ResourceLoader::Running final : public Load, public std::enable_shared_from_this<Running> {
public:
    Running(std::shared_ptr<Door> door, double timeout, Completion completion)
        : door_(std::move(door)), timeout_(timeout), completion_(std::move(completion)) {}

    void begin(const std::string& uri) {
        if (const auto refusal = tryToBegin(uri)) finish(*refusal);
    }

    void cancel() override {
        std::unique_lock lock(mutex_);
        cancelled_ = true;
        const auto task = task_;
        lock.unlock();
        // The network's answer to that is the end. A delegate need not notice.
        if (task) return task->cancel();
        finish(refusal(URLError::Code::cancelled));
    }

private:
    static Refusal refusal(URLError::Code code) { return {.reason = URLError(code).what(), .isTemporary = false}; }

    std::optional<Refusal> tryToBegin(const std::string& uri) {
        const std::lock_guard door(door_->mutex);
        if (door_->loader == nullptr) return refusal(URLError::Code::cancelled);
        ResourceLoader& loader = *door_->loader;
        if (!goesOverHttp(uri)) {
            if (!loader.interceptor_) return refusal(URLError::Code::unsupportedURL);
            loader.ask(std::make_shared<Request>(
                uri, [self = shared_from_this(), uri](auto result) { self->onAnswer(uri, std::move(result)); }));
            return {};
        }
        const auto url = URL::parse(uri);
        if (!url) return refusal(URLError::Code::badURL);
        URLRequest request(*url);
        request.timeoutInterval = timeout_;
        const std::lock_guard lock(mutex_);
        if (cancelled_) return refusal(URLError::Code::cancelled);
        task_ = loader.session_.dataTask(
            request, [self = shared_from_this()](UrlSession::Result result) { self->onReply(std::move(result)); });
        task_->resume();
        return {};
    }

    void onReply(UrlSession::Result result) {
        if (auto* const error = std::get_if<std::exception_ptr>(&result)) {
            return finish(Refusal{.reason = localizedDescription(*error)});
        }
        auto& reply = std::get<DataAndResponse>(result);
        finish(judge(std::move(reply.data), reply.response));
    }

    void onAnswer(const std::string& uri, std::variant<Request::Answer, Refusal> result) {
        if (auto* const refusal = std::get_if<Refusal>(&result)) return finish(std::move(*refusal));
        auto& answer = std::get<Request::Answer>(result);
        const auto asked = URL::parse(uri);
        if (!asked) return finish(refusal(URLError::Code::badURL));
        const URLResponse response = answer.response.value_or(URLResponse{*asked, {}, {}});
        const int status = response.statusCode.value_or(200);
        const auto location = status >= 300 && status < 400 ? response.headers.value("Location") : std::nullopt;
        if (!location) return finish(judge(std::move(answer.data), response));
        const auto target = response.url.resolving(*location);
        if (!target || ++redirects_ > mostRedirects) {
            return finish(refusal(URLError::Code::tooManyRedirects));
        }
        begin(target->absoluteString());
    }

    void finish(Result result) {
        std::unique_lock lock(mutex_);
        const Completion completion = std::exchange(completion_, nullptr);
        task_ = nullptr;
        lock.unlock();
        if (completion) completion(std::move(result));
    }

    const std::shared_ptr<Door> door_;
    const double timeout_;
    std::mutex mutex_;
    Completion completion_;
    std::shared_ptr<UrlSessionDataTask> task_;
    bool cancelled_ = false;
    int redirects_ = 0;
};

ResourceLoader::ResourceLoader(UrlSession& session, ThreadPark& threads,
                               std::shared_ptr<ManifestInterceptor> interceptor)
    : session_(session), threads_(threads), interceptor_(std::move(interceptor)), door_(std::make_shared<Door>()) {
    door_->loader = this;
    if (interceptor_) queue_ = std::make_unique<SerialQueue>("quorel.engine.resourceloader");
}

// A delegate may be at work in the queue, and whoever lets go of the loader is not to wait for it.
ResourceLoader::~ResourceLoader() {
    {
        const std::lock_guard door(door_->mutex);
        door_->loader = nullptr;
    }
    if (queue_) threads_.run([queue = std::shared_ptr<SerialQueue>(std::move(queue_))] {});
}

std::string ResourceLoader::rootAddress(const std::string& source) const {
    const std::size_t separator = source.find("://");
    if (!interceptor_ || separator == std::string::npos) return source;
    return interceptor_->customScheme() + source.substr(separator + 3);
}

std::shared_ptr<ResourceLoader::Load> ResourceLoader::load(const std::string& uri, double timeout,
                                                           Completion completion) {
    auto running = std::make_shared<Running>(door_, timeout, std::move(completion));
    running->begin(uri);
    return running;
}

void ResourceLoader::ask(const std::shared_ptr<Request>& request) {
    queue_->post([interceptor = interceptor_, request] {
        bool taken = false;
        try {
            taken = interceptor->shouldWaitForLoadingOfRequestedResource(request);
        } catch (...) {
            request->finishWith(
                Refusal{.reason = localizedDescription(std::current_exception()), .isTemporary = false});
        }
        if (!taken) {
            request->finishWith(Refusal{.reason = "The resource loader delegate does not handle this address.",
                                        .isTemporary = false});
        }
    });
}

}  // namespace quorel::gstreamer
