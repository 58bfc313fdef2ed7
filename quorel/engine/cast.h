// The Cast boundary: discovery is set up once per process; whether a device is there is asked of it. Main thread.
#pragma once

#include <optional>
#include <string>

#include "quorel/engine/export.h"

namespace quorel {

struct QUOREL_VISIBLE GCKDiscoveryCriteria {
    std::string applicationID;
    bool operator==(const GCKDiscoveryCriteria&) const = default;
};

struct QUOREL_VISIBLE GCKCastOptions {
    GCKDiscoveryCriteria discoveryCriteria;
    bool stopReceiverApplicationWhenEndingSession = false;
    bool operator==(const GCKCastOptions&) const = default;
};

enum class GCKCastState { noDevicesAvailable, notConnected, connecting, connected };

class QUOREL_VISIBLE GCKCastContext {
public:
    virtual ~GCKCastContext() = default;
    virtual void setSharedInstanceWithOptions(const GCKCastOptions& options) = 0;
    virtual GCKCastState castState() const = 0;
};

}  // namespace quorel
