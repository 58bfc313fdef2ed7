#include "quorel/presentation/settings_view.h"

#include <fmt/format.h>

#include <charconv>
#include <string_view>
#include <utility>

#include "quorel/foundation/text.h"
#include "quorel/foundation/timer.h"
#include "quorel/presentation/settings_layout.h"
#include "quorel/ui/geometry.h"

namespace quorel {
namespace {

constexpr double fade = 0.2;  // seconds
constexpr double rowSpacing = 8;

std::string speedText(double speed) {
    return fmt::format("{:.1f}x", speed);
}

// Shortest, but always with a decimal point, so that the text of 1 is the one that the panel shows of it.
std::string rateText(double rate) {
    std::string text = fmt::format("{}", rate);
    if (text.find_first_not_of("-0123456789") == std::string::npos) text += ".0";
    return text + "x";
}

// The whole text, or nothing.
std::optional<double> parseRate(std::string_view text) {
    if (text.starts_with('+')) text.remove_prefix(1);
    double rate = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), rate);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return rate;
}

}  // namespace

std::shared_ptr<SettingsRow> SettingsRow::make(std::string title, std::string value) {
    auto row = std::make_shared<SettingsRow>();
    row->setCornerRadius(8);
    row->setBackgroundColor(ui::Color{1, 1, 1, 0.08});
    for (const auto& label : {row->titleLabel_, row->valueLabel_}) {
        label->setTextColor(ui::Color::white());
        label->setShadow(settings::textShadow);
        row->addSubview(label);
    }
    row->titleLabel_->setFont({"", 16, true});
    row->titleLabel_->setText(std::move(title));
    row->valueLabel_->setFont({"", 17});
    row->valueLabel_->setAlignment(ui::TextAlignment::right);
    row->setValue(std::move(value));
    return row;
}

void SettingsRow::setValue(std::string value) {
    valueLabel_->setText(std::move(value));
    const std::string& shown = valueLabel_->text();
    setAccessibilityName(shown.empty() ? titleLabel_->text() : titleLabel_->text() + ", " + shown);
}

void SettingsRow::layoutSubviews() {
    constexpr double inset = 12;
    constexpr double spacing = 8;
    const double width = std::max(0.0, bounds().width - 2 * inset - spacing);
    titleLabel_->setFrame({inset, 0, width / 2, bounds().height});
    valueLabel_->setFrame({inset + width / 2 + spacing, 0, width / 2, bounds().height});
}

std::shared_ptr<QuorelPlayerSettingsView> QuorelPlayerSettingsView::make(const std::shared_ptr<RunLoop>& loop,
                                                                         std::function<void()> onClose) {
    std::shared_ptr<QuorelPlayerSettingsView> panel(new QuorelPlayerSettingsView(loop, std::move(onClose)));
    panel->build();
    return panel;
}

QuorelPlayerSettingsView::QuorelPlayerSettingsView(const std::shared_ptr<RunLoop>& loop,
                                                   std::function<void()> onClose)
    : loop_(loop),
      onClose_(std::move(onClose)),
      speedRow_(SettingsRow::make("Velocidade", speedText(currentSpeed_))) {}

void QuorelPlayerSettingsView::build() {
    setBackgroundColor(ui::Color::black(0.5));
    const std::weak_ptr<QuorelPlayerSettingsView> weak =
        std::static_pointer_cast<QuorelPlayerSettingsView>(shared_from_this());
    const auto act = [weak](ui::Control& control, void (QuorelPlayerSettingsView::*action)()) {
        control.addAction(ui::ControlEvent::touchUpInside, [weak, action] {
            if (const auto panel = weak.lock()) ((*panel).*action)();
        });
    };
    settings::styleCloseButton(*closeButton_);
    act(*closeButton_, &QuorelPlayerSettingsView::closeSettings);
    act(*speedRow_, &QuorelPlayerSettingsView::showSpeedSubmenu);
    act(*qualityRow_, &QuorelPlayerSettingsView::showQualitySubmenu);
    act(*subtitleRow_, &QuorelPlayerSettingsView::showLanguageSubmenu);
    for (const auto& row : {speedRow_, qualityRow_, subtitleRow_}) baseHolder_->addSubview(row);
    addSubview(baseHolder_);
    addSubview(closeButton_);
}

