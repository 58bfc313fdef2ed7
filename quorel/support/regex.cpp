#include "quorel/support/regex.h"

#include "quorel/foundation/fatal.h"
#include "quorel/support/regex_engine.h"

namespace quorel {
namespace {

Regex::Range rangeAt(const std::size_t* offsets, std::size_t group, std::size_t base) {
    const std::size_t lower = offsets[2 * group];
    if (lower == static_cast<std::size_t>(-1)) return {};
    return {base + lower, base + offsets[2 * group + 1]};
}

Regex::Match makeMatch(const std::size_t* offsets, std::size_t groups, std::size_t base, const Regex::Text& text) {
    Regex::Match match{rangeAt(offsets, 0, base), {}, text};
    match.captures.reserve(groups);
    for (std::size_t i = 1; i <= groups; ++i) match.captures.push_back(rangeAt(offsets, i, base));
    return match;
}

// A replacement template, taken apart once.
class Template {
public:
    Template(std::string_view text, std::size_t groups) {
        std::size_t maximumDigits = 1;
        for (std::size_t n = groups; n >= 10; n /= 10) ++maximumDigits;
        for (std::size_t i = 0; i < text.size(); ++i) {
            const bool more = i + 1 < text.size();
            if (text[i] == '\\' && more) {
                literal(text[++i]);
            } else if (text[i] == '$' && more && isDigit(text[i + 1])) {
                std::size_t group = 0;
                for (std::size_t n = 0; n < maximumDigits && i + 1 < text.size() && isDigit(text[i + 1]); ++n) {
                    group = group * 10 + static_cast<std::size_t>(text[++i] - '0');
                }
                pieces_.push_back({{}, group});
            } else {
                literal(text[i]);
            }
        }
    }

    void append(std::string& out, std::string_view subject, const std::size_t* offsets, std::size_t groups) const {
        for (const Piece& piece : pieces_) {
            out += piece.literal;
            if (!piece.group || *piece.group > groups) continue;
            const Regex::Range range = rangeAt(offsets, *piece.group, 0);
            out += subject.substr(range.lower, range.upper - range.lower);
        }
    }

private:
    struct Piece {
        std::string literal;
        std::optional<std::size_t> group;
    };

    static bool isDigit(char c) { return c >= '0' && c <= '9'; }
    void literal(char c) {
        if (pieces_.empty() || pieces_.back().group) pieces_.push_back({{}, std::nullopt});
        pieces_.back().literal += c;
    }

