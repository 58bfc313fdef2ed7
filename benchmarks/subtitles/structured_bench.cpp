// What CSV, JSON, TTML, SubStation Alpha and LRC cost by the megabyte, beside what others need for the same bytes.
// Prints one JSON object; run.py makes a table of it.
#include <expat.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "quorel/subtitles/assa.h"
#include "quorel/subtitles/csv.h"
#include "quorel/subtitles/delimited_text.h"
#include "quorel/subtitles/json.h"
#include "quorel/subtitles/lrc.h"
#include "quorel/subtitles/podcasts_index.h"
#include "quorel/subtitles/ttml.h"
#ifdef QUOREL_BENCH_LIBCSV
extern "C" {
#include <csv.h>
}
#endif
#ifdef QUOREL_BENCH_RAPIDJSON
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#endif

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

// Of the fastest of several rounds: what else the machine does only ever adds.
template <class Action>
double megabytesPerSecond(std::size_t bytes, Action action) {
    double best = 1e9;
    for (int i = 0; i < 9; ++i) {
        const double begin = now();
        sink = sink + action();
        best = std::min(best, now() - begin);
    }
    return static_cast<double>(bytes) / best / 1e6;
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

// 200,000 cues of dialogue, some letters with accents.
Subtitles makeDocument() {
    static const char* const words[] = {"the",  "house", "n\u00E3o", "where", "going", "ma\u00F1ana", "we",
                                        "said", "night", "you",      "about", "it",    "\u2014",      "enough"};
    std::mt19937 random(7);
    std::vector<Subtitles::Cue> cues;
    std::uint64_t milliseconds = 1000;
    for (int i = 1; i <= 200'000; ++i) {
        std::string text;
        for (auto count = 7 + random() % 8; count > 0; --count) {
            text += words[random() % std::size(words)];
            text += count == 8 ? '\n' : ' ';
        }
        const auto time = [](std::uint64_t t) {
            return Subtitles::Time(t / 3600000, t / 60000 % 60, t / 1000 % 60, t % 1000);
        };
        cues.emplace_back(Subtitles::Cue::Fields{
            .position = i, .startTime = time(milliseconds), .endTime = time(milliseconds + 2400), .text = text});
        milliseconds += 2600 + random() % 900;
    }
    return Subtitles(std::move(cues));
}

std::string onOneLine(std::string_view text) {
    std::string line(text);
    std::replace(line.begin(), line.end(), '\n', ' ');
    return line;
}

std::string makeLRC(const Subtitles& document) {
    std::string lrc;
    const double length = document.lastCue()->startTimeInSeconds();
    for (const auto& cue : document.cues()) {
        char stamp[32];
        const int seconds = static_cast<int>(cue.startTimeInSeconds() / length * 5999);  // the format ends there
        std::snprintf(stamp, sizeof stamp, "[%02d:%02d.50]", seconds / 60, seconds % 60);
        lrc += stamp + onOneLine(cue.text()) + "\n";
    }
    return lrc;
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
        ass += head + onOneLine(cue.text()) + "\n";
    }
    return ass;
}

void measureCSV(Report& report, const Subtitles& document) {
    const std::string csv = Coder::CSV().encode(document);
    report.add("CSV decode (MB/s)",
               megabytesPerSecond(csv.size(), [&] { return Coder::CSV().decode(csv).cues().size(); }));
    report.add("CSV encode (MB/s)",
               megabytesPerSecond(csv.size(), [&] { return Coder::CSV().encode(document).size(); }));
    report.add("delimited text, fields (MB/s)", megabytesPerSecond(csv.size(), [&] {
                   std::size_t bytes = 0;
                   DelimitedText::EventDrivenDecoder decoder(csv, {});
                   decoder.emitRecord = [&](std::size_t, std::span<const std::string_view> record) {
                       for (const std::string_view field : record) bytes += field.size();
                       return true;
                   };
                   decoder.readRecords();
                   return bytes;
               }));
#ifdef QUOREL_BENCH_LIBCSV
    report.add("libcsv, fields (MB/s)", megabytesPerSecond(csv.size(), [&] {
                   std::size_t bytes = 0;
                   csv_parser parser{};
                   csv_init(&parser, 0);
                   const auto field = [](void*, std::size_t length, void* sum) {
                       *static_cast<std::size_t*>(sum) += length;
                   };
                   const auto record = [](int, void* sum) { ++*static_cast<std::size_t*>(sum); };
                   csv_parse(&parser, csv.data(), csv.size(), field, record, &bytes);
                   csv_fini(&parser, field, record, &bytes);
                   csv_free(&parser);
                   return bytes;
               }));
#endif
}

