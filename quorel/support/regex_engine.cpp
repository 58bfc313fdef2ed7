#include "quorel/support/regex_engine.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <utility>

#include "quorel/foundation/fatal.h"

namespace quorel {
namespace {

constexpr std::size_t longText = 16 * 1024;
constexpr std::uint32_t heapLimitKiB = 64 * 1024;
constexpr std::size_t jitStackSize = 8 * 1024 * 1024;

struct ContextDeleter {
    void operator()(pcre2_match_context* context) const { pcre2_match_context_free(context); }
};
using Context = std::unique_ptr<pcre2_match_context, ContextDeleter>;

Context makeContext() {
    Context context(pcre2_match_context_create(nullptr));
    if (!context) throw std::bad_alloc();
    pcre2_set_match_limit(context.get(), Regex::stepLimit);
    pcre2_set_heap_limit(context.get(), heapLimitKiB);
    return context;
}

pcre2_match_context* sharedLimits() {
    static const Context context = makeContext();
    return context.get();
}

struct ThreadState {
    ThreadState() = default;
    ThreadState(const ThreadState&) = delete;
    ThreadState& operator=(const ThreadState&) = delete;
    ~ThreadState() {
        pcre2_match_data_free(memory);
        pcre2_jit_stack_free(stack);
    }

    // One for all contexts of the thread; made when the first of them needs it.
    void assignStack(const Context& context) {
        if (stack == nullptr) stack = pcre2_jit_stack_create(32 * 1024, jitStackSize, nullptr);
        pcre2_jit_stack_assign(context.get(), nullptr, stack);
    }

