// What subtitles cost: regular expressions beside the bare engine, the coders by the megabyte, conversion in time
// and memory, and lookups. Prints one JSON object; run.py makes a table of it.
//
//   subtitles_bench speed          all times
//   subtitles_bench memory ROAD    the peak of one conversion: "direct" or "document"
//   subtitles_bench make CUES      an SRT file, to standard output
#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "quorel/subtitles/cue_lookup.h"
#include "quorel/subtitles/sbv.h"
#include "quorel/subtitles/srt.h"
#include "quorel/subtitles/srt_to_vtt.h"
#include "quorel/subtitles/sub.h"
#include "quorel/subtitles/vtt.h"
#include "quorel/support/regex.h"

namespace quorel {
namespace {

using Coder = Subtitles::Coder;

volatile std::size_t sink;

// Processor time of this thread, the system's share included, so that other programs do not count.
double now() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// The fastest of several rounds, in seconds: what else the machine does only ever adds.
template <class Action>
double seconds(Action action, int rounds = 15) {
    double best = 1e9;
    for (int i = 0; i < rounds; ++i) {
        const double begin = now();
        sink = sink + action();
        best = std::min(best, now() - begin);
    }
    return best;
}

class Report {
public:
    void add(const char* name, double value) {
        std::printf("%s\n  \"%s\": %.6g", first_ ? "{" : ",", name, value);
        first_ = false;
    }
    ~Report() { std::printf("\n}\n"); }

private:
    bool first_ = true;
};

// A film's worth of dialogue per 1,500 cues: 93 bytes per cue, one or two lines, some letters with accents.
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

void measureRegex(Report& report) {
    const std::string pattern = R"((\d+):(\d{1,2}):(\d{1,2}),(\d{3})\s-->\s(\d+):(\d{2}):(\d{1,2}),(\d{3}))";
    std::vector<std::string> timings, texts;
    for (int i = 0; i < 1000; ++i) {
        char line[64];
        std::snprintf(line, sizeof line, "%02d:%02d:%02d,%03d --> %02d:%02d:%02d,%03d", i % 3, i % 60, i * 7 % 60,
                      i, i % 3, i % 60, i * 11 % 60, 999 - i);
        timings.emplace_back(line);
        texts.emplace_back("- Some line of dialogue, number " + std::to_string(i) + ", with words.");
    }
    int error = 0;
    PCRE2_SIZE offset = 0;
    pcre2_compile_context* context = pcre2_compile_context_create(nullptr);
    pcre2_set_newline(context, PCRE2_NEWLINE_ANY);
    pcre2_code* code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.c_str()), pattern.size(),
                                     PCRE2_UTF | PCRE2_UCP, &error, &offset, context);
    pcre2_jit_compile(code, PCRE2_JIT_COMPLETE);
    pcre2_match_data* data = pcre2_match_data_create_from_pattern(code, nullptr);
    const Regex regex(pattern);
    Regex::Matcher matcher(regex);
    constexpr int repeat = 200;
    const auto perLine = [&](const std::vector<std::string>& lines, auto match) {
        return seconds([&] {
                   std::size_t found = 0;
                   for (int r = 0; r < repeat; ++r) {
                       for (const std::string& line : lines) found += match(line);
                   }
                   return found;
               }) *
               1e9 / (repeat * static_cast<double>(lines.size()));
    };
    const auto bare = [&](const std::string& line) -> std::size_t {
        const int result =
            pcre2_jit_match(code, reinterpret_cast<PCRE2_SPTR>(line.data()), line.size(), 0, 0, data, nullptr);
        return result > 0 ? pcre2_get_ovector_pointer(data)[3] : 0;
    };
    const auto wrapped = [&](const std::string& line) -> std::size_t {
        return matcher.find(Regex::TextView::trusted(line)) ? matcher.capture(0).upper : 0;
    };
    report.add("regex bare, timing line (ns)", perLine(timings, bare));
    report.add("regex Matcher, timing line (ns)", perLine(timings, wrapped));
    report.add("regex hasMatch, timing line (ns)", perLine(timings, [&](const std::string& line) -> std::size_t {
                   return regex.hasMatch(line) ? 1 : 0;
               }));
    report.add("regex firstMatch, timing line (ns)", perLine(timings, [&](const std::string& line) -> std::size_t {
                   return regex.firstMatch(line)->captures[0].upper;
               }));
    report.add("regex bare, text line (ns)", perLine(texts, bare));
    report.add("regex Matcher, text line (ns)", perLine(texts, wrapped));
    pcre2_match_data_free(data);
    pcre2_code_free(code);
    pcre2_compile_context_free(context);
}

