#include "quorel/foundation/json_coding.h"

namespace quorel {
namespace {

template <class T>
const T& required(const JSONValue& value, const JSONPath& path, const char* wanted) {
    const T* found = value.getIf<T>();
    if (found == nullptr) {
        throw JSONError(JSONError::Code::typeMismatch, path.text(),
                        std::string("expected ") + wanted + ", found " + std::string(value.typeName()));
    }
    return *found;
}

}  // namespace

void detail::throwJSONIntegerOutOfRange(const JSONPath& path) {
    throw JSONError(JSONError::Code::outOfRange, path.text(), "the integer is out of range");
}

bool JSONDecoder::read(detail::JSONType<bool>, const JSONValue& value, const JSONPath& path) const {
    return required<bool>(value, path, "a boolean");
}

std::int64_t JSONDecoder::read(detail::JSONType<std::int64_t>, const JSONValue& value,
                               const JSONPath& path) const {
    if (value.getIf<std::uint64_t>() != nullptr) detail::throwJSONIntegerOutOfRange(path);
    return required<std::int64_t>(value, path, "an integer");
}

std::uint64_t JSONDecoder::read(detail::JSONType<std::uint64_t>, const JSONValue& value,
                                const JSONPath& path) const {
    if (const auto* large = value.getIf<std::uint64_t>()) return *large;
    const std::int64_t small = required<std::int64_t>(value, path, "an integer");
    if (small < 0) detail::throwJSONIntegerOutOfRange(path);
    return static_cast<std::uint64_t>(small);
}

double JSONDecoder::read(detail::JSONType<double>, const JSONValue& value, const JSONPath& path) const {
    if (const auto* integer = value.getIf<std::int64_t>()) return static_cast<double>(*integer);
    if (const auto* integer = value.getIf<std::uint64_t>()) return static_cast<double>(*integer);
    return required<double>(value, path, "a number");
}

std::string JSONDecoder::read(detail::JSONType<std::string>, const JSONValue& value, const JSONPath& path) const {
    return required<std::string>(value, path, "a text");
}

Date JSONDecoder::read(detail::JSONType<Date>, const JSONValue& value, const JSONPath& path) const {
    if (!dateFormatter) return Date{read(detail::JSONType<double>(), value, path)};
    const std::optional<Date> date = dateFormatter->date(required<std::string>(value, path, "a date as text"));
    if (!date) {
        throw JSONError(JSONError::Code::badDate, path.text(),
                        "expected a date of the form " + dateFormatter->pattern());
    }
    return *date;
}

const JSONArray& JSONDecoder::array(const JSONValue& value, const JSONPath& path) const {
    return required<JSONArray>(value, path, "an array");
}

const JSONObject& JSONDecoder::object(const JSONValue& value, const JSONPath& path) const {
    return required<JSONObject>(value, path, "an object");
}

const JSONValue& JSONDecoder::member(const JSONObject& object, std::string_view key, const JSONPath& path) const {
    const JSONValue* found = object.find(key);
    if (found == nullptr) throw JSONError(JSONError::Code::missingKey, path.text(), "the key is missing");
    return *found;
}

JSONValue JSONEncoder::write(Date value) const {
    if (!dateFormatter) return value.secondsSince1970;
    return dateFormatter->string(value);
}

}  // namespace quorel
