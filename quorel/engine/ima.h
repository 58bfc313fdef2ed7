// The ad service boundary: request an ad tag, get a manager, start it, hear its events. Main thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "quorel/engine/export.h"
#include "quorel/ui/view.h"
#include "quorel/ui/view_controller.h"

namespace quorel {

// How an ad service speaks to the viewer.
struct QUOREL_VISIBLE IMASettings {
    std::string language = "en";  // RFC 5646 tag
    bool operator==(const IMASettings&) const = default;
};

// How ads are to be drawn; nothing can be set at present.
struct QUOREL_VISIBLE IMAAdsRenderingSettings {
    bool operator==(const IMAAdsRenderingSettings&) const = default;
};

// Why there are no ads.
struct QUOREL_VISIBLE IMAAdError {
    std::optional<std::string> message;
    bool operator==(const IMAAdError&) const = default;
};

// `type` is a number of the ad service's enumeration: after 13 the manager may be started, 6 and 8 end the ads.
struct QUOREL_VISIBLE IMAAdEvent {
    int type = 0;  // as above
    bool operator==(const IMAAdEvent&) const = default;
};

class QUOREL_VISIBLE IMAAdsManager;

// Hears of one manager. On an error the ads are over. The content is to stand still from the pause request to the
// resume request.
class QUOREL_VISIBLE IMAAdsManagerDelegate {
public:
    virtual ~IMAAdsManagerDelegate() = default;
    // See IMAAdEvent, IMAAdError and the class.
    virtual void adsManagerDidReceiveAdEvent(IMAAdsManager& manager, const IMAAdEvent& event) = 0;
    virtual void adsManagerDidReceiveAdError(IMAAdsManager& manager, const IMAAdError& error) = 0;
    virtual void adsManagerDidRequestContentPause(IMAAdsManager& manager) = 0;
    virtual void adsManagerDidRequestContentResume(IMAAdsManager& manager) = 0;
};

// Plays the ads of one request. No delegate call comes after destroy().
class QUOREL_VISIBLE IMAAdsManager {
public:
    virtual ~IMAAdsManager() = default;
    // Who hears of it; before the ads are initialised.
    virtual void setDelegate(std::weak_ptr<IMAAdsManagerDelegate> delegate) = 0;
    // Prepares the ads; event 13 tells when they can be started.
    virtual void initializeWithAdsRenderingSettings(const IMAAdsRenderingSettings& settings) = 0;
    // Shows the first ad.
    virtual void start() = 0;
    // Goes on with an ad that the device interrupted.
    virtual void resume() = 0;
    // Ends the ads, and lets go of the delegate.
    virtual void destroy() = 0;
};

// What a request brought: a manager that has not been started.
struct QUOREL_VISIBLE IMAAdsLoadedData {
    std::shared_ptr<IMAAdsManager> adsManager;
};

// What a request came to nothing by.
struct QUOREL_VISIBLE IMAAdLoadingErrorData {
    IMAAdError adError;
};

// An empty player that exists only to give the playhead something to watch.
class QUOREL_VISIBLE AVPlayer {
public:
    virtual ~AVPlayer() = default;
    // Nothing plays in it.
    virtual void pause() {}
};

// Where a service asks for the position in the content.
struct QUOREL_VISIBLE IMAAVPlayerContentPlayhead {
    std::shared_ptr<AVPlayer> avPlayer;
};

// Where the ads are drawn.
struct QUOREL_VISIBLE IMAAdDisplayContainer {
    std::shared_ptr<ui::View> adContainer;
    std::weak_ptr<ui::ViewController> viewController;
    std::optional<std::vector<std::shared_ptr<ui::View>>> companionSlots;
};

// One ad tag, and where its ads are shown.
struct QUOREL_VISIBLE IMAAdsRequest {
    std::string adTagUrl;
    IMAAdDisplayContainer adDisplayContainer;
    std::shared_ptr<IMAAVPlayerContentPlayhead> contentPlayhead;
};

class QUOREL_VISIBLE IMAAdsLoader;

// Hears of one loader.
class QUOREL_VISIBLE IMAAdsLoaderDelegate {
public:
    virtual ~IMAAdsLoaderDelegate() = default;
    // The one or the other answers a request.
    virtual void adsLoaderAdsLoadedWithData(IMAAdsLoader& loader, const IMAAdsLoadedData& data) = 0;
    virtual void adsLoaderFailedWithErrorData(IMAAdsLoader& loader, const IMAAdLoadingErrorData& data) = 0;
};

// Answers each request later, by exactly one of the delegate's operations, unless it is destroyed before.
class QUOREL_VISIBLE IMAAdsLoader {
public:
    virtual ~IMAAdsLoader() = default;
    // Who hears of it; before the request.
    virtual void setDelegate(std::weak_ptr<IMAAdsLoaderDelegate> delegate) = 0;
    // Returns at once.
    virtual void requestAdsWithRequest(const IMAAdsRequest& request) = 0;
};

// Makes loaders; what an ad service's room offers to the host, who hands it to the session.
class QUOREL_VISIBLE IMAFactory {
public:
    virtual ~IMAFactory() = default;
    // A loader for one player.
    virtual std::shared_ptr<IMAAdsLoader> makeAdsLoader(const IMASettings& settings) = 0;
};

}  // namespace quorel
