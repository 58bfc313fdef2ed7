// The Cast boundary: discovery is set up once per process; whether a device is there is asked of it. Main thread.
#pragma once

#include <optional>
#include <string>

#include "quorel/engine/export.h"

namespace quorel {

// Which receivers are looked for: those that run this application.
struct QUOREL_VISIBLE GCKDiscoveryCriteria {
    std::string applicationID;
    bool operator==(const GCKDiscoveryCriteria&) const = default;
};

// How discovery is set up.
struct QUOREL_VISIBLE GCKCastOptions {
    GCKDiscoveryCriteria discoveryCriteria;
    bool stopReceiverApplicationWhenEndingSession = false;
    bool operator==(const GCKCastOptions&) const = default;
};

// Whether there is a receiver, and whether it plays for us.
enum class GCKCastState { noDevicesAvailable, notConnected, connecting, connected };

// The Cast service of the process.
class QUOREL_VISIBLE GCKCastContext {
public:
    virtual ~GCKCastContext() = default;
    // Starts discovery. Called by Quorel::initialize() when there is an application id.
    virtual void setSharedInstanceWithOptions(const GCKCastOptions& options) = 0;
    virtual GCKCastState castState() const = 0;
};

}  // namespace quorel
