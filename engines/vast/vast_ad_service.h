// An ad service of open standards behind the SDK's ad boundary: VAST 2.0 to 4.2 and VMAP 1.0 tags are requested, the ads
// are played through an engine, and tracked. Nothing is needed but an engine and a URL session.
//
//   auto services = PlatformServices::standard(loop, nullptr);
//   auto ads = VastAdService::make(loop, services.urlSession, makeGStreamerEngineFactory(loop));
//   services.imaFactory = ads->imaFactory();                        // prerolls
//   services.imaIntegrationFactory = ads->integrationFactory();     // breaks in the content...
//   services.engineFactory = ads->engineFactory();                  // ...which its engines play
//
// Content always plays: every wait is bounded (options.h), and what fails is passed over. Main run loop's thread only.
#pragma once

#include <memory>

#include "engines/vast/export.h"
#include "engines/vast/options.h"
#include "quorel/engine/engine.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/foundation/url_session.h"

namespace quorel {

class QUOREL_VAST_API VastAdService {
public:
    // `engines` make the engines that play the ads, and those of engineFactory(). The session belongs to somebody else:
    // once it is gone, there are no ads. It loads an answer whole before the answer is looked at, so one whose
    // maximumBodySize is some megabytes is a good choice. The loop must outlive everything that is made here.
    static std::shared_ptr<VastAdService> make(std::shared_ptr<RunLoop> mainLoop,
                                               std::weak_ptr<UrlSession> session,
                                               std::shared_ptr<EngineFactory> engines,
                                               AdServiceOptions options = {});
    virtual ~VastAdService() = default;

    // Plays a tag's ads in the view of a request; of a VMAP tag, those of its first break at the start. The events of its
    // managers: 13 when the ads can be started, then 6 when they are over, or 8 when the viewer skipped the last one. An
    // error comes in place of these when nothing could be played.
    virtual std::shared_ptr<IMAFactory> imaFactory() const = 0;

    // What it makes allows an engine of engineFactory() to play ads. For other engines it is of no use.
    virtual std::shared_ptr<GoogleIMAIntegrationFactory> integrationFactory() const = 0;

    // Engines that play the ad list of their source once they have the integration, and are like those they are made
    // from in all else:
    // - A break stands at "start", "end", "12.5", "00:10:00" or "50%"; one that stands elsewhere is passed over. Its tag
    //   is asked AdServiceOptions::prefetch before, tags at the start at once, since they may answer with a schedule.
    // - While ads play the content stands still, without TIME_UPDATE: play(), pause() and paused() speak of the ads, and
    //   a seek is done when they are over. ads() tells AD_BREAK_BEGIN, AD_BEGIN, AD_END, ..., AD_BREAK_END, then the
    //   content tells PLAYING again; after the last break comes ENDED.
    // - A break that is sought over is not played, each other one once. Sources of an insertion service have none.
    // - Ads are drawn over the picture in the view of addAsSubview(); videoFrames() are the content's.
    virtual std::shared_ptr<EngineFactory> engineFactory() const = 0;
};

}  // namespace quorel
