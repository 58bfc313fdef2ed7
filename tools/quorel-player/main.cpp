// quorel-player: the sandbox's titles in a window.
//
// quorel-player --help says what it takes.
#include <fmt/format.h>

#include <QCommandLineParser>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QQuickWindow>
#include <QTimer>
#include <cstdio>
#include <memory>

#include "engines/gstreamer/gstreamer_engine.h"
#include "engines/vast/vast_ad_service.h"
#include "hosts/qt/platform.h"
#include "hosts/qt/player_item.h"
#include "quorel/foundation/uuid.h"
#include "quorel/session/quorel.h"
#include "sandbox/sandbox.h"
#include "tools/quorel-player/event_log.h"
#include "tools/quorel-player/screenshots.h"

namespace quorel::player_window {
namespace {

QVariantList titlesOf(const sandbox::Sandbox& backend) {
    using State = sandbox::Title::State;
    QVariantList list;
    for (const sandbox::Title& title : backend.titles()) {
        QString badge;
        if (title.state == State::onAir) badge = QStringLiteral("LIVE");
        if (title.state == State::startsSoon) badge = QStringLiteral("SOON");
        if (title.state == State::paused) badge = QStringLiteral("PAUSED");
        if (title.state == State::over) badge = QStringLiteral("OVER");
        const auto screen = [&backend](const char* name) {
            return QString::fromStdString(backend.baseURL() + "/media/images/" + name + ".png");
        };
        list.push_back(QVariantMap{
            {QStringLiteral("screens"), QVariantMap{{QStringLiteral("startSoon"), screen("start-soon")},
                                                    {QStringLiteral("paused"), screen("pause")},
                                                    {QStringLiteral("shutdown"), screen("end")}}},
            {QStringLiteral("id"), QString::fromStdString(title.id)},
            {QStringLiteral("name"), QString::fromStdString(title.name)},
            {QStringLiteral("about"), QString::fromStdString(title.about)},
            {QStringLiteral("badge"), badge}});
    }
    return list;
}

int run(QGuiApplication& app) {
    QCommandLineParser arguments;
    arguments.setApplicationDescription(QStringLiteral("Plays the sandbox's titles in a window."));
    arguments.addHelpOption();
    arguments.addVersionOption();
    arguments.addPositionalArgument(QStringLiteral("ID"), QStringLiteral("The title to begin with (sample)."));
    arguments.addOption({QStringLiteral("bare"), QStringLiteral("The player alone, without titles and events.")});
    arguments.addOption({QStringLiteral("size"), QStringLiteral("The window's size."), QStringLiteral("WxH")});
    arguments.addOption({QStringLiteral("seconds"), QStringLiteral("Ends after so many seconds, with a summary."),
                         QStringLiteral("S")});
    arguments.addOption({QStringLiteral("picture"),
                         QStringLiteral("Takes a picture of the window once it plays, and ends."),
                         QStringLiteral("FILE")});
    arguments.addOption(
        {QStringLiteral("media"), QStringLiteral("Where the titles are."), QStringLiteral("DIRECTORY")});
    arguments.addOption({QStringLiteral("screenshots"), QStringLiteral("Takes pictures of the window and ends."),
                         QStringLiteral("DIRECTORY")});
    arguments.addOption({QStringLiteral("only"), QStringLiteral("Only this picture."), QStringLiteral("NAME")});
    arguments.addOption({QStringLiteral("silent"), QStringLiteral("Without sound.")});
    const auto usageError = [](const QString& what) {
        fmt::print(stderr, "quorel-player: {}; see quorel-player --help\n", what.toStdString());
        return 2;
    };
    if (!arguments.parse(app.arguments())) {
        const QStringList unknown = arguments.unknownOptionNames();
        return usageError(unknown.isEmpty() ? arguments.errorText()
                                            : QStringLiteral("there is no option '%1%2'")
                                                  .arg(QLatin1String(unknown.front().size() == 1 ? "-" : "--"),
                                                       unknown.front()));
    }
    if (arguments.isSet(QStringLiteral("help"))) {
        fmt::print("{}", arguments.helpText().toStdString());
        return 0;
    }
    if (arguments.isSet(QStringLiteral("version"))) {
        fmt::print("quorel-player {}\n", QUOREL_VERSION);
        return 0;
    }
    const QStringList size = arguments.value(QStringLiteral("size")).split(QLatin1Char('x'));
    const bool hasSize = size.size() == 2 && size[0].toInt() > 0 && size[1].toInt() > 0;
    if (arguments.isSet(QStringLiteral("size")) && !hasSize) {
        return usageError(QStringLiteral("--size needs a width and a height, as 1280x760"));
    }
    bool isNumber = true;
    const double seconds = arguments.value(QStringLiteral("seconds")).toDouble(&isNumber);
    if (arguments.isSet(QStringLiteral("seconds")) && !(isNumber && seconds > 0 && seconds <= 86'400)) {
        return usageError(QStringLiteral("--seconds needs a number up to 86400"));
    }

    sandbox::Sandbox::Options sandboxOptions;
    if (arguments.isSet(QStringLiteral("media"))) {
        sandboxOptions.mediaDirectory = arguments.value(QStringLiteral("media")).toStdString();
    }
    sandbox::Sandbox backend(sandboxOptions);
    backend.start();
    const auto loop = std::make_shared<qt::QtRunLoop>();
    GStreamerOptions options;
    const bool takesPictures =
        arguments.isSet(QStringLiteral("screenshots")) || arguments.isSet(QStringLiteral("picture"));
    if (arguments.isSet(QStringLiteral("silent")) || takesPictures) {
        options.audio = GStreamerOptions::Audio::none;
    }
    PlatformServices services = qt::makeServices(loop, makeGStreamerEngineFactory(loop, options));
    const auto ads = VastAdService::make(loop, services.urlSession, services.engineFactory);
    services.imaFactory = ads->imaFactory();
    services.imaIntegrationFactory = ads->integrationFactory();
    services.engineFactory = ads->engineFactory();
    services.urlSession->registerProtocol(backend.makeProtocol());
    Quorel::shared().install(std::move(services));
    Quorel::shared().initialize(backend.token(), std::nullopt, false);
    Quorel::shared().setSessionId(UUID::random().string());
    qt::registerQmlTypes();

    int code = 0;
    {
        EventLog log;
        QQmlApplicationEngine engine;
        const QStringList words = arguments.positionalArguments();
        engine.rootContext()->setContextProperty(QStringLiteral("titles"), titlesOf(backend));
        engine.rootContext()->setContextProperty(QStringLiteral("eventLog"), &log);
        engine.rootContext()->setContextProperty(QStringLiteral("initialPanes"),
                                                 !arguments.isSet(QStringLiteral("bare")));
        engine.rootContext()->setContextProperty(QStringLiteral("initialTitle"),
                                                 words.isEmpty() ? QStringLiteral("sample") : words.front());
        engine.load(QUrl(QStringLiteral("qrc:/Main.qml")));
        auto* const window =
            engine.rootObjects().isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(engine.rootObjects().front());
        if (window == nullptr) {
            fmt::print(stderr, "quorel-player: the window cannot be made\n");
            return 1;
        }
        if (hasSize) window->resize(size[0].toInt(), size[1].toInt());
        if (takesPictures) {
            const QString error = arguments.isSet(QStringLiteral("picture"))
                                      ? takePicture(*window, arguments.value(QStringLiteral("picture")))
                                      : takeScreenshots(*window, arguments.value(QStringLiteral("screenshots")),
                                                        arguments.value(QStringLiteral("only")));
            if (!error.isEmpty()) {
                fmt::print(stderr, "quorel-player: {}\n", error.toStdString());
                code = 1;
            }
        } else {
            if (seconds > 0) {
                QTimer::singleShot(static_cast<int>(seconds * 1000), &app, &QCoreApplication::quit);
            }
            code = QGuiApplication::exec();
        }
        const auto& cost = window->property("player").value<qt::PlayerItem*>()->cost();
        fmt::print("{} frames shown, controls drawn {} times in {:.1f} ms\n", cost.frames, cost.repaints,
                   cost.seconds * 1000);
    }
    Quorel::shared().install({});
    QCoreApplication::processEvents();
    return code;
}

}  // namespace
}  // namespace quorel::player_window

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("quorel-player"));
    try {
        return quorel::player_window::run(app);
    } catch (const quorel::Error& error) {
        fmt::print(stderr, "quorel-player: {}\n", error.what());
        return 1;
    }
}
