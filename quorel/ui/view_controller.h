// View controllers: the owners of a screen's views, with the life cycle hooks that a host drives.
//
// Main run loop's thread only.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "quorel/ui/view.h"

namespace quorel::ui {

// What a navigation bar shows for one screen.
struct NavigationItem {
    std::string title;
    std::vector<std::shared_ptr<View>> rightBarItems;
};

class ViewController : public std::enable_shared_from_this<ViewController> {
public:
    ViewController() = default;
    virtual ~ViewController() = default;
    ViewController(const ViewController&) = delete;
    ViewController& operator=(const ViewController&) = delete;

    // The view, made and prepared (viewDidLoad) by the first call.
    const std::shared_ptr<View>& view();
    bool isViewLoaded() const { return view_ != nullptr; }
    void loadViewIfNeeded() { view(); }

    // A host calls this when the place for the view changes: gives the view its frame, then viewDidLayoutSubviews.
    void layoutIn(const Rect& frame);
    // A host calls this before it shows the view.
    virtual void viewWillAppear() {}

    std::shared_ptr<ViewController> parent() const { return parent_.lock(); }
    const std::vector<std::shared_ptr<ViewController>>& children() const { return children_; }
    void addChild(const std::shared_ptr<ViewController>& child);
    void removeFromParent();

    NavigationItem& navigationItem() { return navigationItem_; }

protected:
    virtual void viewDidLoad() {}
    virtual void viewDidLayoutSubviews() {}

private:
    std::shared_ptr<View> view_;
    std::weak_ptr<ViewController> parent_;
    std::vector<std::shared_ptr<ViewController>> children_;
    NavigationItem navigationItem_;
};

// A controller that shows its last child below a navigation bar made from that child's navigationItem.
class NavigationController : public ViewController {};

}  // namespace quorel::ui