    pcre2_match_data* memory = nullptr;
    pcre2_jit_stack* stack = nullptr;
    Context deep;    // with `stack`
    Context sliced;  // with `stack` and an offset limit
};

ThreadState& threadState() {
    thread_local ThreadState state;
    return state;
}

std::uint32_t compileOptions(Regex::Options options) {
    using O = Regex::Options;
    std::uint32_t result = PCRE2_UTF | PCRE2_USE_OFFSET_LIMIT;
    if (contains(options, O::caseInsensitive)) result |= PCRE2_CASELESS;
    // The engine knows no other option together with a literal pattern, and none would change anything.
    if (contains(options, O::ignoreMetacharacters)) return result | PCRE2_LITERAL;
    // \C matches a single byte, and a match could end within a character.
    result |= PCRE2_UCP | PCRE2_NEVER_BACKSLASH_C;
    if (contains(options, O::allowCommentsAndWhitespace)) result |= PCRE2_EXTENDED;
    if (contains(options, O::dotMatchesLineSeparators)) result |= PCRE2_DOTALL;
    if (contains(options, O::anchorsMatchLines)) result |= PCRE2_MULTILINE;
    return result;
}

// How much of the pattern, from `at` on, is to be left as it is: an escape, a class, a comment or a verb. 0 for none.
std::size_t opaqueLength(std::string_view pattern, std::size_t at) {
    const std::string_view rest = pattern.substr(at);
    const auto through = [rest](std::string_view end, std::size_t from) {
        const std::size_t found = rest.find(end, from);
        return found == std::string_view::npos ? rest.size() : found + end.size();
    };
    if (rest.starts_with("\\Q")) return through("\\E", 2);
    if (rest.starts_with('\\')) return std::min<std::size_t>(rest.starts_with("\\c") ? 3 : 2, rest.size());
    if (rest.starts_with("(?#") || rest.starts_with("(*")) return through(")", 2);
    if (!rest.starts_with('[')) return 0;
    std::size_t end = rest.starts_with("[^") ? 2 : 1;
    if (rest.substr(end).starts_with(']')) ++end;
    while (end < rest.size() && rest[end] != ']') {
        const std::size_t inner = rest[end] == '\\' ? opaqueLength(pattern, at + end) : 1;
        end = rest.substr(end).starts_with("[:") ? through(":]", end) : end + inner;
    }
    return std::min(end + 1, rest.size());
}

// The engine lets "$", "\Z" and "^" hold between CR and LF, too. Here they do not, since CR LF is one line end.
std::string withWholeLineEnds(std::string_view pattern) {
    std::string result;
    for (std::size_t at = 0; at < pattern.size();) {
        const std::size_t opaque = opaqueLength(pattern, at);
        const std::string_view piece = pattern.substr(at, std::max<std::size_t>(opaque, 1));
        if (piece == "$" || piece == "\\Z") {
            result.append("(?:").append(piece).append("(?!(?<=\\r)\\n))");
        } else if (piece == "^") {
            result.append("(?:^(?<!\\r(?=\\n)))");
        } else {
            result += piece;
        }
        at += piece.size();
    }
    return result;
}

// Looking for the beginning of a match, the engine passes over the LF of a CR LF unless the pattern names one of them:
// "\s" is no name, and "\sb" would not be found in "a CR LF b".
bool namesLineEnds(const pcre2_code* code) {
    std::uint32_t names = 0;
    pcre2_pattern_info(code, PCRE2_INFO_HASCRORLF, &names);
    return names != 0;
}

// Whether a match could begin at the LF of a CR LF, as far as can be told from what stands around it.
bool mayBeginWithinCRLF(const pcre2_code* code) {
    std::uint32_t lookBehind = 0;
    pcre2_pattern_info(code, PCRE2_INFO_MAXLOOKBEHIND, &lookBehind);
    if (lookBehind > 1) return true;
    const std::unique_ptr<pcre2_match_data, decltype(&pcre2_match_data_free)> memory(
        pcre2_match_data_create_from_pattern(code, nullptr), &pcre2_match_data_free);
    if (!memory) throw std::bad_alloc();
    return pcre2_match(code, reinterpret_cast<PCRE2_SPTR>("\r\n"), 2, 1, PCRE2_ANCHORED | PCRE2_PARTIAL_HARD,
                       memory.get(), sharedLimits()) != PCRE2_ERROR_NOMATCH;
}

std::string engineMessage(int code) {
    unsigned char buffer[256];
    const int length = pcre2_get_error_message(code, buffer, sizeof buffer);
    return length > 0 ? std::string(reinterpret_cast<const char*>(buffer), static_cast<std::size_t>(length))
                      : "error " + std::to_string(code);
}

}  // namespace

std::size_t characterBoundary(std::string_view text, std::size_t offset) {
    while (offset > 0 && offset < text.size() && (static_cast<unsigned char>(text[offset]) & 0xC0) == 0x80)
        --offset;
    return offset;
}

std::size_t nextCodePoint(std::string_view text, std::size_t offset) {
    ++offset;
    while (offset < text.size() && (static_cast<unsigned char>(text[offset]) & 0xC0) == 0x80) ++offset;
    return offset;
}

Regex::Range checkedRange(std::string_view text, Regex::Range range) {
    if (range.lower > range.upper || range.upper > text.size()) fatal("Invalid Range");
    return {characterBoundary(text, range.lower), characterBoundary(text, range.upper)};
}

RegexWindow::RegexWindow(std::string_view text, std::optional<Regex::Range> range, Regex::MatchingOptions options)
    : subject(text), base(0), from(0), flags(0), isAnchored(contains(options, Regex::MatchingOptions::anchored)) {
    using M = Regex::MatchingOptions;
    if (isAnchored) flags |= PCRE2_ANCHORED;
    if (!range) return;
    const Regex::Range bounds = checkedRange(text, *range);
    if (contains(options, M::withTransparentBounds)) {
        subject = text.substr(0, bounds.upper);
        from = bounds.lower;
    } else {
        subject = text.substr(bounds.lower, bounds.upper - bounds.lower);
        base = bounds.lower;
    }
    if (contains(options, M::withoutAnchoringBounds)) {
        if (base != 0) flags |= PCRE2_NOTBOL;
        if (bounds.upper != text.size()) flags |= PCRE2_NOTEOL;
    }
}

Regex::Engine::Engine(std::string_view pattern, Options options) : pattern_(pattern), options_(options) {
    if (contains(options, Options::useUnicodeWordBoundaries)) {
        throw RegexError(RegexError::Code::unsupportedOption,
                         "Regular expressions with the word boundaries of UAX #29 are not supported.");
    }
    const std::unique_ptr<pcre2_compile_context, decltype(&pcre2_compile_context_free)> context(
        pcre2_compile_context_create(nullptr), &pcre2_compile_context_free);
    if (!context) throw std::bad_alloc();
    pcre2_set_newline(context.get(),
                      contains(options, Options::useUnixLineSeparators) ? PCRE2_NEWLINE_LF : PCRE2_NEWLINE_ANY);
    int error = 0;
    std::size_t offset = 0;
    using Code = std::unique_ptr<pcre2_code, decltype(&pcre2_code_free)>;
    const auto compiled = [&](const std::string& text) {
        return Code(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(text.c_str()), text.size(), compileOptions(options),
                                  &error, &offset, context.get()),
                    &pcre2_code_free);
    };
    Code code = compiled(pattern_);
    const auto replaceBy = [&](const std::string& text) {
        if (Code other = compiled(text)) code = std::move(other);
    };
    if (!code) {
        throw RegexError(RegexError::Code::invalidPattern,
                         "The regular expression \"" + pattern_ + "\" is invalid at offset " +
                             std::to_string(offset) + ": " + engineMessage(error) + ".",
                         offset);
    }
    if (!contains(options, Options::useUnixLineSeparators) && !contains(options, Options::ignoreMetacharacters)) {
        const std::string whole = withWholeLineEnds(pattern_);
        if (whole != pattern_) replaceBy(whole);
        // What names CR has every beginning looked for, also where the name is in no match.
        if (!namesLineEnds(code.get()) && mayBeginWithinCRLF(code.get())) replaceBy("(?!)\\r|" + pattern_);
    }
    limits_ = sharedLimits();
    code_ = code.release();
    pcre2_pattern_info(code_, PCRE2_INFO_CAPTURECOUNT, &captureCount_);
    jit_ = pcre2_jit_compile(code_, PCRE2_JIT_COMPLETE) == 0;
    // \G holds where a search begins, so a search cut into slices would find it where it is not.
    mayBeSliced_ = pattern_.find("\\G") == std::string::npos;
}

