#include "hosts/qt/platform.h"

#include <QFontDatabase>
#include <QGuiApplication>
#include <QtQml>
#include <utility>

#include "hosts/qt/player_controller_object.h"
#include "hosts/qt/player_item.h"

namespace quorel::qt {
namespace {

class QtFontRegistry final : public FontRegistry {
public:
    bool registerFont(const std::string& path) override {
        return QFontDatabase::addApplicationFont(QString::fromStdString(path)) >= 0;
    }
};

}  // namespace

PlatformServices makeServices(const std::shared_ptr<QtRunLoop>& loop, std::shared_ptr<EngineFactory> engines) {
    PlatformServices services = PlatformServices::standard(loop, std::move(engines));
    services.fontRegistry = std::make_shared<QtFontRegistry>();
    QObject::connect(qGuiApp, &QGuiApplication::applicationStateChanged, qGuiApp,
                     [center = std::weak_ptr(services.notificationCenter)](Qt::ApplicationState state) {
                         const auto alive = center.lock();
                         if (alive && state == Qt::ApplicationActive) alive->post(ApplicationDidBecomeActive);
                     });
    return services;
}

void registerQmlTypes() {
    qmlRegisterType<PlayerItem>("Quorel", 1, 0, "QuorelPlayer");
    qmlRegisterType<PlayerControllerObject>("Quorel", 1, 0, "PlayerController");
}

}  // namespace quorel::qt
