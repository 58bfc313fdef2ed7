#include "quorel/presentation/quorel_image_view.h"

#include <optional>
#include <variant>

#include "quorel/foundation/url_request.h"

namespace quorel {

std::shared_ptr<QuorelImageView> QuorelImageView::make() {
    return std::make_shared<QuorelImageView>();
}

void QuorelImageView::load(UrlSession& session, const URL& url) {
    URLRequest request(url);
    request.cachePolicy = CachePolicy::returnCacheDataElseLoad;
    request.timeoutInterval = 60.0;
    const auto view = std::weak_ptr(std::static_pointer_cast<QuorelImageView>(shared_from_this()));
    // Deliberately let go without resume().
    session.dataTask(std::move(request), [view](const UrlSession::Result& result) {
        if (const auto alive = view.lock()) alive->loaded(result);
    });
}

void QuorelImageView::loaded(const UrlSession::Result& result) {
    const auto* reply = std::get_if<DataAndResponse>(&result);
    if (reply != nullptr && reply->response.statusCode == 200) setImage(ui::Image::fromData(reply->data));
}

}  // namespace quorel
