#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "engines/vast/ad_resolver.h"
#include "engines/vast/beacons.h"
#include "engines/vast/breaks_player.h"
#include "engines/vast/options.h"
#include "engines/vast/vast.h"
#include "quorel/foundation/log.h"
#include "quorel/foundation/run_loop.h"

namespace quorel::vast {
namespace {

constexpr double samePlace = 1e-3;  // seconds; positions that are nearer are one
constexpr double nearTheEnd = 0.1;  // no engine's last picture is nearer

}  // namespace

void BreaksPlayer::planBreaks(const SourceDescription& source) {
    if (!source.ads || source.source.ssai) return;
    bool first = services_->options.leavesPrerollToPlayer;
    for (const AdDescription& ad : *source.ads) {
        const auto& tag = std::get<GoogleImaAdDescription>(ad);
        const auto offset = TimeOffset::parse(tag.timeOffset.value_or("start"));
        if (!offset) continue;
        if (offset->kind == TimeOffset::Kind::start) {
            // What such a tag answers may be a schedule, so it is asked at once.
            const bool withStart = !std::exchange(first, false);
            if (withStart) ++startTagsUnderWay_;
            startTask(*services_->loop,
                      fetchStart(weak_from_this(), services_->resolver, tag.srcText(), withStart, load_));
        } else {
            breaks_.push_back(std::make_shared<Break>(Break{*offset, tag.srcText(), {}, false, {}, false}));
        }
    }
}

Task<void> BreaksPlayer::fetchStart(std::weak_ptr<BreaksPlayer> weak, std::shared_ptr<AdResolver> resolver,
                                    std::string tag, bool withStart, std::uint64_t load) {
    auto fetching = AdResolver::fetch(std::move(resolver), std::move(tag));
    TagAnswer answer = co_await std::move(fetching);
    const auto self = weak.lock();
    if (!self || self->load_ != load) co_return;
    if (withStart) --self->startTagsUnderWay_;
    self->addBreaks(std::move(answer), withStart);
    if (self->held_ && !self->current_) self->goOn();
    if (!self->held_) self->arm();
}

void BreaksPlayer::addBreaks(TagAnswer answer, bool withStart) {
    if (auto* schedule = std::get_if<VmapDocument>(&answer.document)) {
        bool leaves = !withStart;
        for (AdBreak& planned : schedule->breaks) {
            // The player shows the first one at the start.
            if (planned.timeOffset.at(std::nullopt) == 0.0 && std::exchange(leaves, false)) continue;
            breaks_.push_back(std::make_shared<Break>(Break{
                planned.timeOffset, std::move(planned.source), std::move(planned.trackings), false, {}, false}));
        }
    } else if (withStart && !answer.problem.empty()) {
        logLine("Ad break failed to load: " + answer.problem);
    } else if (withStart) {
        breaks_.push_back(std::make_shared<Break>(
            Break{{}, std::move(std::get<VastDocument>(answer.document)), {}, false, {}, false}));
    }
}

std::optional<double> BreaksPlayer::placeOf(const Break& planned) const {
    return planned.offset.at(content_->duration());
}

bool BreaksPlayer::isPostRoll(const Break& planned) const {
    const auto place = placeOf(planned);
    const auto whole = content_->duration();
    return place && whole && *place >= *whole - nearTheEnd;
}

BreaksPlayer::BreakPointer BreaksPlayer::dueAtStart() const {
    const auto found = std::find_if(breaks_.begin(), breaks_.end(), [](const auto& planned) {
        return !planned->played && planned->offset.at(std::nullopt) == 0.0;
    });
    return found == breaks_.end() ? nullptr : *found;
}

BreaksPlayer::BreakPointer BreaksPlayer::dueAtEnd() const {
    const auto found = std::find_if(breaks_.begin(), breaks_.end(),
                                    [&](const auto& planned) { return !planned->played && isPostRoll(*planned); });
    return found == breaks_.end() ? nullptr : *found;
}

// The earliest break between the place from where it played and here.
BreaksPlayer::BreakPointer BreaksPlayer::dueAt(double position) const {
    BreakPointer due;
    double earliest = std::numeric_limits<double>::infinity();
    for (const auto& planned : breaks_) {
        const auto place = placeOf(*planned);
        if (planned->played || !place || *place <= 0 || isPostRoll(*planned)) continue;
        if (*place < from_ - samePlace || *place > position + samePlace || *place >= earliest) continue;
        due = planned;
        earliest = *place;
    }
    return due;
}

void BreaksPlayer::prefetch(double position) {
    for (const auto& planned : breaks_) {
        const auto place = placeOf(*planned);
        if (planned->played || planned->asked || !place) continue;
        if (*place >= position - samePlace && *place - position <= services_->options.prefetch) ask(planned);
    }
}

void BreaksPlayer::ask(const BreakPointer& planned) {
    if (std::exchange(planned->asked, true)) return;
    startTask(*services_->loop, resolve(weak_from_this(), services_->resolver, planned));
}

Task<void> BreaksPlayer::resolve(std::weak_ptr<BreaksPlayer> weak, std::shared_ptr<AdResolver> resolver,
                                 BreakPointer planned) {
    if (auto* document = std::get_if<VastDocument>(&planned->source)) {
        auto resolving = AdResolver::resolve(std::move(resolver), std::move(*document), "");
        planned->selection = co_await std::move(resolving);
    } else {
        auto loading = AdResolver::load(std::move(resolver), std::get<std::string>(planned->source));
        planned->selection = co_await std::move(loading);
    }
    if (const auto self = weak.lock()) self->resolved(planned);
}

// A break that is known to be empty does not even hold the content.
void BreaksPlayer::resolved(const BreakPointer& planned) {
    if (std::find(breaks_.begin(), breaks_.end(), planned) == breaks_.end()) return;
    const bool isAwaited = current_ == planned;
    if (!planned->selection->ads.empty()) {
        if (isAwaited) runBreak();
        return;
    }
    planned->played = true;
    logLine("Ad break failed to load: " + planned->selection->problem);
    Macros macros;
    macros.errorCode = ErrorCode::noAdsAfterWrapper;
    services_->beacons->send(urlsOf(planned->trackings, "error"), macros);
    if (isAwaited) goOn();
}

void BreaksPlayer::disarm() {
    services_->loop->cancel(std::exchange(timer_, 0));
}

// To be there when the next break is, which is seldom when the engine tells the time.
void BreaksPlayer::arm() {
    disarm();
    if (held_ || breaks_.empty() || content_->paused()) return;
    const double here = content_->currentTime();
    prefetch(here);
    double next = std::numeric_limits<double>::infinity();
    for (const auto& planned : breaks_) {
        const auto place = placeOf(*planned);
        if (!planned->played && place && *place > here && !isPostRoll(*planned)) next = std::min(next, *place);
    }
    if (!std::isfinite(next)) return;
    const double delay = std::max(0.01, (next - here) / std::max(0.1, content_->playbackRate()));
    timer_ = services_->loop->schedule(durationFromSeconds(delay), [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->check();
    });
}

void BreaksPlayer::check() {
    if (held_ || content_->paused()) return;
    const double here = content_->currentTime();
    if (const auto due = dueAt(here)) {
        from_ = here;
        return startBreak(due);
    }
    from_ = std::max(from_, here);
    arm();
}

}  // namespace quorel::vast
