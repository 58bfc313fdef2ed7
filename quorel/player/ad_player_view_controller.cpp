#include "quorel/player/ad_player_view_controller.h"

#include <vector>

#include "quorel/foundation/log.h"
#include "quorel/ui/geometry.h"

namespace quorel {
namespace {

// The numbers of the ad service's events that matter here.
constexpr int adsReady = 13;
constexpr int adsEnded = 6;
constexpr int adsGivenUp = 8;

std::string described(const std::optional<std::string>& message) {
    if (!message) return "nil";
    std::string text = "Optional(\"";
    for (const char c : *message) {
        switch (c) {
            case '\n':
                text += "\\n";
                break;
            case '\r':
                text += "\\r";
                break;
            case '"':
            case '\\':
                text += '\\';
                [[fallthrough]];
            default:
                text += c;
        }
    }
    return text + "\")";
}

}  // namespace

std::shared_ptr<AdPlayerViewController> AdPlayerViewController::self() {
    return std::static_pointer_cast<AdPlayerViewController>(shared_from_this());
}

void AdPlayerViewController::viewDidLoad() {
    setupAdContainer();
    setupAdsLoader();
}

void AdPlayerViewController::setupAdContainer() {
    adContainerView_ = ui::View::make();
    adContainerView_->setFrame(view()->bounds());
    adContainerView_->setBackgroundColor(ui::Color::black());
    adContainerView_->setAccessibilityName("Ads");
    view()->addSubview(adContainerView_);
    adContainerView_->pinToSuperviewEdges();
}

void AdPlayerViewController::setupAdsLoader() {
    IMASettings settings;
    settings.language = "pt-BR";
    adsLoader_ = service_->makeAdsLoader(settings);
    adsLoader_->setDelegate(self());
    contentPlayer_ = std::make_shared<AVPlayer>();
    contentPlayhead_ = std::make_shared<IMAAVPlayerContentPlayhead>(IMAAVPlayerContentPlayhead{contentPlayer_});
}

void AdPlayerViewController::requestAds() {
    const IMAAdDisplayContainer container{adContainerView_, self(), std::nullopt};
    if (!vastTagURL_) return finishAds();
    adsLoader_->requestAdsWithRequest({*vastTagURL_, container, contentPlayhead_});
}

void AdPlayerViewController::finishAds() {
    const auto keep = self();  // the callback lets go of it
    if (const auto manager = std::exchange(adsManager_, nullptr)) manager->destroy();
    if (adContainerView_) adContainerView_->removeFromSuperview();
    // Deliberately not cleared: whoever finishes twice is told twice.
    if (const auto callback = onAdFinished_) callback();
}

void AdPlayerViewController::resumeAds() {
    if (const auto manager = adsManager_) manager->resume();
}

void AdPlayerViewController::abandonAds() {
    if (const auto manager = std::exchange(adsManager_, nullptr)) manager->destroy();
    if (contentPlayer_) contentPlayer_->pause();
}

void AdPlayerViewController::adsLoaderAdsLoadedWithData(IMAAdsLoader&, const IMAAdsLoadedData& data) {
    adsManager_ = data.adsManager;
    if (!adsManager_) return;
    const auto manager = adsManager_;
    manager->setDelegate(self());
    manager->initializeWithAdsRenderingSettings({});
}

void AdPlayerViewController::adsLoaderFailedWithErrorData(IMAAdsLoader&, const IMAAdLoadingErrorData& data) {
    logLine("Ad failed to load: " + described(data.adError.message));
    finishAds();
}

void AdPlayerViewController::adsManagerDidReceiveAdEvent(IMAAdsManager&, const IMAAdEvent& event) {
    if (event.type == adsReady) {
        if (const auto manager = adsManager_) manager->start();
    } else if (event.type == adsEnded || event.type == adsGivenUp) {
        finishAds();
    }
}

void AdPlayerViewController::adsManagerDidReceiveAdError(IMAAdsManager&, const IMAAdError& error) {
    logLine("Ad error: " + described(error.message));
    finishAds();
}

}  // namespace quorel
