#include "quorel/foundation/url_session.h"

#include <curl/curl.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <exception>
#include <map>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "quorel/foundation/curl_transfer.h"

namespace quorel {
namespace {

UrlSession::Result failed(const URLError& error) {
    return std::make_exception_ptr(error);
}
UrlSession::Result cancelled() {
    return failed(URLError(URLError::Code::cancelled));
}

UrlSession::Result resultOf(CurlTransfer& transfer, CURLcode code) {
    try {
        return transfer.takeResult(code);
    } catch (...) {
        return std::current_exception();
    }
}

CURLM* openMulti() {
    static const bool ready = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    CURLM* multi = ready ? curl_multi_init() : nullptr;
    if (multi == nullptr) throw URLError(URLError::Code::unknown, "libcurl could not be started");
    // Out of descriptors it does without what wakes it, and would hear of a new load a minute later.
    if (curl_multi_wakeup(multi) != CURLM_OK) {
        curl_multi_cleanup(multi);
        throw URLError(URLError::Code::unknown, "libcurl could not be started: no descriptor left");
    }
    return multi;
}

}  // namespace

// Runs the loads on its thread. What other threads want of it they post; only the functions below "on the thread"
// touch the loads, and they alone call completions of loads that were started.
class UrlSession::Engine : public std::enable_shared_from_this<Engine> {
public:
    explicit Engine(Configuration configuration);
    ~Engine() { curl_multi_cleanup(multi_); }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    std::shared_ptr<UrlSessionDataTask> makeTask(URLRequest request, Completion completion);
    void registerProtocol(std::shared_ptr<UrlProtocol> protocol);
    void unregisterProtocol(const std::shared_ptr<UrlProtocol>& protocol);
    void stop();

private:
    class Load;
    class ProtocolClient;
    struct Running {
        std::shared_ptr<Load> load;
        std::unique_ptr<CurlTransfer> transfer;  // of a load by the network
        std::shared_ptr<UrlProtocol> protocol;   // of any other, with its client
        std::shared_ptr<ProtocolClient> client;
    };
    using RunningLoads = std::map<const Load*, Running>;

    // False, without effect, when the engine is stopping. Throws URLError, without effect, when it needs a thread and
    // the system gives none.
    bool post(std::function<void()> function);
    void wake();

    // On the thread:
    void run();
    void start(const std::shared_ptr<Load>& load);
    void startProtocol(Running& running, URLRequest request);
    void startTransfer(Running& running, URLRequest request);
    enum class Ending { natural, cut };  // a protocol whose load is cut is told to stop
    void end(const Load* load, Result result, Ending ending);
    bool readMessages();  // whether there was one
    void endWhatIsLate();
    int milliSecondsToNextDeadline();

    const Configuration configuration_;
    CURLM* const multi_;
    RunningLoads running_;

    std::mutex mutex_;
    std::vector<std::shared_ptr<UrlProtocol>> protocols_;
    std::vector<std::function<void()>> posted_;
    std::thread thread_;
    bool stopping_ = false;
};

// A task. Its completion is called once: on the engine's thread when the engine took the load, else by whoever
// was first to resume or cancel it.
class UrlSession::Engine::Load final : public UrlSessionDataTask, public std::enable_shared_from_this<Load> {
public:
    Load(std::weak_ptr<Engine> engine, URLRequest asked, Completion completion,
         std::vector<std::shared_ptr<UrlProtocol>> askedFirst)
        : request(std::move(asked)),
          protocols(std::move(askedFirst)),
          engine_(std::move(engine)),
          completion_(std::move(completion)) {}

    void resume() override {
        if (resumed_.exchange(true)) return;
        const std::shared_ptr<Engine> engine = engine_.lock();
        const auto start = [engine = engine.get(), self = shared_from_this()] { engine->start(self); };
        try {
            if (!engine || !engine->post(start)) complete(cancelled());
        } catch (const URLError& error) {
            complete(failed(error));
        }
    }

    void cancel() override {
        if (wasCancelled.exchange(true)) return;
        const std::shared_ptr<Engine> engine = engine_.lock();
        if (!resumed_.exchange(true)) {
            const auto end = [self = shared_from_this()] { self->complete(cancelled()); };
            try {
                if (!engine || !engine->post(end)) end();
            } catch (const URLError&) {
                end();
            }
        } else if (engine) {
            const auto end = [engine = engine.get(), self = shared_from_this()] {
                engine->end(self.get(), cancelled(), Ending::cut);
            };
            try {
                // Refused only by an engine that is about to cancel all by itself.
                engine->post(end);
            } catch (const URLError&) {
                // Without a thread this load has failed already.
            }
        }
    }

    void complete(Result result) {
        protocols.clear();
        if (const Completion completion = std::exchange(completion_, nullptr)) completion(std::move(result));
    }

