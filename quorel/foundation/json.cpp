#include "quorel/foundation/json.h"

#include <simdjson.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <map>
#include <new>
#include <system_error>

#include "quorel/foundation/text.h"

namespace quorel {
namespace {

constexpr std::size_t fewMembers = 16;

// --- parsing ---------------------------------------------------------------------------------------------------

[[noreturn]] void throwSyntax(const std::string& why) {
    throw JSONError(JSONError::Code::syntax, {}, "the text is not JSON: " + why);
}

[[noreturn]] void throwError(simdjson::error_code error) {
    if (error == simdjson::MEMALLOC) throw std::bad_alloc();  // which says nothing of the text
    throwSyntax(simdjson::error_message(error));
}

template <class T>
T checked(simdjson::simdjson_result<T> result) {
    if (result.error()) throwError(result.error());
    return result.value_unsafe();
}

// `depth` is that of an array or object which stands here.
JSONValue converted(simdjson::dom::element element, std::size_t depth = 1) {
    // The parser's own limit does not count an empty array or object.
    if (depth > maximumJSONDepth && (element.is_array() || element.is_object())) {
        throwSyntax(simdjson::error_message(simdjson::DEPTH_ERROR));
    }
    using Type = simdjson::dom::element_type;
    switch (element.type()) {
        case Type::ARRAY: {
            const simdjson::dom::array source = checked(element.get_array());
            JSONArray array;
            array.reserve(source.size());
            for (const simdjson::dom::element item : source) array.push_back(converted(item, depth + 1));
            return array;
        }
        case Type::OBJECT: {
            const simdjson::dom::object source = checked(element.get_object());
            std::vector<JSONObject::Member> members;
            members.reserve(source.size());
            for (const simdjson::dom::key_value_pair member : source) {
                members.emplace_back(std::string(member.key), converted(member.value, depth + 1));
            }
            return JSONObject(std::move(members));
        }
        case Type::INT64:
            return checked(element.get_int64());
        case Type::UINT64:
            return checked(element.get_uint64());
        case Type::DOUBLE:
            return checked(element.get_double());
        case Type::STRING:
            return checked(element.get_string());
        case Type::BOOL:
            return checked(element.get_bool());
        case Type::NULL_VALUE:
            break;
    }
    return nullptr;
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// The parser refuses integers beyond 64 bits. RFC 8259 6 leaves the range open, and as doubles they are welcome:
// this gives each of them a fraction.
std::string withLongIntegersAsDoubles(std::string_view text) {
    const auto fits = [](std::string_view number) {
        std::int64_t negative = 0;
        std::uint64_t positive = 0;
        const char* const end = number.data() + number.size();
        return (number.starts_with('-') ? std::from_chars(number.data(), end, negative).ec
                                        : std::from_chars(number.data(), end, positive).ec) == std::errc();
    };
    std::string out;
    out.reserve(text.size() + 16);
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t start = i;
        if (text[i] == '"') {
            for (++i; i < text.size() && text[i] != '"'; ++i) {
                if (text[i] == '\\') ++i;
            }
            i = std::min(i + 1, text.size());
            out.append(text, start, i - start);
        } else if (isDigit(text[i]) || text[i] == '-') {
            for (++i; i < text.size() && isDigit(text[i]);) ++i;
            const std::size_t integerEnd = i;
            while (i < text.size() && (isDigit(text[i]) || std::string_view(".eE+-").find(text[i]) < 5)) ++i;
            out.append(text, start, i - start);
            if (i == integerEnd && !fits(text.substr(start, i - start))) out += ".0";
        } else {
            out += text[i++];
        }
    }
    return out;
}

// --- serialising -----------------------------------------------------------------------------------------------

[[noreturn]] void throwNotSerializable(const JSONPath& path, const char* what) {
    throw JSONError(JSONError::Code::notSerializable, path.text(), what);
}

template <class Number>
void appendNumber(std::string& out, Number number) {
    char buffer[32];
    out.append(buffer, std::to_chars(buffer, buffer + sizeof buffer, number).ptr);
}

void appendText(std::string& out, std::string_view text, const JSONPath& path) {
    if (!isValidUTF8(text)) throwNotSerializable(path, "a text that is not UTF-8 has no JSON form");
    constexpr char digits[] = "0123456789abcdef";
    out += '"';
    for (const char c : text) {
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\b':
                out += "\\b";
                break;
            case '\f':
                out += "\\f";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                if (static_cast<unsigned char>(c) >= 0x20)
                    out += c;
                else
                    out.append("\\u00").append(1, digits[c >> 4]).append(1, digits[c & 15]);
        }
    }
    out += '"';
}

class Serializer {
public:
    explicit Serializer(JSONStyle style) : pretty_(style == JSONStyle::pretty) {}

