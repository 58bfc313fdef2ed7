// Plays one ad tag over the content, through the ad service: what the player shows before a content whose first tag
// stands at its start.
//
//   auto ads = std::make_shared<AdPlayerViewController>(services.imaFactory);
//   ads->setOnAdFinished([weak] { ... });
//   ads->setVastTagURL("https://ads.example/tag");
//   screen->addSubview(ads->view());
//   ads->requestAds();
//
// An ad service that fails is one log line, and counts as ads that are over. Main run loop's thread only.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "quorel/engine/ima.h"
#include "quorel/player/export.h"
#include "quorel/ui/view.h"
#include "quorel/ui/view_controller.h"

namespace quorel {

class QUOREL_PLAYER_API AdPlayerViewController final : public ui::ViewController,
                                                       public IMAAdsLoaderDelegate,
                                                       public IMAAdsManagerDelegate {
public:
    explicit AdPlayerViewController(std::shared_ptr<IMAFactory> service) : service_(std::move(service)) {}

    // The tag to request; absent: requestAds() ends the preroll at once.
    void setVastTagURL(std::optional<std::string> url) { vastTagURL_ = std::move(url); }
    // Called each time the ads end or fail, also before requestAds() returns when there is no tag to request.
    void setOnAdFinished(std::function<void()> callback) { onAdFinished_ = std::move(callback); }

    // Once the view is there.
    void requestAds();
    // Ends the ads and takes their picture away.
    void finishAds();
    // Goes on with ads that the device interrupted; nothing before they are there.
    void resumeAds();
    // Ends the ads without a word to the callback, for a player that lets go of them.
    void abandonAds();

    void adsLoaderAdsLoadedWithData(IMAAdsLoader& loader, const IMAAdsLoadedData& data) override;
    void adsLoaderFailedWithErrorData(IMAAdsLoader& loader, const IMAAdLoadingErrorData& data) override;
    void adsManagerDidReceiveAdEvent(IMAAdsManager& manager, const IMAAdEvent& event) override;
    void adsManagerDidReceiveAdError(IMAAdsManager& manager, const IMAAdError& error) override;
    // The content does not play yet, so there is nothing to do.
    void adsManagerDidRequestContentPause(IMAAdsManager&) override {}
    void adsManagerDidRequestContentResume(IMAAdsManager&) override {}

protected:
    void viewDidLoad() override;

private:
    void setupAdContainer();
    void setupAdsLoader();
    std::shared_ptr<AdPlayerViewController> self();

    const std::shared_ptr<IMAFactory> service_;
    std::shared_ptr<ui::View> adContainerView_;
    std::shared_ptr<IMAAdsLoader> adsLoader_;
    std::shared_ptr<IMAAdsManager> adsManager_;
    std::shared_ptr<IMAAVPlayerContentPlayhead> contentPlayhead_;
    std::shared_ptr<AVPlayer> contentPlayer_;  // only gives the playhead something to watch
    std::optional<std::string> vastTagURL_;
    std::function<void()> onAdFinished_;
};

}  // namespace quorel
