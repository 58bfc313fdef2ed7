// Structs from JSON and back, each described once by the list of its fields:
//
//   struct CDN {
//       std::string cdn;
//       bool autoCdn = false;
//       std::optional<std::int64_t> lastUpdate;
//       QUOREL_JSON_FIELDS(CDN, cdn, autoCdn, lastUpdate)
//       bool operator==(const CDN&) const = default;
//   };
//   CDN value = JSONDecoder().decode<CDN>(text);      // throws JSONError with the path of what is wrong
//   std::string again = JSONEncoder().encode(value);
//
// JSON keys equal field names. A field is required unless it is a std::optional, which may be absent or null and
// is left out when it is encoded without a value. Unknown keys are ignored. Integers, of any width, take JSON
// integers in their range only, doubles take both. Also coded: bool, std::string, Date, JSONValue as it stands,
// described structs, std::vector<T> and std::map<std::string, T> of all these. Any thread.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "quorel/foundation/date.h"
#include "quorel/foundation/export.h"
#include "quorel/foundation/json.h"

// Names the coded fields of a struct, inside it, in the order of their encoding. Up to 64 fields.
#define QUOREL_JSON_FIELDS(Type, ...)                                                   \
    static constexpr auto jsonFields() {                                                \
        return std::tuple{QUOREL_JSON_EXPAND(QUOREL_JSON_FOR_EACH(Type, __VA_ARGS__))}; \
    }

#define QUOREL_JSON_FIELD(Type, name)                 \
    ::quorel::JSONField<Type, decltype(Type::name)> { \
#name, &Type::name                            \
    }
// Each pass of EXPAND lets FOR_EACH_AGAIN become FOR_EACH once more.
#define QUOREL_JSON_FOR_EACH(Type, name, ...) \
    QUOREL_JSON_FIELD(Type, name)             \
    __VA_OPT__(, QUOREL_JSON_FOR_EACH_AGAIN QUOREL_JSON_PARENTHESES(Type, __VA_ARGS__))
#define QUOREL_JSON_FOR_EACH_AGAIN() QUOREL_JSON_FOR_EACH
#define QUOREL_JSON_PARENTHESES ()
#define QUOREL_JSON_EXPAND(...) \
    QUOREL_JSON_EXPAND3(QUOREL_JSON_EXPAND3(QUOREL_JSON_EXPAND3(QUOREL_JSON_EXPAND3(__VA_ARGS__))))
#define QUOREL_JSON_EXPAND3(...) \
    QUOREL_JSON_EXPAND2(QUOREL_JSON_EXPAND2(QUOREL_JSON_EXPAND2(QUOREL_JSON_EXPAND2(__VA_ARGS__))))
#define QUOREL_JSON_EXPAND2(...) \
    QUOREL_JSON_EXPAND1(QUOREL_JSON_EXPAND1(QUOREL_JSON_EXPAND1(QUOREL_JSON_EXPAND1(__VA_ARGS__))))
#define QUOREL_JSON_EXPAND1(...) __VA_ARGS__

namespace quorel {

// One coded field: its key and where it stands.
template <class Struct, class Member>
struct QUOREL_VISIBLE JSONField {
    std::string_view key;
    Member Struct::*member;
};

// A struct with QUOREL_JSON_FIELDS in it.
template <class T>
concept JSONDescribed = requires {
    T::jsonFields();
};

namespace detail {

template <class T>
concept JSONInteger = std::integral<T> && !std::same_as<T, bool>;

template <class T>
inline constexpr bool isJSONOptional = false;
template <class T>
inline constexpr bool isJSONOptional<std::optional<T>> = true;

// Names a type whose value is to be made, so that overloads can be told apart by it.
template <class T>
struct QUOREL_VISIBLE JSONType {};

[[noreturn]] QUOREL_FOUNDATION_API void throwJSONIntegerOutOfRange(const JSONPath& path);

}  // namespace detail

// Decodes by the rules above.
class QUOREL_FOUNDATION_API JSONDecoder {
public:
    // How the texts of Date fields are read. Without one a Date is a number, in seconds since 1970.
    std::optional<DateFormatter> dateFormatter;

    // Throws JSONError.
    template <class T>
    T decode(std::string_view text) const {
        return decodeValue<T>(parseJSON(text));
    }
    template <class T>
    T decodeValue(const JSONValue& value) const {
        return read(detail::JSONType<T>(), value, JSONPath());
    }

private:
    bool read(detail::JSONType<bool>, const JSONValue& value, const JSONPath& path) const;
    std::int64_t read(detail::JSONType<std::int64_t>, const JSONValue& value, const JSONPath& path) const;
    std::uint64_t read(detail::JSONType<std::uint64_t>, const JSONValue& value, const JSONPath& path) const;
    double read(detail::JSONType<double>, const JSONValue& value, const JSONPath& path) const;
    std::string read(detail::JSONType<std::string>, const JSONValue& value, const JSONPath& path) const;
    Date read(detail::JSONType<Date>, const JSONValue& value, const JSONPath& path) const;
    JSONValue read(detail::JSONType<JSONValue>, const JSONValue& value, const JSONPath&) const { return value; }
    const JSONArray& array(const JSONValue& value, const JSONPath& path) const;
    const JSONObject& object(const JSONValue& value, const JSONPath& path) const;
    const JSONValue& member(const JSONObject& object, std::string_view key, const JSONPath& path) const;

