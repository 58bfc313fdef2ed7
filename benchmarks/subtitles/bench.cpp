// What the coders cost by the megabyte, beside what others need for the same bytes, how it grows, and lookups.
//
//   subtitles_bench speed                figures, one per line of JSON
//   subtitles_bench growth               seconds for files of several sizes, the same way
//   subtitles_bench memory ROAD          the peak of one conversion: "direct" or "document"
//   subtitles_bench make FORMAT CUES     a file, to standard output: srt, csv, json-subtitles, ...
#include <cstring>
#include <fstream>
#include <functional>
#include <random>
#include <vector>

#include "benchmarks/measuring.h"
#include "benchmarks/subtitles/peers.h"
#include "benchmarks/subtitles/samples.h"
#include "quorel/subtitles/assa.h"
#include "quorel/subtitles/csv.h"
#include "quorel/subtitles/cue_lookup.h"
#include "quorel/subtitles/delimited_text.h"
#include "quorel/subtitles/json.h"
#include "quorel/subtitles/lrc.h"
#include "quorel/subtitles/podcasts_index.h"
#include "quorel/subtitles/sbv.h"
#include "quorel/subtitles/srt.h"
#include "quorel/subtitles/srt_to_vtt.h"
#include "quorel/subtitles/sub.h"
#include "quorel/subtitles/ttml.h"
#include "quorel/subtitles/vtt.h"

