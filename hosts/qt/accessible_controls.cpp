#include "hosts/qt/accessible_controls.h"

#include <QQmlComponent>
#include <QQmlContext>
#include <QQmlEngine>
#include <algorithm>
#include <utility>

#include "hosts/qt/fonts.h"
#include "quorel/ui/pointer.h"

namespace quorel::qt {
namespace {

// Qt Quick has its accessibility in QML; an invisible item for each control stands in for it.
constexpr const char* itemSource = R"(
import QtQuick
Item {
    property string name
    property bool isSlider
    property real value
    property real minimumValue: 0
    property real maximumValue: 1
    property real stepSize: 0.05
    signal step(int direction)
    Accessible.role: isSlider ? Accessible.Slider : Accessible.Button
    Accessible.name: name
    Accessible.focusable: true
    Accessible.onPressAction: step(0)
    Accessible.onIncreaseAction: step(1)
    Accessible.onDecreaseAction: step(-1)
})";

// Hands the signal of an item to its control.
class Stepper final : public QObject {
    Q_OBJECT
public:
    Stepper(QObject* parent, std::weak_ptr<ui::Control> control) : QObject(parent), control_(std::move(control)) {
        connect(parent, SIGNAL(step(int)), this, SLOT(take(int)));
    }

private Q_SLOTS:
    void take(int direction) {
        if (const auto control = control_.lock()) control->keyStep(direction);
    }

private:
    std::weak_ptr<ui::Control> control_;
};

QQuickItem* makeItem(QQuickItem& parent) {
    QQmlEngine* const engine = qmlEngine(&parent);
    if (engine == nullptr) return nullptr;
    QQmlComponent component(engine);
    component.setData(itemSource, {});
    auto* const item = qobject_cast<QQuickItem*>(component.create());
    if (item == nullptr) return nullptr;
    item->setParent(&parent);
    item->setParentItem(&parent);
    return item;
}

}  // namespace

AccessibleControls::AccessibleControls(std::function<void()> wanted) : wanted_(std::move(wanted)) {
    QAccessible::installActivationObserver(this);
}

AccessibleControls::~AccessibleControls() {
    QAccessible::removeActivationObserver(this);
}

void AccessibleControls::accessibilityActiveChanged(bool active) {
    isActive_ = active;
    if (active) wanted_();
}

void AccessibleControls::update(QQuickItem& parent, const ui::FocusRing* focus) {
    if (!isActive_) return;
    std::vector<std::shared_ptr<ui::Control>> controls;
    if (focus != nullptr) controls = focus->reachable();
    std::erase_if(entries_, [&](const Entry& entry) {
        if (std::ranges::find(controls, entry.control.lock()) != controls.end()) return false;
        if (entry.item) entry.item->deleteLater();
        return true;
    });
    for (const auto& control : controls) {
        auto found = std::ranges::find_if(entries_, [&](const Entry& e) { return e.control.lock() == control; });
        if (found == entries_.end()) {
            auto* const item = makeItem(parent);
            if (item == nullptr) return;
            new Stepper(item, control);
            found = entries_.insert(entries_.end(), {control, item});
        }
        if (!found->item) continue;
        QQuickItem& item = *found->item;
        const ui::Rect place = ui::frameInRoot(*control);
        item.setPosition({place.x, place.y});
        item.setSize({place.width, place.height});
        item.setProperty("name", textOf(control->accessibilityName()));
        const auto* slider = dynamic_cast<const ui::Slider*>(control.get());
        item.setProperty("isSlider", slider != nullptr);
        if (slider != nullptr) item.setProperty("value", static_cast<double>(slider->value()));
    }
}

}  // namespace quorel::qt

#include "accessible_controls.moc"
