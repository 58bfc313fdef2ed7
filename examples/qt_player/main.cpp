// The process around Player.qml: qt_player TOKEN CONTENT-ID
#include <QGuiApplication>
#include <QQmlApplicationEngine>

#include "engines/gstreamer/gstreamer_engine.h"
#include "hosts/qt/platform.h"
#include "quorel/quorel.h"

using namespace quorel;

// [process]
int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    if (argc != 3) return qWarning("usage: qt_player TOKEN CONTENT-ID"), 2;
    const auto loop = std::make_shared<qt::QtRunLoop>();
    Quorel::shared().install(qt::makeServices(loop, makeGStreamerEngineFactory(loop)));
    Quorel::shared().initialize(argv[1], std::nullopt, false);
    qt::registerQmlTypes();
    QQmlApplicationEngine engine;
    engine.setInitialProperties({{"film", QString(argv[2])}});
    engine.load(QUrl("qrc:/Player.qml"));
    const int code = engine.rootObjects().isEmpty() ? 1 : QGuiApplication::exec();
    Quorel::shared().install({});
    return code;
}
// [/process]
