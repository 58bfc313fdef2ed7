// Private to this room. An engine that plays the ad breaks of its sources: it stands before another one, which plays the
// content and is held while the ads are seen. What it does is said in vast_ad_service.h.
//
// Its files: breaks_player.cpp what the outside asks for and what the content's engine tells, break_schedule.cpp which
// breaks there are and where, running_break.cpp what happens in one.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "engines/vast/ad_pod_player.h"
#include "engines/vast/ad_resolver.h"
#include "engines/vast/vast.h"
#include "quorel/engine/engine.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/foundation/task.h"
#include "quorel/ui/geometry.h"
#include "quorel/ui/video_view.h"
#include "quorel/ui/view.h"

namespace quorel::vast {

// Says that its engine may play ads.
class AdIntegration final : public Integration {};

class BreaksPlayer final : public THEOplayer, public std::enable_shared_from_this<BreaksPlayer> {
public:
    BreaksPlayer(std::shared_ptr<const AdServices> services, std::shared_ptr<THEOplayer> content);
    ~BreaksPlayer() override;
    void listen();  // once, as soon as it is held by a shared_ptr

    void addIntegration(std::shared_ptr<Integration> integration) override;
    void addAsSubview(const std::shared_ptr<ui::View>& view) override;
    ui::Rect frame() const override { return content_->frame(); }
    void setFrame(const ui::Rect& frame) override;
    ui::Rect bounds() const override { return content_->bounds(); }
    const std::optional<SourceDescription>& source() const override { return content_->source(); }
    void setSource(std::optional<SourceDescription> source) override;
    bool autoplay() const override { return content_->autoplay(); }
    void setAutoplay(bool autoplay) override { content_->setAutoplay(autoplay); }
    void play() override;
    void pause() override;
    void stop(std::function<void()> completionHandler) override;
    bool paused() const override { return held_ ? !wanted_ : content_->paused(); }
    double currentTime() const override { return seek_ ? *seek_ : content_->currentTime(); }
    void setCurrentTime(double time, std::function<void()> completionHandler) override;
    std::optional<double> duration() const override { return content_->duration(); }
    double playbackRate() const override { return content_->playbackRate(); }
    void setPlaybackRate(double rate) override { content_->setPlaybackRate(rate); }
    bool muted() const override { return content_->muted(); }
    void setMuted(bool muted) override;
    double volume() const override { return content_->volume(); }
    void setVolume(double volume) override;
    ReadyState readyState() const override { return content_->readyState(); }
    TextTrackList& textTracks() override { return content_->textTracks(); }
    Ads& ads() override { return ads_; }
    DeveloperSettings* developerSettings() override { return content_->developerSettings(); }
    std::shared_ptr<ui::VideoFrameSource> videoFrames() const override { return content_->videoFrames(); }

private:
    struct Break {
        TimeOffset offset;
        std::variant<std::string, VastDocument> source;  // a tag's URL, or what it answered
        std::vector<Tracking> trackings;
        bool asked = false;
        std::optional<AdSelection> selection;  // once it is known
        bool played = false;
    };
    using BreakPointer = std::shared_ptr<Break>;

    void on(const PlayEvent& event);
    void on(const PlayingEvent& event);
    void on(const PauseEvent& event);
    void on(const WaitingEvent& event);
    void on(const EndedEvent& event);
    void on(const ErrorEvent& event);
    void on(const TimeUpdateEvent& event);
    void on(const DurationChangeEvent& event);
    void on(const RateChangeEvent& event);
    template <class E>
    void forward(const EventType<E>& type);
    template <class E>
    void hear(const EventType<E>& type, const E& event);

    // break_schedule.cpp
    void planBreaks(const SourceDescription& source);
    void addBreaks(TagAnswer answer, bool withStart);
    std::optional<double> placeOf(const Break& planned) const;
    bool isPostRoll(const Break& planned) const;
    BreakPointer dueAt(double position) const;
    BreakPointer dueAtStart() const;
    BreakPointer dueAtEnd() const;
    void prefetch(double position);
    void ask(const BreakPointer& planned);
    void arm();
    void check();
    void disarm();
    void resolved(const BreakPointer& planned);
    static Task<void> fetchStart(std::weak_ptr<BreaksPlayer> weak, std::shared_ptr<AdResolver> resolver,
                                 std::string tag, bool withStart, std::uint64_t load);
    static Task<void> resolve(std::weak_ptr<BreaksPlayer> weak, std::shared_ptr<AdResolver> resolver,
                              BreakPointer planned);

    // running_break.cpp
    void startBreak(const BreakPointer& planned);
    void hold();
    void runBreak();
    void goOn();
    void release();
    bool endBreak();

    const std::shared_ptr<const AdServices> services_;
    const std::shared_ptr<THEOplayer> content_;
    Ads ads_;
    const std::shared_ptr<ui::View> stage_ = ui::View::make();  // of the ads, over the content's picture
    bool enabled_ = false;

    // Of the source.
    std::uint64_t load_ = 0;
    std::vector<BreakPointer> breaks_;
    int startTagsUnderWay_ = 0;  // those whose ads at the start are wanted
    bool started_ = false;       // it has played
    double from_ = 0;            // breaks before this place were passed
    RunLoop::TimerId timer_ = 0;

    // Of the break.
    bool held_ = false;     // the content stands still for ads, or for news of them
    bool wanted_ = false;   // what the outside wants meanwhile: playing, or paused
    bool atEnd_ = false;    // the content has ended, and the outside does not know yet
    BreakPointer current_;  // null while held only for news
    std::shared_ptr<AdPodPlayer> pod_;
    bool breakTold_ = false;
    std::optional<double> seek_;  // to be done when it is over
    std::vector<std::function<void()>> seekHandlers_;

    bool quiet_ = false;        // the content is being paused for a break
    bool calling_ = false;      // the outside is pausing, or ending the source
    bool swallowPlay_ = false;  // the content goes on after a break
    bool pauseOwed_ = false;    // the content paused by itself: the end, or an error
};

}  // namespace quorel::vast
