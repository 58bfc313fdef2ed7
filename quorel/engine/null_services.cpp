#include "quorel/engine/null_services.h"

#include <string>
#include <utility>

namespace quorel {
namespace {

class NullAdsLoader final : public IMAAdsLoader, public std::enable_shared_from_this<NullAdsLoader> {
public:
    explicit NullAdsLoader(RunLoop& loop) : loop_(loop) {}

    void setDelegate(std::weak_ptr<IMAAdsLoaderDelegate> delegate) override { delegate_ = std::move(delegate); }

    void requestAdsWithRequest(const IMAAdsRequest&) override {
        loop_.post([weak = weak_from_this()] {
            const auto self = weak.lock();
            if (!self) return;
            if (const auto delegate = self->delegate_.lock()) {
                delegate->adsLoaderFailedWithErrorData(*self, {IMAAdError{"No ad service is installed."}});
            }
        });
    }

private:
    RunLoop& loop_;
    std::weak_ptr<IMAAdsLoaderDelegate> delegate_;
};

class NullIMAFactory final : public IMAFactory {
public:
    explicit NullIMAFactory(RunLoop& loop) : loop_(loop) {}
    std::shared_ptr<IMAAdsLoader> makeAdsLoader(const IMASettings&) override {
        return std::make_shared<NullAdsLoader>(loop_);
    }

private:
    RunLoop& loop_;
};

class NullIntegrationFactory final : public GoogleIMAIntegrationFactory {
public:
    std::shared_ptr<Integration> createIntegration(const std::shared_ptr<THEOplayer>&,
                                                   const IMASettings&) override {
        return std::make_shared<Integration>();
    }
};

}  // namespace

std::shared_ptr<IMAFactory> makeNullIMAFactory(RunLoop& mainLoop) {
    return std::make_shared<NullIMAFactory>(mainLoop);
}

std::shared_ptr<GoogleIMAIntegrationFactory> makeNullIMAIntegrationFactory() {
    return std::make_shared<NullIntegrationFactory>();
}

}  // namespace quorel
