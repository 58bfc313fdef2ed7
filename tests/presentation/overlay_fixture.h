// An overlay over a simulated engine, in virtual time, and a finger to touch it with.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "engines/simulated/simulated_engine.h"
#include "quorel/presentation/quorel_player_ui.h"
#include "quorel/ui/display_list.h"
#include "quorel/ui/pointer.h"

namespace quorel::testing {

using namespace std::chrono_literals;

class OverlayTest : public ::testing::Test {
protected:
    OverlayTest() {
        root->setFrame({0, 0, 640, 360});
        make({});
    }

    void make(std::vector<PlayerComponent> components) {
        if (overlay) overlay->removeFromSuperview();
        engine = std::static_pointer_cast<SimulatedEngine>(factory->makePlayer(std::nullopt, {}));
        overlay = QuorelPlayerUI::make(
            root, engine, std::move(components), [this] { fullScreens++; }, loop);
    }
    // Until the metadata and all that follows from it is there, paused.
    void load(SimulatedScript script = {}) {
        factory->setDefaultScript(std::move(script));
        SourceDescription source;
        source.source.src = "https://cdn.test/film.m3u8";
        engine->setSource(source);
        loop->advance(100ms);
    }
    void loadAndPlay(SimulatedScript script = {}) {
        load(std::move(script));
        engine->play();
        loop->drain();
    }
    void tap(ui::Point where) {
        pointer.press(where);
        pointer.release(where);
    }
    static ui::Point middle(const ui::View& view) {
        const ui::Rect place = ui::frameInRoot(view);
        return {place.x + place.width / 2, place.y + place.height / 2};
    }
    void tap(const ui::View& view) { tap(middle(view)); }
    // Where nothing but the overlay itself can be touched.
    static constexpr ui::Point emptyPlace{20, 100};
    double controls() const { return overlay->controlsContainer()->opacity(); }

    const std::shared_ptr<ManualRunLoop> loop = std::make_shared<ManualRunLoop>();
    const std::shared_ptr<SimulatedEngineFactory> factory = std::make_shared<SimulatedEngineFactory>(loop);
    const std::shared_ptr<ui::View> root = ui::View::make();
    ui::Pointer pointer{root};
    int fullScreens = 0;
    std::shared_ptr<SimulatedEngine> engine;
    std::shared_ptr<QuorelPlayerUI> overlay;
};

}  // namespace quorel::testing