    URLRequest request;  // until the load starts
    std::vector<std::shared_ptr<UrlProtocol>> protocols;
    std::atomic<bool> wasCancelled = false;

private:
    const std::weak_ptr<Engine> engine_;
    Completion completion_;
    std::atomic<bool> resumed_ = false;
};

class UrlSession::Engine::ProtocolClient final : public UrlProtocolClient {
public:
    ProtocolClient(std::weak_ptr<Engine> engine, const std::shared_ptr<Load>& load, std::uint64_t maximumBodySize)
        : engine_(std::move(engine)), load_(load), maximumBodySize_(maximumBodySize) {}

    void didReceiveResponse(URLResponse response) override {
        std::lock_guard lock(mutex_);
        if (!ended_ && !response_) response_ = std::move(response);
    }
    void didLoad(std::string_view data) override {
        std::unique_lock lock(mutex_);
        if (ended_) return;
        if (data.size() <= maximumBodySize_ - data_.size()) {
            data_ += data;
            return;
        }
        ended_ = true;
        lock.unlock();
        post(failed(URLError(URLError::Code::dataLengthExceedsMaximum)), Ending::cut);
    }
    void didFail(const URLError& error) override {
        if (takeEnd()) post(failed(error), Ending::natural);
    }
    void didFinishLoading() override {
        if (!takeEnd()) return;
        if (!response_) {
            post(failed(URLError(URLError::Code::unknown, "a protocol gave no response")), Ending::natural);
        } else {
            post(DataAndResponse{std::move(data_), std::move(*response_)}, Ending::natural);
        }
    }
    void ignoreWhatFollows() {
        if (takeEnd()) data_.clear();
    }

private:
    // Whoever gets true owns what was gathered.
    bool takeEnd() {
        std::lock_guard lock(mutex_);
        return !std::exchange(ended_, true);
    }
    void post(Result result, Ending ending) {
        const std::shared_ptr<Engine> engine = engine_.lock();
        if (!engine) return;
        engine->post([engine = engine.get(), load = load_, result = std::move(result), ending]() mutable {
            if (const std::shared_ptr<Load> alive = load.lock())
                engine->end(alive.get(), std::move(result), ending);
        });
    }

    const std::weak_ptr<Engine> engine_;
    const std::weak_ptr<Load> load_;
    const std::uint64_t maximumBodySize_;
    std::mutex mutex_;
    std::optional<URLResponse> response_;
    std::string data_;
    bool ended_ = false;
};

UrlSession::Engine::Engine(Configuration configuration)
    : configuration_(std::move(configuration)), multi_(openMulti()), protocols_(configuration_.protocols) {
    curl_multi_setopt(multi_, CURLMOPT_MAX_HOST_CONNECTIONS,
                      static_cast<long>(configuration_.maximumConnectionsPerHost));
}

std::shared_ptr<UrlSessionDataTask> UrlSession::Engine::makeTask(URLRequest request, Completion completion) {
    std::lock_guard lock(mutex_);
    return std::make_shared<Load>(weak_from_this(), std::move(request), std::move(completion), protocols_);
}

void UrlSession::Engine::registerProtocol(std::shared_ptr<UrlProtocol> protocol) {
    std::lock_guard lock(mutex_);
    protocols_.insert(protocols_.begin(), std::move(protocol));
}

void UrlSession::Engine::unregisterProtocol(const std::shared_ptr<UrlProtocol>& protocol) {
    std::lock_guard lock(mutex_);
    std::erase(protocols_, protocol);
}

// Whoever polls hears of nothing else for up to a minute, so one failure is not the last word.
void UrlSession::Engine::wake() {
    for (int tries = 3; tries > 0 && curl_multi_wakeup(multi_) != CURLM_OK; --tries) {
    }
}

bool UrlSession::Engine::post(std::function<void()> function) {
    std::lock_guard lock(mutex_);
    if (stopping_) return false;
    posted_.push_back(std::move(function));
    if (!thread_.joinable()) {
        try {
            thread_ = std::thread([self = shared_from_this()] { self->run(); });
        } catch (const std::system_error& error) {
            posted_.pop_back();
            throw URLError(URLError::Code::unknown, error.what());
        }
    }
    wake();
    return true;
}

void UrlSession::Engine::stop() {
    std::thread thread;
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
        thread.swap(thread_);
        wake();
    }
    if (!thread.joinable()) return;
    if (thread.get_id() == std::this_thread::get_id()) {
        thread.detach();  // it keeps the engine, and ends when the completion that it is in has returned
    } else {
        thread.join();
    }
}

void UrlSession::Engine::run() {
    // A connection that the server has closed must be an error, not the end of the process.
    sigset_t brokenPipe;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);

    for (bool last = false; !last;) {
        std::vector<std::function<void()>> functions;
        {
            std::lock_guard lock(mutex_);
            functions.swap(posted_);
            last = stopping_;
        }
        for (std::function<void()>& function : functions) {
            function();
            function = nullptr;
        }
        if (last) break;
        endWhatIsLate();
        // A load that ends lets one begin that waited for its connection. libcurl can lose the timer by which it
        // would notice (7.88, when the waiting one was added in the same millisecond), so it is asked again.
        do {
            int transfers = 0;
            curl_multi_perform(multi_, &transfers);
        } while (readMessages());
        curl_multi_poll(multi_, nullptr, 0, milliSecondsToNextDeadline(), nullptr);
    }
    while (!running_.empty()) end(running_.begin()->first, cancelled(), Ending::cut);
}

