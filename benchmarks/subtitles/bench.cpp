// What the coders cost by the megabyte, beside what others need for the same bytes, how it grows, and lookups.
//
//   subtitles_bench conversion | coders | fields | lookup [--quick]
//   subtitles_bench growth [--quick]     seconds for files of several sizes
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

// Reads all of it, and nothing else.
auto reading(const std::string& text) {
    return [&text] { return std::memchr(text.data(), 1, text.size()) == nullptr ? 1 : 0; };
}
constexpr const char* readingAlone = "memory: memchr";

void measureConversion() {
    for (const int cues : {filmCues, manyCues}) {
        const std::string srt = makeSRT(cues);
        std::string copy(srt.size(), ' ');
        Task task(cues == filmCues ? "SRT to WebVTT, a film" : "SRT to WebVTT, 200,000 cues", srt.size());
        task.sdk("convertSRTToVTT", [&] { return convertSRTToVTT(srt).size(); })
            .variant("SDK: by way of a document",
                     [&] { return Coder::VTT().encode(Coder::SRT().decode(srt)).size(); })
            .limit("memory: memcpy", [&] { return std::memcpy(copy.data(), srt.data(), srt.size()) != nullptr; });
#ifdef QUOREL_BENCH_LIBAV
        task.peer("libavformat, in process", [&] { return convertByLibav(srt).size(); });
#endif
    }
}

void measureCoders() {
    for (const auto& entry : Coder::all()) {
        if (entry.extn == "ssa") continue;
        const std::string extn(entry.extn);
        const std::string content = make(extn, manyCues);
        const auto coder = entry.Create();
        const auto& textual = dynamic_cast<const SubtitlesTextCodable&>(*coder);
        {
            Task task("decode " + extn + ", 200,000 cues", content.size());
            task.sdk("decode", [&] { return textual.decode(content).cues().size(); })
                .limit(readingAlone, reading(content));
            addPeersOfDecoding(task, extn, content);
        }
        if (extn == "sub" || extn == "ass") continue;  // these have no encoder
        const Subtitles document = textual.decode(content);
        std::string copy(content.size(), ' ');
        Task("encode " + extn + ", 200,000 cues", content.size())
            .sdk("encode", [&] { return textual.encode(document).size(); })
            .limit("memory: memcpy",
                   [&] { return std::memcpy(copy.data(), content.data(), content.size()) != nullptr; });
    }
}

void measureFields() {
    const std::string csv = make("csv", manyCues);
    Task task("fields of CSV, 200,000 rows", csv.size());
    task.sdk("DelimitedText",
             [&] {
                 std::size_t bytes = 0;
                 DelimitedText::EventDrivenDecoder decoder(csv, {});
                 decoder.emitRecord = [&](std::size_t, std::span<const std::string_view> record) {
                     for (const std::string_view field : record) bytes += field.size();
                     return true;
                 };
                 decoder.readRecords();
                 return bytes;
             })
        .limit(readingAlone, reading(csv));
    addPeersOfFields(task, csv);
}

void measureLookup() {
    const Subtitles document = Coder::SRT().decode(makeSRT(manyCues));
    const double length = document.lastCue()->endTimeInSeconds();
    std::mt19937 random(3);
    std::vector<double> times(1000);
    for (double& time : times) time = length * static_cast<double>(random() % 1'000'000) / 1e6;
    const CueLookup lookup(document);
    const auto all = [&](const auto& searched) {
        std::size_t found = 0;
        for (const double time : times) found += searched.cueType(time).has_value() ? 1 : 0;
        return found;
    };
    Task::each("the cue at a time among 200,000", "ns", times.size())
        .sdk("CueLookup", [&] { return all(lookup); })
        .variant("SDK: Subtitles", [&] { return all(document); });
}

// Each task is named with the size of its file behind it.
void measureGrowth() {
    const auto add = [](const std::string& task, std::size_t size, auto action) {
        Task::each(task + "|" + std::to_string(size), "s", 1).sdk("growth", action);
    };
    // Sizes that no cache holds.
    for (const int cues : {100'000, 200'000, 400'000}) {
        const std::string srt = makeSRT(cues);
        add("SRT to WebVTT", srt.size(), [&] { return convertSRTToVTT(srt).size(); });
        for (const auto& entry : Coder::all()) {
            if (entry.extn == "ssa") continue;
            const std::string content = make(entry.extn, cues);
            const auto coder = entry.Create();
            add("decode " + std::string(entry.extn), content.size(),
                [&] { return coder->decode(content, TextEncoding::utf8).cues().size(); });
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
    const char* const task = "peak memory of SRT to WebVTT, 200,000 cues";
    if (direct) report(task, "MB", "limit", "input and output", inputAndOutput / 1e6);
    report(task, "MB", direct ? "sdk" : "variant", direct ? "convertSRTToVTT" : "SDK: by way of a document",
           peak / 1e6);
}

}  // namespace
}  // namespace quorel::bench

int main(int count, char** arguments) {
    using namespace quorel::bench;
    Pace::setBy(count, arguments);
    const std::string mode = count > 1 ? arguments[1] : "";
    if (mode == "make" && count == 4) {
        const std::string content = make(arguments[2], std::atoi(arguments[3]));
        std::fwrite(content.data(), 1, content.size(), stdout);
    } else if (mode == "memory" && count == 3) {
        measureMemory(std::strcmp(arguments[2], "direct") == 0);
    } else if (mode == "growth") {
        measureGrowth();
    } else if (mode == "conversion") {
        measureConversion();
    } else if (mode == "coders") {
        measureCoders();
    } else if (mode == "fields") {
        measureFields();
    } else if (mode == "lookup") {
        measureLookup();
    } else {
        return 2;
    }
    return 0;
}
