#include "hosts/qt/tree_item.h"

#include <QKeyEvent>
#include <QPainter>
#include <QQuickWindow>
#include <QSGImageNode>
#include <QSGRectangleNode>
#include <QTimer>
#include <algorithm>
#include <ctime>
#include <utility>

#include "hosts/qt/accessible_controls.h"
#include "hosts/qt/fonts.h"
#include "hosts/qt/frame_tap.h"
#include "hosts/qt/tree_painter.h"
#include "quorel/ui/display_list.h"

namespace quorel::qt {
namespace {

constexpr int animationStep = 16;  // milliseconds

ui::Point pointOf(const QPointF& point) {
    return {point.x(), point.y()};
}

// Of this thread.
double processorSeconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// The frame's pixels, held for as long as the image is.
QImage imageOf(const std::shared_ptr<const ui::VideoFrame>& frame) {
    using Held = std::shared_ptr<const ui::VideoFrame>;
    return QImage(
        reinterpret_cast<const uchar*>(frame->pixels.get()), frame->width, frame->height, frame->stride,
        QImage::Format_RGB32, [](void* held) { delete static_cast<Held*>(held); }, new Held(frame));
}

}  // namespace

// The picture and what is in front of it, over black. A transform node, if without a transform: below a plain one the
// software renderer loses the item's place for nodes that come later.
struct TreeItem::Node : QSGTransformNode {
    QSGRectangleNode* back = nullptr;
    QSGImageNode* video = nullptr;
    QSGImageNode* overlay = nullptr;
    const void* frame = nullptr;
    unsigned long long overlayNumber = 0;

