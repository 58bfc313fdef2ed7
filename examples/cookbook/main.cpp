// Runs every recipe of docs/cookbook.md, or those that are named.
#include <cstdio>
#include <exception>
#include <string_view>
#include <utility>

#include "examples/cookbook/recipes.h"

int main(int count, char** arguments) {
    using namespace cookbook;
    constexpr std::pair<std::string_view, void (*)()> recipes[] = {
        {"listenToEvents", listenToEvents},
        {"showSubtitles", showSubtitles},
        {"followLiveContent", followLiveContent},
        {"playAds", playAds},
        {"sideloadSubtitles", sideloadSubtitles},
        {"rewritePlaylist", rewritePlaylist},
        {"standBeforeAnEngine", standBeforeAnEngine},
        {"trustIssuers", trustIssuers},
        {"watchTheNetwork", watchTheNetwork},
        {"loadAURL", loadAURL},
        {"answerRequests", answerRequests},
        {"codeJSON", codeJSON},
        {"adaptAForeignLoop", adaptAForeignLoop},
        {"convertSRT", convertSRT},
        {"readAnyFile", readAnyFile},
        {"tellWhereAFileIsBroken", tellWhereAFileIsBroken},
        {"shiftAndMerge", shiftAndMerge},
        {"askByTime", askByTime},
        {"serveRoutes", serveRoutes},
        {"serveFiles", serveFiles},
        {"echoWebSocket", echoWebSocket},
        {"matchPatterns", matchPatterns},
        {"readAndWriteBytes", readAndWriteBytes},
        {"collectLogLines", collectLogLines},
    };
    int failures = 0;
    for (const auto& [name, recipe] : recipes) {
        if (count > 1 && name != arguments[1]) continue;
        try {
            recipe();
            std::printf("%.*s: came true\n", static_cast<int>(name.size()), name.data());
        } catch (const std::exception& error) {
            std::printf("%.*s: %s\n", static_cast<int>(name.size()), name.data(), error.what());
            ++failures;
        }
    }
    return failures == 0 ? 0 : 1;
}
