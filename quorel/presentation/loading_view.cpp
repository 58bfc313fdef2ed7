#include "quorel/presentation/loading_view.h"

#include <cmath>
#include <numbers>

#include "quorel/foundation/fatal.h"
#include "quorel/presentation/resource_bundle.h"
#include "quorel/ui/geometry.h"

namespace quorel {

namespace {

constexpr double step = std::numbers::pi / 8;  // radians

const ui::Image& loadingIcon() {
    static const ui::Image icon = [] {
        const auto found = ResourceBundleClass::image("loading-icon");
        if (!found) fatal("the library has no image \"loading-icon\"");
        return *found;
    }();
    return icon;
}

}  // namespace

std::shared_ptr<LoadingView> LoadingView::make(const std::shared_ptr<RunLoop>& loop) {
    return std::shared_ptr<LoadingView>(new LoadingView(loop));
}

LoadingView::LoadingView(const std::shared_ptr<RunLoop>& loop) : loop_(loop) {
    setImage(loadingIcon());
    setAccessibilityName("Carregando");
}

void LoadingView::attach(const std::shared_ptr<ui::View>& view) {
    view->addSubview(shared_from_this());
    centerInSuperview({60, 60});
    setShadow(ui::Shadow{.color = ui::Color::black(), .opacity = 0.8, .offset = {0, 2}, .radius = 4});
    setClipsToBounds(false);
}

void LoadingView::startAnimating() {
    setHidden(false);
    const auto loop = loop_.lock();
    if (!loop) return;
    const auto weak = std::weak_ptr(std::static_pointer_cast<LoadingView>(shared_from_this()));
    timer_ = Timer::scheduled(*loop, 0.1, Timer::Repeats::yes, [weak](Timer& timer) {
        if (const auto view = weak.lock()) {
            view->setRotation(std::fmod(view->rotation() + step, 2 * std::numbers::pi));
        } else {
            timer.invalidate();
        }
    });
}

void LoadingView::stopAnimating() {
    setHidden(true);
    if (timer_) timer_->invalidate();
    timer_ = nullptr;
}

}  // namespace quorel
