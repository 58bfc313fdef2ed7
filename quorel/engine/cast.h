// The Cast boundary: discovery is set up once per process; whether a device is there is asked of it. Main thread.
#pragma once

#include <optional>
#include <string>

namespace quorel {

struct GCKDiscoveryCriteria {
    std::string applicationID;
    bool operator==(const GCKDiscoveryCriteria&) const = default;
};

struct GCKCastOptions {
    GCKDiscoveryCriteria discoveryCriteria;
    bool stopReceiverApplicationWhenEndingSession = false;
    bool operator==(const GCKCastOptions&) const = default;
};

enum class GCKCastState { noDevicesAvailable, notConnected, connecting, connected };

class GCKCastContext {
public:
    virtual ~GCKCastContext() = default;
    virtual void setSharedInstanceWithOptions(const GCKCastOptions& options) = 0;
    virtual GCKCastState castState() const = 0;
};

}  // namespace quorel
