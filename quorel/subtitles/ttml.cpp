#include "quorel/subtitles/ttml.h"

#define XML_DTD  // for the limits on entities
#include <expat.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "quorel/foundation/text.h"
#include "quorel/subtitles/cue_room_private.h"
#include "quorel/subtitles/lines_private.h"
#include "quorel/subtitles/subtitles_error.h"
#include "quorel/subtitles/text_blocks_private.h"
#include "quorel/subtitles/time_expression.h"

namespace quorel {
namespace {

constexpr std::string_view coreNamespace = "http://www.w3.org/ns/ttml";

// The parser keeps every name that it meets, and the attributes of one element, many times larger than they stand
// in the text. Beyond its budget it gets no memory and gives up.
class ParserMemory {
public:
    explicit ParserMemory(std::size_t budget) : outer_(current), left_(budget) { current = this; }
    ~ParserMemory() { current = outer_; }
    ParserMemory(const ParserMemory&) = delete;
    ParserMemory& operator=(const ParserMemory&) = delete;

private:
    // Each piece has its size in front of it.
    static constexpr std::size_t prefix = alignof(std::max_align_t);

    static void* allocate(std::size_t size) { return resize(nullptr, size); }
    static void* resize(void* memory, std::size_t size) {
        const std::size_t old = memory != nullptr ? sizeOf(memory) : 0;
        if (size > old && size - old > current->left_) return nullptr;
        void* const base = memory != nullptr ? static_cast<char*>(memory) - prefix : nullptr;
        auto* const piece = static_cast<char*>(std::realloc(base, size + prefix));
        if (piece == nullptr) return nullptr;
        current->left_ = current->left_ + old - size;
        *reinterpret_cast<std::size_t*>(piece) = size;
        return piece + prefix;
    }
    static void release(void* memory) {
        if (memory == nullptr) return;
        current->left_ += sizeOf(memory);
        std::free(static_cast<char*>(memory) - prefix);
    }
    static std::size_t sizeOf(void* memory) {
        return *reinterpret_cast<std::size_t*>(static_cast<char*>(memory) - prefix);
    }

    // The functions take no context.
    static thread_local ParserMemory* current;

