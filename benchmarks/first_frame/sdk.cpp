// Plays a title through the SDK, from setup() on.
//
//   first_frame_sdk                                        is initialised, has no player, and stays so
//   first_frame_sdk BACKEND CONTENT_ID SECONDS STREAMS REST    plays so many, the last one for so long, and rests for so
//                                                              many seconds between them
#include <cstdlib>
#include <memory>
#include <mutex>
#include <utility>

#include "benchmarks/first_frame/playback.h"
#include "engines/gstreamer/gstreamer_engine.h"
#include "quorel/foundation/timer.h"
#include "quorel/player/controller.h"
#include "sandbox/sandbox.h"
#include "sandbox/sandbox_protocol.h"

namespace {

using namespace quorel;
using bench::Playback;

// The way to the sandbox, which counts the time that the backend calls take.
class TimedBackend final : public UrlProtocol {
public:
    TimedBackend(URL server, const std::shared_ptr<UrlSession>& network) : way_(std::move(server), network) {}

    double seconds() const {
        const std::lock_guard lock(*mutex_);
        return *seconds_;
    }
    bool canInit(const URLRequest& request) const override { return way_.canInit(request); }
    void startLoading(const URLRequest& request, std::shared_ptr<UrlProtocolClient> client) override {
        const bool counts = request.url.host() != "127.0.0.1" && request.httpMethod == "GET";
        way_.startLoading(request, counts ? std::make_shared<Timed>(std::move(client), *this) : std::move(client));
    }

private:
    struct Timed final : UrlProtocolClient {
        Timed(std::shared_ptr<UrlProtocolClient> client, const TimedBackend& owner)
            : client_(std::move(client)), mutex_(owner.mutex_), seconds_(owner.seconds_) {}
        void didReceiveResponse(URLResponse response) override {
            client_->didReceiveResponse(std::move(response));
        }
        void didLoad(std::string_view data) override { client_->didLoad(data); }
        void didFail(const URLError& error) override { client_->didFail(error); }
        void didFinishLoading() override {
            {
                const std::lock_guard lock(*mutex_);
                *seconds_ += bench::seconds() - begin_;
            }
            client_->didFinishLoading();
        }

        const double begin_ = bench::seconds();
        const std::shared_ptr<UrlProtocolClient> client_;
        const std::shared_ptr<std::mutex> mutex_;
        const std::shared_ptr<double> seconds_;
    };

    sandbox::SandboxProtocol way_;
    const std::shared_ptr<std::mutex> mutex_ = std::make_shared<std::mutex>();
    const std::shared_ptr<double> seconds_ = std::make_shared<double>(0);
};

// Lets the engine be seen as it is made.
class Observed final : public EngineFactory {
public:
    Observed(std::shared_ptr<EngineFactory> factory, std::function<void(THEOplayer&)> observer)
        : factory_(std::move(factory)), observer_(std::move(observer)) {}
    std::shared_ptr<THEOplayer> makePlayer(std::optional<ui::Rect> frame,
                                           const THEOplayerConfiguration& configuration) override {
        auto player = factory_->makePlayer(frame, configuration);
        observer_(*player);
        return player;
    }

private:
    const std::shared_ptr<EngineFactory> factory_;
    const std::function<void(THEOplayer&)> observer_;
};

void initialize(const std::shared_ptr<RealRunLoop>& loop, const std::shared_ptr<EngineFactory>& engines,
                const std::shared_ptr<UrlProtocol>& backend) {
    auto services = PlatformServices::standard(loop, engines);
    if (backend) services.urlSession->registerProtocol(backend);
    Quorel::shared().install(std::move(services));
    Quorel::shared().initialize("sandbox-token", std::nullopt, false);
}

// The player of the last stream is left as it plays.
void play(const std::shared_ptr<RealRunLoop>& loop, const std::shared_ptr<EngineFactory>& engines,
          const URL& server, const std::string& id, double secondsToPlay, double rest, bool isLast) {
    const auto network = std::make_shared<UrlSession>();
    const auto backend = std::make_shared<TimedBackend>(server, network);
    std::unique_ptr<Playback> playback;
    std::shared_ptr<ui::VideoFrameSource> frames;
    const auto observe = [&](THEOplayer& engine) {
        frames = engine.videoFrames();
        frames->setFrameCallback([&playback, source = frames.get()] {
            if (const auto frame = source->latestFrame()) playback->pictureShown(frame->width);
        });
    };
    initialize(loop, std::make_shared<Observed>(engines, observe), backend);

    playback = std::make_unique<Playback>([&] { return backend->seconds(); });
    auto player = QuorelPlayerViewController::make();
    player->setup(id, /*hideUI=*/true, 0, "pt-br", {});
    const auto turn = Timer::scheduled(*loop, 0.05, Timer::Repeats::yes, [](Timer&) {});
    if (!loop->runUntil([&] { return playback->hasPlayed(secondsToPlay); }, std::chrono::seconds(60)))
        std::_Exit(1);
    turn->invalidate();
    if (isLast) bench::stay(playback->pictures());
    player->unmount();
    if (frames) frames->setFrameCallback({});
    player = nullptr;
    loop->runUntil([] { return false; }, durationFromSeconds(rest));
}

}  // namespace

int main(int argc, char** argv) {
    const auto loop = std::make_shared<RealRunLoop>();
    const auto engines = makeGStreamerEngineFactory(loop, {.audio = GStreamerOptions::Audio::none});
    if (argc != 6) {
        initialize(loop, engines, nullptr);
        bench::stay(0);
    }
    const auto server = URL::parse(argv[1]);
    if (!server) return 2;
    for (int left = std::atoi(argv[4]); left > 0; --left)
        play(loop, engines, *server, argv[2], left > 1 ? 0 : std::atof(argv[3]), std::atof(argv[5]), left == 1);
}
