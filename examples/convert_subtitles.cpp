// Writes a subtitle file in another format to standard output. Try: convert_subtitles film.srt vtt
#include <cstdio>

#include "quorel/foundation/url.h"
#include "quorel/subtitles/subtitles.h"

int main(int count, char** arguments) try {
    if (count != 3) return std::fputs("usage: convert_subtitles FILE FORMAT\n", stderr), 2;
    const auto url = quorel::URL::parse("file://" + std::string(arguments[1]));  // an absolute path
    const quorel::Subtitles film(url.value(), quorel::TextEncoding::utf8);
    const std::string text = film.encode(arguments[2]);
    std::fwrite(text.data(), 1, text.size(), stdout);
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", arguments[1], error.what());
    return 1;
}
