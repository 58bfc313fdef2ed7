// Typed identifiers, made of UUIDs for one.
//
// Values; any thread.
#pragma once

#include <compare>
#include <cstddef>
#include <functional>

#include "quorel/foundation/uuid.h"
#include "quorel/subtitles/export.h"

namespace quorel {

// Names one of the things of type Owner. The owner only keeps identifiers of different things apart.
template <class Owner, class Raw>
struct QUOREL_VISIBLE Identifier {
    Raw rawValue;

    auto operator<=>(const Identifier&) const = default;
};

}  // namespace quorel

template <class Owner, class Raw>
struct std::hash<quorel::Identifier<Owner, Raw>> {
    std::size_t operator()(const quorel::Identifier<Owner, Raw>& identifier) const noexcept {
        return std::hash<Raw>()(identifier.rawValue);
    }
};
