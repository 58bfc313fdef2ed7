// Private to this room. Loads what a source is made of: addresses of HTTP from the network, all others by the source's
// resource loader delegate, as loading requests on a queue of the engine's own.
//
//   auto loader = std::make_shared<ResourceLoader>(session, threads, interceptor);
//   auto load = loader->load(loader->rootAddress(source), 10, [](ResourceLoader::Result result) { ... });
//   ... load->cancel() ...
//
// Any thread.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <variant>

#include "engines/gstreamer/engine_thread.h"
#include "quorel/engine/media_framework.h"
#include "quorel/foundation/dispatch.h"
#include "quorel/foundation/url_session.h"

namespace quorel::gstreamer {

class ResourceLoader {
public:
    struct Loaded {
        std::string data;
        URL url;  // where it came from, redirects followed
    };
    struct Refusal {
        int status = 502;         // of HTTP
        std::string reason{};     // a sentence; empty when the status says it
        bool isTemporary = true;  // trying again may help
        bool isVague = false;     // the reason is none that helps a person

        // "The stream <url> was not found (404)." and the like; `what` is its beginning.
        std::string sentence(const std::string& what) const;
    };
    using Result = std::variant<Loaded, Refusal>;
    using Completion = std::function<void(Result)>;

    class Load {
    public:
        virtual ~Load() = default;
        // The completion comes with a refusal, if it has not come yet; it may do so before this returns.
        virtual void cancel() = 0;
    };

    // The interceptor may be null. Both others outlive the loader; its loads may not, and end with the session.
    ResourceLoader(UrlSession& session, ThreadPark& threads, std::shared_ptr<ManifestInterceptor> interceptor);
    ~ResourceLoader();
    ResourceLoader(const ResourceLoader&) = delete;
    ResourceLoader& operator=(const ResourceLoader&) = delete;

    bool intercepts() const { return interceptor_ != nullptr; }
    // The source's own address, or the one under which the interceptor is asked for it: the scheme is replaced, and
    // what follows "://" stays as it is.
    std::string rootAddress(const std::string& source) const;

    // Redirects are followed, also those that a delegate answers with (status 3xx and Location). `timeout` in seconds
    // without progress, for the network; who waits for a delegate looks at the clock himself. The completion comes
    // once, on any thread, and must not block it.
    std::shared_ptr<Load> load(const std::string& uri, double timeout, Completion completion);

private:
    class Running;
    class Request;
    // What a load looks at to see whether the loader is still there: a delegate answers when it likes.
    struct Door {
        std::mutex mutex;
        ResourceLoader* loader;  // null when it is gone
    };
    void ask(const std::shared_ptr<Request>& request);

    UrlSession& session_;
    ThreadPark& threads_;
    const std::shared_ptr<ManifestInterceptor> interceptor_;
    const std::shared_ptr<Door> door_;
    std::unique_ptr<SerialQueue> queue_;
};

}  // namespace quorel::gstreamer
