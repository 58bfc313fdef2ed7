// Tells what is to be read at a time. Try: cue_at_time film.srt 12.5
#include <cstdio>
#include <cstdlib>

#include "quorel/foundation/url.h"
#include "quorel/subtitles/cue_lookup.h"

int main(int count, char** arguments) try {
    if (count != 3) return std::fputs("usage: cue_at_time FILE SECONDS\n", stderr), 2;
    const auto url = quorel::URL::parse("file://" + std::string(arguments[1]));  // an absolute path
    const quorel::Subtitles film(url.value(), quorel::TextEncoding::utf8);
    const quorel::CueLookup lookup(film);  // made once, asked at every tick
    const auto type = lookup.cueType(std::atof(arguments[2]));
    if (!type) return std::puts("nothing more"), 0;
    const auto& cue = film.cues()[static_cast<std::size_t>(type->cueIndex)];
    std::printf("%s %s\n%s\n", type->isInsideCue ? "now, until" : "next, at",
                (type->isInsideCue ? cue.endTime() : cue.startTime()).text().c_str(),
                std::string(cue.text()).c_str());
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", arguments[1], error.what());
    return 1;
}
