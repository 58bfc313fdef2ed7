// Notifications by name, for what has no closer owner: the application came to the foreground, and the like.
//
//   auto token = centre.addObserver(ApplicationDidBecomeActive, [weak] { ... });
//   centre.removeObserver(token);
//
// One run loop's thread, the one that posts.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "quorel/foundation/export.h"

namespace quorel {

// A host posts this one when its application returns to the foreground.
inline constexpr std::string_view ApplicationDidBecomeActive = "UIApplicationDidBecomeActiveNotification";

// Where observers of names are kept and told.
class QUOREL_FOUNDATION_API NotificationCenter {
public:
    using ObserverToken = std::uint64_t;  // never 0

    // Calls `observer` at each posting of `name`, until it is removed.
    ObserverToken addObserver(std::string_view name, std::function<void()> observer);
    // Nothing happens for a token that is unknown or was removed.
    void removeObserver(ObserverToken token);
    // Calls the observers of `name` in the order of their registration. One that is removed by an earlier one of
    // the same posting is not called; one that is added is called from the next posting on.
    void post(std::string_view name);

private:
    struct Observer {
        std::string name;
        std::function<void()> function;
    };
    std::map<ObserverToken, Observer> observers_;
    ObserverToken last_ = 0;
};

}  // namespace quorel
