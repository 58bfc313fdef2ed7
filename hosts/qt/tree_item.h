// A Qt Quick item that shows a view controller's tree: the picture as a texture of its own, everything in front of it
// drawn above, only when it changes, and mouse, touch, wheel and keyboard brought to it.
//
//   auto* item = new quorel::qt::TreeItem(window->contentItem());
//   item->setViewController(player, loop);
//
// GUI thread. Needs a QGuiApplication. What lies behind the picture is not seen. While an assistive technology listens,
// the controls that can be reached are children of the item, with their names, roles, places and actions.
#pragma once

#include <QImage>
#include <QQuickItem>
#include <functional>
#include <memory>
#include <optional>

#include "hosts/qt/export.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/ui/display_list.h"
#include "quorel/ui/focus_ring.h"
#include "quorel/ui/pointer.h"
#include "quorel/ui/video_view.h"
#include "quorel/ui/view_controller.h"

namespace quorel::qt {

class QUOREL_VISIBLE AccessibleControls;
class QUOREL_VISIBLE FrameTap;
class QUOREL_VISIBLE TreePainter;

class QUOREL_QT_API TreeItem : public QQuickItem {
    Q_OBJECT
public:
    explicit TreeItem(QQuickItem* parent = nullptr);
    ~TreeItem() override;

    // Shows this one from now on; null for nothing. The item lays it out and keeps it as large as itself.
    void setViewController(const std::shared_ptr<ui::ViewController>& controller,
                           const std::shared_ptr<RunLoop>& loop);
    const std::shared_ptr<ui::ViewController>& viewController() const { return controller_; }
    // Lays out again, later in this turn: for what came back from a full screen.
    void layoutAgain();

    // What to do with keys that the focused control had no use for; gives whether the key was of use.
    void setKeyHandler(std::function<bool(int key)> handler) { keyHandler_ = std::move(handler); }

    // Figures for those who watch the cost: how often what is in front of the picture was drawn, and how long it took.
    struct Cost {
        unsigned long long repaints = 0;
        unsigned long long frames = 0;  // of the picture
        double seconds = 0;             // of processor time, spent on repaints
    };
    const Cost& cost() const { return cost_; }

protected:
    QSGNode* updatePaintNode(QSGNode* old, UpdatePaintNodeData* data) override;
    void updatePolish() override;
    void geometryChange(const QRectF& to, const QRectF& from) override;
    void itemChange(ItemChange change, const ItemChangeData& data) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseUngrabEvent() override;
    void touchEvent(QTouchEvent* event) override;
    void touchUngrabEvent() override;
    void hoverEnterEvent(QHoverEvent* event) override;
    void hoverMoveEvent(QHoverEvent* event) override;
    void hoverLeaveEvent(QHoverEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    struct Node;

    void layOut();
    void changed();
    void follow(const std::shared_ptr<ui::VideoFrameSource>& source);
    void paintOverlay(const std::vector<ui::DisplayItem>& items);
    bool useKey(int key);

    std::shared_ptr<ui::ViewController> controller_;
    std::shared_ptr<ui::View> root_;
    std::shared_ptr<RunLoop> loop_;
    std::optional<ui::Pointer> pointer_;
    std::optional<ui::FocusRing> focus_;
    std::function<bool(int)> keyHandler_;
    const std::unique_ptr<TreePainter> painter_;
    const std::unique_ptr<AccessibleControls> accessible_;

    std::shared_ptr<FrameTap> tap_;  // of the picture that shows
    QRectF videoPlace_;
    bool showsVideo_ = false;

    QImage overlay_;
    ui::Rect overlayPlace_;
    unsigned long long overlayNumber_ = 0;  // grows with each repaint
    std::optional<unsigned long long> paintedChanges_;
    qreal paintedRatio_ = 0;
    bool wasMoving_ = false;
    bool frameIsComing_ = false;
    Cost cost_;
};

}  // namespace quorel::qt
