#include "benchmarks/subtitles/peers.h"

#include <expat.h>

#include <memory>
#include <vector>

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

void addJSON(Task& task, [[maybe_unused]] const std::string& json) {
#ifdef QUOREL_BENCH_RAPIDJSON
    task.peer("rapidjson, to the same document", [&json] { return decodeByRapidJSON(json).cues().size(); });
    task.peer("rapidjson, to values", [&json] {
        rapidjson::Document parsed;
        parsed.Parse(json.data(), json.size());
        return parsed["cues"].Size();
    });
#endif
#ifdef QUOREL_BENCH_SIMDJSON
    const auto padded = std::make_shared<simdjson::padded_string>(json);
    task.peer("simdjson, to values", [padded] {
        simdjson::dom::parser parser;
        return parser.parse(*padded)["cues"].get_array().size();
    });
    const auto kept = std::make_shared<simdjson::dom::parser>();
    task.limit("simdjson, to values in kept memory",
               [padded, kept] { return kept->parse(*padded)["cues"].get_array().size(); });
#endif
#ifdef QUOREL_BENCH_NLOHMANN
    task.peer("nlohmann, to values", [&json] { return nlohmann::json::parse(json)["cues"].size(); });
#endif
    static_cast<void>(task);
}

void addXML(Task& task, const std::string& ttml) {
    task.limit("expat, to events that nobody uses", [&ttml] {
        std::size_t events = 0;
        XML_Parser parser = XML_ParserCreate(nullptr);
        XML_SetUserData(parser, &events);
        XML_SetElementHandler(
            parser, [](void* count, const char*, const char**) { ++*static_cast<std::size_t*>(count); },
            [](void* count, const char*) { ++*static_cast<std::size_t*>(count); });
        XML_SetCharacterDataHandler(parser,
                                    [](void* count, const char*, int) { ++*static_cast<std::size_t*>(count); });
        XML_Parse(parser, ttml.data(), static_cast<int>(ttml.size()), 1);
        XML_ParserFree(parser);
        return events;
    });
}

}  // namespace

void addPeersOfDecoding(Task& task, std::string_view format, const std::string& content) {
    if (format == "json-subtitles") addJSON(task, content);
    if (format == "ttml") addXML(task, content);
}

void addPeersOfFields([[maybe_unused]] Task& task, [[maybe_unused]] const std::string& csv) {
#ifdef QUOREL_BENCH_LIBCSV
    task.peer("libcsv", [&csv] {
        std::size_t bytes = 0;
        csv_parser parser{};
        csv_init(&parser, 0);
        const auto field = [](void*, std::size_t length, void* sum) { *static_cast<std::size_t*>(sum) += length; };
        const auto record = [](int, void* sum) { ++*static_cast<std::size_t*>(sum); };
        csv_parse(&parser, csv.data(), csv.size(), field, record, &bytes);
        csv_fini(&parser, field, record, &bytes);
        csv_free(&parser);
        return bytes;
    });
#endif
}

}  // namespace quorel::bench
