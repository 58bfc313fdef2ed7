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
// is left out when it is encoded without a value. Unknown keys are ignored. Integers (std::int64_t) take JSON
// integers only, doubles take both. Also coded: bool, std::string, Date, described structs, std::vector<T> and
// std::map<std::string, T> of all these. Any thread.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <vector>

#include "quorel/foundation/date.h"
#include "quorel/foundation/json.h"

// Names the coded fields of a struct, inside it. Up to 16 fields.
#define QUOREL_JSON_FIELDS(Type, ...)                                                            \
    static constexpr auto jsonFields() {                                                         \
        return std::tuple{QUOREL_JSON_FOR_EACH(QUOREL_JSON_FIELD, Type, __VA_ARGS__)};           \
    }

namespace quorel {

template <class Struct, class Member>
struct JSONField {
    std::string_view key;
    Member Struct::*member;
};

template <class T>
concept JSONDescribed = requires { T::jsonFields(); };

}  // namespace quorel
