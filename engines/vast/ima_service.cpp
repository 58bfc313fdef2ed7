#include "engines/vast/ima_service.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "engines/vast/ad_resolver.h"
#include "engines/vast/beacons.h"
#include "engines/vast/vast.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/foundation/task.h"
#include "quorel/ui/view.h"

namespace quorel::vast {
namespace {

// The numbers of the boundary's events.
constexpr int adsReady = 13;
constexpr int adsEnded = 6;
constexpr int adsSkipped = 8;

class Manager final : public IMAAdsManager, public std::enable_shared_from_this<Manager> {
public:
    Manager(std::shared_ptr<const AdServices> services, AdSelection selection, std::vector<Tracking> trackings,
            std::shared_ptr<ui::View> container)
        : services_(std::move(services)),
          selection_(std::move(selection)),
          trackings_(std::move(trackings)),
          container_(std::move(container)) {}

    void setDelegate(std::weak_ptr<IMAAdsManagerDelegate> delegate) override { delegate_ = std::move(delegate); }

    void initializeWithAdsRenderingSettings(const IMAAdsRenderingSettings&) override {
        services_->loop->post([weak = weak_from_this()] {
            if (const auto self = weak.lock()) self->tell(adsReady);
        });
    }

    void start() override {
        if (pod_ || destroyed_) return;
        AdPodPlayer::Listener listener;
        listener.podEnded = [weak = weak_from_this()](const AdPodPlayer::Report& report) {
            if (const auto self = weak.lock()) self->ended(report);
        };
        pod_ = std::make_shared<AdPodPlayer>(services_, std::move(selection_), container_, std::move(listener));
        services_->beacons->send(urlsOf(trackings_, "breakStart"));
        if (const auto delegate = delegate_.lock()) delegate->adsManagerDidRequestContentPause(*this);
        if (!destroyed_) pod_->start();
    }

    void resume() override {
        if (pod_) pod_->resume();
    }

    void destroy() override {
        destroyed_ = true;
        delegate_.reset();
        if (pod_) pod_->stop();
    }

private:
    void tell(int type) {
        if (const auto delegate = delegate_.lock()) delegate->adsManagerDidReceiveAdEvent(*this, {type});
    }

    void ended(const AdPodPlayer::Report& report) {
        services_->beacons->send(urlsOf(trackings_, "breakEnd"));
        if (const auto delegate = delegate_.lock()) delegate->adsManagerDidRequestContentResume(*this);
        if (report.played > 0) return tell(report.lastSkipped ? adsSkipped : adsEnded);
        if (const auto delegate = delegate_.lock()) delegate->adsManagerDidReceiveAdError(*this, {report.problem});
    }

    const std::shared_ptr<const AdServices> services_;
    AdSelection selection_;
    const std::vector<Tracking> trackings_;
    const std::shared_ptr<ui::View> container_;
    std::weak_ptr<IMAAdsManagerDelegate> delegate_;
    std::shared_ptr<AdPodPlayer> pod_;
    bool destroyed_ = false;
};

class Loader final : public IMAAdsLoader, public std::enable_shared_from_this<Loader> {
public:
    explicit Loader(std::shared_ptr<const AdServices> services) : services_(std::move(services)) {}

    void setDelegate(std::weak_ptr<IMAAdsLoaderDelegate> delegate) override { delegate_ = std::move(delegate); }

    void requestAdsWithRequest(const IMAAdsRequest& request) override {
        startTask(*services_->loop, load(weak_from_this(), services_->resolver, services_->beacons,
                                         request.adTagUrl, request.adDisplayContainer.adContainer));
    }

private:
    static Task<void> load(std::weak_ptr<Loader> weak, std::shared_ptr<AdResolver> resolver,
                           std::shared_ptr<Beacons> beacons, std::string tagURL,
                           std::weak_ptr<ui::View> container) {
        auto fetching = AdResolver::fetch(resolver, tagURL);
        TagAnswer answer = co_await std::move(fetching);
        AdSelection selection;
        std::vector<Tracking> trackings;
        if (!answer.problem.empty()) {
            selection.problem = answer.problem;
        } else if (auto* vast = std::get_if<VastDocument>(&answer.document)) {
            auto resolving = AdResolver::resolve(resolver, std::move(*vast), tagURL);
            selection = co_await std::move(resolving);
        } else {
            auto& breaks = std::get<VmapDocument>(answer.document).breaks;
            const auto first = std::find_if(breaks.begin(), breaks.end(), [](const AdBreak& adBreak) {
                return adBreak.timeOffset.at(1) == 0.0;
            });
            if (first == breaks.end()) {
                selection.problem = "The ad server's schedule has no break at the start.";
            } else {
                trackings = first->trackings;
                if (auto* inlined = std::get_if<VastDocument>(&first->source)) {
                    auto resolving = AdResolver::resolve(resolver, std::move(*inlined), tagURL);
                    selection = co_await std::move(resolving);
                } else {
                    auto loading = AdResolver::load(resolver, std::get<std::string>(first->source));
                    selection = co_await std::move(loading);
                }
                if (selection.ads.empty()) {
                    Macros macros;
                    macros.errorCode = ErrorCode::noAdsAfterWrapper;
                    beacons->send(urlsOf(trackings, "error"), macros);
                }
            }
        }
        const auto self = weak.lock();
        const auto view = container.lock();
        const auto delegate = self ? self->delegate_.lock() : nullptr;
        if (!delegate || !view) co_return;
        if (selection.ads.empty()) {
            delegate->adsLoaderFailedWithErrorData(*self, {{selection.problem}});
            co_return;
        }
        delegate->adsLoaderAdsLoadedWithData(
            *self, {std::make_shared<Manager>(self->services_, std::move(selection), std::move(trackings), view)});
    }

    const std::shared_ptr<const AdServices> services_;
    std::weak_ptr<IMAAdsLoaderDelegate> delegate_;
};

class Factory final : public IMAFactory {
public:
    explicit Factory(std::shared_ptr<const AdServices> services) : services_(std::move(services)) {}
    std::shared_ptr<IMAAdsLoader> makeAdsLoader(const IMASettings&) override {
        return std::make_shared<Loader>(services_);
    }

private:
    const std::shared_ptr<const AdServices> services_;
};

}  // namespace

std::shared_ptr<IMAFactory> makeIMAFactory(std::shared_ptr<const AdServices> services) {
    return std::make_shared<Factory>(std::move(services));
}

}  // namespace quorel::vast
