#include <cmath>
#include <limits>

#include "quorel/presentation/full_screen_controller.h"
#include "quorel/presentation/time_text.h"
#include "quorel/ui/focus_ring.h"
#include "tests/presentation/overlay_fixture.h"

namespace quorel::testing {
namespace {

using Overlay = OverlayTest;
using Strings = std::vector<std::string>;

TEST(TimeText, SaysMinutesAndHours) {
    const double infinite = std::numeric_limits<double>::infinity();
    const std::pair<double, const char*> rows[] = {
        {0, "0:00"},    {7.99, "0:07"},        {600, "10:00"},  {3599.9, "59:59"},  {3600, "1:00:00"},
        {infinite, ""}, {360061, "100:01:01"}, {-infinite, ""}, {std::nan(""), ""},
    };
    for (const auto& [seconds, text] : rows) {
        EXPECT_EQ(timeText(seconds), text) << seconds;
    }
    EXPECT_DEATH(timeText(1e19), "64 bits");
}

// The whole life of the controls' opacity, as (seconds from the beginning of playback, what happens then) and the
// moments in which it changes.
TEST_F(Overlay, TheFadeTimerTogglesAndSoControlsComeAndGo) {
    loadAndPlay();
    std::vector<std::pair<double, double>> seen;  // seconds, opacity from then on
    double last = controls();
    EXPECT_EQ(last, 0);
    const auto watch = [&](double until) {
        while (secondsFromDuration(loop->now()) < until + 0.1) {
            loop->advance(50ms);
            if (controls() == last) continue;
            last = controls();
            seen.emplace_back(std::round((secondsFromDuration(loop->now()) - 0.1) * 10) / 10, last);
        }
    };
    watch(10);
    EXPECT_EQ(std::exchange(seen, {}), (std::vector<std::pair<double, double>>{{4, 1}, {8, 0}}))
        << "they come up 4 seconds after PLAYING by themselves and stay 4 seconds";
    tap(emptyPlace);
    last = controls();
    EXPECT_EQ(last, 1) << "a tap on a hidden overlay shows it";
    watch(12);
    tap(emptyPlace);
    EXPECT_EQ(controls(), 0) << "a tap on a visible one hides it at once";
    last = 0;
    watch(20);
    EXPECT_EQ(seen, (std::vector<std::pair<double, double>>{})) << "and nothing is armed then";
    engine->pause();
    watch(40);
    EXPECT_EQ(std::exchange(seen, {}), (std::vector<std::pair<double, double>>{{24, 1}}))
        << "in a pause they come within 4 seconds and never fade";
    tap(*overlay->skipBackwardButton());
    tap(emptyPlace);
    EXPECT_EQ(controls(), 1);
    engine->play();
    watch(46);
    EXPECT_EQ(seen, (std::vector<std::pair<double, double>>{{44, 0}}));
}

TEST_F(Overlay, FadesAreDataOnTheLoopsClock) {
    loadAndPlay();
    tap(emptyPlace);
    const auto& view = *overlay->controlsContainer();
    const Duration begin = loop->now();
    EXPECT_EQ(view.shownOpacity(begin), 0);
    EXPECT_NEAR(view.shownOpacity(begin + 100ms), 0.5, 1e-9);
    EXPECT_EQ(view.shownOpacity(begin + 200ms), 1);
    loop->advance(100ms);
    tap(emptyPlace);  // while it fades in: at once, from where it is
    EXPECT_NEAR(view.shownOpacity(loop->now()), 0.5, 1e-9);
    EXPECT_EQ(view.shownOpacity(loop->now() + 500ms), 0);
    EXPECT_EQ(root->movesUntil(), loop->now() + 500ms);
}

TEST_F(Overlay, IsDeafBeforeMetadataAndHearsTwiceAfterASecondSource) {
    tap(emptyPlace);
    EXPECT_EQ(controls(), 0);
    load();
    tap(emptyPlace);
    EXPECT_EQ(controls(), 1);
    engine->play();
    loop->advance(4s);
    EXPECT_EQ(controls(), 0);
    loadAndPlay();
    const auto before = root->changes();
    tap(emptyPlace);
    EXPECT_EQ(controls(), 0) << "shown and hidden by the same tap";
    EXPECT_GT(root->changes(), before);
}

TEST_F(Overlay, PlaysAndPausesAndFollowsTheEngineWithItsIcon) {
    load();
    tap(emptyPlace);
    EXPECT_EQ(overlay->playPauseButton()->symbol(), "play.fill");
    tap(*overlay->playPauseButton());
    EXPECT_FALSE(engine->paused());
    EXPECT_EQ(controls(), 1) << "a button keeps its tap to itself";
    EXPECT_EQ(overlay->playPauseButton()->symbol(), "play.fill") << "the button itself changes nothing";
    loop->drain();
    EXPECT_EQ(overlay->playPauseButton()->symbol(), "pause.fill");
    EXPECT_EQ(overlay->playPauseButton()->accessibilityName(), "Pausar");
    loop->advance(3s);
    tap(*overlay->playPauseButton());
    EXPECT_TRUE(engine->paused());
    EXPECT_EQ(overlay->playPauseButton()->symbol(), "play.fill");
    engine->play();
    loop->advance(57s);
    EXPECT_EQ(engine->log().count("ended"), 1u);
    EXPECT_EQ(overlay->playPauseButton()->symbol(), "play.fill");
}

TEST_F(Overlay, SkipsWithinTheContent) {
    load();
    for (const auto& [from, back, forth] : std::vector<std::tuple<double, double, double>>{
             {0, 0, 10}, {10, 0, 20}, {25.5, 15.5, 35.5}, {55, 45, 60}, {60, 50, 60}}) {
        engine->setCurrentTime(from);
        overlay->skipBackward();
        EXPECT_EQ(engine->currentTime(), back);
        engine->setCurrentTime(from);
        overlay->skipForward();
        EXPECT_EQ(engine->currentTime(), forth);
    }
    engine->setCurrentTime(0);
    engine->play();
    loop->drain();
    tap(emptyPlace);
    for (const auto& button : {overlay->skipForwardButton(), overlay->skipBackwardButton()}) {
        loop->advance(3s);
        tap(*button);
    }
    loop->advance(3s);
    EXPECT_EQ(controls(), 1) << "whoever uses the controls keeps them";
    load({.duration = std::nullopt});
    engine->setCurrentTime(30);
    overlay->skipForward();
    EXPECT_EQ(engine->currentTime(), 0) << "without a duration a skip leads to the beginning";
}

TEST_F(Overlay, ShowsTimesSliderAndSettingsOnceADurationIsKnown) {
    const auto hidden = [this] {
        return std::vector<bool>{overlay->progressSlider()->isHidden(), overlay->settingsButton()->isHidden(),
                                 overlay->skipForwardButton()->isHidden(),
                                 overlay->skipBackwardButton()->isHidden()};
    };
    const auto times = [this] { return overlay->timeLabel()->text() + "|" + overlay->durationLabel()->text(); };
    using Hidden = std::vector<bool>;

    EXPECT_EQ(hidden(), (Hidden{true, true, false, false}));
    EXPECT_EQ(times(), "|");
    loadAndPlay({.duration = std::nullopt});
    loop->advance(1s);
    EXPECT_EQ(hidden(), (Hidden{true, true, false, false}));
    EXPECT_EQ(times(), "|") << "no duration, no text";

    loadAndPlay({.duration = 90});
    EXPECT_EQ(times(), "0:00 / |1:30");
    loop->advance(45s);
    EXPECT_EQ(times(), "0:45 / |1:30");
    EXPECT_EQ(overlay->progressSlider()->value(), 0.5F);
    EXPECT_EQ(hidden(), (Hidden{false, false, false, false}));

    engine->simulateDuration(std::numeric_limits<double>::infinity());
    EXPECT_EQ(times(), "|");
    EXPECT_EQ(hidden(), (Hidden{true, true, true, true}));
    loop->advance(1s);
    EXPECT_EQ(overlay->progressSlider()->value(), 0);
    EXPECT_FALSE(overlay->playPauseButton()->isHidden());
    EXPECT_FALSE(overlay->fullScreenButton()->isHidden());

    engine->simulateDuration(3600.0);
    EXPECT_EQ(times(), "0:46 / |1:00:00") << "live that becomes a film recovers";
    EXPECT_EQ(hidden(), (Hidden{false, false, false, false}));
}

TEST_F(Overlay, ADragPausesSeeksAndPlaysOn) {
    loadAndPlay({.duration = 100});
    tap(emptyPlace);
    const auto& slider = *overlay->progressSlider();
    const ui::Rect place = ui::frameInRoot(slider);
    const auto at = [&](double part) {
        return ui::Point{place.x + 8 + part * (place.width - 16), place.y + place.height / 2};
    };
    pointer.press(at(0.25));
    EXPECT_TRUE(engine->paused());
    EXPECT_NEAR(engine->currentTime(), 25, 0.01) << "a press beside the thumb brings it along";
    for (const double part : {0.3, 0.5, 0.8}) {
        pointer.move({at(part).x, 5});  // a finger may leave the slider
        EXPECT_NEAR(engine->currentTime(), part * 100, 0.01);
        EXPECT_EQ(overlay->timeLabel()->text(), timeText(engine->currentTime()) + " / ");
    }
    EXPECT_EQ(engine->log().count("pause"), 1u);
    pointer.release(at(2));
    EXPECT_FALSE(engine->paused());
    EXPECT_EQ(engine->currentTime(), 100);

    engine->pause();
    engine->setCurrentTime(50);
    loop->advance(1s);
    pointer.press({at(0.5).x + 6, at(0.5).y});
    EXPECT_EQ(engine->currentTime(), 50) << "held by the thumb's edge it does not jump";
    pointer.move({at(0.6).x + 6, at(0.6).y});
    EXPECT_NEAR(engine->currentTime(), 60, 0.01);
    pointer.cancel();
    EXPECT_TRUE(engine->paused()) << "what was paused stays so";
}

TEST_F(Overlay, TheSpinnerTurnsWhileTheViewerWaits) {
    const auto& spinner = *overlay->loadingAnimation();
    EXPECT_FALSE(spinner.isHidden());
    EXPECT_EQ(ui::frameInRoot(spinner), (ui::Rect{290, 150, 60, 60}));
    EXPECT_EQ(overlay->subviews().back().get(), &spinner);
    load();
    EXPECT_TRUE(spinner.isHidden());
    tap(emptyPlace);
    engine->play();
    loop->drain();
    engine->simulateStall(3);
    EXPECT_FALSE(spinner.isHidden());
    tap(spinner);
    EXPECT_FALSE(engine->paused()) << "the spinner swallows what is under it";
    EXPECT_EQ(controls(), 1);
    loop->advance(3s);
    EXPECT_TRUE(spinner.isHidden());
}

TEST_F(Overlay, InANavigationBarItOffersNoFullScreen) {
    for (const bool cast : {false, true}) {
        make(cast ? std::vector{PlayerComponent::cast} : std::vector<PlayerComponent>{});
        ui::NavigationItem item{.title = "Film", .rightBarItems = {{ui::View::make()}, {}, {}}};
        overlay->moveButtonsToNavigationBar(item);
        std::vector<ui::BarButtonItem> expected{{overlay->settingsButton()}};
        if (cast) expected.push_back({overlay->castButton()});
        EXPECT_EQ(item.rightBarItems, expected);
        EXPECT_EQ(overlay->castBarButton().has_value(), cast);
        EXPECT_TRUE(overlay->topRightStack()->isHidden());
        EXPECT_TRUE(overlay->fullScreenButton()->isHidden());
    }
}

TEST_F(Overlay, WithoutItsEngineItDoesNothing) {
    loadAndPlay();
    tap(emptyPlace);
    engine = nullptr;
    const auto before = overlay->changes();
    overlay->togglePlayPause();
    overlay->skipForward();
    overlay->skipBackward();
    overlay->startDrag();
    overlay->sliderValueChanged();
    overlay->endDrag();
    overlay->showSettings();
    overlay->toggleControls();
    loop->advance(10s);
    EXPECT_EQ(overlay->changes(), before);
    EXPECT_EQ(controls(), 1);
}

TEST_F(Overlay, WhatDoesNotShowIsNoReasonToRedraw) {
    loadAndPlay();
    loop->advance(9s);
    EXPECT_EQ(controls(), 0);
    const auto before = root->changes();
    loop->advance(20s);
    EXPECT_EQ(root->changes(), before) << "the picture is the engine's business";
    EXPECT_EQ(overlay->timeLabel()->text(), "0:29 / ");
    EXPECT_LE(root->movesUntil(), loop->now());
    std::size_t visible = 0;
    for (const auto& item : ui::displayList(root, loop->now())) visible += item.view->backgroundColor() ? 1 : 0;
    EXPECT_EQ(visible, 0u);
    engine->pause();
    loop->advance(4s);
    const auto shown = root->changes();
    EXPECT_GT(shown, before);
    loop->advance(3s);
    EXPECT_EQ(root->changes(), shown);
}

TEST_F(Overlay, AKeyboardGoesThroughWhatCanBeSeen) {
    loadAndPlay({.duration = 100});
    ui::FocusRing focus(root);
    focus.move(1);
    EXPECT_EQ(focus.focused(), nullptr) << "hidden controls cannot be reached";
    tap(emptyPlace);
    Strings names;
    for (int i = 0; i < 6; ++i) {
        focus.move(1);
        names.push_back(focus.focused()->accessibilityName());
    }
    EXPECT_EQ(names, (Strings{"Configurações", "Voltar 10 segundos", "Pausar", "Avançar 10 segundos", "Posição",
                              "Tela cheia"}));
    EXPECT_TRUE(focus.step(0));
    EXPECT_EQ(fullScreens, 1);
    focus.move(-1);
    EXPECT_TRUE(focus.step(1));
    EXPECT_NEAR(engine->currentTime(), 5, 0.01);
    EXPECT_FALSE(engine->paused());
    EXPECT_FALSE(focus.step(0)) << "a slider has no use for Enter";
    loop->advance(10s);
    EXPECT_EQ(focus.focused(), nullptr);
}

TEST_F(Overlay, MovesToAFullScreenWithItsTimersAndComesBack) {
    loadAndPlay();
    loop->advance(2s);
    const auto screen = std::make_shared<FullScreenQuorelController>();
    screen->setPlayer(engine);
    screen->setUI(overlay);
    screen->layoutIn({0, 0, 1920, 1080});
    EXPECT_EQ(overlay->superview(), screen->viewHolder());
    EXPECT_EQ(overlay->frame(), (ui::Rect{0, 0, 1920, 1080}));
    EXPECT_EQ(engine->frame(), (ui::Rect{0, 0, 1920, 1080}));
    EXPECT_EQ(screen->view()->subviews().size(), 2u);
    EXPECT_EQ(screen->view()->subviews().back(), screen->viewHolder()) << "the picture is behind";
    EXPECT_EQ(screen->view()->backgroundColor(), ui::Color::black());
    loop->advance(2s);
    EXPECT_EQ(controls(), 1) << "the timer goes on";
    overlay->attach(root);
    EXPECT_EQ(overlay->playPauseButton()->frame(), (ui::Rect{280, 140, 80, 80}));
    EXPECT_DEATH(FullScreenQuorelController().view(), "full screen");
}

TEST_F(Overlay, AThousandLeaveNothing) {
    loop->advance(5s);
    const std::size_t timers = loop->pendingTimers();
    std::weak_ptr<QuorelPlayerUI> last;
    for (int i = 0; i < 1000; ++i) {
        const auto player = factory->makePlayer(std::nullopt, {});
        const auto made = QuorelPlayerUI::make(root, player, {PlayerComponent::cast}, {}, loop);
        made->showSettings();
        made->settingsContainer()->showSpeedSubmenu();
        made->closeSettings();
        made->removeFromSuperview();
        last = made;
    }
    EXPECT_TRUE(last.expired());
    loop->advance(5s);
    EXPECT_EQ(loop->pendingTimers(), timers);
}

}  // namespace
}  // namespace quorel::testing
