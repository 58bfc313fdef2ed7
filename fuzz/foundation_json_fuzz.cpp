// Any text: what parses is written as JSON that parses to the same, and decodes into models or throws JSONError.
#include <cmath>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/foundation/fatal.h"
#include "quorel/foundation/json_coding.h"

using namespace quorel;

namespace {

struct Tag {
    std::optional<std::string> url;
    QUOREL_JSON_FIELDS(Tag, url)
    bool operator==(const Tag&) const = default;
};

struct Model {
    std::string title;
    bool live = false;
    std::int64_t stamp = 0;
    unsigned char small = 0;
    double time = 0;
    std::optional<Date> created;
    std::optional<std::map<std::string, std::vector<Tag>>> tags;
    QUOREL_JSON_FIELDS(Model, title, live, stamp, small, time, created, tags)
    bool operator==(const Model&) const = default;
};

// Numbers by their value: 12.0 is written as 12.
bool same(const JSONValue& a, const JSONValue& b) {
    if (a.typeName() == "a number" || b.typeName() == "a number") return a.asDouble() == b.asDouble();
    if (const JSONArray* array = a.getIf<JSONArray>()) {
        const JSONArray& other = b.asArray();
        if (array->size() != other.size()) return false;
        for (std::size_t i = 0; i < array->size(); ++i) {
            if (!same((*array)[i], other[i])) return false;
        }
        return true;
    }
    if (const JSONObject* object = a.getIf<JSONObject>()) {
        if (object->size() != b.asObject().size()) return false;
        for (const auto& [key, value] : *object) {
            if (!same(value, b[key])) return false;
        }
        return true;
    }
    return a == b;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    JSONValue value;
    try {
        value = parseJSON(text);
    } catch (const JSONError& error) {
        if (error.code() != JSONError::Code::syntax) fatal("parsing failed with another code");
        return 0;
    }
    for (const JSONStyle style : {JSONStyle::compact, JSONStyle::pretty}) {
        if (!same(value, parseJSON(serializeJSON(value, style)))) fatal("does not survive writing");
    }
    JSONDecoder decoder;
    JSONEncoder encoder;
    for (const char* pattern : {"yyyy-MM-dd'T'HH:mm:ss.SSSZ", "yyyy-MM-dd'T'HH:mm:ssZ"}) {
        decoder.dateFormatter = encoder.dateFormatter = DateFormatter(pattern);
        try {
            // Dates lose what their pattern does not show, so the first writing may differ, not the second.
            const auto once = encoder.encode(decoder.decodeValue<Model>(value));
            if (encoder.encode(decoder.decode<Model>(once)) != once) fatal("a model does not survive coding");
        } catch (const JSONError& error) {
            if (error.code() == JSONError::Code::syntax) fatal("decoding failed with the code of parsing");
        }
    }
    return 0;
}