    template <detail::JSONInteger T>
    T read(detail::JSONType<T>, const JSONValue& value, const JSONPath& path) const {
        const auto wide = read(detail::JSONType<std::int64_t>(), value, path);
        if (!std::in_range<T>(wide)) detail::throwJSONIntegerOutOfRange(path);
        return static_cast<T>(wide);
    }
    template <class T>
    std::optional<T> read(detail::JSONType<std::optional<T>>, const JSONValue& value, const JSONPath& path) const {
        if (value.isNull()) return std::nullopt;
        return read(detail::JSONType<T>(), value, path);
    }
    template <class T>
    std::vector<T> read(detail::JSONType<std::vector<T>>, const JSONValue& value, const JSONPath& path) const {
        const JSONArray& elements = array(value, path);
        std::vector<T> result;
        result.reserve(elements.size());
        for (std::size_t i = 0; i < elements.size(); ++i) {
            result.push_back(read(detail::JSONType<T>(), elements[i], JSONPath(path, i)));
        }
        return result;
    }
    template <class T>
    std::map<std::string, T> read(detail::JSONType<std::map<std::string, T>>, const JSONValue& value,
                                  const JSONPath& path) const {
        std::map<std::string, T> result;
        for (const auto& [key, element] : object(value, path)) {
            result.emplace(key, read(detail::JSONType<T>(), element, JSONPath(path, key)));
        }
        return result;
    }
    template <JSONDescribed T>
    T read(detail::JSONType<T>, const JSONValue& value, const JSONPath& path) const {
        const JSONObject& members = object(value, path);
        T result{};
        std::apply([&](const auto&... fields) { (readField(result, fields, members, path), ...); },
                   T::jsonFields());
        return result;
    }
    template <class Struct, class Member>
    void readField(Struct& into, const JSONField<Struct, Member>& field, const JSONObject& members,
                   const JSONPath& path) const {
        const JSONPath place(path, field.key);
        if constexpr (detail::isJSONOptional<Member>) {
            const JSONValue* found = members.find(field.key);
            if (found != nullptr) into.*field.member = read(detail::JSONType<Member>(), *found, place);
        } else {
            into.*field.member = read(detail::JSONType<Member>(), member(members, field.key, place), place);
        }
    }
};

// Encodes by the rules above: what it writes, a JSONDecoder with the same dateFormatter reads back as it was.
class QUOREL_FOUNDATION_API JSONEncoder {
public:
    std::optional<DateFormatter> dateFormatter;
    JSONStyle style = JSONStyle::compact;

    // Throws JSONError (notSerializable).
    template <class T>
    std::string encode(const T& value) const {
        return serializeJSON(encodeValue(value), style);
    }
    template <class T>
    JSONValue encodeValue(const T& value) const {
        return write(value);
    }

private:
    JSONValue write(const std::string& value) const { return value; }
    JSONValue write(double value) const { return value; }
    JSONValue write(Date value) const;
    JSONValue write(const JSONValue& value) const { return value; }

    template <std::same_as<bool> T>
    JSONValue write(T value) const {
        return value;
    }
    template <detail::JSONInteger T>
    JSONValue write(T value) const {
        if constexpr (std::is_signed_v<T>)
            return std::int64_t{value};
        else
            return std::uint64_t{value};
    }
    template <class T>
    JSONValue write(const std::optional<T>& value) const {
        return value ? write(*value) : JSONValue();
    }
    template <class T>
    JSONValue write(const std::vector<T>& values) const {
        JSONArray array;
        array.reserve(values.size());
        for (const auto& value : values) array.push_back(write(value));
        return array;
    }
    template <class T>
    JSONValue write(const std::map<std::string, T>& values) const {
        std::vector<JSONObject::Member> members;
        members.reserve(values.size());
        for (const auto& [key, value] : values) members.emplace_back(key, write(value));
        return JSONObject(std::move(members));
    }
    template <JSONDescribed T>
    JSONValue write(const T& value) const {
        std::vector<JSONObject::Member> members;
        std::apply([&](const auto&... fields) { (writeField(value, fields, members), ...); }, T::jsonFields());
        return JSONObject(std::move(members));
    }
    template <class Struct, class Member>
    void writeField(const Struct& from, const JSONField<Struct, Member>& field,
                    std::vector<JSONObject::Member>& members) const {
        const Member& value = from.*field.member;
        if constexpr (detail::isJSONOptional<Member>) {
            if (!value) return;
        }
        members.emplace_back(std::string(field.key), write(value));
    }
};

}  // namespace quorel
