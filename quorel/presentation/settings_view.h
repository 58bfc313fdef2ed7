// The settings panel that slides over the overlay: speed, quality, subtitles, each with a list of choices. Of the
// three only the speed does something; quality and subtitles say how things are.
//
// Main run loop's thread only.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "quorel/engine/engine.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/presentation/export.h"
#include "quorel/presentation/settings_submenu.h"
#include "quorel/ui/control.h"
#include "quorel/ui/view.h"

namespace quorel {

// A row of the panel: a title, and what is chosen.
class QUOREL_PRESENTATION_API SettingsRow final : public ui::Control {
public:
    // A row with its title at the left and what is chosen at the right.
    static std::shared_ptr<SettingsRow> make(std::string title, std::string value);

    const std::shared_ptr<ui::Label>& titleLabel() const { return titleLabel_; }
    const std::shared_ptr<ui::Label>& valueLabel() const { return valueLabel_; }
    // What is chosen, as the viewer reads it.
    void setValue(std::string value);

protected:
    void layoutSubviews() override;

private:
    const std::shared_ptr<ui::Label> titleLabel_ = ui::Label::make();
    const std::shared_ptr<ui::Label> valueLabel_ = ui::Label::make();
};

class QUOREL_PRESENTATION_API QuorelPlayerSettingsView final : public ui::View {
public:
    // A panel that is not in a tree yet. The engine is held weakly.
    static std::shared_ptr<QuorelPlayerSettingsView> make(const std::shared_ptr<RunLoop>& loop,
                                                          std::function<void()> onClose);

    // What a panel that opens is to show, and to act on. The engine is held weakly; once it is gone, a choice of
    // speed changes the panel only.
    void show(const std::shared_ptr<THEOplayer>& player, double currentSpeed);

    // Asks the owner to put the panel away. An open list stays open.
    void closeSettings();
    // Opens a list over the rows.
    void showSpeedSubmenu();
    void showQualitySubmenu();
    void showLanguageSubmenu();

    double currentSpeed() const { return currentSpeed_; }
    const std::vector<double>& playbackRates() const { return playbackRates_; }

    const std::shared_ptr<ui::Button>& closeButton() const { return closeButton_; }
    const std::shared_ptr<ui::View>& baseHolder() const { return baseHolder_; }
    const std::shared_ptr<SettingsRow>& speedRow() const { return speedRow_; }
    const std::shared_ptr<SettingsRow>& qualityRow() const { return qualityRow_; }
    const std::shared_ptr<SettingsRow>& subtitleRow() const { return subtitleRow_; }
    // The list that was opened last, also after it was closed; null before the first one.
    const std::shared_ptr<SettingsSubmenu>& submenu() const { return submenu_; }
    // Whether a list covers the rows.
    bool isSubmenuOpen() const { return submenu_ && submenu_->superview() && submenu_->opacity() > 0; }

protected:
    void layoutSubviews() override;

private:
    enum class Kind { quality = 0, subtitles = 1, speed = 2 };

    QuorelPlayerSettingsView(const std::shared_ptr<RunLoop>& loop, std::function<void()> onClose);
    void build();
    void setCurrentSpeed(double speed);
    void open(Kind kind, std::string title, std::vector<std::string> data, std::string selected);
    void select(Kind kind, const std::optional<std::string>& text);
    void closeSubmenu();

    const std::shared_ptr<RunLoop> loop_;
    const std::function<void()> onClose_;
    const std::vector<double> playbackRates_{0.5, 1.0, 1.5, 2.0};
    double currentSpeed_ = 1;
    std::weak_ptr<THEOplayer> player_;
    std::shared_ptr<SettingsSubmenu> submenu_;

    const std::shared_ptr<ui::Button> closeButton_ = ui::Button::make();
    const std::shared_ptr<ui::View> baseHolder_ = ui::View::make();  // the three rows
    const std::shared_ptr<SettingsRow> speedRow_;
    const std::shared_ptr<SettingsRow> qualityRow_ = SettingsRow::make("Qualidade", "Auto");
    // The value stays empty, whatever subtitle shows.
    const std::shared_ptr<SettingsRow> subtitleRow_ = SettingsRow::make("Legendas", "");
};

}  // namespace quorel
