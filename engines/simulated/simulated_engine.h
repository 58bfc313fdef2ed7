// A playback engine that plays nothing: it keeps the whole contract of quorel/engine/player.h on a run loop's
// clock, as its script says. Applications test against it what their player does, in virtual time:
//
//   auto loop = std::make_shared<ManualRunLoop>();
//   auto factory = std::make_shared<SimulatedEngineFactory>(loop);
//   factory->setDefaultScript({.duration = 90, .stalls = {{.at = 10, .lasts = 2}}});
//   ... hand the factory to the SDK, start a title ...
//   loop->advance(15s);
//   EXPECT_EQ(factory->latest()->log().count("waiting"), 1u);
//
// Everything belongs to the run loop's thread, but for the picture, which any thread may ask for. There is no
// other thread and no chance in it: the same calls at the same times give the same events at the same times. On a
// real loop it plays in real time.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engines/simulated/event_log.h"
#include "engines/simulated/export.h"
#include "engines/simulated/script.h"
#include "engines/simulated/test_picture.h"
#include "quorel/engine/engine.h"
#include "quorel/foundation/run_loop.h"

namespace quorel {

// What it does beyond the contract:
// - A track is `disabled` when it is added. Cues enter and leave exactly at their times: EXIT_CUE before ENTER_CUE
//   at one moment, each once per stay, also when a seek leads into or out of a cue. Disabling a track drops its
//   active cues without EXIT_CUE.
// - An ad break freezes the content. Its events come on ads() in the order AD_BREAK_BEGIN, AD_BEGIN, AD_END, ...,
//   AD_BREAK_END, always in pairs, also when the source is taken away meanwhile; then PLAYING comes again. A break
//   before the content comes between PLAY and the first PLAYING. pause() holds the ad. A seek during a break is
//   done when the break is over. There is no TIME_UPDATE while ads play.
// - With a manifest interceptor installed, setSource() makes it ask for the source's URL, its scheme replaced by
//   the interceptor's, on the run loop; the script begins with the answer. A refusal, an error, an answer without
//   data and a request that is released unanswered give ERROR. Server-side ad insertion sources are not asked for.
// - A source whose every address is empty gives ERROR.
// - The picture is simulatedPictureWidth x simulatedPictureHeight pixels, new with each TIME_UPDATE and each ad,
//   and gone with its source (test_picture.h).
// - When the last reference is released, no event comes any more, and the picture leaves its superview.
class QUOREL_VISIBLE SimulatedEngine : public THEOplayer {
public:
    // What it told so far.
    virtual SimulatedEventLog& log() = 0;

    // What the world does to an engine. Each may be called at any time, and does nothing where it makes no sense.

    // Waits for `seconds` from now, as at a scripted stall. Needs a source that can play, no seek and no ad break.
    virtual void simulateStall(double seconds) = 0;
    // Breaks the source, while it loads too. Needs a source that is not broken.
    virtual void simulateError(std::string text) = 0;
    // The presentation turns out longer or shorter, or to be live; playback past its end ends. Needs metadata.
    virtual void simulateDuration(std::optional<double> duration) = 0;
    // Finds another text track, now. Needs metadata; `addAfter` is not looked at.
    virtual void simulateTrack(const SimulatedTrack& track) = 0;
    // Starts a break here, or at the next play() when paused; `offset` is not looked at. Needs a source that can
    // play and no ad break.
    virtual void simulateAdBreak(SimulatedAdBreak adBreak) = 0;
    // The volume and the mute state need no hook: setVolume() and setMuted() tell what a device's keys would. What
    // else an application should survive can be told by dispatchEvent() of the engine, its ads and its tracks.

    // What the interceptor answered for the current source; empty without one.
    virtual const std::string& interceptedManifest() const = 0;
    virtual const std::vector<std::shared_ptr<Integration>>& integrations() const = 0;
};

// Makes simulated engines, and keeps the scripts that they play.
class QUOREL_SIMULATED_API SimulatedEngineFactory final : public EngineFactory {
public:
    // All its engines live on this loop.
    explicit SimulatedEngineFactory(std::shared_ptr<RunLoop> loop);

    // Scripts are looked up at each setSource(): first that of the source's URL as written (for server-side ad
    // insertion its asset key or video id), else the default one, which at first is SimulatedScript{}.
    void setScript(const std::string& url, SimulatedScript script);
    void setDefaultScript(SimulatedScript script);

    // The frame is that of the picture; absent: the picture fills the view it is shown in until setFrame().
    std::shared_ptr<THEOplayer> makePlayer(std::optional<ui::Rect> frame,
                                           const THEOplayerConfiguration& configuration) override;

    // The engines that live, in the order of their making; the factory does not keep them alive.
    std::vector<std::shared_ptr<SimulatedEngine>> players() const;
    std::shared_ptr<SimulatedEngine> latest() const;  // the one made last; null when that one is gone, or none was

private:
    struct Scripts;
    std::shared_ptr<RunLoop> loop_;
    std::shared_ptr<Scripts> scripts_;
    std::vector<std::weak_ptr<SimulatedEngine>> made_;
};

}  // namespace quorel
