// What the recipes of docs/cookbook.md have in common. Each is a function that does what the page shows, between its
// markers, and then looks whether it came true.
#pragma once

#include <stdexcept>
#include <string>

namespace cookbook {

inline void expect(bool came, const std::string& what) {
    if (!came) throw std::runtime_error("not so: " + what);
}

// player.cpp
void listenToEvents();
void showSubtitles();
void followLiveContent();
void playAds();
void sideloadSubtitles();
void rewritePlaylist();
void standBeforeAnEngine();
void trustIssuers();
void watchTheNetwork();
// network.cpp
void loadAURL();
void answerRequests();
void codeJSON();
void adaptAForeignLoop();
// subtitles.cpp
void convertSRT();
void readAnyFile();
void tellWhereAFileIsBroken();
void shiftAndMerge();
void askByTime();
// server.cpp
void serveRoutes();
void serveFiles();
void echoWebSocket();
// support.cpp
void matchPatterns();
void readAndWriteBytes();
void collectLogLines();

}  // namespace cookbook
