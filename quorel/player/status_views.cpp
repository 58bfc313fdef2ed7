// What stands over the picture, or in its place, because content is live.
#include <algorithm>

#include "quorel/player/controller.h"
#include "quorel/ui/geometry.h"

namespace quorel {
namespace {

constexpr double margin = 16;  // points
constexpr ui::Rect liveFrame{margin, margin, 48, 24};
constexpr ui::Color liveRed{1, 0, 0, 1};
constexpr const char* boldFamily = "Poppins-Bold";

}  // namespace

const std::shared_ptr<QuorelImageView>& QuorelPlayerViewController::statusImage() {
    if (!statusImage_) {
        statusImage_ = QuorelImageView::make();
        statusImage_->setAccessibilityName("Status screen");
        statusImage_->setUserInteractionEnabled(false);  // it may stay in front, over the next content's controls
        view()->addSubview(statusImage_);
        statusImage_->pinToSuperviewEdges();
    }
    return statusImage_;
}

const std::shared_ptr<ui::View>& QuorelPlayerViewController::liveView() {
    if (!liveView_) {
        liveView_ = ui::View::make();
        liveView_->setAccessibilityName("Live badge");
        liveView_->setBackgroundColor(liveRed);
        liveView_->setCornerRadius(4);
        liveView_->setFrame(liveFrame);
        const auto label = ui::Label::make();
        label->setText("Live");
        label->setFont({boldFamily, 14});
        label->setTextColor(ui::Color::white());
        label->setAlignment(ui::TextAlignment::center);
        liveView_->addSubview(label);
        label->pinToSuperviewEdges();
        view()->addSubview(liveView_);
    }
    return liveView_;
}

const std::shared_ptr<ui::Label>& QuorelPlayerViewController::timerView() {
    if (!timerView_) {
        timerView_ = ui::Label::make();
        timerView_->setAccessibilityName("Countdown");
        timerView_->setUserInteractionEnabled(false);
        timerView_->setFont({boldFamily, 18});
        timerView_->setTextColor(ui::Color::white());
        timerView_->setAlignment(ui::TextAlignment::left);
        timerView_->setMinimumScale(0.7);
        view()->addSubview(timerView_);
        layoutStatusViews();
    }
    return timerView_;
}

void QuorelPlayerViewController::layoutStatusViews() {
    if (!timerView_) return;
    const double left = liveFrame.x + liveFrame.width + margin;
    const double width = std::max(0.0, view()->bounds().width - left - margin);
    timerView_->setFrame({left, margin, width, liveFrame.height});
}

}  // namespace quorel
