// What the SDK needs of a process that runs on Qt.
//
//   QGuiApplication app(argc, argv);
//   auto loop = std::make_shared<quorel::qt::QtRunLoop>();
//   Quorel::shared().install(quorel::qt::makeServices(loop, makeGStreamerEngineFactory(loop)));
//   Quorel::shared().initialize("your-token", std::nullopt, false);
//   quorel::qt::registerQmlTypes();                       // "import Quorel": QuorelPlayer and PlayerController
//   QQmlApplicationEngine engine(QUrl("qrc:/main.qml"));
//
// GUI thread, after the QGuiApplication. Give Quorel::shared().install({}) before the loop goes.
#pragma once

#include <memory>

#include "hosts/qt/export.h"
#include "hosts/qt/qt_run_loop.h"
#include "quorel/session/platform_services.h"

namespace quorel::qt {

// The standard services, with Qt's fonts, and with a notification when the application comes to the foreground.
QUOREL_QT_API PlatformServices makeServices(const std::shared_ptr<QtRunLoop>& loop,
                                            std::shared_ptr<EngineFactory> engines);

// Registers the module "Quorel", version 1.0, with QuorelPlayer and PlayerController. Once, before QML is loaded.
QUOREL_QT_API void registerQmlTypes();

}  // namespace quorel::qt
