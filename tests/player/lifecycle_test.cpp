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
    double told = -1;
    controller->getCurrentTime([&](double time) { told = time; });
    EXPECT_EQ(told, 0);
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
    EXPECT_TRUE(log.text().ends_with("\nQuorelPlayer deinit\n")) << log.text();
}

TEST_F(Lifecycle, FullScreenTakesThePictureAndTheOverlayAndGivesThemBack) {
    std::vector<std::string> presented;
    controller->setPresenter([&](const std::shared_ptr<ui::ViewController>& screen, bool animated) {
        presented.push_back(screen ? "present" : "dismiss");
        EXPECT_TRUE(animated);
    });
    controller->toggleFullScreen();
    EXPECT_FALSE(controller->isFullScreen()) << "there is nothing to show yet";
    load("film");
    controller->layoutIn({0, 0, 640, 360});
    loop->advance(std::chrono::seconds(1));
    recorder->take();
    const auto overlay = controller->playerUI();
    const auto holder = overlay->superview();
    const auto picture = holder->subviews().front();

    overlay->toggleFullScreen();
    const auto screen = controller->presentedViewController();
    ASSERT_TRUE(screen);
    screen->layoutIn({0, 0, 1920, 1080});
    EXPECT_TRUE(holder->subviews().empty());
    EXPECT_EQ(picture->superview(), screen->view());
    EXPECT_EQ(picture->frame(), (ui::Rect{0, 0, 1920, 1080}));
    EXPECT_EQ(screen->modalPresentationStyle(), ui::ModalPresentationStyle::fullScreen);
    EXPECT_EQ(screen->modalTransitionStyle(), ui::ModalTransitionStyle::crossDissolve);
    EXPECT_EQ(screen->supportedInterfaceOrientations(), ui::InterfaceOrientationMask::landscape);
    EXPECT_TRUE(overlay->isFullScreen());
    EXPECT_EQ(overlay->fullScreenButton()->symbol(), "arrow.down.right.and.arrow.up.left");

    overlay->toggleFullScreen();
    controller->layoutIn({0, 0, 640, 360});
    EXPECT_EQ(holder->subviews(), (std::vector<std::shared_ptr<ui::View>>{picture, overlay}));
    EXPECT_EQ(picture->frame(), (ui::Rect{0, 0, 640, 360}));
    EXPECT_EQ(overlay->fullScreenButton()->symbol(), "arrow.up.left.and.arrow.down.right");
    EXPECT_FALSE(controller->isFullScreen());
    EXPECT_EQ(controller->presentedViewController(), nullptr);
    EXPECT_EQ(presented, (Lines{"present", "dismiss"}));
    EXPECT_EQ(recorder->take(), (Lines{"enterFullScreen", "exitFullScreen"}));

    overlay->toggleFullScreen();
    controller->unmount();
    overlay->toggleFullScreen();
    EXPECT_EQ(overlay->superview(), holder) << "the overlay comes back without an engine, too";
    controller = nullptr;
    overlay->toggleFullScreen();
}

TEST_F(Lifecycle, OnlyAdsGoOnWhenTheApplicationComesBack) {
    const auto comeBack = [&] {
        session.services().notificationCenter->post(ApplicationDidBecomeActive);
        loop->drain();
    };
    load("film");
    comeBack();
    loop->advance(std::chrono::seconds(1));
    const auto engine = factory->latest();
    engine->pause();
    comeBack();
    EXPECT_TRUE(engine->paused()) << "content waits for the viewer";
    engine->play();
    engine->simulateAdBreak({.ads = {10}});
    loop->advance(std::chrono::seconds(1));
    engine->pause();
    session.services().notificationCenter->post(ApplicationDidBecomeActive);
    EXPECT_TRUE(engine->paused()) << "not within the notification";
    loop->drain();
    EXPECT_FALSE(engine->paused());

    engine->pause();
    controller->unmount();
    comeBack();
    EXPECT_TRUE(engine->paused());
    controller = nullptr;
    comeBack();
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
