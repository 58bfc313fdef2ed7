#include "engines/gstreamer/subtitle_fetching.h"

#include <utility>

namespace quorel::gstreamer {
namespace {

// A subtitle that takes longer has missed its moment. Trying again is the track's decision.
constexpr double longestWait = 15;

class LoopFetch final : public FetchTask, public std::enable_shared_from_this<LoopFetch> {
public:
    LoopFetch(std::shared_ptr<RunLoop> loop, std::shared_ptr<ResourceLoader> loader, FetchCompletion completion)
        : loop_(std::move(loop)), loader_(std::move(loader)), completion_(std::move(completion)) {}
    ~LoopFetch() override { end(); }

    void start(const std::string& uri) {
        name_ = "The address " + uri;
        deadline_ = loop_->schedule(durationFromSeconds(longestWait), [weak = weak_from_this()] {
            const ResourceLoader::Refusal silence{.reason = "The server does not answer."};
            if (const auto self = weak.lock()) self->finish(silence.sentence(self->name_));
        });
        const auto answered = [loop = loop_, weak = weak_from_this()](ResourceLoader::Result result) {
            loop->post([weak, result = std::move(result)]() mutable {
                const auto self = weak.lock();
                if (!self) return;
                if (auto* const refusal = std::get_if<ResourceLoader::Refusal>(&result)) {
                    return self->finish(refusal->sentence(self->name_));
                }
                auto& loaded = std::get<ResourceLoader::Loaded>(result);
                self->finish(FetchedText{std::move(loaded.data), std::move(loaded.url)});
            });
        };
        load_ = loader_->load(uri, longestWait, answered);
    }

private:
    void end() {
        loop_->cancel(deadline_);
        if (const auto load = std::exchange(load_, nullptr)) load->cancel();
    }
    void finish(FetchResult result) {
        const FetchCompletion completion = std::exchange(completion_, nullptr);
        if (!completion) return;
        end();
        completion(std::move(result));
    }

    const std::shared_ptr<RunLoop> loop_;
    const std::shared_ptr<ResourceLoader> loader_;
    FetchCompletion completion_;
    std::string name_;
    RunLoop::TimerId deadline_ = 0;
    std::shared_ptr<ResourceLoader::Load> load_;
};

}  // namespace

Fetch makeFetch(std::shared_ptr<RunLoop> loop, std::shared_ptr<ResourceLoader> loader) {
    return
        [loop = std::move(loop), loader = std::move(loader)](const std::string& uri, FetchCompletion completion) {
            const auto task = std::make_shared<LoopFetch>(loop, loader, std::move(completion));
            task->start(uri);
            return std::static_pointer_cast<FetchTask>(task);
        };
}

}  // namespace quorel::gstreamer
