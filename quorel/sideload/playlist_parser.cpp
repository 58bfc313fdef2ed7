#include "quorel/sideload/playlist_parser.h"

#include <utility>
#include <variant>

#include "quorel/foundation/text.h"
#include "quorel/foundation/url_request.h"
#include "quorel/sideload/uri_resolution.h"

namespace quorel {

PlaylistParser::PlaylistParser(URL manifestURL, std::weak_ptr<UrlSession> session)
    : manifestURL_(std::move(manifestURL)), session_(std::move(session)) {}

PlaylistParser::~PlaylistParser() = default;

void PlaylistParser::fetch(std::function<void(bool accepted)> completion) {
    const std::shared_ptr<UrlSession> session = session_.lock();
    if (!session) {
        completion(false);
        return;
    }
    const auto task = session->dataTask(
        URLRequest(manifestURL_),
        [weak = weak_from_this(), completion = std::move(completion)](UrlSession::Result result) {
            const std::shared_ptr<PlaylistParser> parser = weak.lock();
            completion(parser && parser->take(std::move(result)));
        });
    {
        const std::lock_guard lock(mutex_);
        task_ = task;
    }
    task->resume();
}

void PlaylistParser::cancel() {
    std::shared_ptr<UrlSessionDataTask> task;
    {
        const std::lock_guard lock(mutex_);
        task.swap(task_);
    }
    if (task) task->cancel();
}

bool PlaylistParser::take(UrlSession::Result result) {
    {
        const std::lock_guard lock(mutex_);
        task_ = nullptr;
    }
    auto* reply = std::get_if<DataAndResponse>(&result);
    if (reply == nullptr) return false;
    manifestURL_ = std::move(reply->response.url);
    resolution_ = nullptr;
    return accept(std::move(reply->data));
}

bool PlaylistParser::accept(std::string body) {
    const std::string_view firstLine = std::string_view(body).substr(0, body.find('\n'));
    if (firstLine.find("#EXTM3U") == std::string_view::npos || !isValidUTF8(body)) return false;
    manifestData_ = std::move(body);
    return true;
}

const URIResolution& PlaylistParser::resolution() const {
    if (!resolution_) resolution_ = std::make_unique<URIResolution>(manifestURL_);
    return *resolution_;
}

std::optional<URL> PlaylistParser::resolveURI(std::string_view text) const {
    return resolution().resolve(text);
}

void PlaylistParser::absolutizeURIParameter(HLSLine& line) const {
    const auto value = line.paramsObject.value("URI");
    if (!value) return;
    const std::string unquoted = replacingAll(*value, "\"", "");
    std::string absolute;
    if (resolution().append(unquoted, absolute)) line.replaceURI(unquoted, std::move(absolute));
}

}  // namespace quorel
