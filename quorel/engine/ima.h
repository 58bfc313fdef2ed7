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

struct QUOREL_VISIBLE IMASettings {
    std::string language = "en";  // RFC 5646 tag
    bool operator==(const IMASettings&) const = default;
};

struct QUOREL_VISIBLE IMAAdsRenderingSettings {
    bool operator==(const IMAAdsRenderingSettings&) const = default;
};

struct QUOREL_VISIBLE IMAAdError {
    std::optional<std::string> message;
    bool operator==(const IMAAdError&) const = default;
};

// `type` is a number of the ad service's enumeration: after 13 the manager may be started, 6 and 8 end the ads.
struct QUOREL_VISIBLE IMAAdEvent {
    int type = 0;
    bool operator==(const IMAAdEvent&) const = default;
};

class QUOREL_VISIBLE IMAAdsManager;

class QUOREL_VISIBLE IMAAdsManagerDelegate {
public:
    virtual ~IMAAdsManagerDelegate() = default;
    virtual void adsManagerDidReceiveAdEvent(IMAAdsManager& manager, const IMAAdEvent& event) = 0;
    virtual void adsManagerDidReceiveAdError(IMAAdsManager& manager, const IMAAdError& error) = 0;
    virtual void adsManagerDidRequestContentPause(IMAAdsManager& manager) = 0;
    virtual void adsManagerDidRequestContentResume(IMAAdsManager& manager) = 0;
};

// Plays the ads of one request. No delegate call comes after destroy().
class QUOREL_VISIBLE IMAAdsManager {
public:
    virtual ~IMAAdsManager() = default;
    virtual void setDelegate(std::weak_ptr<IMAAdsManagerDelegate> delegate) = 0;
    virtual void initializeWithAdsRenderingSettings(const IMAAdsRenderingSettings& settings) = 0;
    virtual void start() = 0;
    virtual void resume() = 0;
    virtual void destroy() = 0;
};

struct QUOREL_VISIBLE IMAAdsLoadedData {
    std::shared_ptr<IMAAdsManager> adsManager;
};

struct QUOREL_VISIBLE IMAAdLoadingErrorData {
    IMAAdError adError;
};

// An empty player that exists only to give the playhead something to watch.
class QUOREL_VISIBLE AVPlayer {
public:
    virtual ~AVPlayer() = default;
    virtual void pause() {}
};

struct QUOREL_VISIBLE IMAAVPlayerContentPlayhead {
    std::shared_ptr<AVPlayer> avPlayer;
};

// Where the ads are drawn.
struct QUOREL_VISIBLE IMAAdDisplayContainer {
    std::shared_ptr<ui::View> adContainer;
    std::weak_ptr<ui::ViewController> viewController;
    std::optional<std::vector<std::shared_ptr<ui::View>>> companionSlots;
};

struct QUOREL_VISIBLE IMAAdsRequest {
    std::string adTagUrl;
    IMAAdDisplayContainer adDisplayContainer;
    std::shared_ptr<IMAAVPlayerContentPlayhead> contentPlayhead;
};

class QUOREL_VISIBLE IMAAdsLoader;

class QUOREL_VISIBLE IMAAdsLoaderDelegate {
public:
    virtual ~IMAAdsLoaderDelegate() = default;
    virtual void adsLoaderAdsLoadedWithData(IMAAdsLoader& loader, const IMAAdsLoadedData& data) = 0;
    virtual void adsLoaderFailedWithErrorData(IMAAdsLoader& loader, const IMAAdLoadingErrorData& data) = 0;
};

// Answers each request later, by exactly one of the delegate's operations, unless it is destroyed before.
class QUOREL_VISIBLE IMAAdsLoader {
public:
    virtual ~IMAAdsLoader() = default;
    virtual void setDelegate(std::weak_ptr<IMAAdsLoaderDelegate> delegate) = 0;
    virtual void requestAdsWithRequest(const IMAAdsRequest& request) = 0;
};

// Makes loaders; what an ad service's room offers to the host, who hands it to the session.
class QUOREL_VISIBLE IMAFactory {
public:
    virtual ~IMAFactory() = default;
    virtual std::shared_ptr<IMAAdsLoader> makeAdsLoader(const IMASettings& settings) = 0;
};

}  // namespace quorel
