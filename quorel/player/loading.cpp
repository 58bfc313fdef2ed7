// The road from a content id to a playing source.
#include <algorithm>
#include <exception>
#include <utility>
#include <variant>

#include "quorel/foundation/error.h"
#include "quorel/player/ad_list.h"
#include "quorel/player/controller.h"
#include "quorel/player/source_assembly.h"
#include "quorel/session/platform_services.h"
#include "quorel/sideload/sideload.h"

namespace quorel {

Task<void> QuorelPlayerViewController::load(std::shared_ptr<QuorelPlayerViewController> controller,
                                            std::string id) {
    controller->player_ = controller->session_.createPlayer();
    std::optional<PlayerConfigModel> config;
    std::exception_ptr failure;
    try {
        config = co_await controller->loadContent(std::move(id), controller->player_);
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure) {
        controller->sendToListener(QuorelPlayerEvent::error{localizedDescription(failure), false});
    } else {
        controller->loadSource(std::move(*config));
    }
}

// The caller keeps the controller alive. Nothing here compares the id on its way: two loads at once write the same
// fields, and the later one wins.
Task<PlayerConfigModel> QuorelPlayerViewController::loadContent(std::string id,
                                                                std::shared_ptr<THEOplayer> player) {
    loadViewIfNeeded();
    player->setFrame(viewHolder_->bounds());
    player->addAsSubview(viewHolder_);
    player->setMuted(muted_);

    std::vector<PlayerComponent> components;
    if (session_.applicationId()) components.push_back(PlayerComponent::cast);
    // The overlay of an earlier load stays below this one.
    const auto toggle = [weak = std::weak_ptr(self())] {
        if (const auto alive = weak.lock()) alive->toggleFullScreen();
    };
    playerUI_ =
        QuorelPlayerUI::make(viewHolder_, player, std::move(components), toggle, session_.services().mainLoop);
    playerUI_->setHidden(hideUI_);

    // A load without a listener at this moment runs without any engine listener to its end.
    if (const auto listener = listener_.lock()) registerEngineListeners(listener, player);

    PlayerConfigModel config = co_await api_.fetchPlayerConfig(id);
    isLive_ = !config.videoOnDemand;
    config_ = config;
    if (isLive_) {
        liveDetails_ = co_await api_.fetchLiveStreamDetails(id);
        liveStatus_ = co_await api_.fetchLiveStatus(id);
        startStatusTimer();
    } else {
        videoDetail_ = co_await api_.fetchVideoDetail(id);
    }
    co_return config;
}

void QuorelPlayerViewController::loadSource(PlayerConfigModel config) {
    const std::shared_ptr<THEOplayer> player = player_;
    if (!player) return;
    if (evaluateLiveState()) return;

    const std::vector<TypedSource> current =
        player->source() ? player->source()->sources() : std::vector<TypedSource>();
    if (current.empty() || current.front().src != config.assets.hls) {
        std::optional<TextTracks> textTracks;
        if (videoDetail_ && videoDetail_->assets.availableSrt) {
            textTracks = makeTextTracks(*videoDetail_->assets.availableSrt);
        }
        const std::vector<GoogleImaAdDescription> ads =
            liveDetails_ && liveDetails_->ads
                ? makeAds(liveDetails_->ads, customImaParams_)
                : makeAds(videoDetail_ ? videoDetail_->ads : std::nullopt, customImaParams_);

        std::optional<ServerSideAdInsertion> insertion;
        if (liveDetails_) {
            insertion = liveAdInsertion(liveDetails_->googleDAI);
        } else if (videoDetail_) {
            insertion = onDemandAdInsertion(videoDetail_->googleDAI);
        }
        if (insertion) player->setSource(makeInsertedSource(config, *insertion, textTracks));

        const auto first =
            std::find_if(ads.begin(), ads.end(), [](const auto& ad) { return ad.timeOffset == "start"; });
        if (first != ads.end()) startPreroll(*first);

        if (!insertion) {
            setSourceWithSubtitles(
                player, makeSource(config, std::move(textTracks), {ads.begin(), ads.end()}),
                {.urlSession = session_.services().urlSession, .audioRoute = session_.services().audioRoute});
        }

        // Live content waits for the viewer or the host, other content for its preroll.
        if (!liveDetails_ && first == ads.end()) {
            player->play();
        } else {
            player->pause();
        }

        if (videoDetail_ && videoDetail_->assets.availableSrt) {
            QuorelPlayerEvent::subtitlesAvailable available;
            for (const auto& entry : *videoDetail_->assets.availableSrt)
                available.subtitles.push_back(entry.first);
            sendToListener(available);
        }
    }

    if (playerUI_ && dynamic_cast<ui::NavigationController*>(parent().get()) != nullptr) {
        playerUI_->moveButtonsToNavigationBar(navigationItem());
    }
}

}  // namespace quorel