    void append(const JSONValue& value, const JSONPath& path) {
        std::visit([&](const auto& stored) { appendStored(stored, path); }, value.storage());
    }
    std::string take() { return std::move(out_); }

private:
    void appendStored(std::nullptr_t, const JSONPath&) { out_ += "null"; }
    void appendStored(bool value, const JSONPath&) { out_ += value ? "true" : "false"; }
    void appendStored(std::int64_t value, const JSONPath&) { appendNumber(out_, value); }
    void appendStored(std::uint64_t value, const JSONPath&) { appendNumber(out_, value); }
    void appendStored(double value, const JSONPath& path) {
        if (!std::isfinite(value)) throwNotSerializable(path, "a number that is not finite has no JSON form");
        appendNumber(out_, value);
    }
    void appendStored(const std::string& value, const JSONPath& path) { appendText(out_, value, path); }
    void appendStored(const JSONArray& array, const JSONPath& path) {
        if (array.empty()) {
            out_ += "[]";
            return;
        }
        open('[');
        for (std::size_t i = 0; i < array.size(); ++i) {
            separate(i == 0);
            append(array[i], JSONPath(path, i));
        }
        close(']');
    }
    void appendStored(const JSONObject& object, const JSONPath& path) {
        if (object.empty()) {
            out_ += "{}";
            return;
        }
        open('{');
        for (const auto& member : object) {
            const JSONPath place(path, member.first);
            separate(&member == object.begin());
            appendText(out_, member.first, path);
            out_ += pretty_ ? ": " : ":";
            append(member.second, place);
        }
        close('}');
    }
    void open(char bracket) {
        out_ += bracket;
        ++depth_;
    }
    void separate(bool first) {
        if (!first) out_ += ',';
        breakLine();
    }
    void close(char bracket) {
        --depth_;
        breakLine();
        out_ += bracket;
    }
    void breakLine() {
        if (pretty_) out_.append(1, '\n').append(depth_ * 2, ' ');
    }

    const bool pretty_;
    std::size_t depth_ = 0;
    std::string out_;
};

[[noreturn]] void throwMismatch(const char* wanted, const JSONValue& found) {
    throw JSONError(JSONError::Code::typeMismatch, {},
                    std::string("expected ") + wanted + ", found " + std::string(found.typeName()));
}

template <class T>
const T& required(const JSONValue& value, const char* wanted) {
    const T* found = value.getIf<T>();
    if (found == nullptr) throwMismatch(wanted, value);
    return *found;
}

}  // namespace

JSONError::JSONError(Code code, std::string path, const std::string& description)
    : Error(path.empty() ? description : path + ": " + description), code_(code), path_(std::move(path)) {}

std::string JSONPath::text() const {
    if (parent_ == nullptr) return {};
    std::string text = parent_->text();
    if (isIndex_) return text + '[' + std::to_string(index_) + ']';
    if (!text.empty()) text += '.';
    return text.append(key_);
}

JSONObject::JSONObject() = default;
JSONObject::JSONObject(const JSONObject&) = default;
JSONObject::JSONObject(JSONObject&&) noexcept = default;
JSONObject& JSONObject::operator=(const JSONObject&) = default;
JSONObject& JSONObject::operator=(JSONObject&&) noexcept = default;
JSONObject::~JSONObject() = default;

JSONObject::JSONObject(std::initializer_list<Member> members) : JSONObject(std::vector<Member>(members)) {}

JSONObject::JSONObject(std::vector<Member> members) {
    if (members.size() <= fewMembers) {
        members_.reserve(members.size());
        for (Member& member : members) set(std::move(member.first), std::move(member.second));
        return;
    }
    // Sorted, not hashed: keys that were chosen to collide cost nothing.
    std::map<std::string_view, std::size_t> places;
    std::size_t kept = 0;
    for (std::size_t i = 0; i < members.size(); ++i) {
        const auto known = places.find(members[i].first);
        if (known != places.end()) {
            members[known->second].second = std::move(members[i].second);
            continue;
        }
        if (kept != i) members[kept] = std::move(members[i]);
        // The view is taken where the key now stands, since short texts move with their string.
        places.emplace(members[kept].first, kept);
        ++kept;
    }
    members.erase(members.begin() + static_cast<std::ptrdiff_t>(kept), members.end());
    members_ = std::move(members);
}

