// Private to this room: tells several items of the new frames of one source, which has room for one listener only.
#pragma once

#include <QObject>
#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "quorel/ui/video_view.h"

namespace quorel::qt {

// GUI thread, but for the source's callback. The tap is held by those who listen, and ends with the last of them.
class FrameTap final : public QObject {
public:
    static std::shared_ptr<FrameTap> of(const std::shared_ptr<ui::VideoFrameSource>& source);
    ~FrameTap() override;

    const std::shared_ptr<ui::VideoFrameSource>& source() const { return source_; }
    // Called on the GUI thread, once for all frames that came meanwhile.
    void listen(QObject* listener, std::function<void()> function);
    void forget(QObject* listener);

protected:
    bool event(QEvent* event) override;

private:
    explicit FrameTap(std::shared_ptr<ui::VideoFrameSource> source);

    const std::shared_ptr<ui::VideoFrameSource> source_;
    std::vector<std::pair<QObject*, std::function<void()>>> listeners_;
    std::atomic<bool> posted_ = false;
};

}  // namespace quorel::qt
