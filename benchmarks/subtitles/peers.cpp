#include "benchmarks/subtitles/peers.h"

#include <expat.h>

#include <vector>

#include "benchmarks/measuring.h"
#include "quorel/subtitles/subtitles.h"
#ifdef QUOREL_BENCH_SIMDJSON
#include <simdjson.h>
#endif
#ifdef QUOREL_BENCH_NLOHMANN
#include <nlohmann/json.hpp>
#endif
#ifdef QUOREL_BENCH_RAPIDJSON
#include <rapidjson/document.h>
#endif
#ifdef QUOREL_BENCH_LIBCSV
extern "C" {
#include <csv.h>
}
#endif

namespace quorel::bench {
namespace {

constexpr const char* speed = "MB/s";

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

void measureJSON(const char* task, [[maybe_unused]] const std::string& json) {
#ifdef QUOREL_BENCH_RAPIDJSON
    report(task, speed, "rapidjson, to the same document",
           megabytesPerSecond(json.size(), [&] { return decodeByRapidJSON(json).cues().size(); }));
    report(task, speed, "rapidjson, to values", megabytesPerSecond(json.size(), [&] {
               rapidjson::Document parsed;
               parsed.Parse(json.data(), json.size());
               return parsed["cues"].Size();
           }));
#endif
#ifdef QUOREL_BENCH_SIMDJSON
    const simdjson::padded_string padded(json);
    report(task, speed, "simdjson, to values", megabytesPerSecond(json.size(), [&] {
               simdjson::dom::parser parser;
               return parser.parse(padded)["cues"].get_array().size();
           }));
    simdjson::dom::parser kept;
    report(task, speed, "simdjson, to values in kept memory",
           megabytesPerSecond(json.size(), [&] { return kept.parse(padded)["cues"].get_array().size(); }));
#endif
#ifdef QUOREL_BENCH_NLOHMANN
    report(task, speed, "nlohmann, to values",
           megabytesPerSecond(
               json.size(), [&] { return nlohmann::json::parse(json)["cues"].size(); }, 3));
#endif
    static_cast<void>(task);
}

void measureXML(const char* task, const std::string& ttml) {
    report(task, speed, "expat, to events that nobody uses", megabytesPerSecond(ttml.size(), [&] {
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
}

}  // namespace

void measurePeersOfDecoding(std::string_view format, const char* task, const std::string& content) {
    if (format == "json-subtitles") measureJSON(task, content);
    if (format == "ttml") measureXML(task, content);
}

void measurePeersOfFields([[maybe_unused]] const char* task, [[maybe_unused]] const std::string& csv) {
#ifdef QUOREL_BENCH_LIBCSV
    report(task, speed, "libcsv", megabytesPerSecond(csv.size(), [&] {
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

}  // namespace quorel::bench
