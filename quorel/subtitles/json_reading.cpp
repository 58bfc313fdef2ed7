#include <new>
#include <string>

#include "quorel/subtitles/json_reading_private.h"

namespace quorel::detail {
namespace {

const char* nameOf(simdjson::dom::element value) {
    using Type = simdjson::dom::element_type;
    switch (value.type()) {
        case Type::ARRAY:
            return "an array";
        case Type::OBJECT:
            return "an object";
        case Type::INT64:
        case Type::UINT64:
            return "an integer";
        case Type::DOUBLE:
            return "a number";
        case Type::STRING:
            return "a text";
        case Type::BOOL:
            return "a boolean";
        case Type::NULL_VALUE:
            break;
    }
    return "null";
}

}  // namespace

void JSONCursor::require(bool found, std::string_view key) const {
    if (!found) throw JSONError(JSONError::Code::missingKey, JSONPath(path_, key).text(), "the key is missing");
}

void JSONCursor::throwMismatch(const char* wanted) const {
    throw JSONError(JSONError::Code::typeMismatch, path_.text(),
                    std::string("expected ") + wanted + ", found " + nameOf(value_));
}

void JSONCursor::throwOutOfRange() const {
    throw JSONError(JSONError::Code::outOfRange, path_.text(), "the integer is out of range");
}

std::string_view JSONCursor::text() const {
    std::string_view text;
    if (value_.get_string().get(text)) throwMismatch("a text");
    return text;
}

std::int64_t JSONCursor::signedInteger() const {
    std::int64_t integer = 0;
    const auto error = value_.get_int64().get(integer);
    if (error == simdjson::NUMBER_OUT_OF_RANGE) throwOutOfRange();
    if (error) throwMismatch("an integer");
    return integer;
}

std::uint64_t JSONCursor::unsignedInteger() const {
    std::uint64_t integer = 0;
    const auto error = value_.get_uint64().get(integer);
    if (error == simdjson::NUMBER_OUT_OF_RANGE) throwOutOfRange();
    if (error) throwMismatch("an integer");
    return integer;
}

double JSONCursor::number() const {
    double number = 0;
    if (value_.get_double().get(number)) throwMismatch("a number");
    return number;
}

JSONDocument::JSONDocument(std::string_view text) {
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    simdjson::error_code error = simdjson::SUCCESS;
    if (text.size() <= simdjson::SIMDJSON_MAXSIZE_BYTES) {
        // Its limit counts one level more than the levels it lets pass.
        error = parser_.allocate(text.size(), maximumJSONDepth + 1);
        if (!error) error = parser_.parse(text.data(), text.size()).get(root_);
    } else {
        error = simdjson::CAPACITY;
    }
    if (error == simdjson::NUMBER_ERROR) {
        // Integers beyond 64 bits, which are doubles to parseJSON, or no numbers at all, which it throws.
        const std::string rewritten = serializeJSON(parseJSON(text));
        error = parser_.parse(rewritten).get(root_);
    }
    if (error == simdjson::MEMALLOC) throw std::bad_alloc();
    if (error) {
        throw JSONError(JSONError::Code::syntax, {},
                        std::string("the text is not JSON: ") + simdjson::error_message(error));
    }
}

}  // namespace quorel::detail
