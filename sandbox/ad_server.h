// Private to this room. The ad server: tags that answer with ads of every kind, and with all kinds of trouble, and the
// tracking requests that arrive.
//
// Any thread.
#pragma once

#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "sandbox/ad_event.h"
#include "sandbox/answer.h"

namespace quorel::sandbox {

class AdServer {
public:
    struct Tag {
        std::string_view name;
        std::string_view about;  // one line for people
    };
    static const std::vector<Tag>& tags();

    // What is at "/ads/tag/<name>"; 404 for a name that is not there. `hop` counts the wrappers of a chain without end.
    static Answer tag(const std::string& name, int hop, const std::string& baseURL);
    // An ad's playlist whose last segment does not come for a minute.
    static Answer stallingPlaylist(const std::string& baseURL);
    // "/ads": the tags, and what was tracked.
    static std::string page(const std::string& baseURL);

    void tracked(AdEvent event);
    std::vector<AdEvent> events() const;  // the last 500, in the order of arrival
    void clear();

private:
    mutable std::mutex mutex_;
    std::deque<AdEvent> events_;
};

}  // namespace quorel::sandbox
