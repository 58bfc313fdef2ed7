#include "engines/gstreamer/text_webvtt.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <utility>

#include "quorel/foundation/text.h"

namespace quorel::gstreamer {
namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";
constexpr std::string_view arrow = "-->";

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\f';
}

// Valid UTF-8 without NUL, so that whatever draws it can rely on that.
std::string repaired(std::string_view text) {
    if (isValidUTF8(text) && text.find('\0') == text.npos) return std::string(text);
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t length = 1;
        const auto first = static_cast<unsigned char>(text[at]);
        if (first >= 0xC2) length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
        const std::string_view character = text.substr(at, length);
        const bool good = first != 0 && character.size() == length && isValidUTF8(character);
        result.append(good ? character : replacement);
        at += good ? length : 1;
    }
    return result;
}

class Scanner {
public:
    explicit Scanner(std::string_view text) : text_(text) {}

    bool atEnd() const { return at_ == text_.size(); }
    bool take(std::string_view what) {
        if (!text_.substr(at_).starts_with(what)) return false;
        at_ += what.size();
        return true;
    }
    void skipBlanks() {
        while (!atEnd() && isBlank(text_[at_])) ++at_;
    }
    std::string_view digits() {
        const std::size_t from = at_;
        while (!atEnd() && isDigit(text_[at_])) ++at_;
        return text_.substr(from, at_ - from);
    }
    // Up to the next blank.
    std::string_view word() {
        skipBlanks();
        const std::size_t from = at_;
        while (!atEnd() && !isBlank(text_[at_])) ++at_;
        return text_.substr(from, at_ - from);
    }
    // "01:02:03.500", "02:03.500" (4.3.3 of the standard).
    std::optional<double> timestamp() {
        double parts[3] = {0, 0, 0};
        std::size_t count = 0;
        do {
            const std::string_view part = digits();
            // Ten digits of hours are 300,000 years.
            if (part.empty() || part.size() > 10) return {};
            std::uint64_t value = 0;
            std::from_chars(part.data(), part.data() + part.size(), value);
            parts[count++] = static_cast<double>(value);
        } while (count < 3 && take(":"));
        if (count < 2) return {};
        if (count == 2) std::rotate(parts, parts + 2, parts + 3);
        if (parts[1] > 59 || parts[2] > 59) return {};
        double fraction = 0;
        if (take(".") || take(",")) {
            const std::string_view part = digits();
            if (part.empty()) return {};
            double place = 1;
            for (const char digit : part.substr(0, 9)) fraction += (digit - '0') * (place /= 10);
        }
        return parts[0] * 3600 + parts[1] * 60 + parts[2] + fraction;
    }

private:
    std::string_view text_;
    std::size_t at_ = 0;
};

std::optional<double> number(std::string_view text) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || !std::isfinite(value)) return {};
    return value;
}

std::optional<double> percentage(std::string_view text) {
    if (!text.ends_with('%')) return {};
    text.remove_suffix(1);
    const auto value = number(text);
    return value && *value >= 0 && *value <= 100 ? value : std::nullopt;
}

void readSetting(std::string_view name, std::string_view value, CueSettings& settings) {
    using Align = CueSettings::Align;
    const std::string_view first = value.substr(0, value.find(','));
    if (name == "line") {
        const auto share = percentage(first);
        const auto line = share ? share : number(first);
        if (!line) return;
        settings.line = line;
        settings.lineIsPercentage = share.has_value();
    } else if (name == "position") {
        if (const auto position = percentage(first)) settings.position = position;
    } else if (name == "size") {
        settings.size = percentage(value).value_or(settings.size);
    } else if (name == "align") {
        static constexpr std::pair<std::string_view, Align> names[] = {
            {"start", Align::start}, {"end", Align::end},       {"center", Align::center},
            {"left", Align::left},   {"middle", Align::center}, {"right", Align::right}};
        for (const auto& [word, align] : names) {
            if (value == word) settings.align = align;
        }
    }
}

