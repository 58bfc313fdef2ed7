// The player in a real window, without a display: Qt's own events go in, pixels come out. The SDK's clock is virtual.
#include <malloc.h>

#include <QAccessible>
#include <QGuiApplication>
#include <QImage>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQmlExpression>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTest>
#include <thread>

#include "hosts/qt/platform.h"
#include "hosts/qt/player_item.h"
#include "quorel/session/quorel.h"
#include "tests/player/player_fixture.h"

namespace quorel::testing {
namespace {

using namespace std::chrono_literals;

TEST(QtRunLoop, RunsInOrderFromAnyThreadAndForgetsWhatIsCancelled) {
    std::string posted, timed;
    {
        qt::QtRunLoop loop;
        loop.schedule(4ms, [&] { timed += "3"; });
        loop.schedule(2ms, [&] { timed += "2"; });
        loop.cancel(loop.schedule(0ms, [&] { timed += "never"; }));
        loop.post([&] {
            posted += "a";
            loop.schedule(0ms, [&] { posted += "z"; });
            loop.post([&] { posted += "c"; });
            std::thread([&] { loop.post([&] { posted += loop.isCurrent() ? "d" : "?"; }); }).join();
        });
        loop.post([&] { posted += "b"; });
        while (posted.size() < 5 || timed.size() < 2)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        loop.post([&] { posted += "dropped"; });
    }
    QCoreApplication::processEvents();
    EXPECT_EQ(timed, "23");
    EXPECT_NE(posted.find('z'), std::string::npos);
    std::erase(posted, 'z');
    EXPECT_EQ(posted, "abcd");
}

class QtWindow : public ::testing::Test {
protected:
    QtWindow() {
        PlatformServices services = PlatformServices::standard(loop, factory);
        services.urlSession->registerProtocol(backend);
        services.vendorIdentifier = std::make_shared<InstallationIdentifier>("");  // nothing is kept
        Quorel::shared().install(std::move(services));
        Quorel::shared().initialize("token", std::nullopt, false);
        backend->reply("players/configuration/film", 200, configBody("film", true));
        backend->reply("videos/film", 200, videoBody());
        factory->setDefaultScript({.duration = 100});
        qt::registerQmlTypes();
    }
    void TearDown() override {
        window.reset();
        loop->drain();
        Quorel::shared().install({});
    }

    // The window of the example.
    void show(int width, int height) {
        QQmlComponent component(&engine, QUrl::fromLocalFile(QStringLiteral(QUOREL_EXAMPLE)));
        window.reset(qobject_cast<QQuickWindow*>(
            component.createWithInitialProperties({{QStringLiteral("film"), QStringLiteral("film")}})));
        ASSERT_TRUE(window) << component.errorString().toStdString();
        window->resize(width, height);
        item = window->findChild<qt::PlayerItem*>();
        facade = item->controller();
        ASSERT_TRUE(loop->drainUntil([&] { return factory->latest() && factory->latest()->source(); }));
        simulated = factory->latest();
        pass(1s);
    }
    void pass(Duration time) {
        loop->advance(time);
        QCoreApplication::processEvents();
    }
    QuorelPlayerUI& overlay() { return *item->player()->playerUI(); }
    static QPoint middle(const ui::View& view) {
        const ui::Rect place = ui::frameInRoot(view);
        return QPointF(place.x + place.width / 2, place.y + place.height / 2).toPoint();
    }
    void click(QPoint where) {
        QTest::mouseClick(window.get(), Qt::LeftButton, {}, where);
        pass(400ms);
    }
    void click(const ui::View& view) { click(middle(view)); }
    QImage picture(QQuickWindow* of = nullptr) {
        pass(0s);
        item->polish();  // what moves is drawn in steps of real time, which the virtual one has left behind
        return (of != nullptr ? of : window.get())->grabWindow();
    }
    static QAccessibleInterface* accessible(QAccessibleInterface* from, const QString& name) {
        if (from == nullptr || from->text(QAccessible::Name) == name) return from;
        for (int i = 0; i < from->childCount(); ++i) {
            if (auto* const found = accessible(from->child(i), name)) return found;
        }
        return nullptr;
    }
    static QColor at(const QImage& image, QPoint where) {
        return image.pixelColor(where * image.devicePixelRatio());
    }
    // How many pixels near `where` are white, as symbols and texts are.
    static int whites(const QImage& image, const ui::View& view) {
        const ui::Rect place = ui::frameInRoot(view);
        int count = 0;
        for (int y = static_cast<int>(place.y); y < place.bottom(); ++y) {
            for (int x = static_cast<int>(place.x); x < place.right(); ++x) {
                const QColor color = at(image, {x, y});
                count += color.red() > 200 && color.green() > 200 && color.blue() > 200 ? 1 : 0;
            }
        }
        return count;
    }