    void place(QSGImageNode*& node, QQuickWindow& window, const QImage& image,
               QQuickWindow::CreateTextureOptions options) {
        QSGTexture* texture = window.createTextureFromImage(image, options);
        if (node == nullptr) {
            node = window.createImageNode();
            node->setOwnsTexture(true);
            node->setFiltering(QSGTexture::Linear);
            node->setTexture(texture);
        } else {
            node->setTexture(texture);
        }
    }
    void drop(QSGImageNode*& node) {
        if (node == nullptr) return;
        removeChildNode(node);
        delete std::exchange(node, nullptr);
    }
};

TreeItem::TreeItem(QQuickItem* parent)
    : QQuickItem(parent),
      painter_(std::make_unique<TreePainter>()),
      accessible_(std::make_unique<AccessibleControls>([this] {
          paintedChanges_.reset();
          changed();
      })) {
    installFonts();
    setFlag(ItemHasContents);
    setAcceptedMouseButtons(Qt::LeftButton);
    setAcceptHoverEvents(true);
    setAcceptTouchEvents(true);
    setActiveFocusOnTab(true);
    setClip(true);
}

TreeItem::~TreeItem() {
    follow(nullptr);
    if (root_) {
        root_->setChangeCallback({});
        root_->setTextMeasure({});
    }
}

void TreeItem::setViewController(const std::shared_ptr<ui::ViewController>& controller,
                                 const std::shared_ptr<RunLoop>& loop) {
    if (pointer_) pointer_->cancel();
    if (root_) {
        root_->setChangeCallback({});
        root_->setTextMeasure({});
    }
    controller_ = controller;
    loop_ = loop;
    root_ = controller ? controller->view() : nullptr;
    paintedChanges_.reset();
    pointer_.reset();
    focus_.reset();
    if (root_) {
        pointer_.emplace(root_);
        focus_.emplace(root_);
        root_->setTextMeasure(&TreePainter::measure);
        root_->setChangeCallback([this] { changed(); });
        layOut();
    }
    changed();
}

void TreeItem::layOut() {
    if (controller_) controller_->layoutIn({0, 0, width(), height()});
}

void TreeItem::layoutAgain() {
    QMetaObject::invokeMethod(this, &TreeItem::layOut, Qt::QueuedConnection);
}

void TreeItem::changed() {
    if (!frameIsComing_) polish();
    frameIsComing_ = true;
}

void TreeItem::follow(const std::shared_ptr<ui::VideoFrameSource>& source) {
    if (source == (tap_ ? tap_->source() : nullptr)) return;
    if (tap_) tap_->forget(this);
    tap_ = source ? FrameTap::of(source) : nullptr;
    if (tap_) tap_->listen(this, [this] { update(); });
    update();
}

void TreeItem::updatePolish() {
    frameIsComing_ = false;
    std::vector<ui::DisplayItem> items;
    if (root_) items = ui::displayList(root_, loop_->now());
    const auto video = std::ranges::find_if(items, [](const ui::DisplayItem& item) {
        return dynamic_cast<const ui::VideoView*>(item.view.get()) != nullptr;
    });
    showsVideo_ = video != items.end();
    if (showsVideo_) {
        const ui::Rect& place = video->frame;
        videoPlace_ = {place.x, place.y, place.width, place.height};
        follow(static_cast<const ui::VideoView&>(*video->view).source());
        items.erase(items.begin(), video + 1);
    } else {
        follow(nullptr);
    }

    const bool moves = root_ && root_->movesUntil() > loop_->now();
    const qreal ratio = window() != nullptr ? window()->effectiveDevicePixelRatio() : 1;
    const std::optional<unsigned long long> changes = root_ ? std::optional(root_->changes()) : std::nullopt;
    if (moves || wasMoving_ || paintedChanges_ != changes || paintedRatio_ != ratio) {
        paintedChanges_ = changes;
        paintedRatio_ = ratio;
        paintOverlay(items);
        accessible_->update(*this, focus_ ? &*focus_ : nullptr);
    }
    wasMoving_ = moves;
    if (moves) QTimer::singleShot(animationStep, Qt::PreciseTimer, this, [this] { changed(); });
}

void TreeItem::paintOverlay(const std::vector<ui::DisplayItem>& items) {
    const double begin = processorSeconds();
    const ui::Rect place = TreePainter::extent(items, root_ ? root_->bounds() : ui::Rect{});
    if (place.width > 0 && place.height > 0) {
        const QSize size = (QSizeF(place.width, place.height) * paintedRatio_).toSize().expandedTo({1, 1});
        // A texture may still share the pixels of the image before; then this detaches.
        if (overlay_.size() != size) overlay_ = QImage(size, QImage::Format_ARGB32_Premultiplied);
        overlay_.setDevicePixelRatio(paintedRatio_);
        overlay_.fill(Qt::transparent);
        QPainter painter(&overlay_);
        painter.translate(-place.x, -place.y);
        painter_->paint(painter, items);
    } else {
        overlay_ = {};
    }
    overlayPlace_ = place;
    ++overlayNumber_;
    ++cost_.repaints;
    cost_.seconds += processorSeconds() - begin;
    update();
}

// On the render thread, while the GUI thread waits.
QSGNode* TreeItem::updatePaintNode(QSGNode* old, UpdatePaintNodeData*) {
    auto* node = static_cast<Node*>(old);
    if (node == nullptr) {
        node = new Node;
        node->back = window()->createRectangleNode();
        node->back->setColor(Qt::black);
        node->appendChildNode(node->back);
    }
    node->back->setRect(boundingRect());

    const auto frame = showsVideo_ && tap_ ? tap_->source()->latestFrame() : nullptr;
    if (!frame || frame->width <= 0 || frame->height <= 0) {
        node->drop(node->video);
        node->frame = nullptr;
    } else {
        if (node->frame != frame.get()) {
            const bool isNew = node->video == nullptr;
            node->place(node->video, *window(), imageOf(frame), QQuickWindow::TextureIsOpaque);
            if (isNew) node->insertChildNodeAfter(node->video, node->back);
            node->frame = frame.get();
            ++cost_.frames;
        }
        const QSizeF fitted = QSizeF(frame->width, frame->height).scaled(videoPlace_.size(), Qt::KeepAspectRatio);
        node->video->setRect({videoPlace_.center() - QPointF(fitted.width() / 2, fitted.height() / 2), fitted});
        node->video->setSourceRect(QRectF(0, 0, frame->width, frame->height));
    }

    if (overlay_.isNull()) {
        node->drop(node->overlay);
    } else if (node->overlay == nullptr || node->overlayNumber != overlayNumber_) {
        const bool isNew = node->overlay == nullptr;
        node->place(node->overlay, *window(), overlay_, QQuickWindow::TextureHasAlphaChannel);
        if (isNew) node->appendChildNode(node->overlay);
        node->overlay->setRect(overlayPlace_.x, overlayPlace_.y, overlayPlace_.width, overlayPlace_.height);
        node->overlay->setSourceRect(QRectF(QPointF(0, 0), QSizeF(overlay_.size())));
    }
    node->overlayNumber = overlayNumber_;
    return node;
}

void TreeItem::geometryChange(const QRectF& to, const QRectF& from) {
    QQuickItem::geometryChange(to, from);
    if (to.size() != from.size()) layOut();
    update();
}

void TreeItem::itemChange(ItemChange change, const ItemChangeData& data) {
    QQuickItem::itemChange(change, data);
    if (change == ItemSceneChange || change == ItemDevicePixelRatioHasChanged) changed();
}

void TreeItem::mousePressEvent(QMouseEvent* event) {
    forceActiveFocus(Qt::MouseFocusReason);
    if (!pointer_) return event->ignore();
    focus_->clear();
    pointer_->press(pointOf(event->position()));
}

void TreeItem::mouseMoveEvent(QMouseEvent* event) {
    if (pointer_) pointer_->move(pointOf(event->position()));
}

void TreeItem::mouseReleaseEvent(QMouseEvent* event) {
    if (pointer_) pointer_->release(pointOf(event->position()));
}

void TreeItem::mouseUngrabEvent() {
    if (pointer_) pointer_->cancel();
}

void TreeItem::touchEvent(QTouchEvent* event) {
    if (!pointer_ || event->points().isEmpty()) return event->ignore();
    const QEventPoint& finger = event->points().front();
    const ui::Point where = pointOf(finger.position());
    switch (finger.state()) {
        case QEventPoint::Pressed:
            forceActiveFocus(Qt::MouseFocusReason);
            focus_->clear();
            pointer_->press(where);
            break;
        case QEventPoint::Updated:
            pointer_->move(where);
            break;
        case QEventPoint::Released:
            pointer_->release(where);
            if (pointer_) pointer_->leave();
            break;
        default:
            break;
    }
    event->accept();
}

void TreeItem::touchUngrabEvent() {
    if (pointer_) pointer_->cancel();
}

void TreeItem::hoverEnterEvent(QHoverEvent* event) {
    hoverMoveEvent(event);
}

void TreeItem::hoverMoveEvent(QHoverEvent* event) {
    if (pointer_) pointer_->hover(pointOf(event->position()));
}

void TreeItem::hoverLeaveEvent(QHoverEvent*) {
    if (pointer_) pointer_->leave();
}

void TreeItem::wheelEvent(QWheelEvent* event) {
    const double distance =
        event->hasPixelDelta() ? event->pixelDelta().y() : event->angleDelta().y() / 120.0 * 44;
    event->setAccepted(pointer_ && pointer_->scroll(pointOf(event->position()), -distance));
}

void TreeItem::keyPressEvent(QKeyEvent* event) {
    const bool plain = (event->modifiers() & ~(Qt::KeypadModifier | Qt::ShiftModifier)) == Qt::NoModifier;
    event->setAccepted(plain && useKey(event->key()));
}

bool TreeItem::useKey(int key) {
    if (!focus_) return false;
    switch (key) {
        case Qt::Key_Tab:
        case Qt::Key_Backtab:
            focus_->move(key == Qt::Key_Tab ? 1 : -1);
            return focus_->focused() != nullptr;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            return focus_->step(0);
        case Qt::Key_Space:
            if (focus_->step(0)) return true;
            break;
        case Qt::Key_Left:
        case Qt::Key_Right:
            if (focus_->step(key == Qt::Key_Left ? -1 : 1)) return true;
            break;
        default:
            break;
    }
    return keyHandler_ && keyHandler_(key);
}

}  // namespace quorel::qt
