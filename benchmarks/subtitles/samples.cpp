#include "benchmarks/subtitles/samples.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <random>

namespace quorel::bench {
namespace {

std::string onOneLine(std::string_view text, char separator) {
    std::string line(text);
    std::replace(line.begin(), line.end(), '\n', separator);
    return line;
}

}  // namespace

std::string makeSRT(int cues) {
    static const char* const words[] = {"the",  "house", "n\u00E3o", "where", "going", "ma\u00F1ana", "we",
                                        "said", "night", "you",      "about", "it",    "\u2014",      "enough"};
    std::mt19937 random(7);
    std::string srt;
    std::uint64_t milliseconds = 1000;
    for (int i = 1; i <= cues; ++i) {
        const auto appendTime = [&](std::uint64_t t) {
            char buffer[32];
            std::snprintf(buffer, sizeof buffer, "%02d:%02d:%02d,%03d", static_cast<int>(t / 3600000),
                          static_cast<int>(t / 60000 % 60), static_cast<int>(t / 1000 % 60),
                          static_cast<int>(t % 1000));
            srt += buffer;
        };
        srt += std::to_string(i) + "\n";
        appendTime(milliseconds);
        srt += " --> ";
        appendTime(milliseconds + 2400);
        srt += '\n';
        milliseconds += 2600 + random() % 900;
        for (auto lines = 1 + random() % 2; lines > 0; --lines) {
            for (int w = 0; w < 7; ++w) {
                if (w > 0) srt += ' ';
                srt += words[random() % std::size(words)];
            }
            srt += '\n';
        }
        srt += '\n';
    }
    return srt;
}

std::string makeSUB(const Subtitles& document) {
    std::string sub;
    for (const auto& cue : document.cues()) {
        char frames[48];
        std::snprintf(frames, sizeof frames, "{%d}{%d}", static_cast<int>(cue.startTimeInSeconds() * 24),
                      static_cast<int>(cue.endTimeInSeconds() * 24));
        sub += frames + onOneLine(cue.text(), '|') + "\n";
    }
    return sub;
}

std::string makeASS(const Subtitles& document) {
    std::string ass =
        "[Script Info]\nScriptType: v4.00+\n\n[Events]\n"
        "Format: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n";
    for (const auto& cue : document.cues()) {
        const auto& start = cue.startTime();
        const auto& end = cue.endTime();
        char head[96];
        std::snprintf(head, sizeof head, "Dialogue: 0,%d:%02d:%02d.%02d,%d:%02d:%02d.%02d,Default,,0,0,0,,",
                      static_cast<int>(start.hour()), static_cast<int>(start.minute()),
                      static_cast<int>(start.second()), static_cast<int>(start.millisecond() / 10),
                      static_cast<int>(end.hour()), static_cast<int>(end.minute()), static_cast<int>(end.second()),
                      static_cast<int>(end.millisecond() / 10));
        ass += head + onOneLine(cue.text(), ' ') + "\n";
    }
    return ass;
}

std::string makeLRC(const Subtitles& document) {
    std::string lrc;
    const double length = document.lastCue()->startTimeInSeconds();
    for (const auto& cue : document.cues()) {
        char stamp[32];
        const int seconds = static_cast<int>(cue.startTimeInSeconds() / length * 5999);
        std::snprintf(stamp, sizeof stamp, "[%02d:%02d.50]", seconds / 60, seconds % 60);
        lrc += stamp + onOneLine(cue.text(), ' ') + "\n";
    }
    return lrc;
}

}  // namespace quorel::bench