    ParserMemory* outer_;
    std::size_t left_;

public:
    static constexpr XML_Memory_Handling_Suite suite{&allocate, &resize, &release};
};
thread_local ParserMemory* ParserMemory::current = nullptr;

// From the first to the last, over the whole text each.
std::string replacingEntities(std::string text) {
    constexpr std::pair<std::string_view, std::string_view> entities[] = {
        {"&amp;", "&"}, {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&apos;", "'"}};
    for (const auto& [entity, character] : entities) {
        if (text.find('&') == std::string::npos) break;
        text = replacingAll(text, entity, character);
    }
    return text;
}

// The lines that are not blank, without the blanks at their ends.
template <class Output>
void appendLines(std::string_view text, Output& output, bool isFirst = true) {
    LineReader lines(text);
    for (std::string_view line; lines.next(line);) {
        line = trimmedWhitespaceAndNewlines(line);
        if (line.empty()) continue;
        if (!isFirst) output.append("\n");
        isFirst = false;
        output.append(line);
    }
}

class TTMLDecoder {
public:
    explicit TTMLDecoder(std::size_t size)
        // Well-behaved documents need far less than the fixed part.
        : size_(size), memory_(16 * 1024 * 1024 + 4 * size), parser_(nullptr, &XML_ParserFree), blocks_(size) {}

    // `encoding` is what the bytes are in; null when the document says it.
    std::vector<SubtitlesCue> decode(std::string_view bytes, const char* encoding) {
        setUp(encoding);
        // The parser copies what it gets, and reads a token that is cut again from its start: so small pieces, but ones
        // that grow as long as one token fills them.
        constexpr std::size_t usual = 256 * 1024;
        constexpr std::size_t largest = std::numeric_limits<int>::max() / 2;
        std::size_t next = usual;
        for (std::size_t fed = 0; next != 0;) {
            const std::string_view piece = bytes.substr(fed, next);
            fed += piece.size();
            const auto status =
                XML_Parse(parser_.get(), piece.data(), static_cast<int>(piece.size()), fed == bytes.size());
            if (error_) std::rethrow_exception(error_);
            if (foreignEncoding_) return TTMLDecoder(bytes.size()).decode(inUTF8(bytes), "UTF-8");
            if (status != XML_STATUS_OK) throw refused();
            const auto token = std::max<XML_Index>(XML_GetCurrentByteIndex(parser_.get()), 0);
            const std::size_t unread = fed - std::min(static_cast<std::size_t>(token), fed);
            next = fed == bytes.size() ? 0 : std::clamp(unread > usual / 2 ? 2 * unread : usual, usual, largest);
        }
        if (cues_.empty()) {
            throw SubTitlesError::invalidEncoding().at(
                0, {}, "expected an element p, span or div in the body whose begin and end are times");
        }
        return std::move(cues_);
    }

private:
    struct ActiveSubtitle {
        std::optional<SubtitlesTime> begin;
        std::optional<SubtitlesTime> end;
        std::string text;
    };

    void setUp(const char* encoding) {
        XML_Parser parser = XML_ParserCreate_MM(encoding, &ParserMemory::suite, nullptr);
        if (parser == nullptr) throw std::bad_alloc();
        parser_.reset(parser);
        // Entities may double the text, not more; up to a mebibyte nobody counts.
        XML_SetBillionLaughsAttackProtectionActivationThreshold(parser, 1024 * 1024);
        XML_SetBillionLaughsAttackProtectionMaximumAmplification(parser, 2.0F);
        XML_SetUserData(parser, this);
        XML_SetElementHandler(
            parser,
            [](void* self, const char* name, const char** attributes) {
                guarded(self, [&](TTMLDecoder& decoder) { decoder.start(name, attributes); });
            },
            [](void* self, const char* name) { guarded(self, [&](TTMLDecoder& decoder) { decoder.end(name); }); });
        XML_SetCharacterDataHandler(parser, [](void* self, const char* text, int length) {
            guarded(self, [&](TTMLDecoder& decoder) {
                if (decoder.active_) decoder.active_->text.append(text, static_cast<std::size_t>(length));
            });
        });
        XML_SetUnknownEncodingHandler(
            parser,
            [](void* self, const char* name, XML_Encoding*) {
                guarded(self, [&](TTMLDecoder& d) { d.foreignEncoding_ = TextEncoding::named(name); });
                return XML_STATUS_ERROR + 0;
            },
            this);
    }

    // No exception may pass through the parser.
    template <class Body>
    static void guarded(void* self, Body body) {
        auto& decoder = *static_cast<TTMLDecoder*>(self);
        if (decoder.error_) return;
        try {
            body(decoder);
        } catch (...) {
            decoder.error_ = std::current_exception();
            decoder.abort();
        }
    }

    void abort() { XML_StopParser(parser_.get(), XML_FALSE); }
    void abort(const char* reason) {
        reason_ = reason;
        abort();
    }

    SubTitlesError refused() const {
        const XML_Error code = XML_GetErrorCode(parser_.get());
        const char* reason = reason_ != nullptr ? reason_ : XML_ErrorString(code);
        if (code == XML_ERROR_NO_MEMORY) reason = "too many names or attributes for a document of this size";
        const auto line = static_cast<std::int64_t>(XML_GetCurrentLineNumber(parser_.get()));
        return SubTitlesError::invalidFile().at(line, {}, reason != nullptr ? reason : "this is not XML");
    }

    std::string inUTF8(std::string_view bytes) const {
        try {
            return decodeText(bytes, *foreignEncoding_);
        } catch (const SubTitlesError&) {
            throw SubTitlesError::invalidFile().at(
                0, {},
                "the bytes are no text in the encoding that the document names, " +
                    std::string(foreignEncoding_->name()));
        }
    }

    static bool isAcceptable(std::string_view name) { return name == "p" || name == "span" || name == "div"; }

    static const char* attribute(const char** attributes, std::string_view name) {
        for (; *attributes != nullptr; attributes += 2) {
            if (attributes[0] == name) return attributes[1];
        }
        return nullptr;
    }

    static std::optional<SubtitlesTime> time(const char* attribute) {
        if (attribute == nullptr) return std::nullopt;
        const auto expression = TimeExpression::parse(attribute);
        return expression ? std::optional(expression->time()) : std::nullopt;
    }

    void start(std::string_view name, const char** attributes) {
        if (++depth_ > Subtitles::Coder::TTML::maximumDepth) return abort("elements nest too deep");
        if (name == "tt") {
            const char* const found = attribute(attributes, "xmlns");
            if (found == nullptr || found != coreNamespace) {
                abort("expected xmlns=\"http://www.w3.org/ns/ttml\" on the element tt");
            }
        } else if (name == "body") {
            inBody_ = true;
        } else if (inBody_ && isAcceptable(name)) {
            const char* const begin = attribute(attributes, "begin");
            if (begin == nullptr) return;
            if (!active_) active_.emplace();
            active_->begin = time(begin);
            active_->end = time(attribute(attributes, "end"));
            active_->text.clear();
        }
    }

    void end(std::string_view name) {
        --depth_;
        if (name == "body") {
            inBody_ = false;
        } else if (active_ && inBody_ && isAcceptable(name)) {
            if (active_->begin && active_->end) addCue();
            active_.reset();
        } else if (active_ && name == "br") {
            active_->text += '\n';
        }
    }

    void addCue() {
        if (active_->text.find('&') == std::string::npos) {
            appendLines(active_->text, blocks_);
        } else {
            // The parser has resolved entities once already: what was escaped twice comes out plain.
            std::string joined;
            appendLines(replacingEntities(std::move(active_->text)), joined);
            blocks_.append(replacingEntities(std::move(joined)));
        }
        const std::string_view text = blocks_.finish();
        detail::makeRoom(cues_, static_cast<std::size_t>(XML_GetCurrentByteIndex(parser_.get())), size_);
        cues_.push_back(SubtitlesCue::sharing(
            blocks_.block(), {.startTime = *active_->begin, .endTime = *active_->end, .text = text}));
    }

    std::size_t size_;
    ParserMemory memory_;
    std::unique_ptr<std::remove_pointer_t<XML_Parser>, decltype(&XML_ParserFree)> parser_;
    detail::TextBlocks blocks_;
    std::vector<SubtitlesCue> cues_;
    std::optional<ActiveSubtitle> active_;
    std::optional<TextEncoding> foreignEncoding_;
    std::exception_ptr error_;
    const char* reason_ = nullptr;
    std::size_t depth_ = 0;
    bool inBody_ = false;
};

void appendEscaped(std::string& out, std::string_view text) {
    for (;;) {
        const std::size_t at = text.find_first_of("&<>\"'\n");
        out += text.substr(0, at);
        if (at == std::string_view::npos) return;
        switch (text[at]) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            case '\'':
                out += "&apos;";
                break;
            default:
                out += "<br/>";
        }
        text.remove_prefix(at + 1);
    }
}

void appendAttribute(std::string& out, std::string_view name, std::string_view value) {
    out.append(name).append("=\"").append(value).append("\" ");
}

}  // namespace

Subtitles Subtitles::Coder::TTML::decode(std::string_view content) const {
    const std::string_view text = detail::decodableText(content);
    // It is UTF-8 by now, whatever its header says of the bytes that it once was.
    return Subtitles(TTMLDecoder(text.size()).decode(text, "UTF-8"));
}

Subtitles Subtitles::Coder::TTML::decode(std::string_view data, const TextEncoding&) const {
    return Subtitles(TTMLDecoder(data.size()).decode(data, nullptr));
}

std::string Subtitles::Coder::TTML::encode(const Subtitles& subtitles) const {
    std::string out = R"(<?xml version="1.0" encoding="UTF-8"?>)"
                      "\n"
                      R"(<tt xmlns="http://www.w3.org/ns/ttml" xmlns:tts="http://www.w3.org/ns/ttml#styling" )"
                      R"(xmlns:ttp="http://www.w3.org/ns/ttml#parameter" xml:lang="en" ttp:timeBase="media">)"
                      "\n\t<body>\n\t\t<div>";
    for (const Cue& cue : subtitles.cues()) {
        out += "<p ";
        if (cue.identifier()) appendAttribute(out, "xml:id", *cue.identifier());
        appendAttribute(out, "begin", TimeExpression::clockTime(cue.startTime()).text());
        appendAttribute(out, "end", TimeExpression::clockTime(cue.endTime()).text());
        out += '>';
        appendEscaped(out, cue.text());
        out += "</p>\n";
    }
    out += "\t\t</div>\n\t</body>\n</tt>";
    return out;
}

}  // namespace quorel