std::optional<WebVTTCueBlock> readTiming(std::string_view line) {
    Scanner scanner(line);
    WebVTTCueBlock cue;
    scanner.skipBlanks();
    const auto start = scanner.timestamp();
    scanner.skipBlanks();
    if (!start || !scanner.take(arrow)) return {};
    scanner.skipBlanks();
    const auto end = scanner.timestamp();
    if (!end || *end <= *start) return {};
    cue.start = *start;
    cue.end = *end;
    for (std::string_view word = scanner.word(); !word.empty(); word = scanner.word()) {
        const std::size_t colon = word.find(':');
        if (colon != word.npos) readSetting(word.substr(0, colon), word.substr(colon + 1), cue.settings);
    }
    return cue;
}

std::optional<TimestampMap> readMap(std::string_view line) {
    static constexpr std::string_view tag = "X-TIMESTAMP-MAP";
    if (!line.starts_with(tag)) return {};
    line.remove_prefix(std::min(line.size(), tag.size() + 1));
    std::optional<double> mpegts;
    std::optional<double> local;
    for (std::string_view part : split(line, ',')) {
        part = trimmedBlanks(part);
        if (part.starts_with("MPEGTS:")) mpegts = number(part.substr(7));
        if (part.starts_with("LOCAL:")) local = Scanner(part.substr(6)).timestamp();
    }
    if (!mpegts || !local) return {};
    return TimestampMap{*mpegts, *local};
}

class Reader {
public:
    explicit Reader(std::string_view text) : rest_(text) {}

    std::optional<std::string_view> peek() const {
        if (rest_.empty()) return {};
        return rest_.substr(0, std::min(rest_.size(), rest_.find_first_of("\r\n")));
    }
    void advance() {
        const std::size_t end = rest_.find_first_of("\r\n");
        if (end == rest_.npos) {
            rest_ = {};
        } else {
            rest_.remove_prefix(end + (rest_.substr(end, 2) == "\r\n" ? 2 : 1));
        }
    }

private:
    std::string_view rest_;
};

// One block (W3C WebVTT 6.1, "collect a block"): up to an empty line, or to the timing line of a next cue.
void readBlock(Reader& reader, bool isHeader, WebVTTFile& file) {
    std::optional<WebVTTCueBlock> cue;
    bool seenArrow = false;
    bool hasText = false;
    for (int count = 1;; ++count) {
        const auto line = reader.peek();
        if (!line || line->empty()) break;
        if (line->find(arrow) != line->npos) {
            if (isHeader || seenArrow || count > 2) break;
            seenArrow = true;
            cue = readTiming(*line);
        } else if (cue) {
            if (std::exchange(hasText, true)) cue->payload += '\n';
            cue->payload += *line;
        } else if (!file.map && file.cues.empty()) {
            file.map = readMap(*line);
        }
        reader.advance();
    }
    if (cue) file.cues.push_back(std::move(*cue));
}

struct Tag {
    std::string_view name;
    bool closes = false;
    std::size_t end = 0;  // behind its ">"
};

// The tag that begins at `at`, a "<"; absent where that is just a character.
std::optional<Tag> tagAt(std::string_view text, std::size_t at) {
    constexpr std::size_t longest = 1000;
    const std::size_t end = text.substr(0, at + longest).find('>', at);
    if (end == text.npos) return {};
    std::string_view inside = text.substr(at + 1, end - at - 1);
    Tag tag{{}, inside.starts_with('/'), end + 1};
    if (tag.closes) inside.remove_prefix(1);
    if (inside.empty()) return tag;
    // A time within the cue begins with a digit.
    if (!isLetter(inside.front()) && !(isDigit(inside.front()) && inside.find(':') != inside.npos)) return {};
    tag.name = inside.substr(0, inside.find_first_of(" \t\n\f.&"));
    return tag;
}

