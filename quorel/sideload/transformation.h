// Private to this room: the road from the address of a subtitle file to WebVTT with a time map, for a thread that may
// block.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

#include "quorel/engine/source_description.h"
#include "quorel/foundation/url_request.h"
#include "quorel/foundation/url_session.h"
#include "quorel/sideload/timestamp_map.h"

namespace quorel {

// Downloads that their threads wait for, until end() cancels them all.
class BlockingDownloads {
public:
    explicit BlockingDownloads(std::weak_ptr<UrlSession> session) : session_(std::move(session)) {}

    // Waits as long as it takes.
    UrlSession::Result load(const URLRequest& request);
    // What runs and what is asked for later gives URLError::cancelled. Any thread.
    void end();
    bool haveEnded();

private:
    const std::weak_ptr<UrlSession> session_;
    std::mutex mutex_;
    std::unordered_set<std::shared_ptr<UrlSessionDataTask>> running_;
    bool ended_ = false;
};

struct Transformation {
    std::string contentUrl;
    TextTrackFormat format = TextTrackFormat::WebVTT;
    std::optional<WebVttTimestamp> timestamp;
};

// The file, or the message of what went wrong, which is also in the log. Empty once the downloads have ended.
std::string transformedSubtitle(const Transformation& transformation, BlockingDownloads& downloads);
// The same for a file that has been loaded.
std::string transformedContent(const Transformation& transformation, std::string_view data);

// Logs the message as an error and gives it.
std::string transformationFailure(std::string message);

}  // namespace quorel
