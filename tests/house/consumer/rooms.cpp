// Uses something of each room that is installed: code, an error that is caught outside, a type that is looked at.
#include <cstdio>
#include <memory>

#define CHECK(condition) \
    if (!(condition)) return std::puts(#condition), 1

#include <quorel/foundation/json.h>
#include <quorel/foundation/run_loop.h>
#if __has_include(<quorel/ui/view.h>)
#include <quorel/ui/control.h>
#endif
#if __has_include(<quorel/support/regex.h>)
#include <quorel/support/regex.h>
#endif
#if __has_include(<quorel/httpserver/http_server.h>)
#include <quorel/httpserver/http_server.h>
#endif
#if __has_include(<quorel/engine/null_services.h>)
#include <quorel/engine/null_services.h>
#endif
#if __has_include(<quorel/session/quorel.h>)
#include <quorel/session/quorel.h>
#endif
#if __has_include(<quorel/telemetry/analytics_api.h>)
#include <quorel/telemetry/analytics_api.h>
#endif
#if __has_include(<quorel/sideload/hls_line.h>)
#include <quorel/sideload/hls_line.h>
#endif
#if __has_include(<quorel/presentation/resource_bundle.h>)
#include <quorel/presentation/resource_bundle.h>
#endif
#if __has_include(<quorel/facade/player_controller.h>)
#include <quorel/facade/quorel_player_swift_ui.h>
#endif
#if __has_include(<engines/vast/vast.h>)
#include <engines/vast/vast.h>
#endif
#if __has_include(<engines/simulated/simulated_engine.h>)
#include <engines/simulated/simulated_engine.h>
#endif

using namespace quorel;

int main() {
    try {
        parseJSON("{");
        return 1;
    } catch (const JSONError& error) {
        CHECK(!error.localizedDescription().empty());
    }
    const auto loop = std::make_shared<ManualRunLoop>();
#if __has_include(<quorel/ui/view.h>)
    const std::shared_ptr<ui::View> view = ui::Button::make();
    CHECK(std::dynamic_pointer_cast<ui::Button>(view));
#endif
#if __has_include(<quorel/support/regex.h>)
    CHECK(Regex(R"((\d+):(\d{2}))").firstMatch("at 12:30")->captureString(1) == "30");
#endif
#if __has_include(<quorel/httpserver/http_server.h>)
    const auto server = std::make_shared<http::HttpServer>();
    server->get["/"] = [](http::HttpRequest&) {
        return http::HttpResponse::ok(http::HttpResponseBody::text("here"));
    };
    server->listenAddressIPv4 = "127.0.0.1";
    server->start(0, true);
    CHECK(server->port() != 0);
    server->stop();
#endif
#if __has_include(<quorel/engine/null_services.h>)
    CHECK(makeNullIMAFactory(*loop));
#endif
#if __has_include(<quorel/session/quorel.h>)
    CHECK(!Quorel::shared().ssid());
#endif
#if __has_include(<quorel/telemetry/analytics_api.h>)
    CHECK(AnalyticsAPI(Quorel::shared()).baseURL().absoluteString() == AnalyticsAPI::defaultBaseURL());
#endif
#if __has_include(<quorel/sideload/hls_line.h>)
    CHECK(HLSLine("#EXT-X-STREAM-INF:BANDWIDTH=1").paramsObject.value("BANDWIDTH") == "1");
#endif
#if __has_include(<quorel/presentation/resource_bundle.h>)
    CHECK(ResourceBundleClass::image("loading-icon"));
#endif
#if __has_include(<quorel/facade/player_controller.h>)
    CHECK(QuorelPlayerSwiftUI({}).controller);
#endif
#if __has_include(<engines/vast/vast.h>)
    CHECK(vast::TimeOffset::parse("00:00:05"));
#endif
#if __has_include(<engines/simulated/simulated_engine.h>)
    CHECK(!std::make_shared<SimulatedEngineFactory>(loop)->latest());
#endif
    return 0;
}