void UrlSession::Engine::start(const std::shared_ptr<Load>& load) {
    if (load->wasCancelled) {
        load->complete(cancelled());
        return;
    }
    Running& running = running_[load.get()];
    running.load = load;
    try {
        for (const std::shared_ptr<UrlProtocol>& protocol : load->protocols) {
            if (!protocol->canInit(load->request)) continue;
            running.protocol = protocol;
            break;
        }
        if (running.protocol)
            startProtocol(running, std::move(load->request));
        else
            startTransfer(running, std::move(load->request));
    } catch (...) {
        end(load.get(), std::current_exception(), Ending::natural);
    }
}

void UrlSession::Engine::startProtocol(Running& running, URLRequest request) {
    const std::shared_ptr<UrlProtocol> protocol = running.protocol;
    const auto client =
        std::make_shared<ProtocolClient>(weak_from_this(), running.load, configuration_.maximumBodySize);
    running.client = client;
    protocol->startLoading(protocol->canonicalRequest(std::move(request)), client);
}

void UrlSession::Engine::startTransfer(Running& running, URLRequest request) {
    running.transfer = std::make_unique<CurlTransfer>(configuration_, std::move(request));
    CURL* const handle = running.transfer->handle();
    curl_easy_setopt(handle, CURLOPT_PRIVATE, static_cast<void*>(running.load.get()));
    const CURLMcode code = curl_multi_add_handle(multi_, handle);
    if (code != CURLM_OK) throw URLError(URLError::Code::unknown, curl_multi_strerror(code));
}

void UrlSession::Engine::end(const Load* load, Result result, Ending ending) {
    // Taken out first: completions may start and cancel other loads.
    const auto node = running_.extract(load);
    if (node.empty()) return;
    Running& running = node.mapped();
    if (running.transfer) curl_multi_remove_handle(multi_, running.transfer->handle());
    if (running.client) running.client->ignoreWhatFollows();
    if (running.client && ending == Ending::cut) {
        try {
            running.protocol->stopLoading(running.client);
        } catch (...) {
            // The load ends all the same.
        }
    }
    running.load->complete(running.load->wasCancelled ? cancelled() : std::move(result));
}

bool UrlSession::Engine::readMessages() {
    bool any = false;
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
        any = true;
        if (message->msg != CURLMSG_DONE) continue;
        const CURLcode code = message->data.result;
        void* load = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &load);
        const auto found = running_.find(static_cast<const Load*>(load));
        if (found == running_.end()) continue;
        end(found->first, resultOf(*found->second.transfer, code), Ending::natural);
    }
    return any;
}

void UrlSession::Engine::endWhatIsLate() {
    const auto now = CurlTransfer::Clock::now();
    std::vector<const Load*> late;
    for (const auto& [load, running] : running_) {
        const auto deadline = running.transfer ? running.transfer->deadline() : std::nullopt;
        if (deadline && *deadline <= now) late.push_back(load);
    }
    for (const Load* load : late) {
        const auto found = running_.find(load);
        if (found != running_.end()) end(load, failed(found->second.transfer->timedOut()), Ending::cut);
    }
}

int UrlSession::Engine::milliSecondsToNextDeadline() {
    // While loads run, never long: whatever else libcurl may have lost, it finds when it is asked.
    const std::chrono::milliseconds longest = running_.empty() ? std::chrono::minutes(1) : std::chrono::seconds(1);
    const auto now = CurlTransfer::Clock::now();
    auto next = now + longest;
    for (const auto& [load, running] : running_) {
        const auto deadline = running.transfer ? running.transfer->deadline() : std::nullopt;
        if (deadline) next = std::clamp(*deadline, now, next);
    }
    return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(next - now).count());
}

UrlSession::UrlSession() : UrlSession(Configuration()) {}
UrlSession::UrlSession(Configuration configuration)
    : engine_(std::make_shared<Engine>(std::move(configuration))) {}
UrlSession::~UrlSession() {
    engine_->stop();
}

std::shared_ptr<UrlSessionDataTask> UrlSession::dataTask(URLRequest request, Completion completion) {
    return engine_->makeTask(std::move(request), std::move(completion));
}

CompletionAwaiter<DataAndResponse> UrlSession::data(URLRequest request) {
    return completionOf<DataAndResponse>(
        [engine = engine_, request = std::move(request)](Completion completion) mutable {
            engine->makeTask(std::move(request), std::move(completion))->resume();
        });
}

void UrlSession::registerProtocol(std::shared_ptr<UrlProtocol> protocol) {
    engine_->registerProtocol(std::move(protocol));
}
void UrlSession::unregisterProtocol(const std::shared_ptr<UrlProtocol>& protocol) {
    engine_->unregisterProtocol(protocol);
}

}  // namespace quorel
