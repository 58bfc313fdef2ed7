#include "engines/vast/ad_resolver.h"

#include <algorithm>
#include <exception>
#include <set>
#include <tuple>
#include <utility>
#include <variant>

#include "quorel/foundation/error.h"
#include "quorel/foundation/url_error.h"

// What is awaited has a name of its own here: GCC 12 destroys some temporaries of a co_await expression twice.
namespace quorel::vast {
namespace {

template <class T>
void append(std::vector<T>& to, const std::vector<T>& more) {
    to.insert(to.end(), more.begin(), more.end());
}

}  // namespace

// What the wrappers on the way to a document add to its ads.
struct AdResolver::Chain {
    unsigned wrappers = 0;
    std::set<std::string> tags;
    bool mayFollow = true;
    bool mayBeMany = true;
    std::vector<std::string> impressions;
    std::vector<std::string> errors;
    std::vector<Tracking> trackings;
    std::vector<std::string> clickTrackings;

    std::vector<std::string> errorsWith(const std::vector<std::string>& more) const {
        std::vector<std::string> all = errors;
        append(all, more);
        return all;
    }
};

struct AdResolver::Fetched {
    std::optional<VastDocument> document;  // absent: it is a VMAP document, or there is a problem
    std::optional<VmapDocument> schedule;
    std::string problem;
    ErrorCode code = ErrorCode::wrapperGeneral;
};

// `limit` becomes the timer that cancels the load and sets `expired`.
CompletionAwaiter<DataAndResponse> AdResolver::answerOf(URL url, Duration left, std::shared_ptr<bool> expired,
                                                        RunLoop::TimerId& limit) {
    return completionOf<DataAndResponse>([this, &limit, url = std::move(url), left, expired](auto complete) {
        const auto session = session_.lock();
        if (!session) return complete(std::make_exception_ptr(URLError(URLError::Code::cancelled)));
        const auto task = session->dataTask(URLRequest(url), std::move(complete));
        limit = loop_.schedule(left, [task, expired] {
            *expired = true;
            task->cancel();
        });
        task->resume();
    });
}

Task<AdResolver::Fetched> AdResolver::fetchText(std::string text, Budget& budget) {
    Fetched fetched;
    const auto url = URL::parse(beacons_->expanded(text));
    const Duration left = std::min(durationFromSeconds(options_.requestTimeout), budget.deadline - loop_.now());
    if (!url) {
        fetched.problem = "The ad tag \"" + text + "\" is no URL.";
        co_return fetched;
    }
    if (left <= Duration::zero() || ++budget.requests > options_.maximumRequests) {
        fetched.problem = "The ad tag needs too many answers, or too much time.";
        fetched.code = left <= Duration::zero() ? ErrorCode::wrapperTimeout : ErrorCode::wrapperLimit;
        co_return fetched;
    }
    const auto expired = std::make_shared<bool>(false);
    RunLoop::TimerId limit = 0;
    std::exception_ptr failure;
    std::optional<DataAndResponse> reply;
    try {
        auto answer = answerOf(*url, left, expired, limit);
        reply = co_await answer;
    } catch (...) {
        failure = std::current_exception();
    }
    loop_.cancel(limit);
    if (*expired) {
        fetched.problem = "The ad server " + url->host().value_or("") + " did not answer in time.";
        fetched.code = ErrorCode::wrapperTimeout;
    } else if (failure) {
        fetched.problem = "The ad server's answer could not be loaded: " + localizedDescription(failure);
    } else if (const int status = reply->response.statusCode.value_or(200); status < 200 || status > 299) {
        fetched.problem = "The ad server answered with status " + std::to_string(status) + ".";
    } else if (status == 204) {
        fetched.document.emplace();
    } else {
        try {
            auto document = parseAdDocument(reply->data);
            if (auto* vast = std::get_if<VastDocument>(&document)) {
                fetched.document = std::move(*vast);
            } else {
                fetched.schedule = std::move(std::get<VmapDocument>(document));
                fetched.problem = "The ad server answered with a schedule where ads were expected.";
                fetched.code = ErrorCode::schema;
            }
        } catch (const VastError& error) {
            fetched.problem = error.what();
            fetched.code =
                error.code() == VastError::Code::notAnAdReply ? ErrorCode::schema : ErrorCode::xmlParsing;
        }
    }
    co_return fetched;
}

std::optional<PlayableAd> AdResolver::playable(const VastAd& ad, const Chain& chain) {
    const auto usable = [&](const Linear& linear) {
        return !playableFiles(linear.mediaFiles, options_, {}).empty();
    };
    const auto linear = std::find_if(ad.linears.begin(), ad.linears.end(), usable);
    if (linear == ad.linears.end()) {
        beacons_->send(chain.errorsWith(ad.errors),
                       {.errorCode = ad.linears.empty() ? ErrorCode::linearity : ErrorCode::noSupportedFile});
        return std::nullopt;
    }
    PlayableAd result{ad.id, ad.title, *linear, chain.impressions, chain.errorsWith(ad.errors)};
    append(result.impressions, ad.impressions);
    result.linear.trackings = chain.trackings;
    append(result.linear.trackings, linear->trackings);
    result.linear.clickTrackings = chain.clickTrackings;
    append(result.linear.clickTrackings, linear->clickTrackings);
    return result;
}

Task<std::vector<PlayableAd>> AdResolver::follow(VastAd ad, Chain chain, Budget& budget) {
    std::vector<PlayableAd> none;
    if (!ad.wrapper) {
        if (auto inlined = playable(ad, chain)) none.push_back(std::move(*inlined));
        co_return none;
    }
    append(chain.errors, ad.errors);
    const bool again = !chain.tags.insert(ad.wrapper->tagURL).second;
    if (!chain.mayFollow || again || ++chain.wrappers > options_.maximumWrappers) {
        beacons_->send(chain.errors, {.errorCode = ErrorCode::wrapperLimit});
        co_return none;
    }
    append(chain.impressions, ad.impressions);
    for (const Linear& linear : ad.linears) {
        append(chain.trackings, linear.trackings);
        append(chain.clickTrackings, linear.clickTrackings);
    }
    chain.mayFollow = ad.wrapper->followAdditionalWrappers;
    chain.mayBeMany = ad.wrapper->allowMultipleAds;
    auto fetching = fetchText(ad.wrapper->tagURL, budget);
    const Fetched fetched = co_await std::move(fetching);
    if (!fetched.document) {
        beacons_->send(chain.errors, {.errorCode = fetched.code});
        co_return none;
    }
    auto wrapped = select(*fetched.document, std::move(chain), budget);
    const AdSelection selection = co_await std::move(wrapped);
    co_return selection.ads;
}

Task<AdSelection> AdResolver::select(VastDocument document, Chain chain, Budget& budget) {
    AdSelection selection;
    if (document.ads.empty()) {
        beacons_->send(chain.errorsWith(document.errors), {.errorCode = ErrorCode::noAdsAfterWrapper});
        selection.problem = "The ad server has no ads.";
        co_return selection;
    }
    std::vector<VastAd> pod;
    std::vector<VastAd> alone;
    for (VastAd& ad : document.ads) (ad.sequence ? pod : alone).push_back(std::move(ad));
    std::stable_sort(pod.begin(), pod.end(),
                     [](const auto& a, const auto& b) { return *a.sequence < *b.sequence; });
    if (!chain.mayBeMany) {
        // What stands alone comes first; of a pod that nobody allowed, only the first ad is left.
        append(alone, pod);
        pod.clear();
    }
    for (VastAd& ad : pod) {
        auto following = follow(std::move(ad), chain, budget);
        const std::vector<PlayableAd> found = co_await std::move(following);
        append(selection.ads, found);
    }
    for (VastAd& ad : alone) {
        if (selection.ads.empty()) {
            auto following = follow(std::move(ad), chain, budget);
            const std::vector<PlayableAd> found = co_await std::move(following);
            append(selection.ads, found);
        } else if (!ad.wrapper && chain.mayBeMany) {
            if (auto inlined = playable(ad, chain)) selection.substitutes.push_back(std::move(*inlined));
        }
    }
    if (selection.ads.empty()) selection.problem = "None of the ad server's ads can be played.";
    co_return selection;
}

Task<TagAnswer> AdResolver::fetch(std::shared_ptr<AdResolver> resolver, std::string tagURL) {
    Budget budget = resolver->newBudget();
    auto fetching = resolver->fetchText(std::move(tagURL), budget);
    Fetched fetched = co_await std::move(fetching);
    TagAnswer answer;
    if (fetched.document) {
        answer.document = std::move(*fetched.document);
    } else if (fetched.schedule) {
        answer.document = std::move(*fetched.schedule);
    } else {
        answer.problem = std::move(fetched.problem);
    }
    co_return answer;
}

Task<AdSelection> AdResolver::resolve(std::shared_ptr<AdResolver> resolver, VastDocument document,
                                      std::string tagURL) {
    Budget budget = resolver->newBudget();
    Chain chain;
    chain.tags.insert(std::move(tagURL));
    auto selecting = resolver->select(std::move(document), std::move(chain), budget);
    co_return co_await std::move(selecting);
}

Task<AdSelection> AdResolver::load(std::shared_ptr<AdResolver> resolver, std::string tagURL) {
    Budget budget = resolver->newBudget();
    Chain chain;
    chain.tags.insert(tagURL);
    auto fetching = resolver->fetchText(std::move(tagURL), budget);
    const Fetched fetched = co_await std::move(fetching);
    if (!fetched.document) {
        AdSelection none;
        none.problem = fetched.problem;
        co_return none;
    }
    auto selecting = resolver->select(*fetched.document, std::move(chain), budget);
    co_return co_await std::move(selecting);
}

std::vector<MediaFile> playableFiles(const std::vector<MediaFile>& files, const AdServiceOptions& options,
                                     ui::Size size) {
    std::vector<MediaFile> usable;
    for (const MediaFile& file : files) {
        const auto url = URL::parse(file.url);
        const bool known = std::find(options.types.begin(), options.types.end(), file.type) != options.types.end();
        const auto scheme = url ? url->scheme().value_or("") : "";
        if (known && file.apiFramework.empty() && (scheme == "http" || scheme == "https")) usable.push_back(file);
    }
    // Too many bits last; then what fills the picture, the smallest first; then what does not, the largest first.
    const auto rank = [&](const MediaFile& file) {
        const bool heavy = file.bitrate > options.maximumBitrate;
        const bool fills = file.width >= size.width && file.height >= size.height;
        const double area = static_cast<double>(file.width) * file.height;
        return std::tuple(heavy, !fills, fills ? area : -area, heavy ? file.bitrate : -file.bitrate);
    };
    std::stable_sort(usable.begin(), usable.end(),
                     [&](const auto& a, const auto& b) { return rank(a) < rank(b); });
    return usable;
}

}  // namespace quorel::vast
