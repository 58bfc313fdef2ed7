// Plays one content and prints what happens, until it is interrupted: minimal_player TOKEN CONTENT-ID
#include <cstdio>

#include "engines/gstreamer/gstreamer_engine.h"
#include "quorel/quorel.h"

using namespace quorel;

// [player]
struct Printer : QuorelPlayerListener {
    void onEvent(const QuorelPlayerEvent& event) override { std::puts(describe(event).c_str()); }
};

int main(int argc, char** argv) {
    if (argc != 3) return std::fputs("usage: minimal_player TOKEN CONTENT-ID\n", stderr), 2;
    auto loop = std::make_shared<RealRunLoop>();
    Quorel::shared().install(PlatformServices::standard(loop, makeGStreamerEngineFactory(loop)));
    Quorel::shared().initialize(argv[1], std::nullopt, false);
    auto player = QuorelPlayerViewController::make();
    auto printer = std::make_shared<Printer>();
    player->registerPlayerListener(printer);
    player->setup(argv[2], /*hideUI=*/false, /*startTime=*/0, /*subtitle=*/"pt-br", {});
    loop->run();
}
// [/player]
