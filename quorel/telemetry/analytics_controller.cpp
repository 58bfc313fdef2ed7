#include "quorel/telemetry/analytics_controller.h"

#include <limits>
#include <utility>
#include <vector>

#include "quorel/foundation/fatal.h"
#include "quorel/foundation/json.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/session/installation_identifier.h"
#include "quorel/session/platform_services.h"
#include "quorel/ui/geometry.h"

namespace quorel {

std::shared_ptr<AnalyticsController> AnalyticsController::make(Quorel& session, std::string_view ingestURL) {
    return std::shared_ptr<AnalyticsController>(new AnalyticsController(session, ingestURL));
}

AnalyticsController::AnalyticsController(Quorel& session, std::string_view ingestURL)
    : session_(session), api_(session, ingestURL) {}

void AnalyticsController::start(const std::string& contentId, const std::shared_ptr<THEOplayer>& player) {
    const std::shared_ptr<RunLoop>& loop = session_.services().mainLoop;
    sequence_ = 0;
    player_ = player;
    contentId_ = contentId;
    if (const auto running = timer_.lock()) running->invalidate();
    timer_ = Timer::scheduled(*loop, interval, Timer::Repeats::yes,
                              [self = shared_from_this()](Timer&) { self->logTime(); });
    listeners_.insert_or_assign(
        ListenerName::waiting,
        player->addEventListener(PlayerEventTypes::WAITING,
                                 [weak = weak_from_this(), clock = std::weak_ptr(loop)](const WaitingEvent&) {
                                     const auto self = weak.lock();
                                     const auto now = clock.lock();
                                     if (self && now) self->bufferStartTime_ = now->secondsSince1970();
                                 }));
    listeners_.insert_or_assign(
        ListenerName::playing,
        player->addEventListener(PlayerEventTypes::PLAYING, [weak = weak_from_this()](const PlayingEvent&) {
            if (const auto self = weak.lock()) self->bufferStartTime_ = 0;
        }));
}

void AnalyticsController::stop() {
    if (const auto running = timer_.lock()) running->invalidate();
    const auto player = player_.lock();
    if (!player) return;
    // The handles stay in the table; one that is removed a second time does no harm.
    const auto waiting = listeners_.find(ListenerName::waiting);
    if (waiting != listeners_.end()) player->removeEventListener(PlayerEventTypes::WAITING, waiting->second);
    const auto playing = listeners_.find(ListenerName::playing);
    if (playing != listeners_.end()) player->removeEventListener(PlayerEventTypes::PLAYING, playing->second);
}

void AnalyticsController::logTime() {
    const auto player = player_.lock();
    if (!player || !session_.hasServices()) return;
    // Deliberate: nothing measures a buffer, its size is always 0.
    sendPing(bufferStartTime_ != 0, 0, player->currentTime());
}

void AnalyticsController::sendPing(bool isRebuffering, std::int64_t bufferSize, double time) {
    const auto& identity = session_.services().vendorIdentifier;
    const std::optional<std::string> vendorId = identity ? identity->identifierForVendor() : std::nullopt;
    if (!vendorId) fatal("analytics needs an identifierForVendor, and the platform's services give none");
    const auto player = player_.lock();
    if (!player || !contentId_ || !player->source()) return;
    const std::vector<TypedSource> sources = player->source()->sources();
    if (sources.empty()) return;
    const std::optional<URL> url = URL::parse(sources.front().src);
    if (!url) return;
    startTask(*session_.services().mainLoop,
              post(shared_from_this(), player,
                   {*contentId_, *vendorId, isRebuffering, bufferSize, *url, time, url->host().value_or("")}));
}

Task<void> AnalyticsController::post(std::shared_ptr<AnalyticsController> controller,
                                     std::shared_ptr<THEOplayer> player, Ping ping) {
    JSONObject data{
        {"evento", "ping"},
        {"video_nome", ping.contentId},
        {"usuario_id", ping.vendorId},
        {"fazendo_rebuffer", ping.isRebuffering},
        {"tamanho_buffer", ping.bufferSize},
        {"player_fullscreen", true},  // deliberate: the real state is not looked at
        {"player_autoplay", player->autoplay()},
        {"player_pausado", player->paused()},
        {"video_src", ping.source.absoluteString()},
        {"video_altura", player->frame().height},
        {"video_largura", player->frame().width},
        {"versao_theo", ""},  // deliberate: a slot that is never filled
        {"current_time", ping.time},
        {"host", ping.host},
        {"sequencia", controller->sequence_},
    };
    if (controller->sequence_ == std::numeric_limits<std::int64_t>::max())
        fatal("the analytics sequence overflowed");
    ++controller->sequence_;
    // The name and the event stand in both objects, on purpose.
    JSONObject event{{"evento", "ping"}, {"video_nome", ping.contentId}, {"dados", std::move(data)}};
    controller->api_.post({{"eventos", JSONArray{std::move(event)}}});
    co_return;
}

}  // namespace quorel
