#include "tests/presentation/drawn.h"
#include "tests/presentation/overlay_fixture.h"

namespace quorel::testing {
namespace {

class Settings : public OverlayTest {
protected:
    Settings() {
        loadAndPlay({.duration = 100});
        tap(emptyPlace);
    }
    void open() {
        tap(*overlay->settingsButton());
        loop->advance(300ms);
    }
    QuorelPlayerSettingsView& panel() { return *overlay->settingsContainer(); }
    // The open list as its rows, marked ones in brackets.
    std::string list() {
        std::string text = panel().submenu()->titleLabel()->text() + ":";
        for (const auto& row : panel().submenu()->tableView()->rows()) {
            const auto cell = std::dynamic_pointer_cast<SettingsSubmenuCell>(row);
            const std::string& title = cell->titleLabel()->text();
            text += cell->selectedImage()->isHidden() ? " " + title : " [" + title + "]";
        }
        return text;
    }
    void choose(std::size_t row) {
        tap(*panel().submenu()->tableView()->rows()[row]);
        loop->advance(200ms);
    }
};

TEST_F(Settings, ThePanelSlidesInWhileTheControlsLeave) {
    engine->setPlaybackRate(1.25);
    tap(*overlay->settingsButton());
    const Duration begin = loop->now();
    const auto at = [&](const ui::View& view, Duration after) { return view.shownFrame(begin + after).x; };
    EXPECT_EQ(at(panel(), 0s), 640);
    EXPECT_NEAR(at(panel(), 150ms), 320, 1e-6);
    EXPECT_EQ(at(panel(), 300ms), 0);
    EXPECT_NEAR(at(*overlay->controlsContainer(), 150ms), -320, 1e-6);
    EXPECT_NEAR(at(*overlay->backdropView(), 150ms), 320, 1e-6) << "the backdrop stands still";
    EXPECT_EQ(panel().speedRow()->valueLabel()->text(), "1.2x");
    EXPECT_EQ(panel().currentSpeed(), 1.25);
    loop->advance(300ms);

    tap({600, 340});
    EXPECT_TRUE(overlay->isSettingsOpen()) << "taps on the panel do nothing";
    loop->advance(4s);
    EXPECT_EQ(controls(), 0) << "the fade timer ran on";
    tap(*panel().closeButton());
    EXPECT_FALSE(overlay->isSettingsOpen());
    EXPECT_EQ(controls(), 1);
    EXPECT_FALSE(overlay->controlsContainer()->opacityAnimation()) << "back at once";
    EXPECT_EQ(at(*overlay->controlsContainer(), 20s), 0);
    loop->advance(4s);
    EXPECT_EQ(controls(), 0) << "and the timer began anew";
}

// The whole of it, as a host draws it.
TEST_F(Settings, LooksAsItIsMeantTo) {
    make({PlayerComponent::cast});
    loadAndPlay({.duration = 4000});
    tap(emptyPlace);
    root->setTextMeasure([](const ui::Label& label) {
        return ui::Size{10.0 * static_cast<double>(label.text().size()), label.font().size};
    });
    overlay->subtitleLabel()->setText(std::string(60, 'x'));  // which only a host would do
    root->setFrame({0, 0, 720, 1280});
    root->setSafeAreaInsets({47, 20, 34, 50});
    loop->advance(300ms);
    const std::string behind = "72,1140 576x30 '" + std::string(60, 'x') + "' 15 centre lines 3 on 000/0.3\n" +
                               "0,0 720x1280 on 000/0.5\n";
    EXPECT_EQ(drawn(root, loop->now()), behind + R"(562,55 40x40 gearshape.fill 24 shadow 0.45
614,55 40x40 cast 24 off shadow 0.45
228,600 80x80 gobackward.10 44 shadow 0.45
320,600 80x80 pause.fill 44 shadow 0.45
412,600 80x80 goforward.10 44 shadow 0.45
36,1170 618x36 slider shadow 0.45
36,1206 70x40 '0:00 / ' 12 shadow 0.45
106,1206 70x40 '1:06:40' 12 shadow 0.45
614,1206 40x40 arrow.up.left.and.arrow.down.right 18 shadow 0.45
)");
    open();
    EXPECT_EQ(drawn(root, loop->now()), behind + R"(0,47 720x1233 on 000/0.5
135,572.5 420x44 on 111/0.08 round 8
147,572.5 194x44 'Velocidade' 16 bold shadow 0.6
349,572.5 194x44 '1.0x' 17 right shadow 0.6
135,624.5 420x44 on 111/0.08 round 8
147,624.5 194x44 'Qualidade' 16 bold shadow 0.6
349,624.5 194x44 'Auto' 17 right shadow 0.6
135,676.5 420x44 on 111/0.08 round 8
147,676.5 194x44 'Legendas' 16 bold shadow 0.6
349,676.5 194x44 '' 17 right shadow 0.6
28,55 44x44 xmark 18
)");
    EXPECT_EQ(panel().qualityRow()->accessibilityName() + "|" + panel().subtitleRow()->accessibilityName(),
              "Qualidade, Auto|Legendas");
    tap(*panel().speedRow());
    loop->advance(200ms);
    EXPECT_EQ(drawn(root, loop->now()), behind + R"(0,47 720x1233 on 000/0.5
28,55 44x44 xmark 18
72,55 576x44 'Velocidade' 16 bold centre shadow 0.6
135,558.5 420x44 round 8
143,566.5 404x28 '0.5x' 14 centre shadow 0.6
135,602.5 420x44 round 8
143,610.5 404x28 '1.0x' 14 centre shadow 0.6
527,614.5 20x20 image checkmark
135,646.5 420x44 round 8
143,654.5 404x28 '1.5x' 14 centre shadow 0.6
135,690.5 420x44 round 8
143,698.5 404x28 '2.0x' 14 centre shadow 0.6
28,55 44x44 xmark 18
)");
}

TEST_F(Settings, ListsMarkTheSelectedTextIfTheyHaveIt) {
    for (const auto& [rate, expected] :
         std::vector<std::pair<double, std::string>>{{1, "Velocidade: 0.5x [1.0x] 1.5x 2.0x"},
                                                     {1.25, "Velocidade: 0.5x 1.0x 1.5x 2.0x"},
                                                     {0.5, "Velocidade: [0.5x] 1.0x 1.5x 2.0x"},
                                                     {1.96, "Velocidade: 0.5x 1.0x 1.5x [2.0x]"}}) {
        engine->setPlaybackRate(rate);
        overlay->showSettings();
        panel().showSpeedSubmenu();
        EXPECT_EQ(list(), expected);
    }
    panel().showQualitySubmenu();
    EXPECT_EQ(list(), "Qualidade: [Auto]");
    panel().showLanguageSubmenu();
    EXPECT_EQ(list(), "Legendas: [Sem legendas]");
    EXPECT_EQ(panel().submenu()->numberOfRows(), 1u);
}

TEST_F(Settings, AChosenSpeedReachesTheEngineAndClosesTheList) {
    open();
    tap(*panel().speedRow());
    EXPECT_NEAR(panel().submenu()->shownOpacity(loop->now() + 100ms), 0.5, 1e-9);
    EXPECT_NEAR(panel().baseHolder()->shownOpacity(loop->now() + 100ms), 0.5, 1e-9);
    EXPECT_NE(ui::hitTest(root, middle(*panel().qualityRow())), panel().qualityRow()) << "the rows are covered";
    choose(3);
    EXPECT_EQ(engine->playbackRate(), 2.0);
    EXPECT_EQ(panel().speedRow()->valueLabel()->text(), "2.0x");
    EXPECT_NE(panel().submenu(), nullptr);
    EXPECT_EQ(panel().submenu()->superview(), nullptr);

    tap(*panel().speedRow());
    EXPECT_EQ(list(), "Velocidade: 0.5x 1.0x 1.5x [2.0x]");
    tap(*panel().submenu()->closeButton());
    loop->advance(200ms);
    EXPECT_EQ(engine->playbackRate(), 2.0);
    EXPECT_TRUE(overlay->isSettingsOpen()) << "the list's own close button closes the list only";

    for (const auto& row : {panel().qualityRow(), panel().subtitleRow()}) {
        tap(*row);
        EXPECT_TRUE(panel().isSubmenuOpen());
        choose(0);
        EXPECT_FALSE(panel().isSubmenuOpen());
    }
    EXPECT_EQ(panel().subtitleRow()->valueLabel()->text(), "");

    tap(*panel().speedRow());
    engine = nullptr;
    choose(0);
    EXPECT_EQ(panel().currentSpeed(), 0.5) << "without an engine the panel still follows";
    EXPECT_FALSE(panel().isSubmenuOpen());
    tap(*panel().closeButton());
    EXPECT_FALSE(overlay->isSettingsOpen());
}

TEST_F(Settings, AListThatDoesNotFitScrolls) {
    root->setFrame({0, 0, 320, 180});
    open();
    tap(*panel().speedRow());
    const auto& table = *panel().submenu()->tableView();
    const ui::Rect place = ui::frameInRoot(table);
    EXPECT_LT(place.height, 4 * 44);
    const ui::Point grip{place.x + 50, place.bottom() - 10};
    pointer.press(grip);
    pointer.move({grip.x, grip.y - 40});
    pointer.release({grip.x, grip.y - 500});
    EXPECT_TRUE(panel().isSubmenuOpen()) << "a drag is no choice";
    EXPECT_EQ(table.contentOffset(), 4 * 44 - place.height);
    EXPECT_TRUE(pointer.scroll(grip, -5));
    tap({grip.x, place.bottom() - 20});
    EXPECT_EQ(engine->playbackRate(), 2.0);
}

}  // namespace
}  // namespace quorel::testing
