#include "quorel/foundation/log.h"
#include "tests/player/player_fixture.h"

namespace quorel::testing {
namespace {

using Lifecycle = PlayerTest;

TEST_F(Lifecycle, TheViewsStandInTheirPlaces) {
    controller->layoutIn({10, 20, 640, 360});
    load("film");
    const auto& holder = controller->view()->subviews().front();
    EXPECT_EQ(holder->backgroundColor(), ui::Color::black());
    EXPECT_EQ(holder->frame(), (ui::Rect{0, 0, 640, 360}));
    EXPECT_EQ(factory->latest()->frame(), (ui::Rect{0, 0, 640, 360}));
    EXPECT_EQ(holder->subviews().back(), controller->playerUI());

    const auto& badge = controller->view()->subviews().back();
    EXPECT_TRUE(badge->isHidden());
    EXPECT_EQ((ui::Point{badge->frame().x, badge->frame().y}), (ui::Point{16, 16}));
    EXPECT_EQ(badge->cornerRadius(), 4);
    const auto label = std::dynamic_pointer_cast<ui::Label>(badge->subviews().front());
    ASSERT_TRUE(label);
    EXPECT_EQ(label->text(), "Live");
    EXPECT_EQ(label->font(), (ui::Font{"Poppins-Bold", 14}));

    controller->layoutIn({0, 0, 320, 180});
    EXPECT_EQ(factory->latest()->frame(), (ui::Rect{0, 0, 320, 180}));
    EXPECT_EQ(controller->playerUI()->frame(), (ui::Rect{0, 0, 320, 180}));
}

TEST_F(Lifecycle, OverlaysOfEarlierLoadsStayBelow) {
    load("film");
    const auto first = controller->playerUI();
    load("other");
    EXPECT_EQ(first->superview(), controller->playerUI()->superview());
    EXPECT_EQ(first->superview()->subviews().back(), controller->playerUI());
    EXPECT_EQ(first->player(), nullptr) << "an overlay does not keep its engine";
}

TEST_F(Lifecycle, HostOperationsReachTheEngineWhenThereIsOne) {
    double time = -1;
    const auto readTime = [&] { controller->getCurrentTime([&](double now) { time = now; }); };
    const auto useAll = [&] {
        controller->pause();
        controller->seekTo(30);
        controller->setPlaybackRate(2);
        controller->mute();
        readTime();
    };
    useAll();
    EXPECT_EQ(time, 0);

    load("film");
    loop->advance(std::chrono::seconds(1));
    const auto engine = factory->latest();
    useAll();
    EXPECT_TRUE(engine->paused());
    EXPECT_EQ(time, 30);
    EXPECT_EQ(engine->playbackRate(), 2);
    EXPECT_TRUE(engine->muted());
    controller->unmute();
    EXPECT_FALSE(engine->muted());
    controller->play();
    EXPECT_FALSE(engine->paused());
}

TEST_F(Lifecycle, UnmountEndsTheEngineAndKeepsTheConfiguration) {
    load("film");
    loop->advance(std::chrono::seconds(1));
    controller->unmount();
    EXPECT_EQ(controller->player(), nullptr);
    EXPECT_EQ(factory->latest(), nullptr);
    EXPECT_EQ(recorder->take().back(), "pause");
    controller->unmount();
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

}  // namespace
}  // namespace quorel::testing
