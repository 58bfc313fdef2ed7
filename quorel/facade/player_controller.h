// A player as properties to watch and commands to give, for applications that draw an interface of their own.
//
//   auto controller = PlayerController::make();
//   auto subscription = controller->isPlaying.stream().subscribe([](bool playing) { ... });
//   QuorelPlayerSwiftUI view({.contentId = "film-1", .controller = controller});    // quorel_player_swift_ui.h
//   controller->togglePlayPause();
//
// The properties follow the player. Writing one from outside changes the property and nothing else: the commands are
// the only way to the player. Main run loop's thread.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "quorel/engine/player.h"
#include "quorel/facade/export.h"
#include "quorel/facade/published.h"
#include "quorel/player/controller.h"
#include "quorel/player/events.h"

namespace quorel {

class QUOREL_FACADE_API PlayerController {
public:
    static std::shared_ptr<PlayerController> make() { return std::make_shared<PlayerController>(); }
    PlayerController();
    PlayerController(const PlayerController&) = delete;

    // The view controller behind the facade; the wrapper sets it. It goes by itself when that one goes.
    std::weak_ptr<QuorelPlayerViewController> vc;

    Published<std::optional<VideoMetadata>> metadata{std::nullopt};
    Published<bool> isPlaying{false};   // from `play` on, before there is a picture
    Published<double> currentTime{0};   // seconds
    Published<double> duration{0};      // seconds
    Published<bool> isBuffering{true};  // deliberately true until the first picture plays
    Published<bool> isMuted{false};
    Published<std::optional<std::string>> subtitle{std::nullopt};  // language code
    Published<std::vector<std::string>> availableSubtitles{{}};    // language codes
    Published<double> playbackRate{1.0};

    // Told before any of the properties changes.
    Stream<>& objectWillChange() { return objectWillChange_; }

    // A command that finds no view controller or no engine does nothing, then or later. Only muting is remembered by
    // the view controller for the engine to come.
    void togglePlayPause();  // by what isPlaying says, which is as fresh as the last event
    void play();
    void pause();
    void seekTo(double time);  // seconds
    void mute();
    void unmute();
    void selectSubtitle(const std::optional<std::string>& subtitle);
    void selectPlaybackRate(double rate);

private:
    std::shared_ptr<THEOplayer> player() const;

    Stream<> objectWillChange_;
};

}  // namespace quorel
