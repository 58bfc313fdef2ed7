// The image over the whole picture that says what a live stream waits for: start soon, pause, end.
//
// Main run loop's thread only.
#pragma once

#include <memory>

#include "quorel/foundation/url.h"
#include "quorel/foundation/url_session.h"
#include "quorel/presentation/export.h"
#include "quorel/ui/image_view.h"

namespace quorel {

class QUOREL_PRESENTATION_API QuorelImageView final : public ui::ImageView {
public:
    static std::shared_ptr<QuorelImageView> make();

    // Prepares to load the image, and returns. Deliberately no request leaves: the load is never started, and the
    // view stays as it is. Who calls it relies on nothing else.
    void load(UrlSession& session, const URL& url);

private:
    // What a load would end with; on the URL session's thread.
    void loaded(const UrlSession::Result& result);
};

}  // namespace quorel
