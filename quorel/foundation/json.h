// JSON values (RFC 8259): parse, look, build, serialise.
//
//   JSONValue value = parseJSON(R"({"title":"Film","rate":1.5})");
//   value["title"].asString();            // throws JSONError naming what was found instead
//   serializeJSON(JSONObject{{"ok", true}});
//
// Values; any thread. Structs are coded by json_coding.h.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "quorel/foundation/error.h"
#include "quorel/foundation/export.h"

namespace quorel {

// What is wrong with a JSON text or value, and where.
class QUOREL_FOUNDATION_API JSONError : public Error {
public:
    enum class Code {
        syntax,           // the text is not JSON, is not UTF-8, or nests deeper than maximumJSONDepth
        missingKey,       // a required key is absent
        typeMismatch,     // a value of another type stands there
        outOfRange,       // a number does not fit the wanted type, an index the array
        badDate,          // a text does not match the date pattern
        notSerializable,  // a number that is not finite, or a text that is not UTF-8
    };
    // `path` names the place, as in "assets.hls" or "ads.vmap[2].url"; "" for the whole. The error's text is
    // "<path>: <description>", or the description alone.
    JSONError(Code code, std::string path, const std::string& description);

    Code code() const { return code_; }
    const std::string& path() const { return path_; }

private:
    Code code_;
    std::string path_;
};

// A place in a value, on the way down: costs nothing until it is asked for its text. Lives on the stack.
class QUOREL_FOUNDATION_API JSONPath {
public:
    JSONPath() = default;  // the whole
    JSONPath(const JSONPath& parent, std::string_view key) : parent_(&parent), key_(key) {}
    JSONPath(const JSONPath& parent, std::size_t index) : parent_(&parent), index_(index), isIndex_(true) {}
    JSONPath(const JSONPath&) = delete;
    JSONPath& operator=(const JSONPath&) = delete;

    std::string text() const;  // as JSONError::path

private:
    const JSONPath* parent_ = nullptr;
    std::string_view key_;
    std::size_t index_ = 0;
    bool isIndex_ = false;
};

inline constexpr std::size_t maximumJSONDepth = 512;  // arrays and objects inside each other

class QUOREL_FOUNDATION_API JSONValue;
using JSONArray = std::vector<JSONValue>;

// Members in their order, each key once. Of a key that occurs twice in a parsed text the last one counts, at the
// place of the first.
class QUOREL_FOUNDATION_API JSONObject {
public:
    using Member = std::pair<std::string, JSONValue>;

    JSONObject();
    JSONObject(std::initializer_list<Member> members);
    explicit JSONObject(std::vector<Member> members);  // of a key that occurs twice the last counts
    JSONObject(const JSONObject&);
    JSONObject(JSONObject&&) noexcept;
    JSONObject& operator=(const JSONObject&);
    JSONObject& operator=(JSONObject&&) noexcept;
    ~JSONObject();

    const JSONValue* find(std::string_view key) const;  // null when absent
    void set(std::string key, JSONValue value);         // replaces in place, or appends
    std::size_t size() const;                           // number of members
    bool empty() const { return size() == 0; }
    // The members in their order.
    const Member* begin() const;
    const Member* end() const;

    bool operator==(const JSONObject& other) const;  // same members, order aside

private:
    std::vector<Member> members_;
};

// A number that is written without fraction and exponent is an integer and keeps all 64 bits; any other, and an
// integer beyond 64 bits, is a double.
class QUOREL_FOUNDATION_API JSONValue {
public:
    using Storage = std::variant<std::nullptr_t, bool, std::int64_t, std::uint64_t, double, std::string, JSONArray,
                                 JSONObject>;

    JSONValue() : storage_(nullptr) {}
    JSONValue(std::nullptr_t) : storage_(nullptr) {}
    JSONValue(std::same_as<bool> auto value) : storage_(value) {}  // a pointer is no boolean
    JSONValue(int value) : storage_(std::int64_t{value}) {}
    JSONValue(unsigned value) : storage_(std::int64_t{value}) {}
    JSONValue(std::int64_t value) : storage_(value) {}
    JSONValue(std::uint64_t value);  // kept as std::int64_t where it fits
    JSONValue(double value) : storage_(value) {}
    JSONValue(std::string value) : storage_(std::move(value)) {}
    JSONValue(std::string_view value) : storage_(std::string(value)) {}
    JSONValue(const char* value) : storage_(std::string(value)) {}
    JSONValue(JSONArray value) : storage_(std::move(value)) {}
    JSONValue(JSONObject value) : storage_(std::move(value)) {}

    bool isNull() const { return std::holds_alternative<std::nullptr_t>(storage_); }
    template <class T>
    const T* getIf() const {
        return std::get_if<T>(&storage_);
    }

    // Each throws JSONError (typeMismatch, outOfRange). asDouble takes integers too; asInt takes integers only.
    bool asBool() const;
    std::int64_t asInt() const;
    double asDouble() const;
    const std::string& asString() const;
    const JSONArray& asArray() const;
    const JSONObject& asObject() const;

    // The member or element; throws JSONError (typeMismatch, missingKey).
    const JSONValue& operator[](std::string_view key) const;
    const JSONValue& operator[](std::size_t index) const;

    // "null", "a boolean", "an integer", "a number", "a text", "an array", "an object": for messages.
    std::string_view typeName() const;

    const Storage& storage() const { return storage_; }
    bool operator==(const JSONValue& other) const = default;

private:
    Storage storage_;
};

// Throws JSONError (syntax). The text must be UTF-8, one value, with nothing but white space around it; a
// leading byte-order mark is skipped (RFC 8259 8.1). A number that no double can hold (1e999) and a text with
// half of a surrogate pair are no JSON here. Memory stays proportional to the text.
QUOREL_FOUNDATION_API JSONValue parseJSON(std::string_view text);

// Without white space, or with line ends and two blanks for each level.
enum class JSONStyle { compact, pretty };
// Doubles are written in the shortest form that reads back as the same number, so 12.0 as "12". Throws JSONError
// (notSerializable). "/" is not escaped; control characters are. Pretty text has a line for each member and
// element, indented by two blanks.
QUOREL_FOUNDATION_API std::string serializeJSON(const JSONValue& value, JSONStyle style = JSONStyle::compact);

// An array or an object at the top, and nothing inside that is notSerializable.
QUOREL_FOUNDATION_API bool isValidJSONObject(const JSONValue& value);

}  // namespace quorel
