// A real loop, a real server and the GStreamer engine, without sound.
#pragma once

#include <filesystem>
#include <iterator>
#include <memory>
#include <string>

#include "engines/gstreamer/gstreamer_engine.h"
#include "quorel/foundation/timer.h"
#include "quorel/ui/view.h"
#include "tests/engines/engine_contract.h"
#include "tests/engines/gstreamer/media_server.h"

namespace quorel::testing {

// As of "/proc/self/fd" and "/proc/self/task".
inline std::size_t entries(const char* directory) {
    using Iterator = std::filesystem::directory_iterator;
    return static_cast<std::size_t>(std::distance(Iterator(directory), Iterator()));
}

// The test pictures are grey, and lighter with each second (make_media.sh).
inline int greyOf(const ui::VideoFrame& frame) {
    return std::to_integer<int>(frame.pixels.get()[frame.stride * (frame.height / 2) + 4 * (frame.width / 2)]);
}
inline double secondShown(const ui::VideoFrame& frame) {
    return (greyOf(frame) - 32) / 10.0;
}

class GStreamerHarness final : public EngineHarness {
public:
    explicit GStreamerHarness(MediaServer::Script script = {}, double stallTimeout = 20)
        : server(std::move(script)),
          factory_(makeGStreamerEngineFactory(
              loop_,
              {.audio = GStreamerOptions::Audio::none, .stallTimeout = stallTimeout, .diagnosisTimeout = 2})) {}

    RunLoop& loop() override { return *loop_; }
    EngineFactory& factory() override { return *factory_; }
    SourceDescription vodSource() override { return sourceAt("ts/index.m3u8"); }
    double vodDuration() const override { return 20; }
    SourceDescription otherVodSource() override { return sourceAt("fmp4/index.m3u8"); }
    std::optional<SourceDescription> liveSource() override { return sourceAt("live/index.m3u8"); }
    SourceDescription badSource() override { return sourceAt("nowhere.m3u8"); }
    std::optional<SourceDescription> subtitledSource() override { return sourceAt("subtitled.m3u8"); }

    bool waitUntil(const std::function<bool()>& done) override { return run(done, 60); }
    void step(double seconds) override {
        run([] { return false; }, seconds);
    }
    double seekTolerance() const override { return 0.1; }
    double longestTimeUpdateGap() const override { return 5; }
    bool clockIsVirtual() const override { return false; }

    std::shared_ptr<THEOplayer> makePlayer() { return factory_->makePlayer(std::nullopt, {}); }
    SourceDescription sourceAt(const std::string& path) const {
        SourceDescription source;
        source.source.src = server.url(path);
        source.source.type = "application/x-mpegurl";
        return source;
    }

    MediaServer server;

private:
    bool run(const std::function<bool()>& done, double seconds) {
        const auto turn = Timer::scheduled(*loop_, 0.01, Timer::Repeats::yes, [](Timer&) {});
        const bool result = loop_->runUntil(done, durationFromSeconds(seconds));
        turn->invalidate();
        return result;
    }

    std::shared_ptr<RealRunLoop> loop_ = std::make_shared<RealRunLoop>();
    std::shared_ptr<EngineFactory> factory_;
};

}  // namespace quorel::testing
