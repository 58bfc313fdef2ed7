#include "quorel/facade/quorel_player_swift_ui.h"

#include <utility>
#include <variant>
#include <vector>

#include "quorel/engine/player.h"
#include "quorel/facade/published.h"
#include "quorel/foundation/log.h"

namespace quorel {
namespace {

struct Write {
    using Event = QuorelPlayerEvent;
    PlayerController& facade;

    void operator()(const Event::metadataLoaded& event) const { facade.metadata = event.metadata; }
    void operator()(const Event::durationUpdate& event) const { facade.duration = event.time; }
    void operator()(const Event::timeUpdate& event) const { facade.currentTime = event.time; }
    void operator()(const Event::subtitlesAvailable& event) const { facade.availableSubtitles = event.subtitles; }
    void operator()(const Event::subtitleSelected& event) const { facade.subtitle = event.subtitle; }
    void operator()(const Event::playbackRateChanged& event) const { facade.playbackRate = event.rate; }
    void operator()(const Event::play&) const { facade.isPlaying = true; }
    void operator()(const Event::playing&) const {
        facade.isBuffering = false;
        facade.isPlaying = true;
    }
    void operator()(const Event::pause&) const { facade.isPlaying = false; }
    void operator()(const Event::waiting&) const { facade.isBuffering = true; }
    void operator()(const Event::muted&) const { facade.isMuted = true; }
    void operator()(const Event::unmuted&) const { facade.isMuted = false; }
    template <class WithoutEffect>
    void operator()(const WithoutEffect&) const {}
};

}  // namespace

QuorelPlayerSwiftUI::QuorelPlayerSwiftUI(Arguments arguments)
    : contentId(std::move(arguments.contentId)),
      hideUI(arguments.hideUI),
      startTime(arguments.startTime),
      controller(arguments.controller ? std::move(arguments.controller) : PlayerController::make()),
      subtitle(std::move(arguments.subtitle)),
      customImaParams(std::move(arguments.customImaParams)) {}

void QuorelPlayerSwiftUI::Coordinator::onEvent(const QuorelPlayerEvent& event) {
    logLine(describe(event));
    if (const auto facade = controller.lock()) std::visit(Write{*facade}, event.value());
}

std::shared_ptr<QuorelPlayerViewController> QuorelPlayerSwiftUI::makeUIViewController(
    const Context& context) const {
    auto viewController =
        context.makeViewController ? context.makeViewController() : QuorelPlayerViewController::make();
    controller->vc = viewController;
    context.coordinator->controller = controller;
    if (!contentId) return viewController;
    viewController->setup(*contentId, hideUI, startTime, subtitle, customImaParams);
    // The engine comes from the load, so the coordinator is in place before the first event.
    viewController->registerPlayerListener(context.coordinator);
    return viewController;
}

void QuorelPlayerSwiftUI::dismantleUIViewController(QuorelPlayerViewController& viewController, Coordinator&) {
    const auto player = viewController.player();
    if (!player) return;
    viewController.removeEngineListeners(*player);
    player->pause();
    player->stop({});
    viewController.unmount();
}

}  // namespace quorel
