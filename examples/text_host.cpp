// A host without a toolkit: draws the player's tree as text and clicks on it. The engine is the simulated one, in virtual
// time; the one that plays stands in the same place.
#include <cmath>
#include <cstdio>
#include <map>

#include "engines/simulated/simulated_engine.h"
#include "quorel/quorel.h"
#include "quorel/session/scripted_backend.h"
#include "quorel/ui/display_list.h"
#include "quorel/ui/pointer.h"

using namespace quorel;
using namespace std::chrono_literals;

class TextHost {
public:
    // [host]
    TextHost(std::shared_ptr<QuorelPlayerViewController> shown, std::shared_ptr<RunLoop> mainLoop)
        : player(std::move(shown)), loop(std::move(mainLoop)), pointer(player->view()) {
        player->view()->setTextMeasure([](const ui::Label& label) {
            return ui::Size{across * static_cast<double>(label.text().size()), down};
        });
        player->layoutIn({0, 0, columns * across, rows * down});
    }
    void click(const ui::View& view) {
        const ui::Rect place = ui::frameInRoot(view);
        const ui::Point middle{place.x + place.width / 2, place.y + place.height / 2};
        pointer.press(middle);
        pointer.release(middle);
    }
    void draw() const {
        std::vector<std::string> screen(rows, std::string(columns, ' '));
        for (const ui::DisplayItem& item : ui::displayList(player->view(), loop->now())) {
            const std::string text = textOf(*item.view, item.frame);
            const auto y = std::lround((item.frame.y + item.frame.height / 2) / down - 0.5);
            auto x = std::lround(item.frame.x / across);
            if (dynamic_cast<const ui::Button*>(item.view.get()))  // in the middle of its place
                x += std::lround((item.frame.width / across - static_cast<double>(text.size())) / 2);
            for (std::size_t i = 0; i < text.size() && y >= 0 && y < rows; ++i, ++x) {
                if (x >= 0 && x < columns)
                    screen[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] = text[i];
            }
        }
        for (const std::string& line : screen) std::printf("|%s|\n", line.c_str());
    }
    // [/host]

private:
    static constexpr int columns = 80, rows = 20;
    static constexpr double across = 8, down = 18;  // points of a character

    static const inline std::map<std::string, std::string> symbols{
        {"play.fill", "|>"},
        {"pause.fill", "||"},
        {"gobackward.10", "<<10"},
        {"goforward.10", "10>>"},
        {"gearshape.fill", "settings"},
        {"cast", "cast"},
        {"xmark", "X"},
        {"arrow.up.left.and.arrow.down.right", "full"},
        {"arrow.down.right.and.arrow.up.left", "back"},
    };

    static std::string textOf(const ui::View& view, const ui::Rect& frame) {
        if (const auto* label = dynamic_cast<const ui::Label*>(&view)) return label->text();
        if (const auto* button = dynamic_cast<const ui::Button*>(&view)) return symbols.at(button->symbol());
        if (const auto* slider = dynamic_cast<const ui::Slider*>(&view)) {
            std::string line(static_cast<std::size_t>(frame.width / across), '-');
            return line[static_cast<std::size_t>(slider->thumbCenter() / across)] = 'O', line;
        }
        return {};
    }

    const std::shared_ptr<QuorelPlayerViewController> player;
    const std::shared_ptr<RunLoop> loop;
    ui::Pointer pointer;
};

int main() {
    auto loop = std::make_shared<ManualRunLoop>();
    auto engines = std::make_shared<SimulatedEngineFactory>(loop);
    engines->setDefaultScript({.duration = 90});
    auto backend = std::make_shared<ScriptedBackend>(std::string(QuorelAPI::defaultBaseURL()));
    const std::string images = R"("thumbnail":"","endScreen":"","playerColor":"",)";
    backend->reply("players/configuration/film", 200,
                   R"({"title":"Film","broadcasting":false,"videoOnDemand":true,)"
                   R"("createdAt":"2024-01-02T03:04:05Z","assets":{)" +
                       images + R"("hls":"https://cdn.example/film.m3u8"}})");
    backend->reply("videos/film", 200, R"({"videoId":"v","assets":{)" + images + R"("iframe":"","player":""}})");
    auto services = PlatformServices::standard(loop, engines);
    services.urlSession->registerProtocol(backend);
    Quorel::shared().install(std::move(services));
    Quorel::shared().initialize("token", std::nullopt, false);
    {
        auto player = QuorelPlayerViewController::make();
        TextHost host(player, loop);
        player->setup("film", /*hideUI=*/false, /*startTime=*/0, std::nullopt, {});
        loop->drainUntil([&] { return engines->latest() && engines->latest()->source(); });
        loop->advance(5s);  // the controls come up 4 seconds after the beginning
        host.draw();
        host.click(*player->playerUI()->skipForwardButton());
        host.click(*player->playerUI()->playPauseButton());
        loop->advance(1s);
        host.draw();
    }
    Quorel::shared().install({});
}