#ifdef QUOREL_BENCH_RAPIDJSON
// The same document by way of rapidjson's values.
Subtitles decodeByRapidJSON(const std::string& json) {
    rapidjson::Document parsed;
    parsed.Parse(json.data(), json.size());
    const auto time = [](const rapidjson::Value& value) {
        return Subtitles::Time::restoring(value["hour"].GetUint64(), value["minute"].GetUint64(),
                                          value["second"].GetUint64(), value["millisecond"].GetUint64(),
                                          value["timeInSeconds"].GetDouble());
    };
    std::vector<Subtitles::Cue> cues;
    for (const auto& value : parsed["cues"].GetArray()) {
        const auto id = UUID::parse({value["id"].GetString(), value["id"].GetStringLength()});
        cues.push_back(Subtitles::Cue::restoring(
            Subtitles::Cue::ID{*id}, {.position = value["position"].GetInt64(),
                                      .startTime = time(value["startTime"]),
                                      .endTime = time(value["endTime"]),
                                      .text = {value["text"].GetString(), value["text"].GetStringLength()}}));
    }
    return Subtitles::restoring(std::move(cues));
}
#endif

void measureJSON(Report& report, const Subtitles& document) {
    const std::string json = Coder::JSON().encode(document);
    const std::string index = Coder::PodcastsIndex().encode(document);
    report.add("JSON decode (MB/s)",
               megabytesPerSecond(json.size(), [&] { return Coder::JSON().decode(json).cues().size(); }));
    report.add("JSON encode (MB/s)",
               megabytesPerSecond(json.size(), [&] { return Coder::JSON().encode(document).size(); }));
    report.add("podcast index decode (MB/s)", megabytesPerSecond(index.size(), [&] {
                   return Coder::PodcastsIndex().decode(index).cues().size();
               }));
    report.add("podcast index encode (MB/s)",
               megabytesPerSecond(index.size(), [&] { return Coder::PodcastsIndex().encode(document).size(); }));
#ifdef QUOREL_BENCH_RAPIDJSON
    report.add("rapidjson, values only (MB/s)", megabytesPerSecond(json.size(), [&] {
                   rapidjson::Document parsed;
                   parsed.Parse(json.data(), json.size());
                   return parsed["cues"].Size();
               }));
    report.add("rapidjson, the same document (MB/s)",
               megabytesPerSecond(json.size(), [&] { return decodeByRapidJSON(json).cues().size(); }));
    rapidjson::Document parsed;
    parsed.Parse(json.data(), json.size());
    report.add("rapidjson, values to text (MB/s)", megabytesPerSecond(json.size(), [&] {
                   rapidjson::StringBuffer buffer;
                   rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
                   parsed.Accept(writer);
                   return buffer.GetSize();
               }));
#endif
}

void measureOthers(Report& report, const Subtitles& document) {
    const std::string ttml = Coder::TTML().encode(document);
    report.add("TTML decode (MB/s)",
               megabytesPerSecond(ttml.size(), [&] { return Coder::TTML().decode(ttml).cues().size(); }));
    report.add("TTML encode (MB/s)",
               megabytesPerSecond(ttml.size(), [&] { return Coder::TTML().encode(document).size(); }));
    report.add("expat, events only (MB/s)", megabytesPerSecond(ttml.size(), [&] {
                   std::size_t events = 0;
                   const XML_Parser parser = XML_ParserCreate(nullptr);
                   XML_SetUserData(parser, &events);
                   XML_SetElementHandler(
                       parser, [](void* count, const char*, const char**) { ++*static_cast<std::size_t*>(count); },
                       [](void* count, const char*) { ++*static_cast<std::size_t*>(count); });
                   XML_SetCharacterDataHandler(
                       parser, [](void* count, const char*, int) { ++*static_cast<std::size_t*>(count); });
                   XML_Parse(parser, ttml.data(), static_cast<int>(ttml.size()), 1);
                   XML_ParserFree(parser);
                   return events;
               }));
    const std::string ass = makeASS(document);
    report.add("ASS decode (MB/s)",
               megabytesPerSecond(ass.size(), [&] { return Coder::AdvancedSSA().decode(ass).cues().size(); }));
    const std::string lrc = makeLRC(document);
    report.add("LRC decode (MB/s)",
               megabytesPerSecond(lrc.size(), [&] { return Coder::LRC().decode(lrc).cues().size(); }));
    const Subtitles lyrics = Coder::LRC().decode(lrc);
    report.add("LRC encode (MB/s)",
               megabytesPerSecond(lrc.size(), [&] { return Coder::LRC().encode(lyrics).size(); }));
}

}  // namespace
}  // namespace quorel

int main() {
    quorel::Report report;
    const quorel::Subtitles document = quorel::makeDocument();
    quorel::measureCSV(report, document);
    quorel::measureJSON(report, document);
    quorel::measureOthers(report, document);
    return 0;
}
