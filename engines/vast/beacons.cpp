#include "engines/vast/beacons.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "quorel/foundation/date.h"
#include "quorel/foundation/text.h"
#include "quorel/foundation/url_request.h"

namespace quorel::vast {
namespace {

std::string clockText(double seconds) {
    const auto milliseconds = static_cast<long long>(std::llround(std::max(0.0, seconds) * 1000));
    return fmt::format("{:02}:{:02}:{:02}.{:03}", milliseconds / 3'600'000, milliseconds / 60'000 % 60,
                       milliseconds / 1000 % 60, milliseconds % 1000);
}

}  // namespace

std::vector<std::string> urlsOf(const std::vector<Tracking>& trackings, std::string_view event) {
    std::vector<std::string> urls;
    for (const Tracking& tracking : trackings) {
        if (tracking.event == event) urls.push_back(tracking.url);
    }
    return urls;
}

std::string Beacons::expanded(const std::string& url, const Macros& macros) {
    if (url.find('[') == std::string::npos) return url;
    std::string text = url;
    const auto put = [&](std::string_view macro, const std::string& value) {
        text = replacingAll(text, macro, addingPercentEncoding(value, CharacterSet::unreserved));
    };
    if (macros.errorCode) put("[ERRORCODE]", std::to_string(static_cast<int>(*macros.errorCode)));
    put("[CACHEBUSTING]", fmt::format("{:08}", std::uniform_int_distribution<int>(0, 99'999'999)(random_)));
    put("[TIMESTAMP]", DateFormatter("yyyy-MM-dd'T'HH:mm:ss.SSSZ").string(Date{loop_.secondsSince1970()}));
    if (macros.adPlayhead) put("[ADPLAYHEAD]", clockText(*macros.adPlayhead));
    if (macros.contentPlayhead) {
        put("[CONTENTPLAYHEAD]", clockText(*macros.contentPlayhead));
        put("[MEDIAPLAYHEAD]", clockText(*macros.contentPlayhead));
    }
    if (!macros.assetURL.empty()) put("[ASSETURI]", macros.assetURL);
    return text;
}

void Beacons::send(const std::vector<std::string>& urls, const Macros& macros) {
    for (const std::string& text : urls) {
        const auto url = URL::parse(expanded(text, macros));
        if (!url || !url->host()) continue;
        const std::string server = *url->host() + ":" + std::to_string(url->port().value_or(0));
        auto& queue = waiting_[server];
        queue.push_back(*url);
        if (queue.size() == 1) sendNext(server);
    }
}

void Beacons::sendNext(const std::string& server) {
    const auto queue = waiting_.find(server);
    const auto session = session_.lock();
    if (!session) waiting_.clear();
    if (!session || queue == waiting_.end()) return;
    URLRequest request(queue->second.front());
    request.timeoutInterval = timeout_;
    const auto limit = std::make_shared<RunLoop::TimerId>(0);
    // The completion holds the queue, so that what is sent arrives also when the ad is long gone.
    const auto task = session->dataTask(
        std::move(request), [self = shared_from_this(), loop = &loop_, server, limit](const UrlSession::Result&) {
            loop->post([self, server, limit] {
                self->loop_.cancel(*limit);
                const auto done = self->waiting_.find(server);
                if (done == self->waiting_.end()) return;
                done->second.pop_front();
                if (done->second.empty())
                    self->waiting_.erase(done);
                else
                    self->sendNext(server);
            });
        });
    *limit = loop_.schedule(durationFromSeconds(timeout_), [task] { task->cancel(); });
    task->resume();
}

}  // namespace quorel::vast
