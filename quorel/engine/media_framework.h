// What stands between an engine and the playlists it loads: manifest interception under a private URL scheme,
// the loading requests it brings, and the engine's own WebVTT reader and media cache.
//
// An engine whose developer settings hold an interceptor loads its source through the interceptor's scheme: it
// replaces the source's scheme and brings every request under a scheme that is neither http nor https to the
// delegate, on a queue of its own.
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/engine/export.h"
#include "quorel/engine/source_description.h"
#include "quorel/foundation/url.h"
#include "quorel/foundation/url_session.h"

namespace quorel {

// Where the body of an answer goes.
class QUOREL_VISIBLE AVAssetResourceLoadingDataRequest {
public:
    virtual ~AVAssetResourceLoadingDataRequest() = default;
    virtual void respondWithData(std::string_view data) = 0;  // appends; may come in pieces
};

// One request that waits for an answer. Any thread; finished once, by either of the finishing operations; what
// follows is ignored.
class QUOREL_VISIBLE AVAssetResourceLoadingRequest {
public:
    virtual ~AVAssetResourceLoadingRequest() = default;
    virtual std::optional<URL> request() const = 0;
    virtual void setResponse(URLResponse response) = 0;                            // before the data
    virtual std::shared_ptr<AVAssetResourceLoadingDataRequest> dataRequest() = 0;  // null when no data is wanted
    virtual void finishLoading() = 0;                                              // the answer is whole
    virtual void finishLoadingWithError(const URLError& error) = 0;                // there is none
};

// Called on the engine's queue. False means: not handled, the request will not be finished by the delegate.
class QUOREL_VISIBLE AVAssetResourceLoaderDelegate {
public:
    virtual ~AVAssetResourceLoaderDelegate() = default;
    // The first request for a resource, and one that asks for it again.
    virtual bool shouldWaitForLoadingOfRequestedResource(
        const std::shared_ptr<AVAssetResourceLoadingRequest>& request) = 0;
    virtual bool shouldWaitForRenewalOfRequestedResource(
        const std::shared_ptr<AVAssetResourceLoadingRequest>& request) = 0;
};

// A delegate that has its source asked for under a scheme of its own.
class QUOREL_VISIBLE ManifestInterceptor : public AVAssetResourceLoaderDelegate {
public:
    virtual std::string customScheme() const = 0;  // with "://"
};

// What stands between an engine, or a cache, and its playlists. An interceptor counts for the sources that are set
// from then on; null takes it away.
class QUOREL_VISIBLE DeveloperSettings {
public:
    virtual ~DeveloperSettings() = default;
    virtual std::shared_ptr<ManifestInterceptor> manifestInterceptor() const = 0;
    virtual void setManifestInterceptor(std::shared_ptr<ManifestInterceptor> interceptor) = 0;
};

// A cue as an engine's parser gives it.
struct QUOREL_VISIBLE WebVTTCue {
    std::string text;
    double startTime = 0;  // seconds
    double endTime = 0;    // seconds
    bool operator==(const WebVTTCue&) const = default;
};

// Takes a WebVTT file's URL and gives its text; the parser belongs to the engine.
class QUOREL_VISIBLE WebVTTParser {
public:
    virtual ~WebVTTParser() = default;
    // Loads a file and gives its text, or why there is none. On any thread, once.
    virtual void getVttContent(const std::string& urlString,
                               std::function<void(std::string content, std::exception_ptr error)> completion) = 0;
    // The cues of a text; none for what is no WebVTT.
    virtual std::vector<WebVTTCue> cues(std::string_view webVttContent) const = 0;
};

// A source that a cache keeps; ends with its last reference.
class QUOREL_VISIBLE CachingTask {
public:
    virtual ~CachingTask() = default;
};

// How a source is to be kept; nothing can be set at present.
struct QUOREL_VISIBLE CachingParameters {};

// Keeps sources for when there is no network. No engine here has one.
class QUOREL_VISIBLE Cache {
public:
    virtual ~Cache() = default;
    // Begins to keep a source.
    virtual std::shared_ptr<CachingTask> createTask(const SourceDescription& source,
                                                    const CachingParameters& parameters) = 0;
    virtual DeveloperSettings* developerSettings() = 0;  // may be null
};

}  // namespace quorel
