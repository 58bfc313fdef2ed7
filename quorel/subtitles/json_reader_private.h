// JSON of a known shape, read in one pass: no values are built and nothing is copied, so that a document of any size
// needs no memory beyond what becomes of it. Private to this room.
//
//   JSONReader reader(text);
//   reader.readMembers(path, [&](std::string_view key, const JSONPath& place) {
//       if (key == "text") use(reader.readText(place));      // what is not read is skipped
//   });
//   reader.finish();
//
// Accepts what parseJSON of foundation/json.h accepts and throws the same JSONError, syntax without a path. Of a key
// that occurs twice the caller sees both.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "quorel/foundation/json.h"

namespace quorel::detail {

class JSONReader {
public:
    // `text` must outlive the reader.
    explicit JSONReader(std::string_view text);
    JSONReader(const JSONReader&) = delete;
    JSONReader& operator=(const JSONReader&) = delete;

    // How much of the text has been read, in bytes.
    std::size_t position() const { return static_cast<std::size_t>(at_ - begin_); }

    // Each reads the value that stands here, which is found at `path`.
    bool readNull();                                  // false, and nothing is read, when it is not null
    std::string_view readText(const JSONPath& path);  // valid until the next text is read
    std::int64_t readSigned(const JSONPath& path);
    std::uint64_t readUnsigned(const JSONPath& path);
    double readNumber(const JSONPath& path);
    void skip();

    // Calls visit(key, place) for each member, with its value standing here.
    template <class Visit>
    void readMembers(const JSONPath& path, Visit visit) {
        if (!open('{', '}', "an object", path)) return;
        do {
            std::string escaped;
            const std::string_view key = readKey(escaped);
            const JSONPath place(path, key);
            const char* const value = at_;
            visit(key, place);
            if (at_ == value) skip();
        } while (next('}'));
    }
    // Calls visit(place) for each element, with the element standing here.
    template <class Visit>
    void readElements(const JSONPath& path, Visit visit) {
        if (!open('[', ']', "an array", path)) return;
        std::size_t index = 0;
        do {
            const JSONPath place(path, index++);
            const char* const value = at_;
            visit(place);
            if (at_ == value) skip();
        } while (next(']'));
    }

    // Throws JSONError (missingKey) for a member of this name that was not found.
    void require(bool found, const JSONPath& path, std::string_view key) const;
    // Throws when anything but white space follows.
    void finish();

private:
    struct Number {
        std::string_view token;
        bool isInteger;
    };

    char peek() const { return at_ != end_ ? *at_ : '\0'; }
    void skipBlanks() {
        while (at_ != end_ && *at_ <= ' ' && (*at_ == ' ' || *at_ == '\n' || *at_ == '\r' || *at_ == '\t')) ++at_;
    }
    bool open(char bracket, char closing, const char* wanted, const JSONPath& path);
    bool next(char closing);
    std::string_view readKey(std::string& escaped);
    std::string_view readString(std::string& escaped);
    void readEscape(std::string& out);
    std::uint32_t readHexadecimal();
    Number readToken();
    Number readIntegerToken(const JSONPath& path);
    double valueOf(std::string_view token);
    void readWord(std::string_view word);

    [[noreturn]] void throwSyntax(const char* why) const;
    [[noreturn]] void throwMismatch(const char* wanted, const JSONPath& path);

    const char* const begin_;
    const char* at_;
    const char* const end_;
    std::size_t depth_ = 0;
    std::string escaped_;  // the text that was read last, if it had escapes
};

}  // namespace quorel::detail
