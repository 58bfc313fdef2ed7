#include <gio/gio.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "engines/gstreamer/elements.h"
#include "engines/gstreamer/gstreamer_engine.h"
#include "engines/gstreamer/player.h"
#include "quorel/foundation/fatal.h"

namespace quorel {
namespace {

class GStreamerEngineFactory final : public EngineFactory {
public:
    explicit GStreamerEngineFactory(std::shared_ptr<gstreamer::Services> services)
        : services_(std::move(services)) {}

    std::shared_ptr<THEOplayer> makePlayer(std::optional<ui::Rect> frame,
                                           const THEOplayerConfiguration&) override {
        auto player = std::make_shared<gstreamer::Player>(services_);
        player->start(frame);
        return player;
    }

private:
    const std::shared_ptr<gstreamer::Services> services_;
};

// A limit that is no number counts as the least one.
double atLeast(double least, double limit) {
    return std::isnan(limit) ? least : std::max(least, limit);
}

// libsoup asks GIO whom to trust; the elements that load are not ours to tell.
void trustIssuers(const std::string& caFile) {
    GTlsBackend* const backend = g_tls_backend_get_default();
    GTlsDatabase* database = g_tls_file_database_new(caFile.c_str(), nullptr);
    if (database == nullptr) database = g_tls_file_database_new("/dev/null", nullptr);
    g_tls_backend_set_default_database(backend, database);
    g_clear_object(&database);
}

}  // namespace

std::shared_ptr<EngineFactory> makeGStreamerEngineFactory(std::shared_ptr<RunLoop> mainLoop,
                                                          GStreamerOptions options) {
    if (!mainLoop) fatal("makeGStreamerEngineFactory needs the main run loop");
    gstreamer::initialiseGStreamer();
    if (!options.caFile.empty()) trustIssuers(options.caFile);
    options.stallTimeout = atLeast(1, options.stallTimeout);
    options.diagnosisTimeout = atLeast(0, options.diagnosisTimeout);
    return std::make_shared<GStreamerEngineFactory>(
        std::make_shared<gstreamer::Services>(std::move(mainLoop), options));
}

}  // namespace quorel
