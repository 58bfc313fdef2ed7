#include "quorel/foundation/log.h"
#include "tests/player/player_fixture.h"

namespace quorel::testing {
namespace {

using Lifecycle = PlayerTest;

TEST_F(Lifecycle, TheViewsStandInTheirPlaces) {
    load("film");
    const auto first = controller->playerUI();
    load("other");
    controller->layoutIn({10, 20, 640, 360});
    const auto& holder = controller->view()->subviews().front();
    EXPECT_EQ(holder->backgroundColor(), ui::Color::black());
    EXPECT_EQ(holder->subviews().back(), controller->playerUI());
    EXPECT_EQ(first->superview(), holder) << "the overlay of an earlier load stays below";
    EXPECT_EQ(first->player(), nullptr) << "and does not keep its engine";
    for (const ui::Rect frame : {holder->frame(), controller->playerUI()->frame(), factory->latest()->frame()}) {
        EXPECT_EQ(frame, (ui::Rect{0, 0, 640, 360}));
    }
    const auto& badge = controller->view()->subviews().back();
    EXPECT_TRUE(badge->isHidden());
    EXPECT_EQ(std::dynamic_pointer_cast<ui::Label>(badge->subviews().front())->text(), "Live");
}

TEST_F(Lifecycle, UnmountEndsTheEngineAndKeepsTheConfiguration) {
    load("film");
    loop->advance(std::chrono::seconds(1));
    controller->unmount();
    EXPECT_EQ(controller->player(), nullptr);
    EXPECT_EQ(factory->latest(), nullptr);
    EXPECT_EQ(recorder->take().back(), "pause");
    controller->unmount();
    controller->play();
    controller->getCurrentTime([](double time) { EXPECT_EQ(time, 0); });
    load("film");
    EXPECT_EQ(controller->player(), nullptr);
    load("other");
    EXPECT_TRUE(controller->player()->source());
}

TEST_F(Lifecycle, UnmountDuringALoadLeavesItNowhereToGo) {
    backend->hold("videos/film");
    controller->setup("film", false, 0, std::nullopt, {});
    drainUntilAsked("videos/film");
    controller->unmount();
    backend->release("videos/film");
    finishLoads();
    EXPECT_EQ(controller->player(), nullptr);
    EXPECT_EQ(recorder->take(), Lines{});
}

TEST_F(Lifecycle, ALoadKeepsItsPlayerUntilItIsDone) {
    backend->hold("videos/film");
    controller->setup("film", false, 0, std::nullopt, {});
    drainUntilAsked("videos/film");
    const std::weak_ptr<QuorelPlayerViewController> weak = controller;
    const auto engine = factory->latest();
    controller = nullptr;
    EXPECT_FALSE(weak.expired());
    const LogCapture log;
    backend->release("videos/film");
    ASSERT_TRUE(loop->drainUntil([&] { return weak.expired(); }));
    EXPECT_TRUE(engine->source());
    EXPECT_TRUE(engine->paused());
    EXPECT_EQ(log.text(), "QuorelPlayer deinit\n");
}

TEST_F(Lifecycle, AHostMayDoAnythingInAnEvent) {
    load("film");
    recorder->then = [&](const QuorelPlayerEvent& event) {
        if (event.getIf<QuorelPlayerEvent::playing>() != nullptr) controller->unmount();
        if (event.getIf<QuorelPlayerEvent::pause>() != nullptr) {
            recorder->then = nullptr;
            controller->setup("other", false, 0, {}, {});
        }
    };
    loop->advance(std::chrono::seconds(1));
    finishLoads();
    EXPECT_EQ(factory->players().size(), 1u);
    EXPECT_EQ(factory->latest()->source()->source.src, "https://cdn.test/other.m3u8");
    EXPECT_FALSE(factory->latest()->paused());
}

}  // namespace
}  // namespace quorel::testing
