#include "quorel/session/quorel.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "quorel/engine/null_services.h"
#include "quorel/foundation/log.h"

namespace quorel {
namespace {

struct RecordingFonts final : FontRegistry {
    bool registerFont(const std::string& path) override {
        names.push_back(std::filesystem::path(path).filename().string());
        return false;
    }
    std::vector<std::string> names;
};

TEST(Quorel, InitializeSetsUpCastOnlyForAnApplicationId) {
    const std::vector<std::pair<std::optional<std::string>, std::string>> rows{
        {"ABCD", "Quorel SDK initializing...\nInitializing Chromecast ABCD\n"},
        {"", "Quorel SDK initializing...\nInitializing Chromecast \n"},
        {std::nullopt, "Quorel SDK initializing...\n"},
    };
    Quorel session;
    for (const auto& [applicationId, lines] : rows) {
        const auto cast = std::make_shared<NullCastContext>();
        PlatformServices services;
        services.castContext = cast;
        session.install(services);
        const LogCapture log;
        session.initialize("token", applicationId, true);
        EXPECT_EQ(log.text(), lines);
        EXPECT_EQ(session.applicationId(), applicationId);
        std::optional<GCKCastOptions> expected;
        if (applicationId) expected = GCKCastOptions{{*applicationId}, true};
        EXPECT_EQ(cast->options(), expected);
    }
}

TEST(Quorel, FontsOfTheResourceDirectoryAreRegistered) {
    std::string directory = (std::filesystem::temp_directory_path() / "quorel-fonts-XXXXXX").string();
    ASSERT_NE(mkdtemp(directory.data()), nullptr);
    std::filesystem::create_directories(directory + "/sub.ttf");
    for (const char* name : {"b.ttf", "a.ttf", "d.png", "sub.ttf/e.ttf"}) std::ofstream(directory + "/" + name);
    const auto fonts = std::make_shared<RecordingFonts>();
    PlatformServices services;
    services.fontRegistry = fonts;
    for (const std::string& place : {directory, directory + "/missing", std::string()}) {
        services.resourceDirectory = place;
        Quorel(services).initialize("t", std::nullopt, false);
    }
    EXPECT_EQ(fonts->names, (std::vector<std::string>{"a.ttf", "b.ttf"}));
    std::filesystem::remove_all(directory);
}

// A host that fills the services by hand forgets some.
TEST(QuorelDeathTest, AServiceThatIsMissingIsNamed) {
    PlatformServices services;
    services.mainLoop = std::make_shared<ManualRunLoop>();
    EXPECT_DEATH(Quorel(services).createPlayer(), "no background; PlatformServices::standard");
    EXPECT_DEATH(Quorel().createPlayer(), "Quorel::install.* must be called");
    EXPECT_DEATH(PlatformServices::standard(nullptr, nullptr), "needs a main loop");
}

}  // namespace
}  // namespace quorel
