#include "quorel/sideload/transformation.h"

#include <cstddef>
#include <future>
#include <utility>
#include <variant>

#include "quorel/foundation/error.h"
#include "quorel/foundation/log.h"
#include "quorel/foundation/text.h"
#include "quorel/foundation/url.h"
#include "quorel/foundation/url_error.h"
#include "quorel/sideload/connector.h"
#include "quorel/subtitles/srt_to_vtt.h"

namespace quorel {
namespace {

// In place of the map that the file has, or as its second line.
std::string withMap(std::string content, const std::string& pts, const std::string& localTime) {
    if (auto overridden = TimestampStringUtils::override(content, pts, localTime)) return std::move(*overridden);
    const std::size_t lineEnd = content.find('\n');
    if (lineEnd == std::string::npos) {
        logLine("[AVSubtitlesLoader] ERROR: Failed to add timestamp.");
        return content;
    }
    content.insert(lineEnd + 1, "X-TIMESTAMP-MAP=MPEGTS:" + pts + ",LOCAL:" + localTime + "\n");
    return content;
}

}  // namespace

UrlSession::Result BlockingDownloads::load(const URLRequest& request) {
    // Shared with a completion that may come after its task was given up.
    const auto promise = std::make_shared<std::promise<UrlSession::Result>>();
    std::future<UrlSession::Result> result = promise->get_future();
    std::shared_ptr<UrlSessionDataTask> task;
    {
        const std::lock_guard lock(mutex_);
        const std::shared_ptr<UrlSession> session = ended_ ? nullptr : session_.lock();
        if (!session) return std::make_exception_ptr(URLError(URLError::Code::cancelled));
        task = session->dataTask(request,
                                 [promise](UrlSession::Result given) { promise->set_value(std::move(given)); });
        running_.insert(task);
    }
    task->resume();
    UrlSession::Result given = result.get();
    const std::lock_guard lock(mutex_);
    running_.erase(task);
    return given;
}

void BlockingDownloads::end() {
    std::unordered_set<std::shared_ptr<UrlSessionDataTask>> running;
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
        running = running_;
    }
    for (const auto& task : running) task->cancel();
}

bool BlockingDownloads::haveEnded() {
    const std::lock_guard lock(mutex_);
    return ended_;
}

std::string transformationFailure(std::string message) {
    logLine("[AVSubtitlesLoader] ERROR: " + message);
    return message;
}

std::string transformedSubtitle(const Transformation& transformation, BlockingDownloads& downloads) {
    const std::optional<std::string> address = removingPercentEncoding(transformation.contentUrl);
    const std::optional<URL> url = address ? URL::parse(*address) : std::nullopt;
    if (!url) return transformationFailure("Missing subtitle content URL.");
    URLRequest request(*url);
    request.timeoutInterval = 60.0;
    const UrlSession::Result result = downloads.load(request);
    if (downloads.haveEnded()) return {};
    if (const auto* error = std::get_if<std::exception_ptr>(&result)) {
        return transformationFailure("Missing subtitle content. Reason: " + localizedDescription(*error));
    }
    return transformedContent(transformation, std::get<DataAndResponse>(result).data);
}

std::string transformedContent(const Transformation& transformation, std::string_view data) {
    if (!isValidUTF8(data)) {
        return transformationFailure("Missing subtitle content. Reason: Failed to encode content string.");
    }
    // Deliberate, and whatever the format: some services deliver their files percent-encoded.
    std::string content = removingPercentEncoding(data).value_or(std::string(data));
    content = replacingAll(content, "\r\n", "\n");
    if (transformation.format == TextTrackFormat::SRT) {
        try {
            content = convertSRTToVTT(content);
        } catch (const std::exception& error) {
            logLine({"[AVSubtitlesLoader] ERROR: Converting SRT to VTT", error.what()});
            return error.what();
        }
    }
    const auto& timestamp = transformation.timestamp;
    if (timestamp && timestamp->pts && timestamp->localTime) {
        content = withMap(std::move(content), *timestamp->pts, *timestamp->localTime);
    }
    if (SideloadedSubtitleConnector::SHOW_DEBUG_LOGS) {
        logLine({"[AVSubtitlesLoader] Transformed subtitle", content});
    }
    return content;
}

}  // namespace quorel
