// View controllers: the owners of a screen's views, with the life cycle hooks that a host drives.
//
// Main run loop's thread only.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "quorel/ui/export.h"
#include "quorel/ui/geometry.h"
#include "quorel/ui/view.h"

namespace quorel::ui {

// One place of a navigation bar; the host puts the view there.
struct QUOREL_VISIBLE BarButtonItem {
    std::shared_ptr<View> customView;
    bool operator==(const BarButtonItem&) const = default;
};

// What a navigation bar shows for one screen.
struct QUOREL_VISIBLE NavigationItem {
    std::string title;
    std::vector<BarButtonItem> rightBarItems;  // the first one is the outermost
};

// The numbers are those of the platform that the names come from.
enum class InterfaceOrientation { portrait = 1, portraitUpsideDown = 2, landscapeRight = 3, landscapeLeft = 4 };
// One bit for each: 1 << its number.
enum class InterfaceOrientationMask : unsigned { portrait = 2, landscape = 24, all = 30 };
// How a presented screen comes, where a host can do it.
enum class ModalTransitionStyle { coverVertical = 0, flipHorizontal = 1, crossDissolve = 2 };
// How much of the screen it takes.
enum class ModalPresentationStyle { fullScreen = 0, pageSheet = 1 };

class QUOREL_UI_API ViewController : public std::enable_shared_from_this<ViewController> {
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
    // Moves it from wherever it was; its view is the business of whoever calls.
    void addChild(const std::shared_ptr<ViewController>& child);
    // Nothing without a parent.
    void removeFromParent();

    // Another controller's screen over this one. A host that can show it has a presenter; without one, the presented
    // controller is held, its view is prepared, and nobody sees it. One at a time: a second one is not presented.
    // The host lays the presented controller out, and this one again once the other is dismissed.
    void present(const std::shared_ptr<ViewController>& controller, bool animated);
    void dismissPresented(bool animated);
    const std::shared_ptr<ViewController>& presentedViewController() const { return presented_; }
    // Called with what is presented from now on, or with null when it is dismissed.
    using Presenter = std::function<void(const std::shared_ptr<ViewController>& presented, bool animated)>;
    void setPresenter(Presenter presenter) { presenter_ = std::move(presenter); }

    ModalTransitionStyle modalTransitionStyle() const { return transition_; }
    void setModalTransitionStyle(ModalTransitionStyle style) { transition_ = style; }
    ModalPresentationStyle modalPresentationStyle() const { return presentation_; }
    void setModalPresentationStyle(ModalPresentationStyle style) { presentation_ = style; }

    // What the screen wants of a device that can be turned, and that draws a bar of its own.
    virtual InterfaceOrientationMask supportedInterfaceOrientations() const {
        return InterfaceOrientationMask::all;
    }
    virtual InterfaceOrientation preferredInterfaceOrientationForPresentation() const {
        return InterfaceOrientation::portrait;
    }
    virtual bool prefersHomeIndicatorAutoHidden() const { return false; }

    // What a navigation bar shows while this controller is the last child of its parent.
    NavigationItem& navigationItem() { return navigationItem_; }

protected:
    // The view was made, and its place has changed.
    virtual void viewDidLoad() {}
    virtual void viewDidLayoutSubviews() {}

private:
    std::shared_ptr<View> view_;
    std::weak_ptr<ViewController> parent_;
    std::vector<std::shared_ptr<ViewController>> children_;
    std::shared_ptr<ViewController> presented_;
    Presenter presenter_;
    ModalTransitionStyle transition_ = ModalTransitionStyle::coverVertical;
    ModalPresentationStyle presentation_ = ModalPresentationStyle::fullScreen;
    NavigationItem navigationItem_;
};

// A controller that shows its last child below a navigation bar made from that child's navigationItem.
class QUOREL_VISIBLE NavigationController : public ViewController {};

}  // namespace quorel::ui
