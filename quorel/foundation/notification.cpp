#include "quorel/foundation/notification.h"

#include <utility>
#include <vector>

namespace quorel {

NotificationCenter::ObserverToken NotificationCenter::addObserver(std::string_view name,
                                                                  std::function<void()> observer) {
    observers_.emplace(++last_, Observer{std::string(name), std::move(observer)});
    return last_;
}

void NotificationCenter::removeObserver(ObserverToken token) {
    observers_.extract(token);
}

void NotificationCenter::post(std::string_view name) {
    std::vector<ObserverToken> tokens;
    for (const auto& [token, observer] : observers_) {
        if (observer.name == name) tokens.push_back(token);
    }
    for (const ObserverToken token : tokens) {
        const auto found = observers_.find(token);
        if (found == observers_.end()) continue;
        // A copy, since an observer may remove itself while it runs.
        const std::function<void()> function = found->second.function;
        function();
    }
}

}  // namespace quorel
