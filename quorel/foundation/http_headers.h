// Header fields of HTTP requests and responses (RFC 9110 5). A value; any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quorel/foundation/export.h"

namespace quorel {

// Fields in their order, names compared without case (RFC 9110 5.1).
class QUOREL_FOUNDATION_API HTTPHeaders {
public:
    using Field = std::pair<std::string, std::string>;

    std::optional<std::string> value(std::string_view name) const;  // several of one name are joined by ", "
    void set(std::string_view name, std::string_view value);        // replaces all of that name
    void add(std::string_view name, std::string_view value);        // behind those of that name
    void remove(std::string_view name);                             // all of that name
    bool empty() const { return fields_.empty(); }
    const std::vector<Field>& fields() const { return fields_; }
    bool operator==(const HTTPHeaders&) const = default;

private:
    std::vector<Field> fields_;
};

}  // namespace quorel