namespace quorel::bench {
namespace {

using Coder = Subtitles::Coder;

constexpr const char* speed = "MB/s";
constexpr int filmCues = 1500;
constexpr int manyCues = 200'000;

std::string make(std::string_view format, int cues) {
    std::string srt = makeSRT(cues);
    if (format == "srt") return srt;
    const Subtitles document = Coder::SRT().decode(srt);
    if (format == "sub") return makeSUB(document);
    if (format == "ass") return makeASS(document);
    if (format == "lrc") return makeLRC(document);
    return document.encode(format);
}

void measureConversion() {
    for (const int cues : {filmCues, manyCues}) {
        const std::string srt = makeSRT(cues);
        const bool isFilm = cues == filmCues;
        const char* const task = isFilm ? "SRT to WebVTT, a film" : "SRT to WebVTT, 200,000 cues";
        const int rounds = isFilm ? 200 : 15;
        const auto throughDocument = [&] { return Coder::VTT().encode(Coder::SRT().decode(srt)).size(); };
        report(task, speed, "quorel, convertSRTToVTT",
               megabytesPerSecond(
                   srt.size(), [&] { return convertSRTToVTT(srt).size(); }, rounds));
        report(task, speed, "quorel, by way of a document",
               megabytesPerSecond(srt.size(), throughDocument, rounds));
#ifdef QUOREL_BENCH_LIBAV
        report(task, speed, "libavformat, in process",
               megabytesPerSecond(
                   srt.size(), [&] { return convertByLibav(srt).size(); }, isFilm ? 20 : 3));
#endif
        if (!isFilm) continue;
        const Subtitles film = Coder::SRT().decode(srt);
        report("SRT of a film, decoded and encoded", "ms", "quorel",
               seconds([&] { return Coder::SRT().encode(Coder::SRT().decode(srt)).size(); }, rounds) * 1e3);
    }
}

void measureDecoders() {
    for (const int cues : {filmCues, manyCues}) {
        const bool isFilm = cues == filmCues;
        for (const auto& entry : Coder::all()) {
            if (entry.extn == "ssa" || (isFilm && entry.extn == "lrc")) continue;
            const std::string content = make(entry.extn, cues);
            const auto coder = entry.Create();
            const auto& textual = dynamic_cast<const SubtitlesTextCodable&>(*coder);
            const std::string what = std::string(entry.extn) + (isFilm ? ", a film" : ", 200,000 cues");
            report(("decode " + what).c_str(), speed, "quorel",
                   megabytesPerSecond(
                       content.size(), [&] { return textual.decode(content).cues().size(); }, isFilm ? 100 : 9));
            if (isFilm) continue;
            measurePeersOfDecoding(entry.extn, ("decode " + what).c_str(), content);
            if (entry.extn == "sub" || entry.extn == "ass") continue;
            const Subtitles document = textual.decode(content);
            report(("encode " + what).c_str(), speed, "quorel",
                   megabytesPerSecond(content.size(), [&] { return textual.encode(document).size(); }));
        }
    }
}

void measureFields() {
    const std::string csv = make("csv", manyCues);
    const char* const task = "fields of CSV, 200,000 rows";
    report(task, speed, "quorel, DelimitedText", megabytesPerSecond(csv.size(), [&] {
               std::size_t bytes = 0;
               DelimitedText::EventDrivenDecoder decoder(csv, {});
               decoder.emitRecord = [&](std::size_t, std::span<const std::string_view> record) {
                   for (const std::string_view field : record) bytes += field.size();
                   return true;
               };
               decoder.readRecords();
               return bytes;
           }));
    measurePeersOfFields(task, csv);
}

void measureLookup() {
    const Subtitles document = Coder::SRT().decode(makeSRT(manyCues));
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
    const char* const task = "cueType among 200,000 cues";
    report(task, "ns", "quorel, CueLookup",
           perCall(1000, [&](double t) { return lookup.cueType(t).has_value(); }));
    report(task, "ns", "quorel, Subtitles",
           perCall(50, [&](double t) { return document.cueType(t).has_value(); }));
    report("a CueLookup of 200,000 cues, made", "ms", "quorel",
           seconds([&] { return CueLookup(document).cueType(1).has_value() ? 1U : 0U; }) * 1e3);
}

// The unit is the size of the file.
void measureGrowth() {
    const auto add = [](const char* task, std::size_t size, double time) {
        report(task, std::to_string(size).c_str(), "quorel", time);
    };
    // Sizes that no cache holds.
    for (const int cues : {100'000, 200'000, 300'000, 400'000, 600'000}) {
        const std::string srt = makeSRT(cues);
        add("SRT to WebVTT", srt.size(), seconds([&] { return convertSRTToVTT(srt).size(); }, 5));
        for (const auto& entry : Coder::all()) {
            if (entry.extn == "ssa") continue;
            const std::string content = make(entry.extn, cues);
            const auto coder = entry.Create();
            add(("decode " + std::string(entry.extn)).c_str(), content.size(),
                seconds([&] { return coder->decode(content, TextEncoding::utf8).cues().size(); }, 5));
        }
    }
}

// A line of /proc/self/status, in bytes.
double status(const std::string& name) {
    std::ifstream file("/proc/self/status");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(name + ":")) return std::atof(line.c_str() + name.size() + 1) * 1024;
    }
    return 0;
}

void measureMemory(bool direct) {
    const std::string srt = makeSRT(manyCues);
    std::ofstream("/proc/self/clear_refs") << "5";  // the peak begins anew
    const double before = status("VmRSS") - static_cast<double>(srt.size());
    const std::string vtt = direct ? convertSRTToVTT(srt) : Coder::VTT().encode(Coder::SRT().decode(srt));
    const double peak = status("VmHWM") - before;
    const auto inputAndOutput = static_cast<double>(srt.size() + vtt.size());
    const char* const task = "SRT to WebVTT, 200,000 cues, memory";
    if (direct) report(task, "MB", "(input and output)", inputAndOutput / 1e6);
    report(task, "MB", direct ? "quorel, convertSRTToVTT, peak" : "quorel, by way of a document, peak",
           peak / 1e6);
}

}  // namespace
}  // namespace quorel::bench

int main(int count, char** arguments) {
    using namespace quorel::bench;
    const std::string mode = count > 1 ? arguments[1] : "";
    if (mode == "make" && count == 4) {
        const std::string content = make(arguments[2], std::atoi(arguments[3]));
        std::fwrite(content.data(), 1, content.size(), stdout);
    } else if (mode == "memory" && count == 3) {
        measureMemory(std::strcmp(arguments[2], "direct") == 0);
    } else if (mode == "growth") {
        measureGrowth();
    } else if (mode == "speed") {
        measureConversion();
        measureDecoders();
        measureFields();
        measureLookup();
    } else {
        return 2;
    }
    return 0;
}
