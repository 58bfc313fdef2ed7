#include "hosts/qt/frame_tap.h"

#include <QCoreApplication>
#include <QEvent>
#include <map>
#include <utility>

namespace quorel::qt {
namespace {

std::map<ui::VideoFrameSource*, std::weak_ptr<FrameTap>>& taps() {
    static std::map<ui::VideoFrameSource*, std::weak_ptr<FrameTap>> all;
    return all;
}

}  // namespace

std::shared_ptr<FrameTap> FrameTap::of(const std::shared_ptr<ui::VideoFrameSource>& source) {
    std::weak_ptr<FrameTap>& known = taps()[source.get()];
    if (auto tap = known.lock()) return tap;
    std::shared_ptr<FrameTap> tap(new FrameTap(source));
    known = tap;
    return tap;
}

FrameTap::FrameTap(std::shared_ptr<ui::VideoFrameSource> source) : source_(std::move(source)) {
    source_->setFrameCallback([this] {
        if (!posted_.exchange(true)) QCoreApplication::postEvent(this, new QEvent(QEvent::User));
    });
}

FrameTap::~FrameTap() {
    source_->setFrameCallback({});
    taps().erase(source_.get());
}

void FrameTap::listen(QObject* listener, std::function<void()> function) {
    listeners_.emplace_back(listener, std::move(function));
}

void FrameTap::forget(QObject* listener) {
    std::erase_if(listeners_, [listener](const auto& entry) { return entry.first == listener; });
}

bool FrameTap::event(QEvent* event) {
    if (event->type() != QEvent::User) return QObject::event(event);
    posted_ = false;
    const auto due = listeners_;
    for (const auto& [listener, function] : due) function();
    return true;
}

}  // namespace quorel::qt
