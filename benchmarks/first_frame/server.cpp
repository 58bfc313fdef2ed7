// Serves the sandbox with two more titles until its input ends: "one", which is "sample" with its best variant alone and
// no subtitles, and "one-subtitled" with three subtitle files. Of one variant everybody plays the same pictures. Says
// where it listens in its first line; its argument is an empty folder for its media.
#include <filesystem>
#include <fstream>
#include <iostream>

#include "sandbox/sandbox.h"

int main(int count, char** arguments) {
    using namespace quorel::sandbox;
    if (count != 2) return 2;
    const std::filesystem::path media = arguments[1];
    std::filesystem::copy(Sandbox::defaultMediaDirectory(), media, std::filesystem::copy_options::recursive);
    std::ofstream(media / "sample" / "one.m3u8")
        << "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-INDEPENDENT-SEGMENTS\n#EXT-X-STREAM-INF:BANDWIDTH=1515281,"
           "CODECS=\"avc1.64001f,mp4a.40.2\",RESOLUTION=1280x720,FRAME-RATE=25.000\n720/playlist.m3u8\n";
    Sandbox sandbox({.mediaDirectory = media});
    for (Title title : sandbox.titles()) {
        if (title.id != "sample") continue;
        title.playlist = "sample/one.m3u8";
        title.id = "one-subtitled";
        sandbox.setTitle(title);
        title.id = "one";
        title.subtitles.clear();
        sandbox.setTitle(title);
    }
    sandbox.start();
    std::cout << sandbox.baseURL() << std::endl;
    std::cin.get();
}