const JSONValue* JSONObject::find(std::string_view key) const {
    for (const Member& member : members_) {
        if (member.first == key) return &member.second;
    }
    return nullptr;
}

void JSONObject::set(std::string key, JSONValue value) {
    for (Member& member : members_) {
        if (member.first == key) {
            member.second = std::move(value);
            return;
        }
    }
    members_.emplace_back(std::move(key), std::move(value));
}

std::size_t JSONObject::size() const {
    return members_.size();
}
const JSONObject::Member* JSONObject::begin() const {
    return members_.data();
}
const JSONObject::Member* JSONObject::end() const {
    return members_.data() + members_.size();
}

bool JSONObject::operator==(const JSONObject& other) const {
    if (size() != other.size()) return false;
    const auto sorted = [](const JSONObject& object) {
        std::vector<const Member*> members;
        for (const Member& member : object) members.push_back(&member);
        std::ranges::sort(members, {}, [](const Member* member) -> const std::string& { return member->first; });
        return members;
    };
    return std::ranges::equal(sorted(*this), sorted(other),
                              [](const Member* a, const Member* b) { return *a == *b; });
}

JSONValue::JSONValue(std::uint64_t value) {
    if (value <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        storage_ = static_cast<std::int64_t>(value);
    } else {
        storage_ = value;
    }
}

bool JSONValue::asBool() const {
    return required<bool>(*this, "a boolean");
}

std::int64_t JSONValue::asInt() const {
    if (getIf<std::uint64_t>() != nullptr) {
        throw JSONError(JSONError::Code::outOfRange, {}, "the integer does not fit 64 bits with a sign");
    }
    return required<std::int64_t>(*this, "an integer");
}

double JSONValue::asDouble() const {
    if (const auto* integer = getIf<std::int64_t>()) return static_cast<double>(*integer);
    if (const auto* integer = getIf<std::uint64_t>()) return static_cast<double>(*integer);
    return required<double>(*this, "a number");
}

const std::string& JSONValue::asString() const {
    return required<std::string>(*this, "a text");
}
const JSONArray& JSONValue::asArray() const {
    return required<JSONArray>(*this, "an array");
}
const JSONObject& JSONValue::asObject() const {
    return required<JSONObject>(*this, "an object");
}

const JSONValue& JSONValue::operator[](std::string_view key) const {
    const JSONValue* member = asObject().find(key);
    if (member == nullptr) throw JSONError(JSONError::Code::missingKey, std::string(key), "the key is missing");
    return *member;
}

const JSONValue& JSONValue::operator[](std::size_t index) const {
    const JSONArray& array = asArray();
    if (index >= array.size()) {
        throw JSONError(JSONError::Code::outOfRange, "[" + std::to_string(index) + "]",
                        "the array has " + std::to_string(array.size()) + " elements");
    }
    return array[index];
}

std::string_view JSONValue::typeName() const {
    constexpr std::string_view names[] = {"null",     "a boolean", "an integer", "an integer",
                                          "a number", "a text",    "an array",   "an object"};
    return names[storage_.index()];
}

JSONValue parseJSON(std::string_view text) {
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    simdjson::dom::parser parser;
    const auto parse = [&parser](std::string_view json) {
        // Its limit counts one level more than the levels it lets pass.
        if (const auto error = parser.allocate(json.size(), maximumJSONDepth + 1)) throwError(error);
        return parser.parse(json.data(), json.size());
    };
    auto result = parse(text);
    if (result.error() == simdjson::NUMBER_ERROR) result = parse(withLongIntegersAsDoubles(text));
    return converted(checked(result));
}

std::string serializeJSON(const JSONValue& value, JSONStyle style) {
    Serializer serializer(style);
    serializer.append(value, JSONPath());
    return serializer.take();
}

bool isValidJSONObject(const JSONValue& value) {
    if (value.getIf<JSONArray>() == nullptr && value.getIf<JSONObject>() == nullptr) return false;
    try {
        serializeJSON(value);
        return true;
    } catch (const JSONError&) {
        return false;
    }
}

}  // namespace quorel