Regex::Engine::~Engine() {
    pcre2_code_free(code_);
}

Regex::Engine::Memory* Regex::Engine::makeMemory() const {
    Memory* memory = pcre2_match_data_create(captureCount_ + 1, nullptr);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void Regex::Engine::freeMemory(Memory* memory) {
    pcre2_match_data_free(memory);
}

Regex::Engine::Memory* Regex::Engine::threadMemory() const {
    ThreadState& state = threadState();
    if (state.memory == nullptr || pcre2_get_ovector_count(state.memory) <= captureCount_) {
        pcre2_match_data_free(state.memory);
        state.memory = pcre2_match_data_create(std::max<std::uint32_t>(captureCount_ + 1, 16), nullptr);
        if (state.memory == nullptr) throw std::bad_alloc();
    }
    return state.memory;
}

const std::size_t* Regex::Engine::offsets(Memory* memory) {
    return pcre2_get_ovector_pointer(memory);
}

int Regex::Engine::run(std::string_view subject, std::size_t from, std::uint32_t flags, Memory* memory,
                       pcre2_match_context* limits) const {
    const auto* text = reinterpret_cast<PCRE2_SPTR>(addressOf(subject));
    if (!jit_ || (flags & PCRE2_ANCHORED) != 0) {
        return pcre2_match(code_, text, subject.size(), from, flags | PCRE2_NO_UTF_CHECK, memory, limits);
    }
    return pcre2_jit_match(code_, text, subject.size(), from, flags, memory, limits);
}

bool Regex::Engine::search(std::string_view subject, std::size_t from, std::uint32_t flags, Memory* memory,
                           const std::function<bool()>* progress) const {
    if (subject.size() - from > longText && mayBeSliced_ && (flags & PCRE2_ANCHORED) == 0) {
        return searchInSlices(subject, from, flags, memory, progress);
    }
    int result = run(subject, from, flags, memory, limits_);
    if (result == PCRE2_ERROR_JIT_STACKLIMIT) {
        ThreadState& state = threadState();
        if (!state.deep) state.deep = makeContext();
        state.assignStack(state.deep);
        result = run(subject, from, flags, memory, state.deep.get());
    }
    if (result >= 0) return true;
    if (result == PCRE2_ERROR_NOMATCH) return false;
    throw RegexError(RegexError::Code::limitExceeded, "The search for the regular expression \"" + pattern_ +
                                                          "\" was given up: " + engineMessage(result) + ".");
}

// The engine counts tries of alternatives, but not the steps of a plain repetition, so that "\d+:" on a megabyte
// of digits would run for minutes below its limit. Here the search is cut by where a match may begin, into slices
// that take some milliseconds each, and the time is looked at in between.
bool Regex::Engine::searchInSlices(std::string_view subject, std::size_t from, std::uint32_t flags, Memory* memory,
                                   const std::function<bool()>* progress) const {
    using Clock = std::chrono::steady_clock;
    ThreadState& state = threadState();
    if (!state.sliced) state.sliced = makeContext();
    state.assignStack(state.sliced);

    const auto begin = Clock::now();
    auto last = begin;
    // From each place the rest of the text may be read, so the first slice is the smaller the longer that is.
    constexpr std::size_t firstSteps = 32 * 1024 * 1024;
    for (std::size_t slice = std::clamp<std::size_t>(firstSteps / (subject.size() - from), 16, longText); true;) {
        const std::size_t end = slice < subject.size() - from ? from + slice : subject.size();
        pcre2_set_offset_limit(state.sliced.get(), end);
        const int result = run(subject, from, flags, memory, state.sliced.get());
        if (result >= 0) return true;
        if (result != PCRE2_ERROR_NOMATCH) {
            throw RegexError(RegexError::Code::limitExceeded,
                             "The search for the regular expression \"" + pattern_ +
                                 "\" was given up: " + engineMessage(result) + ".");
        }
        if (end == subject.size()) return false;
        const auto now = Clock::now();
        if (std::chrono::duration<double>(now - begin).count() > longSearchSeconds) {
            throw RegexError(RegexError::Code::limitExceeded, "The search for the regular expression \"" +
                                                                  pattern_ + "\" was given up: time is up.");
        }
        if (progress != nullptr && *progress && slice >= longText && !(*progress)()) return false;
        if (now - last < std::chrono::milliseconds(2)) {
            slice *= 2;
        } else if (now - last > std::chrono::milliseconds(20)) {
            slice = std::max<std::size_t>(slice / 2, 1);
        }
        last = now;
        from = nextCodePoint(subject, end);
    }
}

}  // namespace quorel