void measureCoders(Report& report) {
    for (const int cues : {1500, 200'000}) {
        const std::string srt = makeSRT(cues);
        const std::string prefix = cues == 1500 ? "film" : "large";
        const int rounds = cues == 1500 ? 200 : 15;
        const auto megabytes = [&](const std::string& text, double time) {
            return static_cast<double>(text.size()) / time / 1e6;
        };
        const Subtitles document = Coder::SRT().decode(srt);
        const std::string vtt = Coder::VTT().encode(document);
        const std::string sbv = Coder::SBV().encode(document);
        std::string sub;
        for (const auto& cue : document.cues()) {
            std::string text(cue.text());
            std::replace(text.begin(), text.end(), '\n', '|');
            char frames[48];
            std::snprintf(frames, sizeof frames, "{%d}{%d}", static_cast<int>(cue.startTimeInSeconds() * 24),
                          static_cast<int>(cue.endTimeInSeconds() * 24));
            sub.append(frames).append(text).append(1, '\n');
        }
        const auto add = [&](const char* name, double value) { report.add((prefix + " " + name).c_str(), value); };
        const auto both = [&] { return Coder::VTT().encode(Coder::SRT().decode(srt)).size(); };
        const double direct = seconds([&] { return convertSRTToVTT(srt).size(); }, rounds);
        const double throughDocument = seconds(both, rounds);
        add("SRT size (bytes)", static_cast<double>(srt.size()));
        add("SRT to WebVTT, direct (MB/s)", megabytes(srt, direct));
        add("SRT to WebVTT, direct (ms)", direct * 1e3);
        add("SRT to WebVTT, document (MB/s)", megabytes(srt, throughDocument));
        add("SRT to WebVTT, document (ms)", throughDocument * 1e3);
        add("SRT decode (MB/s)",
            megabytes(srt, seconds([&] { return Coder::SRT().decode(srt).cues().size(); }, rounds)));
        add("SRT encode (MB/s)",
            megabytes(srt, seconds([&] { return Coder::SRT().encode(document).size(); }, rounds)));
        add("WebVTT decode (MB/s)",
            megabytes(vtt, seconds([&] { return Coder::VTT().decode(vtt).cues().size(); }, rounds)));
        add("SBV decode (MB/s)",
            megabytes(sbv, seconds([&] { return Coder::SBV().decode(sbv).cues().size(); }, rounds)));
        add("SUB decode (MB/s)",
            megabytes(sub, seconds([&] { return Coder::SUB().decode(sub).cues().size(); }, rounds)));
    }
}

void measureLookup(Report& report) {
    const Subtitles document = Coder::SRT().decode(makeSRT(200'000));
    const double length = document.lastCue()->endTimeInSeconds();
    std::mt19937 random(3);
    std::vector<double> times(1000);
    for (double& time : times) time = length * static_cast<double>(random() % 1'000'000) / 1e6;
    const auto perCall = [&](std::size_t calls, auto look) {
        return seconds([&] {
                   std::size_t found = 0;
                   for (std::size_t i = 0; i < calls; ++i) found += look(times[i]) ? 1 : 0;
                   return found;
               }) *
               1e9 / static_cast<double>(calls);
    };
    const CueLookup lookup(document);
    report.add("cueType of 200,000 cues, document (ns)",
               perCall(50, [&](double t) { return document.cueType(t).has_value(); }));
    report.add("cueType of 200,000 cues, CueLookup (ns)",
               perCall(1000, [&](double t) { return lookup.cueType(t).has_value(); }));
    report.add("CueLookup of 200,000 cues, made (ms)",
               seconds([&] { return CueLookup(document).cueType(1).has_value() ? 1U : 0U; }) * 1e3);
}

// A line of /proc/self/status, in bytes.
double status(const std::string& name) {
    std::ifstream file("/proc/self/status");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(name + ":")) return std::atof(line.c_str() + name.size() + 1) * 1024;
    }
    return 0;
}

void measureMemory(Report& report, bool direct) {
    const std::string srt = makeSRT(200'000);
    std::ofstream("/proc/self/clear_refs") << "5";  // the peak begins anew
    const double before = status("VmRSS") - static_cast<double>(srt.size());
    const std::string vtt = direct ? convertSRTToVTT(srt) : Coder::VTT().encode(Coder::SRT().decode(srt));
    const double peak = status("VmHWM") - before;
    const auto inputAndOutput = static_cast<double>(srt.size() + vtt.size());
    report.add("input and output (MB)", inputAndOutput / 1e6);
    report.add("peak (MB)", peak / 1e6);
    report.add("peak per input and output", peak / inputAndOutput);
}

}  // namespace
}  // namespace quorel

int main(int count, char** arguments) {
    const std::string mode = count > 1 ? arguments[1] : "";
    if (mode == "make" && count == 3) {
        const std::string srt = quorel::makeSRT(std::atoi(arguments[2]));
        std::fwrite(srt.data(), 1, srt.size(), stdout);
        return 0;
    }
    quorel::Report report;
    if (mode == "memory" && count == 3) {
        quorel::measureMemory(report, std::strcmp(arguments[2], "direct") == 0);
        return 0;
    }
    quorel::measureRegex(report);
    quorel::measureCoders(report);
    quorel::measureLookup(report);
    return 0;
}
