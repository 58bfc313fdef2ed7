// Private to this room. From an ad tag to ads that can be played: answers are fetched, wrappers followed and merged into
// the inline ads at their ends.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engines/vast/beacons.h"
#include "engines/vast/options.h"
#include "engines/vast/vast.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/foundation/task.h"
#include "quorel/foundation/url.h"
#include "quorel/foundation/url_request.h"
#include "quorel/foundation/url_session.h"
#include "quorel/ui/geometry.h"

namespace quorel::vast {

// One ad with all that its wrappers said: at least one file of a type that is played.
struct PlayableAd {
    std::string id;
    std::string title;
    Linear linear;
    std::vector<std::string> impressions;
    std::vector<std::string> errors;
    bool operator==(const PlayableAd&) const = default;
};

struct AdSelection {
    std::vector<PlayableAd> ads;          // to be played in this order
    std::vector<PlayableAd> substitutes;  // stand-alone ads for those that fail (VAST 4.2, 2.3.1.2)
    std::string problem;                  // why there are no ads
    bool operator==(const AdSelection&) const = default;
};

// What a tag's own answer is: ads, the breaks of a VMAP document, or (empty document) a problem.
struct TagAnswer {
    AdDocument document;
    std::string problem;
};

class AdResolver : public std::enable_shared_from_this<AdResolver> {
public:
    // The loop outlives the resolver and its tasks.
    AdResolver(RunLoop& loop, std::weak_ptr<UrlSession> session, std::shared_ptr<Beacons> beacons,
               AdServiceOptions options)
        : loop_(loop), session_(std::move(session)), beacons_(std::move(beacons)), options_(std::move(options)) {}

    // On the loop. Neither throws, and both end within the tag's time.
    static Task<TagAnswer> fetch(std::shared_ptr<AdResolver> resolver, std::string tagURL);
    // `tagURL` is where the document came from, so that no wrapper leads there again.
    static Task<AdSelection> resolve(std::shared_ptr<AdResolver> resolver, VastDocument document,
                                     std::string tagURL);

    // fetch() and resolve() of a tag that is to give VAST.
    static Task<AdSelection> load(std::shared_ptr<AdResolver> resolver, std::string tagURL);

private:
    struct Budget {
        Duration deadline{0};
        unsigned requests = 0;
    };
    struct Chain;
    struct Fetched;

    Budget newBudget() const { return {loop_.now() + durationFromSeconds(options_.tagTimeout), 0}; }
    CompletionAwaiter<DataAndResponse> answerOf(URL url, Duration left, std::shared_ptr<bool> expired,
                                                RunLoop::TimerId& limit);
    Task<Fetched> fetchText(std::string url, Budget& budget);
    Task<AdSelection> select(VastDocument document, Chain chain, Budget& budget);
    Task<std::vector<PlayableAd>> follow(VastAd ad, Chain chain, Budget& budget);
    std::optional<PlayableAd> playable(const VastAd& ad, const Chain& chain);

    RunLoop& loop_;
    const std::weak_ptr<UrlSession> session_;
    const std::shared_ptr<Beacons> beacons_;
    const AdServiceOptions options_;
};

// The files of an ad that are played, the best one for a picture of this size first.
std::vector<MediaFile> playableFiles(const std::vector<MediaFile>& files, const AdServiceOptions& options,
                                     ui::Size size);

}  // namespace quorel::vast
