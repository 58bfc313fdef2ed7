#include "engines/simulated/simulated_engine.h"
#include "engines/vast/vast_ad_service.h"
#include "tests/engines/engine_contract.h"

namespace quorel::testing {
namespace {

SourceDescription sourceAt(const std::string& url) {
    SourceDescription source;
    source.source.src = url;
    source.source.type = "application/x-mpegurl";
    return source;
}

class SimulatedHarness final : public EngineHarness {
public:
    // `seekTakes` of the scripts, in seconds. Behind ads, the engine is that of an ad service, and there are no ads.
    explicit SimulatedHarness(double seekTakes, bool behindAds = false) {
        SimulatedScript script;
        script.seekTakes = seekTakes;
        script.duration = vodDuration();
        simulated_->setScript("https://cdn.example/film.m3u8", script);
        script.duration = 20;
        simulated_->setScript("https://cdn.example/other.m3u8", script);
        script.duration = SimulatedScript::infinite;
        script.liveEdge = 30;
        simulated_->setScript("https://cdn.example/live.m3u8", script);
        simulated_->setScript("https://cdn.example/bad.m3u8",
                              {.error = SimulatedError{{}, "The playlist is not there."}});
        simulated_->setScript("https://cdn.example/subtitled.m3u8",
                              {.tracks = {{.label = "Português", .language = "pt-br"},
                                          {.label = "English", .language = "en", .addAfter = 0.5}}});
        if (behindAds) factory_ = VastAdService::make(loop_, {}, simulated_)->engineFactory();
    }

    RunLoop& loop() override { return *loop_; }
    EngineFactory& factory() override { return *factory_; }
    SourceDescription vodSource() override { return sourceAt("https://cdn.example/film.m3u8"); }
    double vodDuration() const override { return 10; }
    SourceDescription otherVodSource() override { return sourceAt("https://cdn.example/other.m3u8"); }
    std::optional<SourceDescription> liveSource() override { return sourceAt("https://cdn.example/live.m3u8"); }
    SourceDescription badSource() override { return sourceAt("https://cdn.example/bad.m3u8"); }
    std::optional<SourceDescription> subtitledSource() override {
        return sourceAt("https://cdn.example/subtitled.m3u8");
    }
    bool waitUntil(const std::function<bool()>& done) override {
        for (int turn = 0; turn < 6000; ++turn) {
            if (done()) return true;
            loop_->advance(std::chrono::milliseconds(10));
        }
        return done();
    }
    void step(double seconds) override { loop_->advance(durationFromSeconds(seconds)); }
    double seekTolerance() const override { return 0; }
    double longestTimeUpdateGap() const override { return 0.2501; }
    bool clockIsVirtual() const override { return true; }

private:
    std::shared_ptr<ManualRunLoop> loop_ = std::make_shared<ManualRunLoop>();
    std::shared_ptr<SimulatedEngineFactory> simulated_ = std::make_shared<SimulatedEngineFactory>(loop_);
    std::shared_ptr<EngineFactory> factory_ = simulated_;
};

INSTANTIATE_TEST_SUITE_P(Simulated, EngineContract, ::testing::Values(EngineHarnessMaker{[] {
                             return std::make_unique<SimulatedHarness>(0);
                         }}));
INSTANTIATE_TEST_SUITE_P(SimulatedWithSlowSeeks, EngineContract, ::testing::Values(EngineHarnessMaker{[] {
                             return std::make_unique<SimulatedHarness>(0.35);
                         }}));
INSTANTIATE_TEST_SUITE_P(SimulatedBehindAds, EngineContract, ::testing::Values(EngineHarnessMaker{[] {
                             return std::make_unique<SimulatedHarness>(0.35, true);
                         }}));

}  // namespace
}  // namespace quorel::testing
