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

// Gives away what the session attaches to an engine.
struct RecordingIntegrations final : GoogleIMAIntegrationFactory {
    std::shared_ptr<Integration> createIntegration(const std::shared_ptr<THEOplayer>&,
                                                   const IMASettings& settings) override {
        languages.push_back(settings.language);
        return std::make_shared<Integration>();
    }
    std::vector<std::string> languages;
};

TEST(Quorel, InitializeSetsUpCastOnlyForAnApplicationId) {
    struct Row {
        std::optional<std::string> applicationId;
        bool isDevMode;
        std::string log;
    };
    const std::vector<Row> rows{
        {std::nullopt, true, "Quorel SDK initializing...\n"},
        {std::nullopt, false, "Quorel SDK initializing...\n"},
        {"ABCD", false, "Quorel SDK initializing...\nInitializing Chromecast ABCD\n"},
        {"", false, "Quorel SDK initializing...\nInitializing Chromecast \n"},
    };
    for (const Row& row : rows) {
        const auto cast = std::make_shared<NullCastContext>();
        PlatformServices services;
        services.castContext = cast;
        Quorel session(services);
        session.initialize("old", "old", false);
        cast->setSharedInstanceWithOptions({});
        const LogCapture log;
        session.initialize("token", row.applicationId, row.isDevMode);
        EXPECT_EQ(log.text(), row.log);
        EXPECT_EQ(session.quorelToken(), "token");
        EXPECT_EQ(session.applicationId(), row.applicationId);
        GCKCastOptions expected;
        if (row.applicationId) expected = {{*row.applicationId}, true};
        EXPECT_EQ(cast->options(), expected);
    }
}

TEST(Quorel, TheSessionIdIsNotTheToken) {
    Quorel session;
    EXPECT_EQ(session.getSessionId(), std::nullopt);
    session.setSessionId("s");
    EXPECT_EQ(session.getSessionId(), "s");
    EXPECT_EQ(session.quorelToken(), std::nullopt);
}

TEST(Quorel, FontsOfTheResourceDirectoryAreRegistered) {
    std::string directory = (std::filesystem::temp_directory_path() / "quorel-fonts-XXXXXX").string();
    ASSERT_NE(mkdtemp(directory.data()), nullptr);
    for (const char* name : {"b.ttf", "a.ttf", "c.TTF", "d.png"}) std::ofstream(directory + "/" + name);
    std::filesystem::create_directories(directory + "/sub.ttf");
    std::ofstream(directory + "/sub.ttf/e.ttf");

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

TEST(QuorelDeathTest, WithoutServicesNothingCanBePlayed) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(Quorel().createPlayer(), "install");
}

}  // namespace
}  // namespace quorel
