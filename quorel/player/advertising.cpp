// The preroll: an ad before the content, which is held back meanwhile.
#include "quorel/foundation/url.h"
#include "quorel/player/ad_player_view_controller.h"
#include "quorel/player/controller.h"
#include "quorel/session/platform_services.h"

namespace quorel {

void QuorelPlayerViewController::startPreroll(const GoogleImaAdDescription& ad) {
    const auto adPlayer = std::make_shared<AdPlayerViewController>(session_.services().imaFactory);
    adPlayer->setOnAdFinished([weak = std::weak_ptr(self())] {
        if (const auto controller = weak.lock()) controller->finishPreroll();
    });
    const auto tag = ad.src();
    adPlayer->setVastTagURL(tag ? removingPercentEncoding(tag->absoluteString()) : std::nullopt);
    // An earlier one would go on unseen, and lie over the controls when it is over.
    abandonPreroll();
    prerollAdVC_ = adPlayer;
    addChild(adPlayer);
    view()->addSubview(adPlayer->view());
    adPlayer->requestAds();

    // Deliberately behind the request: a tag that cannot be requested has ended the preroll by now, and what follows
    // then stays as it is set here.
    isInAdBreak_ = true;
    if (playerUI_) playerUI_->setHidden(true);
    sendToListener(QuorelPlayerEvent::adBreakBegin{});
    sendToListener(QuorelPlayerEvent::adBegin{});
    if (player_) adPlayer->layoutIn(player_->bounds());
}

void QuorelPlayerViewController::removePreroll() {
    if (const auto adPlayer = prerollAdVC_) {
        adPlayer->view()->removeFromSuperview();
        adPlayer->removeFromParent();
        prerollAdVC_ = nullptr;
    }
}

void QuorelPlayerViewController::abandonPreroll() {
    if (const auto adPlayer = prerollAdVC_) adPlayer->abandonAds();
    removePreroll();
}

void QuorelPlayerViewController::finishPreroll() {
    removePreroll();
    sendToListener(QuorelPlayerEvent::adEnd{});
    sendToListener(QuorelPlayerEvent::adBreakEnd{});
    isInAdBreak_ = false;
    // Deliberately also where the host asked for a hidden overlay.
    if (playerUI_) playerUI_->setHidden(false);
    if (player_) player_->play();
}

}  // namespace quorel
