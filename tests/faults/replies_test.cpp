// Each reply of the backend fails in turn, in every way, on the road from an id to a playing engine.
#include "tests/player/player_fixture.h"

namespace quorel::faults {
namespace {

using testing::Lines;

struct World final : testing::PlayerTest {
    using PlayerTest::backend, PlayerTest::controller, PlayerTest::drainUntilAsked, PlayerTest::finishLoads,
        PlayerTest::load, PlayerTest::loop, PlayerTest::recorder;
    void TestBody() override {}

    int errors() const {
        return static_cast<int>(
            std::count_if(recorder->events.begin(), recorder->events.end(),
                          [](const std::string& event) { return event.starts_with("error("); }));
    }
    bool plays() const {
        return std::find(recorder->events.begin(), recorder->events.end(), "playing") != recorder->events.end();
    }
};

struct Trouble {
    const char* name;
    std::function<void(ScriptedBackend&, const std::string& path)> make;
};

std::vector<Trouble> troubles() {
    std::vector<Trouble> all = {
        {"cut",
         [](auto& backend, const auto& path) { backend.fail(path, URLError::Code::networkConnectionLost); }},
        {"late", [](auto& backend, const auto& path) { backend.fail(path, URLError::Code::timedOut); }},
        {"not HTTP", [](auto& backend, const auto& path) { backend.replyWithoutHTTP(path, "{}"); }},
    };
    static constexpr std::array statuses = {204, 302, 401, 404, 500, 503};
    for (const int& status : statuses) {
        all.push_back(
            {"status", [&status](auto& backend, const auto& path) { backend.reply(path, status, "{}"); }});
    }
    static const std::vector<std::string> bodies = {"",
                                                    "{",
                                                    "null",
                                                    "[]",
                                                    "{}",
                                                    "<html>",
                                                    std::string("\0\xFF\xFE", 3),
                                                    std::string(5000, '['),
                                                    R"({"title":7,"assets":[],"videoOnDemand":"yes"})"};
    for (const std::string& body : bodies) {
        all.push_back({"body", [&body](auto& backend, const auto& path) { backend.reply(path, 200, body); }});
    }
    return all;
}

// One error that cannot be retried, nothing that plays, and the next title plays.
TEST(Replies, OfTheBackendThatFailAreOneErrorEach) {
    const std::map<std::string, Lines> roads = {
        {"film", {"players/configuration/film", "videos/film"}},
        {"show", {"players/configuration/show", "live-streams/show", "live-streams/show/status"}},
    };
    for (const auto& [id, paths] : roads) {
        for (const std::string& path : paths) {
            for (const Trouble& trouble : troubles()) {
                SCOPED_TRACE(path + ": " + trouble.name);
                World world;
                trouble.make(*world.backend, path);
                world.load(id);
                world.loop->advance(std::chrono::seconds(2));
                EXPECT_EQ(world.errors(), 1);
                EXPECT_FALSE(world.plays());
                EXPECT_TRUE(world.recorder->events.back().ends_with("canRetry: false)"))
                    << world.recorder->events.back();

                world.recorder->take();
                world.load("other");
                world.loop->advance(std::chrono::seconds(2));
                EXPECT_TRUE(world.plays());
                EXPECT_EQ(world.errors(), 0);
            }
        }
    }
}

// A reply that is slow holds nobody up: the load goes on when it comes, and a player that has been let go of ends.
TEST(Replies, ThatAreSlowAreWaitedForOnlyByTheirPlayer) {
    for (const bool isLetGo : {false, true}) {
        for (const char* const path : {"players/configuration/film", "videos/film"}) {
            SCOPED_TRACE(path);
            World world;
            world.backend->hold(path);
            world.controller->setup("film", false, 0, {}, {});
            world.drainUntilAsked(path);
            const std::weak_ptr<QuorelPlayerViewController> player = world.controller;
            if (isLetGo) {
                world.controller->unmount();
                world.controller = nullptr;
                world.recorder->take();
            }
            world.backend->release(path);
            if (isLetGo) {
                EXPECT_TRUE(world.loop->drainUntil([&] { return player.expired(); }));
                world.loop->advance(std::chrono::seconds(2));
                EXPECT_FALSE(world.plays());
            } else {
                world.finishLoads();
                world.loop->advance(std::chrono::seconds(2));
                EXPECT_TRUE(world.plays());
            }
        }
    }
}

}  // namespace
}  // namespace quorel::faults
