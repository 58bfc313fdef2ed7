// Plays a title in a window through the SDK, controls and all.
//
// window_player BACKEND CONTENT_ID SECONDS [bare]
#include <fmt/format.h>

#include <QGuiApplication>
#include <QQuickWindow>
#include <cstdlib>

#include "benchmarks/window/measured_seconds.h"
#include "engines/gstreamer/gstreamer_engine.h"
#include "hosts/qt/platform.h"
#include "hosts/qt/player_item.h"
#include "quorel/session/quorel.h"
#include "sandbox/sandbox_protocol.h"

using namespace quorel;

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    const auto server = argc >= 4 ? URL::parse(argv[1]) : std::nullopt;
    if (!server) return 2;
    const auto loop = std::make_shared<qt::QtRunLoop>();
    const auto engines = makeGStreamerEngineFactory(loop, {.audio = GStreamerOptions::Audio::none});
    PlatformServices services = qt::makeServices(loop, engines);
    const auto network = std::make_shared<UrlSession>();
    services.urlSession->registerProtocol(std::make_shared<sandbox::SandboxProtocol>(*server, network));
    Quorel::shared().install(std::move(services));
    Quorel::shared().initialize("sandbox-token", std::nullopt, false);
    QQuickWindow window;
    window.setColor(Qt::black);
    window.resize(1280, 720);
    qt::PlayerItem item(window.contentItem());
    item.setSize({1280, 720});
    item.setProperty("hideUI", argc > 4);
    item.setContentId(QString::fromUtf8(argv[2]));
    window.show();
    bench::measure(
        app, std::atof(argv[3]), [&] { return item.cost().frames; },
        [&] {
            const auto& cost = item.cost();
            return fmt::format(R"(, "repaints": {}, "repaint": {:.6f})", cost.repaints,
                               cost.seconds / static_cast<double>(std::max(1ULL, cost.repaints)));
        });
}