    const std::shared_ptr<ManualRunLoop> loop = std::make_shared<ManualRunLoop>();
    const std::shared_ptr<SimulatedEngineFactory> factory = std::make_shared<SimulatedEngineFactory>(loop);
    const std::shared_ptr<ScriptedBackend> backend =
        std::make_shared<ScriptedBackend>(std::string(QuorelAPI::defaultBaseURL()));
    QQmlEngine engine;
    std::unique_ptr<QQuickWindow> window;
    qt::PlayerItem* item = nullptr;
    qt::PlayerControllerObject* facade = nullptr;
    std::shared_ptr<SimulatedEngine> simulated;
    const QPoint emptyPlace{20, 100};
};

TEST_F(QtWindow, AViewerClicksDragsAndChoosesASpeed) {
    show(640, 360);
    EXPECT_TRUE(facade->isPlaying());
    QImage seen = picture();
    const QColor film = at(seen, {320, 250});
    EXPECT_NEAR(film.blue(), simulatedContentColor.blue * 255, 3);
    EXPECT_EQ(whites(seen, *overlay().playPauseButton()), 0);

    click(emptyPlace);
    seen = picture();
    EXPECT_NEAR(at(seen, {100, 250}).blue(), film.blue() / 2.0, 3) << "the backdrop is half black";
    EXPECT_GT(whites(seen, *overlay().playPauseButton()), 200);
    EXPECT_GT(whites(seen, *overlay().settingsButton()), 50);
    EXPECT_GT(whites(seen, *overlay().timeLabel()), 10);

    click(*overlay().playPauseButton());
    EXPECT_TRUE(simulated->paused());
    EXPECT_FALSE(facade->isPlaying());
    const ui::Rect slider = ui::frameInRoot(*overlay().progressSlider());
    const QPoint half(320, static_cast<int>(slider.y + 18));
    QTest::mousePress(window.get(), Qt::LeftButton, {}, {100, half.y()});
    QTest::mouseMove(window.get(), {200, half.y()});
    QTest::mouseMove(window.get(), half);
    QTest::mouseRelease(window.get(), Qt::LeftButton, {}, half);
    pass(100ms);
    EXPECT_NEAR(simulated->currentTime(), 50, 0.5);
    EXPECT_EQ(overlay().timeLabel()->text(), "0:50 / ");
    EXPECT_NEAR(facade->currentTime(), 50, 0.5);
    EXPECT_GT(at(picture(), half).red(), 200) << "the thumb is there";

    click(*overlay().settingsButton());
    seen = picture();
    EXPECT_GT(whites(seen, *overlay().settingsContainer()->speedRow()), 50);
    EXPECT_EQ(whites(seen, *overlay().settingsContainer()->subtitleRow()->valueLabel()), 0);
    click(*overlay().settingsContainer()->speedRow());
    const auto rows = overlay().settingsContainer()->submenu()->tableView()->rows();
    seen = picture();
    const auto mark = [&](std::size_t row) {
        return whites(seen, *std::static_pointer_cast<SettingsSubmenuCell>(rows[row])->selectedImage());
    };
    EXPECT_GT(mark(1), 10);
    EXPECT_EQ(mark(3), 0);
    click(*rows[3]);
    EXPECT_EQ(simulated->playbackRate(), 2.0);
    EXPECT_EQ(facade->playbackRate(), 2.0);
    click(*overlay().settingsContainer()->closeButton());
    EXPECT_FALSE(overlay().isSettingsOpen());
    EXPECT_GT(whites(picture(), *overlay().playPauseButton()), 200);
}

TEST_F(QtWindow, FullScreenIsAWindowOfItsOwn) {
    show(640, 360);
    click(emptyPlace);
    click(*overlay().fullScreenButton());
    ASSERT_TRUE(item->isFullScreen());
    QPointer<QQuickWindow> screen = item->fullScreenWindow();
    EXPECT_EQ(screen->visibility(), QWindow::FullScreen);
    EXPECT_EQ(item->property("fullScreenWindow").value<QQuickWindow*>(), screen);
    EXPECT_EQ(overlay().frame().size(), (ui::Size{double(screen->width()), double(screen->height())}));
    QImage seen = picture(screen);
    EXPECT_GT(whites(seen, *overlay().playPauseButton()), 200);
    EXPECT_GT(at(seen, {screen->width() / 4, screen->height() / 2}).blue(), 40) << "the picture is there";
    EXPECT_EQ(at(picture(), {320, 250}), QColor(Qt::black)) << "and not here";
    QTest::keyClick(screen, Qt::Key_Escape);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    pass(400ms);
    EXPECT_FALSE(item->isFullScreen());
    EXPECT_FALSE(screen);
    EXPECT_EQ(overlay().frame().size(), (ui::Size{640, 360}));
    EXPECT_GT(at(picture(), {100, 250}).blue(), 40);

    overlay().toggleFullScreen();
    item->fullScreenWindow()->close();
    EXPECT_FALSE(item->isFullScreen()) << "a window that is closed leads back, too";
    EXPECT_FALSE(item->player()->isFullScreen());
}

TEST_F(QtWindow, KeysDoWhatPlayersKeysDo) {
    show(640, 360);
    simulated->setCurrentTime(50);
    pass(0s);
    const auto key = [&](Qt::Key pressed) {
        QTest::keyClick(window.get(), pressed);
        pass(10ms);
    };
    key(Qt::Key_Space);
    EXPECT_TRUE(simulated->paused());
    key(Qt::Key_Right);
    EXPECT_NEAR(simulated->currentTime(), 60, 0.5);
    key(Qt::Key_Left);
    key(Qt::Key_Left);
    EXPECT_NEAR(simulated->currentTime(), 40, 0.5);
    key(Qt::Key_M);
    EXPECT_TRUE(simulated->muted());
    EXPECT_TRUE(facade->isMuted());
    key(Qt::Key_M);
    key(Qt::Key_Down);
    EXPECT_NEAR(simulated->volume(), 0.9, 1e-9);
    click(emptyPlace);
    key(Qt::Key_Tab);
    key(Qt::Key_Return);
    EXPECT_TRUE(overlay().isSettingsOpen()) << "the first control is the settings button";
    overlay().settingsContainer()->showSpeedSubmenu();
    key(Qt::Key_Escape);
    EXPECT_TRUE(overlay().isSettingsOpen());
    pass(300ms);
    key(Qt::Key_Escape);
    EXPECT_FALSE(overlay().isSettingsOpen());
    key(Qt::Key_F);
    EXPECT_TRUE(item->isFullScreen());
}

TEST_F(QtWindow, NothingIsDrawnWhenNothingChanged) {
    show(640, 360);
    pass(9s);
    picture();
    const auto before = item->cost();
    for (int i = 0; i < 40; ++i) {
        pass(250ms);
        picture();
    }
    EXPECT_EQ(item->cost().repaints, before.repaints) << "hidden controls cost nothing";
    EXPECT_EQ(item->cost().frames, before.frames + 40) << "while the picture moves";
    simulated->pause();
    pass(5s);
    picture();
    const auto shown = item->cost().repaints;
    EXPECT_GT(shown, before.repaints);
    pass(20s);
    picture();
    EXPECT_LE(item->cost().repaints, shown + 1);
}

TEST_F(QtWindow, APictureStandsWhereItsItemStands) {
    show(640, 360);
    item->setVisible(false);
    qt::PlayerItem another(window->contentItem());
    another.setPosition({200, 100});
    another.setSize({320, 180});
    picture();
    another.setContentId(QStringLiteral("film"));
    ASSERT_TRUE(
        loop->drainUntil([&] { return another.player()->player() && another.player()->player()->source(); }));
    pass(5s);
    const QImage seen = picture();
    EXPECT_EQ(at(seen, {100, 50}), QColor(Qt::black));
    EXPECT_GT(at(seen, {210, 110}).blue(), 40);
    EXPECT_GT(at(seen, {510, 270}).blue(), 40);
    EXPECT_EQ(at(seen, {530, 290}), QColor(Qt::black));
}

TEST_F(QtWindow, ScreenReadersFindTheControlsThatCanBeReached) {
    show(640, 360);
    QAccessible::setActive(true);
    const auto find = [&](const char* name) {
        return accessible(QAccessible::queryAccessibleInterface(window.get()), QString::fromUtf8(name));
    };
    EXPECT_EQ(find("Pausar"), nullptr) << "hidden";
    click(emptyPlace);
    picture();
    QAccessibleInterface* const pause = find("Pausar");
    ASSERT_NE(pause, nullptr);
    EXPECT_EQ(pause->role(), QAccessible::Button);
    EXPECT_TRUE(pause->rect().contains(window->mapToGlobal(middle(*overlay().playPauseButton()))));
    pause->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    pass(500ms);
    EXPECT_TRUE(simulated->paused());
    picture();
    EXPECT_NE(find("Reproduzir"), nullptr);
    QAccessibleInterface* const slider = find("Posição");
    ASSERT_NE(slider, nullptr);
    simulated->setCurrentTime(50);
    pass(0s);
    picture();
    EXPECT_NEAR(slider->valueInterface()->currentValue().toDouble(), 0.5, 0.01);
    slider->actionInterface()->doAction(QAccessibleActionInterface::increaseAction());
    EXPECT_NEAR(simulated->currentTime(), 55, 0.5);
    overlay().showSettings();
    pass(400ms);
    picture();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(find("Reproduzir"), nullptr);
    EXPECT_NE(find("Velocidade, 1.0x"), nullptr);
    QAccessible::setActive(false);
}

TEST_F(QtWindow, AThousandPlayersLeaveNothingBehind) {
    show(640, 360);
    std::size_t settled = 0;
    for (int round = 0; round < 1000; ++round) {
        auto another = std::make_unique<qt::PlayerItem>(window->contentItem());
        another->setSize({320, 180});
        another->setContentId(QStringLiteral("film"));
        ASSERT_TRUE(loop->drainUntil([&] { return another->player()->player() != nullptr; }));
        pass(50ms);
        const std::weak_ptr<QuorelPlayerViewController> player = another->player();
        another.reset();
        ASSERT_TRUE(loop->drainUntil([&] { return player.expired(); }));
        backend->forgetRequests();
        if (round == 499) settled = mallinfo2().uordblks;
    }
    EXPECT_LT(mallinfo2().uordblks, settled + 64 * 1024);
}

TEST_F(QtWindow, QmlSeesAndCommandsThePlayer) {
    show(640, 360);
    QCoreApplication::processEvents();
    QQmlExpression expression(QQmlEngine::contextForObject(item), item,
                              "[controller.isPlaying, controller.duration, controller.metadata.isLive, "
                              "controller.subtitle === null, controller.isBuffering].join()");
    EXPECT_EQ(expression.evaluate().toString().toStdString(), "true,100,false,true,false");
    QQmlExpression(QQmlEngine::contextForObject(item), item, "controller.pause(); controller.seekTo(12)")
        .evaluate();
    pass(10ms);
    EXPECT_TRUE(simulated->paused());
    EXPECT_EQ(simulated->currentTime(), 12);

    const std::weak_ptr<QuorelPlayerViewController> old = item->player();
    backend->reply("players/configuration/other", 200, configBody("other", true));
    backend->reply("videos/other", 200, videoBody());
    item->setContentId("other");
    EXPECT_TRUE(old.expired()) << "another title makes the player anew";
    ASSERT_TRUE(loop->drainUntil([&] {
        return factory->latest() && factory->latest()->source() &&
               factory->latest()->source()->source.src.ends_with("other.m3u8");
    }));
}

}  // namespace
}  // namespace quorel::testing

// Here and not in a test: what Qt keeps for the process must go before the process's statics do.
int main(int argc, char** argv) {
    const QTemporaryDir runtime;
    qputenv("XDG_RUNTIME_DIR", runtime.path().toUtf8());
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    testing::InitGoogleTest(&argc, argv);
    const QGuiApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
