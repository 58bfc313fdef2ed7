// JSON documents of a known shape, with the errors of foundation/json.h. Private to this room.
//
//   const JSONDocument document(text);
//   document.root().readMembers([&](std::string_view key, const JSONCursor& member) { ... });
//
// The text is walked without building values of it. Of a key that occurs twice the walk sees both.
#pragma once

#include <simdjson.h>

#include <cstdint>
#include <string_view>

#include "quorel/foundation/json.h"

namespace quorel::detail {

class JSONCursor {
public:
    JSONCursor(simdjson::dom::element value, const JSONPath& path) : value_(value), path_(path) {}

    const JSONPath& path() const { return path_; }
    // Throws JSONError (missingKey) for the member of this name when it was not found.
    void require(bool found, std::string_view key) const;

    bool isNull() const { return value_.is_null(); }
    // Each throws JSONError: typeMismatch, outOfRange. Texts are valid as long as the document.
    std::string_view text() const;
    std::int64_t signedInteger() const;
    std::uint64_t unsignedInteger() const;
    double number() const;

    // Calls visit(key, cursor) for each member.
    template <class Visit>
    void readMembers(Visit visit) const {
        if (!value_.is_object()) throwMismatch("an object");
        for (const auto member : simdjson::dom::object(value_)) {
            const JSONPath place(path_, member.key);
            visit(member.key, JSONCursor(member.value, place));
        }
    }
    // Calls visit(cursor) for each element.
    template <class Visit>
    void readElements(Visit visit) const {
        if (!value_.is_array()) throwMismatch("an array");
        std::size_t index = 0;
        for (const simdjson::dom::element element : simdjson::dom::array(value_)) {
            const JSONPath place(path_, index++);
            visit(JSONCursor(element, place));
        }
    }

private:
    [[noreturn]] void throwMismatch(const char* wanted) const;
    [[noreturn]] void throwOutOfRange() const;

    simdjson::dom::element value_;
    const JSONPath& path_;
};

class JSONDocument {
public:
    // Accepts what parseJSON accepts, up to 4 GiB; throws JSONError (syntax).
    explicit JSONDocument(std::string_view text);
    JSONDocument(const JSONDocument&) = delete;
    JSONDocument& operator=(const JSONDocument&) = delete;

    JSONCursor root() const { return JSONCursor(root_, path_); }

private:
    JSONPath path_;
    simdjson::dom::parser parser_;
    simdjson::dom::element root_;
};

}  // namespace quorel::detail
