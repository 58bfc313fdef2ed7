// QML knows the items, and the font that the library brings along is in it.
#include <hosts/qt/platform.h>
#include <quorel/session/quorel.h>

#include <QFile>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    const auto loop = std::make_shared<quorel::qt::QtRunLoop>();
    quorel::Quorel::shared().install(quorel::qt::makeServices(loop, nullptr));
    quorel::qt::registerQmlTypes();
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData("import QtQuick\nimport Quorel\nItem { PlayerController {} QuorelPlayer {} }", {});
    std::unique_ptr<QObject> made(component.create());
    if (!made) return qWarning("%s", qPrintable(component.errorString())), 1;
    made.reset();
    quorel::Quorel::shared().install({});
    if (!QFile::exists(":/quorel/fonts/LeagueSpartan-Bold.otf")) return qWarning("no font"), 1;
    return 0;
}