void QuorelPlayerSettingsView::show(const std::shared_ptr<THEOplayer>& player, double currentSpeed) {
    player_ = player;
    setCurrentSpeed(currentSpeed);
}

void QuorelPlayerSettingsView::setCurrentSpeed(double speed) {
    currentSpeed_ = speed;
    speedRow_->setValue(speedText(speed));
}

void QuorelPlayerSettingsView::closeSettings() {
    if (onClose_) onClose_();
}

void QuorelPlayerSettingsView::showSpeedSubmenu() {
    std::vector<std::string> rates;
    for (const double rate : playbackRates_) rates.push_back(rateText(rate));
    open(Kind::speed, "Velocidade", std::move(rates), speedText(currentSpeed_));
}

void QuorelPlayerSettingsView::showQualitySubmenu() {
    open(Kind::quality, "Qualidade", {"Auto"}, "Auto");
}

void QuorelPlayerSettingsView::showLanguageSubmenu() {
    open(Kind::subtitles, "Legendas", {"Sem legendas"}, "Sem legendas");
}

void QuorelPlayerSettingsView::open(Kind kind, std::string title, std::vector<std::string> data,
                                    std::string selected) {
    const std::weak_ptr<QuorelPlayerSettingsView> weak =
        std::static_pointer_cast<QuorelPlayerSettingsView>(shared_from_this());
    submenu_ = SettingsSubmenu::make(std::move(title), std::move(data), std::move(selected),
                                     [weak, kind](const std::optional<std::string>& text) {
                                         if (const auto panel = weak.lock()) panel->select(kind, text);
                                     });
    submenu_->setOpacity(0);
    addSubview(submenu_);
    submenu_->pinToSuperviewEdges();
    submenu_->layout();
    baseHolder_->animateOpacity(0, fade, *loop_);
    submenu_->animateOpacity(1, fade, *loop_);
}

void QuorelPlayerSettingsView::select(Kind kind, const std::optional<std::string>& text) {
    if (kind == Kind::speed && text) {
        if (const auto rate = parseRate(replacingAll(*text, "x", ""))) {
            setCurrentSpeed(*rate);
            if (const auto player = player_.lock()) player->setPlaybackRate(*rate);
        }
    }
    closeSubmenu();
}

void QuorelPlayerSettingsView::closeSubmenu() {
    if (!submenu_) return;
    submenu_->animateOpacity(0, fade, *loop_);
    baseHolder_->animateOpacity(1, fade, *loop_);
    // The list, not the panel: another one may be open by then.
    Timer::scheduled(*loop_, fade, Timer::Repeats::no, [weak = std::weak_ptr<ui::View>(submenu_)](Timer&) {
        if (const auto submenu = weak.lock()) submenu->removeFromSuperview();
    });
}

void QuorelPlayerSettingsView::layoutSubviews() {
    closeButton_->setFrame(settings::closeButtonFrame(*this));
    const ui::Rect holder = settings::column(*this, 3 * settings::rowHeight + 2 * rowSpacing);
    baseHolder_->setFrame(holder);
    // In a panel that is too low for them the rows move together, and shrink before one is lost.
    const double height = std::min(settings::rowHeight, holder.height / 3);
    const double spacing = std::max(0.0, (holder.height - 3 * height) / 2);
    double y = 0;
    for (const auto& row : {speedRow_, qualityRow_, subtitleRow_}) {
        row->setFrame({0, y, holder.width, height});
        y += height + spacing;
    }
}

}  // namespace quorel