    std::vector<Piece> pieces_;
};

}  // namespace

Regex::Regex(std::string_view pattern, Options options)
    : engine_(std::make_shared<const Engine>(pattern, options)) {}

const std::string& Regex::pattern() const {
    return engine_->pattern();
}
Regex::Options Regex::options() const {
    return engine_->options();
}
std::size_t Regex::captureCount() const {
    return engine_->captureCount();
}

bool Regex::hasMatch(TextView text, std::optional<Range> range, MatchingOptions options) const {
    const RegexWindow window(text.view(), range, options);
    return engine_->search(window.subject, window.from, window.flags, engine_->threadMemory());
}

std::optional<Regex::Match> Regex::firstMatch(const Text& text, std::optional<Range> range,
                                              MatchingOptions options) const {
    const RegexWindow window(text.string(), range, options);
    Engine::Memory* memory = engine_->threadMemory();
    if (!engine_->search(window.subject, window.from, window.flags, memory)) return std::nullopt;
    return makeMatch(Engine::offsets(memory), engine_->captureCount(), window.base, text);
}

Regex::Matches Regex::matches(const Text& text, std::optional<Range> range, MatchingOptions options) const {
    const RegexWindow window(text.string(), range, options);
    std::vector<Match> found;
    engine_->each(window, engine_->threadMemory(), nullptr, [&](const std::size_t* offsets) {
        found.push_back(makeMatch(offsets, engine_->captureCount(), window.base, text));
        return true;
    });
    return Matches(text, pattern(), std::move(found));
}

Regex::Matches Regex::matchesFrom(const Text& text, std::size_t lower, MatchingOptions options) const {
    if (lower >= text.string().size()) fatal("Invalid Range");
    return matches(text, Range{lower, text.string().size()}, options);
}

Regex::Matches Regex::matchesUpTo(const Text& text, std::size_t upper, MatchingOptions options) const {
    return matches(text, Range{0, upper}, options);
}

void Regex::enumerateMatches(const Text& text, std::optional<Range> range, const std::function<bool()>& progress,
                             const std::function<bool(const Match&)>& capture) const {
    const RegexWindow window(text.string(), range, MatchingOptions::none);
    // Memory of its own: the callbacks may search too.
    const std::unique_ptr<Engine::Memory, decltype(&Engine::freeMemory)> memory(engine_->makeMemory(),
                                                                                &Engine::freeMemory);
    engine_->each(window, memory.get(), &progress, [&](const std::size_t* offsets) {
        return capture(makeMatch(offsets, engine_->captureCount(), window.base, text));
    });
}

std::string Regex::stringByReplacingMatchesWithTemplate(TextView text, std::string_view escapedTemplate,
                                                        std::optional<Range> range,
                                                        MatchingOptions options) const {
    const RegexWindow window(text.view(), range, options);
    const std::size_t groups = engine_->captureCount();
    const Template pieces(escapedTemplate, groups);
    std::string out;
    out.reserve(text.view().size());
    std::size_t copied = 0;
    engine_->each(window, engine_->threadMemory(), nullptr, [&](const std::size_t* offsets) {
        const Range match = rangeAt(offsets, 0, window.base);
        out += text.view().substr(copied, match.lower - copied);
        pieces.append(out, window.subject, offsets, groups);
        copied = match.upper;
        return true;
    });
    out += text.view().substr(copied);
    return out;
}

std::string Regex::stringByReplacingMatches(TextView text, std::string_view replacement,
                                            std::optional<Range> range, MatchingOptions options) const {
    return stringByReplacingMatchesWithTemplate(text, escapedTemplate(replacement), range, options);
}

std::string Regex::escapedTemplate(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        if (c == '\\' || c == '$') out += '\\';
        out += c;
    }
    return out;
}

Regex::Matcher::Matcher(const Regex& regex)
    : engine_(regex.engine_),
      memory_(engine_->makeMemory(),
              [](void* memory) { Engine::freeMemory(static_cast<Engine::Memory*>(memory)); }),
      offsets_(Engine::offsets(static_cast<Engine::Memory*>(memory_.get()))) {}

Regex::Matcher::Matcher(Matcher&&) noexcept = default;
Regex::Matcher& Regex::Matcher::operator=(Matcher&&) noexcept = default;
Regex::Matcher::~Matcher() = default;

bool Regex::Matcher::find(TextView text, std::size_t from) {
    text_ = text.view();
    if (from > text_.size()) fatal("Invalid Range");
    return engine_->search(text_, from, 0, static_cast<Engine::Memory*>(memory_.get()));
}

bool Regex::Matcher::findNext(TextView text) {
    const Range last = range();
    if (!last.isEmpty()) return find(text, last.upper);
    return last.upper < text.view().size() && find(text, nextCodePoint(text.view(), last.upper));
}

Regex::Range Regex::Matcher::range() const {
    return {offsets_[0], offsets_[1]};
}
std::size_t Regex::Matcher::captureCount() const {
    return engine_->captureCount();
}

Regex::Range Regex::Matcher::capture(std::size_t index) const {
    if (index >= captureCount()) fatal("Index out of range");
    return rangeAt(offsets_, index + 1, 0);
}

std::string_view Regex::Matcher::captureText(std::size_t index) const {
    const Range range = capture(index);
    return text_.substr(range.lower, range.upper - range.lower);
}

}  // namespace quorel
