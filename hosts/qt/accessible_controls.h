// Private to this room: the tree's controls for screen readers.
#pragma once

#include <QAccessible>
#include <QPointer>
#include <QQuickItem>
#include <functional>
#include <memory>
#include <vector>

#include "quorel/ui/focus_ring.h"

namespace quorel::qt {

class AccessibleControls final : public QAccessible::ActivationObserver {
public:
    // `wanted` is called when somebody begins to listen: then an update is due.
    explicit AccessibleControls(std::function<void()> wanted);
    ~AccessibleControls();

    // Makes the items below `parent` follow what can be reached now. Does nothing while nobody listens.
    void update(QQuickItem& parent, const ui::FocusRing* focus);

private:
    void accessibilityActiveChanged(bool active) override;

    struct Entry {
        std::weak_ptr<ui::Control> control;
        QPointer<QQuickItem> item;
    };

    const std::function<void()> wanted_;
    bool isActive_ = QAccessible::isActive();
    std::vector<Entry> entries_;
};

}  // namespace quorel::qt
