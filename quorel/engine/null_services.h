// The boundary's services where there is none: an ad service that answers every request with one clear error, an
// integration that does nothing, and a Cast context that reports that no device is there.
#pragma once

#include <memory>
#include <optional>

#include "quorel/engine/engine.h"
#include "quorel/engine/export.h"
#include "quorel/foundation/run_loop.h"

namespace quorel {

// Every request fails at the loop's next turn with the message "No ad service is installed." The loop must
// outlive the factory and its loaders.
QUOREL_ENGINE_API std::shared_ptr<IMAFactory> makeNullIMAFactory(RunLoop& mainLoop);

// Makes integrations that do nothing.
QUOREL_ENGINE_API std::shared_ptr<GoogleIMAIntegrationFactory> makeNullIMAIntegrationFactory();

// Keeps the options it is given; the state is always noDevicesAvailable.
class QUOREL_VISIBLE NullCastContext final : public GCKCastContext {
public:
    void setSharedInstanceWithOptions(const GCKCastOptions& options) override { options_ = options; }
    GCKCastState castState() const override { return GCKCastState::noDevicesAvailable; }
    const std::optional<GCKCastOptions>& options() const { return options_; }

private:
    std::optional<GCKCastOptions> options_;
};

}  // namespace quorel
