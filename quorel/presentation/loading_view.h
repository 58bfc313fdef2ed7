// The spinner that turns while the viewer waits.
//
//   auto spinner = LoadingView::make(loop);
//   spinner->attach(overlay);
//   spinner->startAnimating();
//
// Main run loop's thread only.
#pragma once

#include <memory>

#include "quorel/foundation/run_loop.h"
#include "quorel/foundation/timer.h"
#include "quorel/presentation/export.h"
#include "quorel/ui/image_view.h"
#include "quorel/ui/view.h"

namespace quorel {

class QUOREL_PRESENTATION_API LoadingView final : public ui::ImageView {
public:
    // The loop is held weakly; without it nothing turns. A library without its icon stops the process here.
    static std::shared_ptr<LoadingView> make(const std::shared_ptr<RunLoop>& loop);

    // Puts it into the middle of `view`, 60 by 60 points, with a shadow.
    void attach(const std::shared_ptr<ui::View>& view);

    // Shows it, and turns it by a sixteenth of a circle every 0.1 s: one round takes 1.6 s. Deliberately, a start
    // does not stop the start before it: what was started twice turns twice as fast, and goes on turning, hidden,
    // after a stop, for as long as the view lives.
    void startAnimating();
    // Hides it and ends the turning of the last start.
    void stopAnimating();

private:
    explicit LoadingView(const std::shared_ptr<RunLoop>& loop);

    const std::weak_ptr<RunLoop> loop_;
    std::shared_ptr<Timer> timer_;
};

}  // namespace quorel