void appendUTF8(std::string& text, std::uint32_t code) {
    const auto put = [&](std::uint32_t byte) { text += static_cast<char>(byte); };
    if (code == 0 || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) {
        text += replacement;
    } else if (code < 0x80) {
        put(code);
    } else if (code < 0x800) {
        put(0xC0 | code >> 6), put(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        put(0xE0 | code >> 12), put(0x80 | (code >> 6 & 0x3F)), put(0x80 | (code & 0x3F));
    } else {
        put(0xF0 | code >> 18), put(0x80 | (code >> 12 & 0x3F)), put(0x80 | (code >> 6 & 0x3F)),
            put(0x80 | (code & 0x3F));
    }
}

// Appends what the reference at `at`, a "&", stands for, and gives where it ends; as it is when it is none.
std::size_t appendReference(std::string_view text, std::size_t at, std::string& out) {
    static constexpr std::pair<std::string_view, std::string_view> names[] = {
        {"amp", "&"},      {"lt", "<"},       {"gt", ">"},    {"nbsp", "\u00A0"},
        {"lrm", "\u200E"}, {"rlm", "\u200F"}, {"quot", "\""}, {"apos", "'"}};
    const std::size_t end = text.substr(0, at + 12).find(';', at);
    if (end != text.npos) {
        std::string_view name = text.substr(at + 1, end - at - 1);
        for (const auto& [known, meaning] : names) {
            if (name != known) continue;
            out += meaning;
            return end + 1;
        }
        if (name.starts_with('#')) {
            name.remove_prefix(1);
            const bool isHex = name.starts_with('x') || name.starts_with('X');
            if (isHex) name.remove_prefix(1);
            std::uint32_t code = 0;
            const auto read = std::from_chars(name.data(), name.data() + name.size(), code, isHex ? 16 : 10);
            if (!name.empty() && read.ec == std::errc{} && read.ptr == name.data() + name.size()) {
                appendUTF8(out, code);
                return end + 1;
            }
        }
    }
    out += '&';
    return at + 1;
}

}  // namespace

std::optional<WebVTTFile> WebVTTFile::parse(std::string_view text) {
    static constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    static constexpr std::string_view signature = "WEBVTT";
    if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
    if (!text.starts_with(signature)) return {};
    if (text.size() > signature.size() && std::string_view(" \t\r\n").find(text[signature.size()]) == text.npos) {
        return {};
    }
    WebVTTFile file;
    Reader reader(text);
    reader.advance();
    readBlock(reader, true, file);
    while (const auto line = reader.peek()) {
        if (line->empty()) {
            reader.advance();
        } else {
            readBlock(reader, false, file);
        }
    }
    for (auto& cue : file.cues) cue.payload = repaired(cue.payload);
    std::stable_sort(file.cues.begin(), file.cues.end(), [](const WebVTTCueBlock& a, const WebVTTCueBlock& b) {
        return a.start != b.start ? a.start < b.start : a.end > b.end;
    });
    return file;
}

std::vector<StyledRun> styledText(std::string_view payload) {
    std::vector<StyledRun> runs;
    StyledRun run;
    int italic = 0;
    int bold = 0;
    int underlined = 0;
    const auto finish = [&] {
        if (!run.text.empty()) runs.push_back(std::move(run));
        run = {{}, italic > 0, bold > 0, underlined > 0};
    };
    for (std::size_t at = 0; at < payload.size();) {
        const char c = payload[at];
        if (c == '&') {
            at = appendReference(payload, at, run.text);
            continue;
        }
        const auto tag = c == '<' ? tagAt(payload, at) : std::nullopt;
        if (!tag) {
            run.text += c;
            ++at;
            continue;
        }
        at = tag->end;
        const std::string name = asciiLowercased(tag->name);
        int* const depth = name == "i" ? &italic : name == "b" ? &bold : name == "u" ? &underlined : nullptr;
        if (depth == nullptr) continue;
        *depth = std::max(0, *depth + (tag->closes ? -1 : 1));
        if (run.italic != (italic > 0) || run.bold != (bold > 0) || run.underlined != (underlined > 0)) finish();
    }
    finish();
    return runs;
}

std::string plainText(std::string_view payload) {
    std::string text;
    for (const StyledRun& run : styledText(payload)) text += run.text;
    return text;
}

}  // namespace quorel::gstreamer
